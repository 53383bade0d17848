#ifndef TAVIX_ELEMENTS_TVXRESULT_H
#define TAVIX_ELEMENTS_TVXRESULT_H

/* The result code of element operations. Usable from C. */

#ifdef __cplusplus
extern "C" {
#endif

typedef enum TvxResult {
    OPERATION_OK = 0,
    OPERATION_FAILED_NOT_SUPPORTED = 1,
    OPERATION_FAILED_NO_SUCH_CHILD = 2,
    OPERATION_INDEX_OUT_OF_BOUNDS = 3,
    OPERATION_FAILED_CHILD_ALREADY_EXISTS = 4,
    OPERATION_FAILED_OUT_OF_MEMORY = 5
} TvxResult;

#ifdef __cplusplus
} /* extern "C" */

namespace Tavix {

using ::TvxResult;

using ::OPERATION_FAILED_CHILD_ALREADY_EXISTS;
using ::OPERATION_FAILED_NO_SUCH_CHILD;
using ::OPERATION_FAILED_NOT_SUPPORTED;
using ::OPERATION_FAILED_OUT_OF_MEMORY;
using ::OPERATION_INDEX_OUT_OF_BOUNDS;
using ::OPERATION_OK;

} /* namespace Tavix */
#endif

#endif
