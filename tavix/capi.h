#ifndef TAVIX_CAPI_H
#define TAVIX_CAPI_H

// The flat interface of Tavix: plain functions for C99, C++ and the foreign function interfaces of other
// languages. This file can be read alone. What holds for every function:
//
// 1. Handles. A value is a tree of elements, and a TvxElement* stands for one of them with everything below
//    it. In C++ it is the Tavix::Element* itself: the two conversions at the end change the type and
//    nothing else.
// 2. Ownership. tvx_elem_new*, tvx_*_elem_new*, tvx_elem_clone and tvx_*_remove_child give the caller an
//    element, which the caller releases with tvx_elem_free or hands to a container. A container takes a
//    child away from the caller, also when adding fails, and releases it with itself. tvx_*_get_child
//    lends: the pointer is valid while the container keeps the child. Texts and bytes passed in are copied.
// 3. Errors. A constructor answers null when memory runs out. A `result` argument may be null; otherwise
//    the code is stored there. Nothing throws, but for what a callback in C++ does.
// 4. Nulls. A null where a handle, text or buffer is needed is refused: nothing is changed, a child that
//    would have been taken is released, and the answer is the refusal: null for a pointer, false for a
//    bool, 0 for "non-zero on success", for the rest what is said at the function. The code, where there is
//    one, is OPERATION_FAILED_NOT_SUPPORTED; where it is a RemoteProxyResult, PROXY_CONNECTION_ERROR for
//    the proxy, PROXY_OBJECT_NOT_FOUND for the name of an object, and PROXY_METHOD_NOT_FOUND for that of a
//    method or event. What may be null is said.
// 5. Texts end at their first zero byte here, although an element may hold any bytes.
// 6. Threads. A tree, and an iterator over it, belong to one thread at a time. One thread at a time runs a
//    loop, and the bus and every proxy over it work there; other threads may send through a proxy, and add
//    and remove objects and observers. A threaded proxy brings its own thread, and may be used on all
//    others.
// 7. Callbacks run on the thread that runs the loop, or on a threaded proxy's own, with `userData` as it
//    was given; what they are shown is lent for the call. They may call, send, add and remove, themselves
//    too, and wait, while others run further up on the same stack; they do not free the proxy or the loop.
//    What they send leaves together when those that are due have run, before they wait, or with
//    tvx_proxy_flush.
//    Removing waits for a callback that runs on another thread, so that one must be able to end meanwhile;
//    of two callbacks that remove each other the later one to do so does not wait.
//
// A program for the bus makes a loop and a proxy over it, connects, adds what it serves and observes, and
// calls tvx_poll_loop_iterate again and again; in the end it removes, and frees the proxy and the loop. The
// process's own proxy, of tvx_proxy_init, is left to the library.

#include <tavix/RemoteProxyResult.h>
#include <tavix/TvxPollLoopFunctions.h>
#include <tavix/elements/TvxResult.h>
#include <tavix/foundation/Export.h>

#include <semaphore.h>
#include <stdarg.h>
#include <stdbool.h>
#include <stdio.h>

// The compiler checks the arguments against the printf format, which is argument `text`; `first` is 0 for a
// va_list.
#define TVX_PRINTF_FORMAT(text, first) __attribute__((__format__(__printf__, text, first)))

#ifdef __cplusplus
extern "C" {
#endif

typedef struct _TvxElement TvxElement;
typedef struct TvxIterator TvxIterator;
typedef struct _TvxPollLoop TvxPollLoop;
typedef struct _TvxProxy TvxProxy;
typedef struct _TvxBus TvxBus;

// The name of a code, as "OPERATION_OK", or "Unknown error" for any other value. A constant text.
TAVIX_API const char* tvx_result_to_string(TvxResult result);

// ---- New elements ----

// One value each. A list and a map are empty at first.
TAVIX_API TvxElement* tvx_integer_elem_new(int value);
TAVIX_API TvxElement* tvx_double_elem_new(double value);
// Any value but 0 is true.
TAVIX_API TvxElement* tvx_boolean_elem_new(int value);
TAVIX_API TvxElement* tvx_null_elem_new(void);
TAVIX_API TvxElement* tvx_string_elem_new(const char* text);
// The text comes from printf; null also when it cannot be formatted.
TAVIX_API TvxElement* tvx_string_elem_newf(const char* format, ...) TVX_PRINTF_FORMAT(1, 2);
TAVIX_API TvxElement* tvx_string_elem_newvf(const char* format, va_list args) TVX_PRINTF_FORMAT(1, 0);
// `length` bytes; null `data` gives an empty element.
TAVIX_API TvxElement* tvx_binary_elem_new(const unsigned char* data, unsigned length);
// What an object answers in place of a value to report a failure to its caller. A `code` from 1 to 9 reaches
// that one as the RemoteProxyResult of this number, as if the bus had failed; any other as PROXY_EXCEPTION,
// with the code in the element. So a program's own codes lie outside 1 to 9.
TAVIX_API TvxElement* tvx_exception_elem_new(const char* message, int code);
TAVIX_API TvxElement* tvx_exception_elem_newf(int code, const char* format, ...) TVX_PRINTF_FORMAT(2, 3);
TAVIX_API TvxElement* tvx_exception_elem_newvf(int code, const char* format, va_list args)
    TVX_PRINTF_FORMAT(2, 0);
TAVIX_API TvxElement* tvx_list_elem_new(void);
TAVIX_API TvxElement* tvx_map_elem_new(void);
// Stands for an open descriptor of this process. The element does not own it: nothing here closes `fd`.
TAVIX_API TvxElement* tvx_file_descriptor_elem_new(int fd);

// Builds a whole tree. The format describes one element; what stands behind the end of it is not read. There
// are no blanks and no separators. Each character takes its argument, strictly from left to right:
//
//   i  int           an integer
//   b  int           a boolean, true unless 0
//   d  double        a double
//   s  const char*   a text, copied
//   n  nothing       a null element
//   f  int           a file descriptor
//   e  TvxElement*   that element, taken; a null element for a null pointer
//   E  TvxElement*   a copy of that element
//   (...)            a list of the elements between
//   {...}            a map; in front of each element inside, its key is taken from the arguments, a const
//                    char*; of two equal keys the later wins
//
//   tvx_elem_new("{is(dd)}", "port", 80, "host", "box", "position", 1.5, 2.5)
//
// The compiler does not check the arguments: tvx_elem_new("d", 5) is undefined, as in printf; write 5.0.
//
// On a failure the answer is null and everything built is released, with the elements that "e" took;
// arguments behind the failing place are not touched and stay with the caller. A line on standard output
// tells what was wrong: an unknown character, a missing ")" or "}", a null where a text, key or element ("E")
// is needed. Depth is limited by the stack alone; a message carries 128 levels. A null `format` is a fault
// that stops the process.
TAVIX_API TvxElement* tvx_elem_new(const char* format, ...);
TAVIX_API TvxElement* tvx_elem_new_va(const char* format, va_list args);

// ---- Any element ----

// Releases the element with everything below it. Null does nothing.
TAVIX_API void tvx_elem_free(TvxElement* e);
// A deep copy.
TAVIX_API TvxElement* tvx_elem_clone(TvxElement* e);
TAVIX_API bool tvx_elem_is_exception(TvxElement* e);
// `type` is the name of a class: "IntegerElem", "BooleanElem", "DoubleElem", "StringElem", "BinaryElem",
// "NullElem", "ListElem", "MapElem", "FileDescriptorElem", or of a base: "TerminalElem" for a leaf,
// "NonterminalElem" for a list or map. A descriptor answers to its own name only, and an exception is found
// with tvx_elem_is_exception.
TAVIX_API bool tvx_elem_instance_of(TvxElement* e, const char* type);
// -1 on a leaf; this is the refusal, too.
TAVIX_API int tvx_elem_get_num_children(TvxElement* e);
// Writes the tree for people, a line per element, 25 levels deep, to standard output or to `stream`.
TAVIX_API void tvx_elem_print(const char* name, TvxElement* e);
TAVIX_API void tvx_elem_fprint(FILE* stream, const char* name, TvxElement* e);

// ---- Reading values ----
// Every question may be put to every element. One that has no such value answers a fixed default.

// Reads integers, descriptors, booleans, doubles (cut towards zero), exceptions (the code), binaries of 1, 2
// or 4 bytes (in the order of this machine) and texts: decimal, hexadecimal behind "0x", octal behind "0".
// Default: -1, with code 1 for a text, binary or double that does not read. Refusal: -1. The second is the
// same under another name.
TAVIX_API int tvx_elem_int_value(TvxElement* e, TvxResult* result);
TAVIX_API int tvx_elem_exception_int_value(TvxElement* e, TvxResult* result);
// Reads integers, doubles and binaries of 4 or 8 bytes. Default: -1.0 (0.0 for another binary), with code 1.
// Refusal: -1.0.
TAVIX_API double tvx_elem_double_value(TvxElement* e, TvxResult* result);
// Reads booleans, integers (true unless 0), and texts: "true", "yes" and "y" in any case, and numbers other
// than 0, are true. Default: false, with code 0.
TAVIX_API bool tvx_elem_boolean_value(TvxElement* e, TvxResult* result);
// Lends the bytes of a binary, valid as long as the element and its value. Default: null and length 0. A null
// `length` is refused, and a null `e` sets it to 0.
TAVIX_API const unsigned char* tvx_elem_binary_value(TvxElement* e, unsigned* length);

// The text functions read texts, integers and descriptors (decimal), doubles (as a float with six decimals:
// "20.000000"), booleans ("true", "false"), binaries (the bytes) and exceptions (the message); any other
// element reads as the empty text. So the text of an answer does not tell a value from a failure: look at the
// result of the call first. Code 5: out of memory.

// Copies the text into `buffer` of `size` bytes, at least 1: what does not fit is cut, and a zero byte
// follows. Answers `buffer`; null, with `buffer` untouched, when the code is not 0. A `size` of 0 is refused.
TAVIX_API char* tvx_elem_strcpy_value(TvxElement* e, char* buffer, unsigned size, TvxResult* result);
// For old programs only: does the same behind a complaint on standard error, and always answers `buffer`.
TAVIX_API char* tvx_elem_strncpy_value(TvxElement* e, char* buffer, unsigned size, TvxResult* result);
// Compares the whole text with `other`: negative, 0 or positive. tvx_elem_strncmp compares `n` bytes at most,
// and only up to a zero byte, as strncmp does. Refusal, and the answer when memory runs out: -1.
TAVIX_API int tvx_elem_strcmp(TvxElement* e, const char* other, TvxResult* result);
TAVIX_API int tvx_elem_strncmp(TvxElement* e, const char* other, unsigned n, TvxResult* result);
// A copy of the text, for the caller to free().
TAVIX_API char* tvx_elem_strdup_value(TvxElement* e, TvxResult* result);

// ---- Lists ----
// A list also answers to the functions for maps, with an index in decimal as the name; a map to those for
// lists. Adding to an element that is no container is a fault that stops the process. A null `child` is
// stored as such.

// Puts `child` before the one at `index`; at the length it appends. Takes `child`, also on failure, which is
// an index beyond the length. Answers non-zero on success.
TAVIX_API int tvx_list_elem_add_child(TvxElement* list, unsigned index, TvxElement* child);
TAVIX_API int tvx_list_elem_append_child(TvxElement* list, TvxElement* child);
// Lends. Null for an index beyond the end.
TAVIX_API TvxElement* tvx_list_elem_get_child(TvxElement* list, unsigned index);
// Gives the child to the caller. Null, and code 3, for an index beyond the end.
TAVIX_API TvxElement* tvx_list_elem_remove_child(TvxElement* list, unsigned index, TvxResult* result);
// Releases all children. The code also says a refusal.
TAVIX_API TvxResult tvx_list_elem_remove_children(TvxElement* list);
// -1 on a leaf; this is the refusal, too.
TAVIX_API int tvx_list_elem_get_length(TvxElement* list);

// ---- Maps ----

// Takes `child`, also on failure. A child that already had the name is released. Answers non-zero on success.
TAVIX_API int tvx_map_elem_add_child(TvxElement* map, const char* name, TvxElement* child);
// Lends. Null for an unknown name.
TAVIX_API TvxElement* tvx_map_elem_get_child(TvxElement* map, const char* name);
TAVIX_API bool tvx_map_elem_has_child(TvxElement* map, const char* name);
// Gives the child to the caller. Null, and code 2, for an unknown name.
TAVIX_API TvxElement* tvx_map_elem_remove_child(TvxElement* map, const char* name, TvxResult* result);

// ---- Iterators ----
// They walk the names of a map's children, in byte-wise order:
//
//   TvxIterator* i = tvx_iterator_new(map);
//   for (; !tvx_iterator_last(i); tvx_iterator_next(i))
//       use(tvx_iterator_deref(i), tvx_map_elem_get_child(map, tvx_iterator_deref(i)));
//   tvx_iterator_free(i);
//
// Over a list the names are the indexes in decimal. The element must stay, and keep its children, meanwhile.
// An empty text as a key comes first and looks like the end.

// At the first child. Null also for a leaf. The caller frees it with tvx_iterator_free.
TAVIX_API TvxIterator* tvx_iterator_new(TvxElement* e);
// Non-zero when no child is left; this is the refusal, too.
TAVIX_API int tvx_iterator_last(TvxIterator* iterator);
// Lends the name, valid until the next step; the empty text at the end.
TAVIX_API const char* tvx_iterator_deref(TvxIterator* iterator);
// Goes on to the next child. Answers non-zero if it left a child behind, 0 at the end.
TAVIX_API int tvx_iterator_next(TvxIterator* iterator);
TAVIX_API void tvx_iterator_free(TvxIterator* iterator);

// ---- Event loops ----
// A loop waits for descriptors and calls back. Everything that a proxy or bus receives is handled inside
// tvx_poll_loop_iterate, or while a blocking function of the proxy runs the loop.

// What a source is watched for.
enum { TVX_READ_WATCH = 0x01, TVX_WRITE_WATCH = 0x10 };

// Each gives the caller a share of a new loop. Over select(2), for descriptors below 1024;
TAVIX_API TvxPollLoop* tvx_select_loop_glue_new(void);
// over epoll(7), for many descriptors;
TAVIX_API TvxPollLoop* tvx_epoll_loop_glue_new(void);
// in GLib's default main context, for programs that run a GLib main loop;
TAVIX_API TvxPollLoop* tvx_glib_select_loop_new(void);
// over the caller's own loop, which has to keep what TvxPollLoopFunctions.h says. Both are lent for the life
// of the loop; `context` may be null. Null also when a function of the table is.
TAVIX_API TvxPollLoop* tvx_c_select_loop_new(const TvxPollLoopFunctions* functions, void* context);
// Gives up the caller's share: the loop itself stays while a proxy or bus uses it. Null does nothing.
TAVIX_API void tvx_poll_loop_free(TvxPollLoop* loop);
// One pass: waits until something happens and handles it. A signal may end a pass in which nothing did.
TAVIX_API void tvx_poll_loop_iterate(TvxPollLoop* loop);

// A program puts descriptors of its own on the loop as sources: new, add_watch, add; in the end remove,
// delete, and only then is the descriptor closed. A handle belongs to its loop. Answers are 0 for success,
// else below 0; a refusal is -EINVAL.
TAVIX_API int tvx_poll_loop_new_source(TvxPollLoop* loop, int fd, void*** source);
// The source must not be registered.
TAVIX_API int tvx_poll_loop_delete_source(TvxPollLoop* loop, void** source);
// Registers the source: `callback` runs when a watch finds the descriptor ready, again in every pass as
// long as it is. One source per descriptor.
TAVIX_API int tvx_poll_loop_add_source(TvxPollLoop* loop, void** source, TvxSourceCallback callback,
                                       void* context);
TAVIX_API int tvx_poll_loop_remove_source(TvxPollLoop* loop, void** source);
// One watch at a time; what is already so stays so.
TAVIX_API int tvx_poll_loop_source_add_watch(TvxPollLoop* loop, void** source, unsigned watch);
TAVIX_API int tvx_poll_loop_source_remove_watch(TvxPollLoop* loop, void** source, unsigned watch);
// Inside the source's callback: what it was called for. A hang-up reads as readable.
TAVIX_API int tvx_poll_loop_source_is_readable(TvxPollLoop* loop, void** source, bool* readable);
TAVIX_API int tvx_poll_loop_source_is_writable(TvxPollLoop* loop, void** source, bool* writable);
// The descriptor.
TAVIX_API int tvx_poll_loop_source_get_file_descriptor(TvxPollLoop* loop, void** source);

// ---- Proxies ----
// A proxy is a program's end of the bus, over one connection. In C++ it is the Tavix::TavixProxy* itself.

// Shares the loop. Makes no connection. The caller frees the proxy.
TAVIX_API TvxProxy* tvx_proxy_new(TvxPollLoop* loop);
// The same with a thread and a loop of its own: there is nothing to iterate, callbacks run on that thread,
// and a blocking function blocks its caller only.
TAVIX_API TvxProxy* tvx_proxy_threaded_new(void);
// The process's proxy: made once, before other threads ask for it, and lent; the library frees it when the
// process ends. A second tvx_proxy_init is a fault that stops the process. tvx_proxy_threaded_init makes
// one with a thread of its own, which tvx_proxy_instance then tells; when there is one, of either kind,
// that stays.
TAVIX_API TvxProxy* tvx_proxy_init(TvxPollLoop* loop);
TAVIX_API void tvx_proxy_threaded_init(void);
// Null before.
TAVIX_API TvxProxy* tvx_proxy_instance(void);
// Ends the thread of a threaded proxy: whoever waits for an answer gets PROXY_CONNECTION_ERROR, and no
// callback runs any more when this returns; from inside a callback the thread ends behind it. Does nothing
// for null and for a proxy that is not threaded.
TAVIX_API void tvx_proxy_threaded_kill_main_loop(TvxProxy* proxy);
// Closes the connection, ends the thread, and releases what is added still. Callbacks of calls under way do
// not run, but for those of a threaded proxy, which hear of the end; tokens that are held still may be
// answered, to nobody. Other threads have left the proxy. Null, and the process's proxy, do nothing.
TAVIX_API void tvx_proxy_free(TvxProxy* proxy);
// Connects to the bus: at its default socket for a null `address`, at the path of a Unix domain socket, or
// over TCP at "host", "host:port" or "[v6 address]:port". Blocks for up to 11 seconds while nobody listens on
// a Unix domain path. Answers non-zero when the proxy is connected, also when it was before. After a lost
// connection connect again, and add objects again, and remove and add observers: the bus has forgotten them.
TAVIX_API int tvx_proxy_connect(TvxProxy* proxy, const char* address);
// Non-zero when the process's proxy is connected. Of another proxy the next request tells, by
// PROXY_CONNECTION_ERROR, or tvx_proxy_connect, which connects anew when it is not; a service that only
// iterates, and has to learn that the bus has gone, takes the process's proxy.
TAVIX_API int tvx_proxy_is_connected(void);
// Runs the loop until the semaphore can be taken; beside a threaded proxy's thread it just waits. A null
// `sem` is a fault that stops the process.
TAVIX_API void tvx_proxy_wait(TvxProxy* proxy, sem_t* sem);
// Sends at once what callbacks have sent up to here, for one that goes on for long. Any thread.
TAVIX_API void tvx_proxy_flush(TvxProxy* proxy);
// The name of a result, as "PROXY_OK", or "Unknown error" for a value without one. A constant text.
TAVIX_API const char* tvx_proxy_result_to_string(RemoteProxyResult result);

// ---- Calls ----
// Calls have no time limit: they end with the answer or with a connection. PROXY_MEMORY_ERROR: a value that
// cannot be encoded, of which standard error tells the place. PROXY_REQUEST_TOO_LARGE: above 196608 bytes.
// An exception in the place of an answer makes its code the result if that is 1 to 9, else PROXY_EXCEPTION:
// tvx_elem_is_exception of what was answered tells it from a call that was never sent.
// Parameters may hold open descriptors, which stay the caller's.

// An answer, or the exception in its place. When the connection ends the call, it may run on the thread that
// finds that out.
typedef void (*TvxResponseCallback)(TvxProxy* proxy, TvxElement* result, void* userData);

// Calls a method and waits for the answer, running the loop meanwhile. Lends `params`; null for none. The
// element answered is the caller's: with PROXY_OK it is the value, with a code that came from the object or
// the bus the exception, which has the text; null when the call could not be sent.
TAVIX_API TvxElement* tvx_proxy_call_method(TvxProxy* proxy, const char* objName, const char* method,
                                            TvxElement* params, RemoteProxyResult* result);
// The same with the parameters that tvx_elem_new builds of the format and what follows; PROXY_MEMORY_ERROR
// when it cannot. The parameters are freed, whatever comes of the call.
TAVIX_API TvxElement* tvx_proxy_call_with_format(TvxProxy* proxy, RemoteProxyResult* result,
                                                 const char* objName, const char* method, const char* format,
                                                 ...);
// Sends a call and returns. Lends `params`; null for none. With PROXY_OK `callback` runs exactly once, unless
// the proxy is freed before, with any other result never. A null `callback` drops the answer.
TAVIX_API RemoteProxyResult tvx_proxy_call_method_async(TvxProxy* proxy, const char* objName,
                                                        const char* method, TvxElement* params,
                                                        TvxResponseCallback callback, void* userData);

// ---- Events ----
// Anybody sends any event under the name of any object, which need not exist.

// `data` is null when the event carries no value.
typedef void (*TvxEventCallback)(TvxProxy* proxy, const char* objName, const char* event, TvxElement* data,
                                 void* userData);
typedef void (*TvxObjectCallback)(TvxProxy* proxy, void* userData);

// Lends `data`; null for none. Every observer of the pair gets it, in this process too. Nobody answers:
// PROXY_OK says that it is on its way.
TAVIX_API RemoteProxyResult tvx_proxy_send_event(TvxProxy* proxy, const char* objName, const char* event,
                                                 TvxElement* data);
// Subscribes. Answers a handle, valid until tvx_proxy_remove_observer takes it or the proxy is freed; null
// when the proxy is not connected, or the subscription cannot be sent: then nothing stays behind.
// `userData` is lent as long.
TAVIX_API void* tvx_proxy_add_observer(TvxProxy* proxy, const char* objName, const char* event,
                                       TvxEventCallback callback, void* userData);
// Takes the handle back. On return the callback runs nowhere any more; from inside the callback, when that
// returns. PROXY_CONNECTION_ERROR: removed, but the bus could not be told, since there is no connection.
// PROXY_OBJECT_NOT_FOUND for a null handle. PROXY_OBSERVER_NOT_FOUND: the handle is another proxy's, and
// stays.
TAVIX_API RemoteProxyResult tvx_proxy_remove_observer(TvxProxy* proxy, void* observer);
// Runs `callback`, which may be null, once, when the bus has an object of this name or would start one on
// demand: before the return, or later. It cannot be cancelled. A blocking call: after a failure of it the
// callback may still run. A null proxy or name is a fault that stops the process.
TAVIX_API RemoteProxyResult tvx_proxy_on_object_added(TvxProxy* proxy, const char* objName,
                                                      TvxObjectCallback callback, void* userData);
// Runs the loop until the bus has such an object. PROXY_CONNECTION_ERROR when the connection ends before.
TAVIX_API RemoteProxyResult tvx_proxy_wait_for_object(TvxProxy* proxy, const char* objName);

// ---- Serving objects ----
// A call to an object reaches its asynchronous method first, if it has one, and its synchronous method if
// that declines. An object without the second answers the exception "Unknown method", code -1, in its
// place. Descriptors in `params` belong to the method that takes the call, which closes them.

// Answers at once, with a new element, which the library releases; an exception for a failure. `params` is
// never null: a call without a value has a null element. A null answer is a fault that stops the process.
typedef TvxElement* (*TvxMethodCallback)(TvxProxy* proxy, const char* objName, const char* method,
                                         TvxElement* params, void* userData);
// Answers a call that an asynchronous method has taken, and takes the token. `result` stays the caller's;
// null answers with the exception "No result", code -1. Any thread, also behind the end of the caller, the
// object or the proxy: then the answer is dropped.
typedef void (*TvxRespondFunction)(void* token, TvxElement* result);
// Non-zero: the method has taken the call, and hands `token` to `respond` exactly once, now or later; until
// then the token keeps `params` and the texts alive. 0: it declines, unless it has answered already.
typedef int (*TvxAsyncMethodCallback)(TvxProxy* proxy, const char* objName, const char* method,
                                      TvxElement* params, TvxRespondFunction respond, void* token,
                                      void* userData);

// Publishes an object under a name, with either method or both; a null one is not there. PROXY_OK says that
// the request was sent, and lends `userData` until the object is removed or the proxy freed; when the bus
// refuses, a line on standard error tells. A name added on this connection before keeps its first methods;
// after another connect the new ones take the place of the old, which are removed as below.
TAVIX_API RemoteProxyResult tvx_proxy_add_shared_object_full(TvxProxy* proxy, const char* objName,
                                                             TvxMethodCallback callback,
                                                             TvxAsyncMethodCallback asyncCallback,
                                                             void* userData);
TAVIX_API RemoteProxyResult tvx_proxy_add_shared_object(TvxProxy* proxy, const char* objName,
                                                        TvxMethodCallback callback, void* userData);
TAVIX_API RemoteProxyResult tvx_proxy_add_shared_object_async(TvxProxy* proxy, const char* objName,
                                                              TvxAsyncMethodCallback asyncCallback,
                                                              void* userData);
// Takes an object back that these functions have added; PROXY_OBJECT_NOT_FOUND for another name. Calls that
// are not answered get the exception "Object disappeared", code 2. On return its methods run nowhere any
// more; from inside one of them, when that returns. PROXY_CONNECTION_ERROR: removed, but the bus could not
// be told, since there is no connection.
TAVIX_API RemoteProxyResult tvx_proxy_remove_shared_object(TvxProxy* proxy, const char* objName);

// ---- A bus in this process ----

// Shares the loop, and serves on the default socket, whose file it makes anew, while somebody iterates the
// loop. `socketBufferSize` in bytes, 0 for the system's default. Null also when the socket cannot be had:
// standard output has the reason. Of the loop's thread, as is tvx_bus_free.
TAVIX_API TvxBus* tvx_bus_new(TvxPollLoop* loop, int socketBufferSize);
// Closes every connection. Null does nothing.
TAVIX_API void tvx_bus_free(TvxBus* bus);

#ifdef __cplusplus
}

namespace Tavix {
class Element;
}

// For code that works on both sides of the interface: both answer their argument, also null.
TAVIX_API Tavix::Element* tvx_convert_to_cpp_element(_TvxElement* e);
TAVIX_API _TvxElement* tvx_convert_to_tvx_element(Tavix::Element* e);
#endif

#endif
