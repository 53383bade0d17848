#ifndef TAVIX_CAPIPROXYINTERNAL_H
#define TAVIX_CAPIPROXYINTERNAL_H

#include "tavix/TavixProxy.h"
#include "tavix/capiInternal.h"

#include <string>

namespace Tavix {

// The handle of a loop is a shared pointer on the heap; that of a proxy is the proxy itself.
using LoopPointer = SharedPtr<PollLoopIf>;

inline LoopPointer* toCpp(TvxPollLoop* loop)
{
    return reinterpret_cast<LoopPointer*>(loop);
}

inline TavixProxy* toCpp(TvxProxy* proxy)
{
    return reinterpret_cast<TavixProxy*>(proxy);
}

inline TvxProxy* toFlat(TavixProxy* proxy)
{
    return reinterpret_cast<TvxProxy*>(proxy);
}

// What is missing for a request, in the terms of its result; PROXY_OK when nothing is.
inline RemoteProxyResult whatIsMissing(TvxProxy* proxy, const char* objName, const char* method)
{
    if (proxy == nullptr)
        return PROXY_CONNECTION_ERROR;
    if (objName == nullptr)
        return PROXY_OBJECT_NOT_FOUND;
    return method == nullptr ? PROXY_METHOD_NOT_FOUND : PROXY_OK;
}

// Runs `work` unless something is missing for it.
template <typename Work>
RemoteProxyResult request(TvxProxy* proxy, const char* objName, const char* method, Work work)
{
    const RemoteProxyResult missing = whatIsMissing(proxy, objName, method);
    return missing != PROXY_OK ? missing : guarded(PROXY_MEMORY_ERROR, work);
}

class EventObserverShim;
class SharedObjectShim;

// What the flat interface does inside a proxy: it hands over adapters, which a proxy otherwise only
// borrows, and takes them back with a wait for the calls that are under way.
struct FlatProxy {
    static RemoteProxyResult callAsync(TavixProxy& proxy, const char* objName, const char* method,
                                       Element* params, TvxResponseCallback callback, void* userData);
    static RemoteProxyResult observe(TavixProxy& proxy, std::unique_ptr<EventObserverShim> shim);
    static RemoteProxyResult endObservation(TavixProxy& proxy, EventObserverShim& shim);
    static RemoteProxyResult share(TavixProxy& proxy, std::string const& objName,
                                   std::unique_ptr<SharedObjectShim> shim);
    static RemoteProxyResult endSharing(TavixProxy& proxy, std::string const& objName);

private:
    struct Observation;
    struct Sharing;

    static void responseCallback(ResponseData const* response, void* shim);
};

} // namespace Tavix

#endif
