// Construction, connecting and calling. A request stands in the table before its first byte leaves, marked
// with the connection that it goes out on; whoever takes it out of the table, the response, the end of that
// connection or a failed send, is the one that ends it. So a callback runs exactly once, or the caller was
// told that it never will.

#include "tavix/TavixProxy.h"

#include "tavix/LogDebug.h"
#include "tavix/Message.h"
#include "tavix/ProxyFrameInternal.h"
#include "tavix/SocketPath.h"
#include "tavix/SocketUtil.h"
#include "tavix/capi.h"
#include "tavix/elements/MapElem.h"
#include "tavix/foundation/Check.h"
#include "tavix/foundation/RecycledNode.h"
#include "tavix/foundation/SingleThreaded.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace Tavix {

namespace {

// One reference is the waiting caller's and one the callback's: an exception of a handler that runs in the wait
// takes the caller away before the answer comes.
struct SyncCallState : Ferrule::RecycledNode {
    Ferrule::Semaphore sem{0};
    std::unique_ptr<MapElem> map;
    Ferrule::AtomicCounter references{2};
};

struct ReleaseCallState {
    void operator()(SyncCallState* state) const
    {
        if (--state->references == 0)
            delete state;
    }
};

using CallStateHolder = std::unique_ptr<SyncCallState, ReleaseCallState>;

bool isSocketFile(char const* path)
{
    struct stat status;
    return stat(path, &status) == 0 && S_ISSOCK(status.st_mode);
}

} // namespace

TavixProxy::Log::~Log() = default;

TavixProxy::TavixProxy(SharedPtr<PollLoopIf> const& loop)
    : _pollLoopIf(loop), _private(new ProxyPrivate(this))
{
}

TavixProxy::~TavixProxy()
{
    ProxyFrame::forget(*this);
    {
        std::unique_lock<std::mutex> guard(_private->life->lock);
        _private->life->proxy = nullptr;
        _private->life->idle.wait(guard, [this] { return _private->life->answering == 0; });
    }
    for (auto& entry : _private->requests)
        delete entry.second;
    _private->requests.clear();
    _private->backChannels.abandonAll();
    deleteObservers();

    if (std::shared_ptr<ProxyLink> link = currentLink()) {
        Ferrule::Guard<std::mutex> write(_private->writeLock);
        _pollLoopIf->removeSource(link->source);
        _pollLoopIf->deleteSource(link->source);
        link->source = nullptr;
    }
}

TavixProxy* TavixProxy::init(SharedPtr<PollLoopIf> const& loop)
{
    TavixProxy* proxy = new TavixProxy(loop);
    Ferrule::BasicSingleton<TavixProxy>::init(proxy);
    return proxy;
}

bool TavixProxy::connect(char const* address, int bufferSize)
{
    if (isConnected())
        return true;
    // Another thread may have connected in between; a derived class that denies its connection may not connect again.
    TAVIX_CHECK(_private->linkId == 0 || isConnected(), "_connection == 0");

    std::string path;
    if (!address || !*address)
        path = getSocketPath();
    else if (isSocketFile(address))
        path = address;

    ProxyFrame::flushAll(); // connecting may take long
    int fd = path.empty() ? connectToServerTCP(address) : connectToServerUnixDomain(path.c_str());
    if (fd < 0)
        return false;
    if (bufferSize > 0)
        setSocketBufferSize(fd, bufferSize);
    return adopt(fd);
}

bool TavixProxy::connectToFd(int fd)
{
    if (isConnected())
        return true;
    return fd >= 0 && adopt(fd);
}

// Takes fd, whatever comes of it.
bool TavixProxy::adopt(int fd)
{
    LogDebug::logMessage("Client connected : client = %d, socket = %d", 0, fd);

    auto link = std::make_shared<ProxyLink>(fd, _private->nextLinkId++);
    if (_pollLoopIf->newSource(fd, &link->source) != 0)
        return false;
    if (!install(link)) { // another thread was faster
        _pollLoopIf->deleteSource(link->source);
        return true;
    }
    if (!watch(*link)) {
        connectionBroken(link);
        return false;
    }
    return true;
}

bool TavixProxy::install(std::shared_ptr<ProxyLink> const& link)
{
    Ferrule::Guard<std::mutex> guard(_private->connectionLock);
    if (_private->link)
        return false;
    _private->link = link; // in place before the loop can report its socket
    _private->linkId = link->id;
    return true;
}

bool TavixProxy::watch(ProxyLink& link)
{
    Ferrule::Guard<std::mutex> guard(_private->writeLock);
    if (!link.source)
        return false; // a sender has found it broken already
    _pollLoopIf->sourceAddWatch(link.source, kReadWatch);
    return _pollLoopIf->addSource(link.source, sourceCallback, this) == 0;
}

bool TavixProxy::isConnected()
{
    return _private->linkId != 0;
}

void TavixProxy::setLog(SharedPtr<Log> const& log)
{
    _log = log;
}

std::shared_ptr<ProxyLink> TavixProxy::currentLink() const
{
    Ferrule::Guard<std::mutex> guard(_private->connectionLock);
    return _private->link;
}

Element* TavixProxy::callMethod(std::string objName, std::string method, Element* params,
                                RemoteProxyResult& result)
{
    const CallStateHolder state(new SyncCallState);
    CallStateHolder callbacks(state.get());
    result = callMethodAsync(std::move(objName), std::move(method), params, cm_callback, state.get());
    if (result != PROXY_OK)
        return nullptr;
    (void)callbacks.release(); // its own now
    wait(state->sem);

    TvxResult removed;
    Element* element = state->map->removeChild("result", removed);
    if (element->isException())
        result = setProxyResult(element->intValue());
    return element;
}

RemoteProxyResult TavixProxy::callMethodAsync(std::string objName, std::string method, Element* params,
                                              ResponseCallback callback, void* userData)
{
    if (!isConnected())
        return PROXY_CONNECTION_ERROR;
    RemoteProxyResult result = PROXY_OK;
    formatAndSendRequest(CallMethod, objName, method, params, true, result, callback, userData);
    return result;
}

RemoteProxyResult TavixProxy::callMethodAsync(ResponseCallback callback, void* userData,
                                              std::string const& objName, std::string const& method,
                                              std::string const& format, ...)
{
    if (!isConnected())
        return PROXY_CONNECTION_ERROR;
    va_list arguments;
    va_start(arguments, format);
    std::unique_ptr<Element> params(tvx_convert_to_cpp_element(tvx_elem_new_va(format.c_str(), arguments)));
    va_end(arguments);
    if (!params)
        return PROXY_MEMORY_ERROR;
    return callMethodAsync(objName, method, params.get(), callback, userData);
}

void cm_callback(ResponseData const* r, void* state)
{
    const CallStateHolder call(static_cast<SyncCallState*>(state));
    // The response dies when this callback returns, and nobody looks at its tree behind it: taken, not
    // copied.
    call->map.reset(std::exchange(const_cast<ResponseData*>(r)->map, nullptr));
    call->sem.post();
}

RemoteProxyResult TavixProxy::getResultCode(EESVisitor::Result r) const
{
    return r == 1 ? PROXY_MEMORY_ERROR : PROXY_OK;
}

RemoteProxyResult TavixProxy::setProxyResult(int code) const
{
    return code >= 1 && code <= 9 ? static_cast<RemoteProxyResult>(code) : PROXY_EXCEPTION;
}

CoreRequest* TavixProxy::formatAndSendRequest(EESMessageType type, std::string const& objName,
                                              std::string const& method, Element* params, bool wantsResponse,
                                              RemoteProxyResult& result, ResponseCallback callback,
                                              void* userData)
{
    RequestData request;
    request.id = _private->nextRequestId++;
    if (_log.get() && type == CallMethod)
        _log->logMethodCall(false, objName, method, params, request.id);
    if (_log.get() && type == Event)
        _log->logEventSent(objName, method, params);

    EESVisitor visitor;
    visitor.shareLargeValues();
    result = getResultCode(visitor.startMessage(type, request.id, objName, method, _identity));
    if (result != PROXY_OK)
        return nullptr;
    if (params)
        params->accept(&visitor);
    if (!visitor.encodeFrame(request.frame)) {
        std::fprintf(stderr, "TavixProxy: cannot send \"%s\" to object \"%s\": %s\n", method.c_str(),
                     objName.c_str(), visitor.getError().c_str());
        result = PROXY_MEMORY_ERROR;
        return nullptr;
    }
    request.noResponse = wantsResponse ? 0 : 1;
    if (type != BackChannel && holdsDescriptors(visitor.fileDescriptors)) {
        if (type == CallMethod)
            return startTransfer(request, visitor.fileDescriptors, objName, method, result, callback,
                                 userData);
        std::fprintf(
            stderr,
            "TavixProxy: only calls pass descriptors: those in event \"%s\" of object \"%s\" are sent "
            "as mere numbers\n",
            method.c_str(), objName.c_str());
    }

    std::unique_ptr<CoreRequest> core(new CoreRequest(&request, type));
    core->callback = callback;
    core->userData = userData;
    if (type == AddSharedObject)
        core->objName = objName;
    return sendRequest(request, core.release(), result);
}

CoreRequest* TavixProxy::sendRequest(RequestData& requestData, CoreRequest* core, RemoteProxyResult& result)
{
    std::unique_ptr<CoreRequest> unsent(core);
    const bool waits = !core->getRequest()->noResponse;
    const unsigned id = requestData.id;
    result = PROXY_OK;

    std::shared_ptr<ProxyLink> link = currentLink();
    if (!link) {
        result = PROXY_CONNECTION_ERROR;
        return nullptr;
    }
    core->connectionId = link->id;
    if (waits) {
        Ferrule::Guard<std::mutex> guard(_private->requestLock);
        CoreRequest*& entry = _private->requests[id];
        delete entry; // the identifiers have gone all the way round
        entry = unsent.release();
    }

    SharedPtr<Message> message(new Message(requestData.frame));
    if (link->connection.postMessage(message) != 0)
        result = PROXY_REQUEST_TOO_LARGE;
    else if (waits && _private->linkId != link->id)
        result = PROXY_CONNECTION_ERROR;
    else if (_private->queueingThread != pthread_self())
        sendQueued(link, message->size);

    if (!waits)
        return nullptr;
    if (result == PROXY_OK)
        return core;
    // When the end of the connection has taken the request in the meantime, its callback runs: no failure
    // then.
    if (!forgetRequest(id, core))
        result = PROXY_OK;
    return nullptr;
}

bool TavixProxy::forgetRequest(unsigned id, CoreRequest* core)
{
    std::unique_ptr<CoreRequest> forgotten;
    Ferrule::Guard<std::mutex> guard(_private->requestLock);
    auto entry = _private->requests.find(id);
    if (entry == _private->requests.end() || entry->second != core)
        return false;
    forgotten.reset(entry->second);
    _private->requests.erase(entry);
    return true;
}

} // namespace Tavix
