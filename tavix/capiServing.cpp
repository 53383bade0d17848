// The flat functions for served objects. An adapter belongs to its registration, which the proxy's table
// and every dispatch under way keep: so an adapter outlives the calls of it, and goes with its proxy at the
// latest. The table here only tells which name of which proxy is served by an adapter; an adapter that goes
// takes its entry along.

#include "tavix/ProxyInternal.h"
#include "tavix/SharedObjectObserver.h"
#include "tavix/capiProxyInternal.h"
#include "tavix/elements/ExceptionElem.h"

#include <atomic>
#include <map>
#include <mutex>
#include <utility>

namespace Tavix {

namespace {

using Invocation = SharedPtr<SharedObjectObserver::MethodInvocation>;

// One reference is the dispatch's, one the callback's. So a callback that answers and then declines does no
// harm.
struct AsyncToken {
    explicit AsyncToken(Invocation const& called) : invocation(called) {}

    const Invocation invocation;
    std::atomic<bool> answered{false};
    Ferrule::AtomicCounter references{2};
};

struct ReleaseToken {
    void operator()(AsyncToken* token) const
    {
        if (--token->references == 0)
            delete token; // NOLINT(clang-analyzer-cplusplus.NewDelete): one of the two finds 0
    }
};
using TokenHolder = std::unique_ptr<AsyncToken, ReleaseToken>;

void respondFunction(void* token, TvxElement* result)
{
    if (token == nullptr)
        return;
    AsyncToken* const called = static_cast<AsyncToken*>(token);
    // A second answer inside the callback has no reference left to give up, and is reported like any other.
    const TokenHolder own(called->answered.exchange(true) ? nullptr : called);
    guarded(0, [&] {
        std::unique_ptr<Element> nothing(result == nullptr ? new ExceptionElem("No result", -1) : nullptr);
        called->invocation->respond(nothing ? nothing.get() : toCpp(result));
        return 0;
    });
}

} // namespace

class SharedObjectShim : public SharedObjectObserver {
public:
    SharedObjectShim(TvxProxy* served, TvxMethodCallback function, TvxAsyncMethodCallback asyncFunction,
                     void* data)
        : proxy(served), callback(function), asyncCallback(asyncFunction), userData(data)
    {
    }

    using SharedObjectObserver::callMethod;
    Element* callMethod(std::string objName, std::string method, Element* params) override
    {
        if (callback == nullptr)
            return SharedObjectObserver::callMethod(std::move(objName), std::move(method), params);
        return toCpp(callback(proxy, objName.c_str(), method.c_str(), toFlat(params), userData));
    }

    bool handleMethod(Invocation invocation) override;

    TvxProxy* const proxy;
    TvxMethodCallback const callback;
    TvxAsyncMethodCallback const asyncCallback;
    void* const userData;
};

bool SharedObjectShim::handleMethod(Invocation invocation)
{
    if (asyncCallback == nullptr)
        return false;
    AsyncToken* const token = new AsyncToken(invocation);
    const TokenHolder own(token);
    const int taken =
        asyncCallback(proxy, invocation->getObjectName().c_str(), invocation->getMethodName().c_str(),
                      toFlat(invocation->getParams()), respondFunction, token, userData);
    if (taken != 0 || token->answered)
        return true;
    const TokenHolder declined(token);
    return false;
}

namespace {

// By proxy and name: two proxies may serve one name. Never destroyed, because a proxy may live to the very
// end of the process.
using ShimTable = std::map<std::pair<TavixProxy const*, std::string>, SharedObjectShim*>;
ShimTable& sharedObjectShims = *new ShimTable;
std::mutex sharedObjectShimsLock;

} // namespace

struct FlatProxy::Sharing : TavixProxy::SharedObject {
    Sharing(TavixProxy const* proxy, std::string const& objName, std::unique_ptr<SharedObjectShim> owned)
        : SharedObject(owned.get()), key(proxy, objName), shim(std::move(owned))
    {
    }
    ~Sharing() override
    {
        std::lock_guard<std::mutex> guard(sharedObjectShimsLock);
        auto entry = sharedObjectShims.find(key);
        if (entry != sharedObjectShims.end() && entry->second == shim.get())
            sharedObjectShims.erase(entry);
    }

    const ShimTable::key_type key;
    const std::unique_ptr<SharedObjectShim> shim;
};

// The table knows the adapter before the bus does: a first call of it may remove it again.
RemoteProxyResult FlatProxy::share(TavixProxy& proxy, std::string const& objName,
                                   std::unique_ptr<SharedObjectShim> shim)
{
    if (!proxy.isConnected())
        return PROXY_CONNECTION_ERROR;
    Registered<Sharing> own(new Sharing(&proxy, objName, std::move(shim)));
    TavixProxy::SharedObject* replaced = nullptr;
    if (proxy.listObject(objName, own.get(), replaced)) {
        own->ref();
        std::lock_guard<std::mutex> guard(sharedObjectShimsLock);
        sharedObjectShims[own->key] = own->shim.get();
    }
    const Registered<TavixProxy::SharedObject> old(replaced);
    if (old)
        old->retire();
    const RemoteProxyResult result = proxy.announceObject(objName);
    if (result != PROXY_OK) {
        const Registered<TavixProxy::SharedObject> unsent(proxy.takeOutObject(objName, own->shim.get()));
        own->retire();
    }
    return result;
}

RemoteProxyResult FlatProxy::endSharing(TavixProxy& proxy, std::string const& objName)
{
    SharedObjectShim* shim = nullptr;
    {
        std::lock_guard<std::mutex> guard(sharedObjectShimsLock);
        auto entry = sharedObjectShims.find({&proxy, objName});
        if (entry == sharedObjectShims.end())
            return PROXY_OBJECT_NOT_FOUND;
        shim = entry->second;
        sharedObjectShims.erase(entry);
    }
    const Registered<TavixProxy::SharedObject> removed(proxy.takeOutObject(objName, shim));
    if (!removed)
        return PROXY_OBJECT_NOT_FOUND;
    const RemoteProxyResult result =
        proxy.isConnected() ? proxy.retractObject(objName) : PROXY_CONNECTION_ERROR;
    removed->retire();
    return result;
}

} // namespace Tavix

using namespace Tavix;

RemoteProxyResult tvx_proxy_add_shared_object_full(TvxProxy* proxy, const char* objName,
                                                   TvxMethodCallback callback,
                                                   TvxAsyncMethodCallback asyncCallback, void* userData)
{
    return request(proxy, objName, "", [=] {
        return FlatProxy::share(*toCpp(proxy), objName,
                                std::make_unique<SharedObjectShim>(proxy, callback, asyncCallback, userData));
    });
}

RemoteProxyResult tvx_proxy_add_shared_object(TvxProxy* proxy, const char* objName,
                                              TvxMethodCallback callback, void* userData)
{
    return tvx_proxy_add_shared_object_full(proxy, objName, callback, nullptr, userData);
}

RemoteProxyResult tvx_proxy_add_shared_object_async(TvxProxy* proxy, const char* objName,
                                                    TvxAsyncMethodCallback asyncCallback, void* userData)
{
    return tvx_proxy_add_shared_object_full(proxy, objName, nullptr, asyncCallback, userData);
}

RemoteProxyResult tvx_proxy_remove_shared_object(TvxProxy* proxy, const char* objName)
{
    return request(proxy, objName, "", [=] { return FlatProxy::endSharing(*toCpp(proxy), objName); });
}
