#ifndef TAVIX_REMOTEPROXYRESULT_H
#define TAVIX_REMOTEPROXYRESULT_H

/*
 * Result of an operation of a proxy, and the code of the exception that the bus sends as a failure reply.
 * Compiles as C. The value 1 has no name: an exception with that code passes through unchanged.
 */
typedef enum RemoteProxyResult {
    PROXY_OK = 0,
    PROXY_CONNECTION_ERROR = 2,           /* not connected, or the connection broke */
    PROXY_MEMORY_ERROR = 3,               /* the value cannot be encoded; standard error names the place */
    PROXY_OBJECT_NOT_FOUND = 4,           /* no client of the bus owns the object */
    PROXY_METHOD_NOT_FOUND = 5,           /* only as the code of an object's exception */
    PROXY_OBJECT_ALREADY_EXISTS = 6,      /* the object is shared already */
    PROXY_REMOVE_FAILED_WRONG_CLIENT = 7, /* another client owns the object */
    PROXY_OBSERVER_ALREADY_EXISTS = 8,    /* the observer is listed for this pair already */
    PROXY_OBSERVER_NOT_FOUND = 9,         /* the pair has no observers */
    PROXY_EXCEPTION = 10,        /* the object answered with an exception; its code is in the element */
    PROXY_REQUEST_TOO_LARGE = 11 /* the frame would exceed 196608 bytes */
} RemoteProxyResult;

#ifdef __cplusplus
namespace Tavix {
using ::PROXY_CONNECTION_ERROR;
using ::PROXY_EXCEPTION;
using ::PROXY_MEMORY_ERROR;
using ::PROXY_METHOD_NOT_FOUND;
using ::PROXY_OBJECT_ALREADY_EXISTS;
using ::PROXY_OBJECT_NOT_FOUND;
using ::PROXY_OBSERVER_ALREADY_EXISTS;
using ::PROXY_OBSERVER_NOT_FOUND;
using ::PROXY_OK;
using ::PROXY_REMOVE_FAILED_WRONG_CLIENT;
using ::PROXY_REQUEST_TOO_LARGE;
using ::RemoteProxyResult;
} // namespace Tavix
#endif

#endif
