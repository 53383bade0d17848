#ifndef TAVIX_CAPI_H
#define TAVIX_CAPI_H

// The flat interface of Tavix: plain functions for C99, C++ and the foreign function interfaces of other
// languages. This file can be read alone. What holds for every function:
//
// 1. Handles. A value is a tree of elements, and a TvxElement* stands for one of them with everything below
//    it. In C++ it is the Tavix::Element* itself: the two conversions at the end change the type and nothing
//    else.
// 2. Ownership. tvx_elem_new*, tvx_*_elem_new*, tvx_elem_clone and tvx_*_remove_child give the caller an
//    element, which the caller releases with tvx_elem_free or hands to a container. A container takes a
//    child away from the caller, also when adding fails, and releases it with itself. tvx_*_get_child lends:
//    the pointer is valid while the container keeps the child. Texts and bytes passed in are copied.
// 3. Errors. A constructor answers null when memory runs out. A `result` argument may be null; otherwise the
//    code is stored there. Nothing throws.
// 4. Nulls. A null where a handle, text or buffer is needed is refused: nothing is changed, a child that
//    would have been taken is released, and the answer is the refusal: null for a pointer, false for a bool,
//    0 for "non-zero on success", for the rest what is said at the function. The code, where there is one,
//    is OPERATION_FAILED_NOT_SUPPORTED.
// 5. Texts end at their first zero byte here, although an element may hold any bytes.
// 6. Threads. A tree, and an iterator over it, belong to one thread at a time. Proxies and loops say for
//    themselves.

#include <tavix/RemoteProxyResult.h>
#include <tavix/elements/TvxResult.h>
#include <tavix/foundation/Export.h>

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

// The name of a code, as "OPERATION_OK", or "Unknown error" for any other value. A constant text.
TAVIX_API const char* tvx_result_to_string(TvxResult result);

// ---- New elements ----

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
// What an object answers in place of a value to report a failure to its caller.
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
// "NonterminalElem" for a list or map. An exception is found with tvx_elem_is_exception only.
TAVIX_API bool tvx_elem_instance_of(TvxElement* e, const char* type);
// -1 on a leaf; this is the refusal, too.
TAVIX_API int tvx_elem_get_num_children(TvxElement* e);
// Writes the tree for people, a line per element, 25 levels deep, to standard output or to `stream`.
TAVIX_API void tvx_elem_print(const char* name, TvxElement* e);
TAVIX_API void tvx_elem_fprint(FILE* stream, const char* name, TvxElement* e);

// ---- Reading values ----
// Every question may be put to every element. One that has no such value answers a fixed default.

// Reads integers, booleans, doubles (cut towards zero), exceptions (the code), binaries of 1, 2 or 4 bytes
// (in the order of this machine) and texts: decimal, hexadecimal behind "0x", octal behind "0". Default: -1,
// with code 1 for a text or binary that does not read. Refusal: -1.
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

// The text functions read texts, numbers (decimal), booleans ("true", "false"), binaries (the bytes) and
// exceptions (the message); any other element reads as the empty text. Code 5: out of memory.

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
// Everything that is received is handled inside tvx_poll_loop_iterate, on the thread that calls it.

// A loop over select(2), for descriptors below 1024.
TAVIX_API TvxPollLoop* tvx_select_loop_glue_new(void);
// Gives up the caller's share: the loop itself stays while a proxy uses it. Null does nothing.
TAVIX_API void tvx_poll_loop_free(TvxPollLoop* loop);
// Waits until something happens and handles it.
TAVIX_API void tvx_poll_loop_iterate(TvxPollLoop* loop);

// ---- Proxies: calling other processes' objects ----
// A proxy belongs to the thread that runs its loop.

// Shares the loop. Makes no connection. The caller frees the proxy with tvx_proxy_free.
TAVIX_API TvxProxy* tvx_proxy_new(TvxPollLoop* loop);
// Null does nothing.
TAVIX_API void tvx_proxy_free(TvxProxy* proxy);
// Connects to the bus: at its default socket for a null `address`, at the path of a Unix domain socket, or
// over TCP at "host", "host:port" or "[v6 address]:port". Blocks for up to 11 seconds while nobody listens on
// a Unix domain path. Answers non-zero when the proxy is connected.
TAVIX_API int tvx_proxy_connect(TvxProxy* proxy, const char* address);
// Calls a method and waits for the answer, running the loop meanwhile. Lends `params`; null for none. The
// element answered is the caller's: with PROXY_OK it is the value, with a code that came from the object or
// the bus the exception, which has the text; null when the call could not be sent. Refusal: null, with
// PROXY_CONNECTION_ERROR for a null `proxy`, PROXY_OBJECT_NOT_FOUND or PROXY_METHOD_NOT_FOUND for the names.
TAVIX_API TvxElement* tvx_proxy_call_method(TvxProxy* proxy, const char* objName, const char* method,
                                            TvxElement* params, RemoteProxyResult* result);
// The same with the parameters that tvx_elem_new builds; PROXY_MEMORY_ERROR when it cannot.
TAVIX_API TvxElement* tvx_proxy_call_with_format(TvxProxy* proxy, RemoteProxyResult* result,
                                                 const char* objName, const char* method, const char* format,
                                                 ...);
// The name of a result, as "PROXY_OK", or "Unknown error" for a value without one. A constant text.
TAVIX_API const char* tvx_proxy_result_to_string(RemoteProxyResult result);

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
