// The flat functions over proxies: their life, and calls.

#include "tavix/ProxyInternal.h"
#include "tavix/TavixProxyThreaded.h"
#include "tavix/capiProxyInternal.h"

namespace Tavix {

// The record stands in the proxy's list, with which it goes when the proxy is destroyed before the answer.
RemoteProxyResult FlatProxy::callAsync(TavixProxy& proxy, const char* objName, const char* method,
                                       Element* params, TvxResponseCallback callback, void* userData)
{
    if (callback == nullptr)
        return proxy.callMethodAsync(objName, method, params, nullptr, nullptr);
    ProxyPrivate& inside = *proxy._private;
    std::list<ProxyPrivate::AsyncCallShim> call{{callback, toFlat(&proxy), userData, &inside, {}}};
    ProxyPrivate::AsyncCallShim& shim = call.front();
    shim.place = call.begin();
    {
        Ferrule::Guard<std::mutex> guard(inside.requestLock);
        inside.asyncCalls.splice(inside.asyncCalls.end(), call);
    }
    const RemoteProxyResult result = proxy.callMethodAsync(objName, method, params, responseCallback, &shim);
    if (result != PROXY_OK) {
        Ferrule::Guard<std::mutex> guard(inside.requestLock);
        call.splice(call.end(), inside.asyncCalls, shim.place);
    }
    return result;
}

void FlatProxy::responseCallback(ResponseData const* response, void* shim)
{
    ProxyPrivate::AsyncCallShim& called = *static_cast<ProxyPrivate::AsyncCallShim*>(shim);
    std::list<ProxyPrivate::AsyncCallShim> call;
    {
        Ferrule::Guard<std::mutex> guard(called.owner->requestLock);
        call.splice(call.end(), called.owner->asyncCalls, called.place);
    }
    called.callback(called.proxy, toFlat(response->map->find("result")), called.userData);
}

} // namespace Tavix

using namespace Tavix;

TvxProxy* tvx_proxy_new(TvxPollLoop* loop)
{
    if (loop == nullptr)
        return nullptr;
    return guarded<TvxProxy*>(nullptr, [=] { return toFlat(new TavixProxy(*toCpp(loop))); });
}

TvxProxy* tvx_proxy_threaded_new(void)
{
    return guarded<TvxProxy*>(nullptr, [] { return toFlat(new TavixProxyThreaded); });
}

TvxProxy* tvx_proxy_init(TvxPollLoop* loop)
{
    if (loop == nullptr)
        return nullptr;
    return guarded<TvxProxy*>(nullptr, [=] { return toFlat(TavixProxy::init(*toCpp(loop))); });
}

void tvx_proxy_threaded_init(void)
{
    if (TavixProxy::instance() == nullptr)
        guarded<TavixProxy*>(nullptr, [] { return TavixProxyThreaded::init(); });
}

TvxProxy* tvx_proxy_instance(void)
{
    return toFlat(TavixProxy::instance());
}

void tvx_proxy_threaded_kill_main_loop(TvxProxy* proxy)
{
    if (auto* threaded = dynamic_cast<TavixProxyThreaded*>(toCpp(proxy)))
        threaded->killMainLoop();
}

void tvx_proxy_free(TvxProxy* proxy)
{
    if (toCpp(proxy) != TavixProxy::instance())
        delete toCpp(proxy);
}

int tvx_proxy_connect(TvxProxy* proxy, const char* address)
{
    if (proxy == nullptr)
        return 0;
    return guarded(0, [=] {
        toCpp(proxy)->connect(address, 0);
        return toCpp(proxy)->isConnected() ? 1 : 0;
    });
}

int tvx_proxy_is_connected(void)
{
    TavixProxy* const proxy = TavixProxy::instance();
    return proxy != nullptr && proxy->isConnected() ? 1 : 0;
}

void tvx_proxy_wait(TvxProxy* proxy, sem_t* sem)
{
    if (proxy != nullptr)
        toCpp(proxy)->wait(sem);
}

void tvx_proxy_flush(TvxProxy* proxy)
{
    if (proxy != nullptr)
        toCpp(proxy)->flush();
}

TvxElement* tvx_proxy_call_method(TvxProxy* proxy, const char* objName, const char* method,
                                  TvxElement* params, RemoteProxyResult* result)
{
    RemoteProxyResult code = whatIsMissing(proxy, objName, method);
    TvxElement* answer = nullptr;
    if (code == PROXY_OK) {
        try {
            answer = toFlat(toCpp(proxy)->callMethod(objName, method, toCpp(params), code));
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

RemoteProxyResult tvx_proxy_call_method_async(TvxProxy* proxy, const char* objName, const char* method,
                                              TvxElement* params, TvxResponseCallback callback,
                                              void* userData)
{
    return request(proxy, objName, method, [=] {
        return FlatProxy::callAsync(*toCpp(proxy), objName, method, toCpp(params), callback, userData);
    });
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
