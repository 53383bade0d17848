#ifndef TAVIX_TVXPOLLLOOPFUNCTIONS_H
#define TAVIX_TVXPOLLLOOPFUNCTIONS_H

/* An event loop as a table of functions, for C99 and C++: what tvx_c_select_loop_new of tavix/capi.h takes, and the
   class of tavix/CSelectLoop.h. */

#ifdef __cplusplus
extern "C" {
#endif

typedef void (*TvxSourceCallback)(void** source, void* context);

/* Each function does what the one of tavix/capi.h of the same meaning does. `source` is the handle that new_source
   stored; `loop` is what was given together with the table. A watch is 0x01 for reading and 0x10 for writing. Where
   nothing else is said the answer is 0 for success.

   A proxy relies on this: a callback adds, removes and deletes any source, its own too, and iterates again, so no lock of
   the table is held during it; a source that was removed is not called, also not later in the same pass; a hang-up is told
   as readable; and where several threads use the proxy, every function but iterate and check may be called by any of them,
   and reaches a pass that blocks. The proxy calls these with locks of its own held: they call nobody back and leave the
   proxy alone.

   What a callback written in C++ throws goes through iterate: a loop in C that has to survive it is compiled with
   -fexceptions, and finds that its pass has ended. */
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
