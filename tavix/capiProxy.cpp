// The flat functions for a client: a loop, a proxy over it, and calls.

#include "tavix/SelectLoopGlue.h"
#include "tavix/TavixProxy.h"
#include "tavix/capiInternal.h"

#include <tavix/capi.h>

using namespace Tavix;

namespace {

using LoopPointer = SharedPtr<PollLoopIf>;

// The handle of a loop is a shared pointer on the heap; that of a proxy is the proxy itself.
LoopPointer* toCpp(TvxPollLoop* loop)
{
    return reinterpret_cast<LoopPointer*>(loop);
}

TavixProxy* toCpp(TvxProxy* proxy)
{
    return reinterpret_cast<TavixProxy*>(proxy);
}

// What is missing for a call, in the terms of its result; PROXY_OK when nothing is.
RemoteProxyResult whatIsMissing(TvxProxy* proxy, const char* objName, const char* method)
{
    if (proxy == nullptr)
        return PROXY_CONNECTION_ERROR;
    if (objName == nullptr)
        return PROXY_OBJECT_NOT_FOUND;
    return method == nullptr ? PROXY_METHOD_NOT_FOUND : PROXY_OK;
}

} // namespace

TvxPollLoop* tvx_select_loop_glue_new(void)
{
    return guarded<TvxPollLoop*>(nullptr, []() -> TvxPollLoop* {
        PollLoopIf* loop = select_loop_glue_new();
        if (loop == nullptr)
            return nullptr;
        LoopPointer owned(loop);
        return reinterpret_cast<TvxPollLoop*>(new LoopPointer(owned));
    });
}

void tvx_poll_loop_free(TvxPollLoop* loop)
{
    delete toCpp(loop);
}

void tvx_poll_loop_iterate(TvxPollLoop* loop)
{
    if (loop != nullptr)
        (*toCpp(loop))->iterate();
}

TvxProxy* tvx_proxy_new(TvxPollLoop* loop)
{
    if (loop == nullptr)
        return nullptr;
    return guarded<TvxProxy*>(nullptr,
                              [&] { return reinterpret_cast<TvxProxy*>(new TavixProxy(*toCpp(loop))); });
}

void tvx_proxy_free(TvxProxy* proxy)
{
    delete toCpp(proxy);
}

int tvx_proxy_connect(TvxProxy* proxy, const char* address)
{
    if (proxy == nullptr)
        return 0;
    return guarded(0, [&] {
        toCpp(proxy)->connect(address, 0);
        return toCpp(proxy)->isConnected() ? 1 : 0;
    });
}

TvxElement* tvx_proxy_call_method(TvxProxy* proxy, const char* objName, const char* method,
                                  TvxElement* params, RemoteProxyResult* result)
{
    RemoteProxyResult code = whatIsMissing(proxy, objName, method);
    TvxElement* answer = nullptr;
    if (code == PROXY_OK) {
        try {
            answer = toFlat(toCpp(proxy)->callMethod(objName, method, Tavix::toCpp(params), code));
        } catch (std::bad_alloc const&) {
            code = PROXY_MEMORY_ERROR;
        }
    }
    if (result != nullptr)
        *result = code;
    return answer;
}

TvxElement* tvx_proxy_call_with_format(TvxProxy* proxy, RemoteProxyResult* result, const char* objName,
                                       const char* method, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    TvxElement* params = tvx_elem_new_va(format, args);
    va_end(args);
    if (params == nullptr) {
        if (result != nullptr)
            *result = PROXY_MEMORY_ERROR;
        return nullptr;
    }
    TvxElement* answer = tvx_proxy_call_method(proxy, objName, method, params, result);
    tvx_elem_free(params);
    return answer;
}

const char* tvx_proxy_result_to_string(RemoteProxyResult result)
{
    switch (result) {
    case PROXY_OK:
        return "PROXY_OK";
    case PROXY_CONNECTION_ERROR:
        return "PROXY_CONNECTION_ERROR";
    case PROXY_MEMORY_ERROR:
        return "PROXY_MEMORY_ERROR";
    case PROXY_OBJECT_NOT_FOUND:
        return "PROXY_OBJECT_NOT_FOUND";
    case PROXY_METHOD_NOT_FOUND:
        return "PROXY_METHOD_NOT_FOUND";
    case PROXY_OBJECT_ALREADY_EXISTS:
        return "PROXY_OBJECT_ALREADY_EXISTS";
    case PROXY_REMOVE_FAILED_WRONG_CLIENT:
        return "PROXY_REMOVE_FAILED_WRONG_CLIENT";
    case PROXY_OBSERVER_ALREADY_EXISTS:
        return "PROXY_OBSERVER_ALREADY_EXISTS";
    case PROXY_OBSERVER_NOT_FOUND:
        return "PROXY_OBSERVER_NOT_FOUND";
    case PROXY_EXCEPTION:
        return "PROXY_EXCEPTION";
    case PROXY_REQUEST_TOO_LARGE:
        return "PROXY_REQUEST_TOO_LARGE";
    }
    return "Unknown error";
}
