#ifndef TAVIX_TVXPOLLLOOPFUNCTIONS_H
#define TAVIX_TVXPOLLLOOPFUNCTIONS_H

/* An event loop as a table of functions, for C99 and C++: see tavix/CSelectLoop.h and tavix/PollLoopIf.h. */

#ifdef __cplusplus
extern "C" {
#endif

typedef void (*TvxSourceCallback)(void** source, void* context);

/* Each function does what the operation of PollLoopIf of the same meaning does. `source` is the handle that
   new_source stored; `loop` is what was given together with the table. A watch is 0x01 for reading and 0x10 for
   writing. Where nothing else is said the answer is 0 for success. */
typedef struct TvxPollLoopFunctions {
    int (*new_source)(int fd, void*** source, void* loop);
    int (*delete_source)(void** source);
    int (*add_source)(void** source, TvxSourceCallback callback, void* context);
    int (*remove_source)(void** source);
    int (*add_watch)(void** source, unsigned watch);
    int (*remove_watch)(void** source, unsigned watch);
    int (*is_readable)(void** source, int* readable);
    int (*is_writable)(void** source, int* writable);
    /* The descriptor. */
    int (*get_file_descriptor)(void** source);
    void (*iterate)(void* loop);
    /* Other than 0 when iterate would find work now. */
    int (*check)(void* loop);
} TvxPollLoopFunctions;

#ifdef __cplusplus
}
#endif

#endif
