#ifndef TAVIX_CAPIINTERNAL_H
#define TAVIX_CAPIINTERNAL_H

#include <tavix/capi.h>
#include <tavix/elements/Element.h>

#include <memory>
#include <new>

namespace Tavix {

inline Element* toCpp(TvxElement* e)
{
    return reinterpret_cast<Element*>(e);
}

inline TvxElement* toFlat(Element* e)
{
    return reinterpret_cast<TvxElement*>(e);
}

// Runs `work`; answers `refusal` when memory runs out inside it. No exception reaches a caller without
// classes.
template <typename Answer, typename Work>
Answer guarded(Answer refusal, Work work)
{
    try {
        return work();
    } catch (std::bad_alloc const&) {
        return refusal;
    }
}

// Puts a question that reports a code to `e`. A caller may want no code, and `e` may be missing.
template <typename Answer, typename Ask>
Answer ask(TvxElement* e, TvxResult* result, Answer refusal, Ask question)
{
    TvxResult code = OPERATION_FAILED_NOT_SUPPORTED;
    Answer answer = refusal;
    if (e != nullptr) {
        try {
            answer = question(*toCpp(e), code);
        } catch (std::bad_alloc const&) {
            code = OPERATION_FAILED_OUT_OF_MEMORY;
        }
    }
    if (result != nullptr)
        *result = code;
    return answer;
}

} // namespace Tavix

#endif
