#ifndef TAVIX_TAVIXPROXY_H
#define TAVIX_TAVIXPROXY_H

#include <tavix/CoreRequest.h>
#include <tavix/ObjectEventObserver.h>
#include <tavix/PollLoopIf.h>
#include <tavix/RemoteProxyResult.h>
#include <tavix/ResponseData.h>
#include <tavix/SharedObjectObserver.h>
#include <tavix/elements/EESMessageType.h>
#include <tavix/elements/EESVisitor.h>
#include <tavix/elements/Element.h>
#include <tavix/foundation/BasicSingleton.h>
#include <tavix/foundation/Export.h>
#include <tavix/foundation/Semaphore.h>
#include <tavix/foundation/SharedPtr.h>

#include <memory>
#include <semaphore.h>
#include <string>

namespace Tavix {

class BackChannels;
class BackChannelState;
class Connection;
class ListElem;
struct Message;
class ObjectReadyObserver;
class ProxyFrame;
struct ProxyPrivate;
struct ProxyLink;

// The client end of the bus: one object per connection. It calls methods of other processes' objects and
// serves the application's own, sends events and observes them.
//
// Threads: every callback, handler, observer and response runs inside PollLoopIf::iterate, on the thread that
// calls it. Sending (callMethodAsync, sendEvent, respond of a token), adding and removing of objects and
// observers are open to all threads. wait, callMethod, onObjectAdded and waitForObject run the loop on the
// calling thread, so on a plain proxy they belong to the loop's thread.
//
// A blocking call may be made from inside a handler or a callback: it runs the loop further, and other
// inbound messages are dispatched meanwhile. There is no time-out: a call ends with its answer or with its
// connection.
//
// What callbacks of a proxy send on the loop's thread leaves together: when the callbacks for what has come in are
// through, before a blocking call or another pass of the loop in one of them, before fork() and at exit(), and when it
// becomes much. flush() sends it at once. Everywhere else a message leaves at once.
class TAVIX_API TavixProxy : public Ferrule::BasicSingleton<TavixProxy> {
public:
    // An interface for tracing traffic; the elements are lent for the call. Called on the thread that sends
    // or dispatches.
    class TAVIX_API Log {
    public:
        virtual ~Log();
        virtual void logMethodCall(bool incoming, std::string const& objName, std::string const& method,
                                   Element* params, unsigned requestId) = 0;
        virtual void logMethodResponse(unsigned requestId, Element* result) = 0;
        virtual void logEventReceived(std::string const& objName, std::string const& event,
                                      Element* data) = 0;
        virtual void logEventSent(std::string const& objName, std::string const& event, Element* data) = 0;
    };

    class MethodCall;
    struct EventObserverInfo;
    struct SharedObject;

    // What handleMethodResponse completes.
    enum MessageType { kResponse = 1 };

    // Shares the loop. Makes no connection.
    explicit TavixProxy(SharedPtr<PollLoopIf> const& loop);
    TavixProxy(TavixProxy const&) = delete;
    TavixProxy& operator=(TavixProxy const&) = delete;

    // Closes the connection. Callbacks of requests in flight do not run; tokens that are still held are
    // harmless. Runs on the loop's thread, outside of the proxy's own callbacks.
    virtual ~TavixProxy();

    // Creates the process's proxy, which BasicSingleton<TavixProxy>::instance then answers and which is
    // deleted at the end of the process. A second call stops the process. Lends the proxy.
    static TavixProxy* init(SharedPtr<PollLoopIf> const& loop);

    // Connects to the bus. address: null or empty for the default socket (see getSocketPath), the path of a
    // Unix domain socket, or otherwise a TCP address "host", "host:port" or "[v6 address]:port".
    // bufferSize: bytes for the socket's send and receive buffers; 0 leaves the system's default.
    // True when the proxy is connected on return, also when it was before. Blocks for up to 11 seconds when
    // nobody listens on a Unix domain path. After a lost connection the application connects again, and adds
    // its shared objects again, and removes and adds its observers: the bus has forgotten them.
    bool connect(char const* address, int bufferSize);

    // Adopts a connected stream socket: takes fd, also on failure. Exceptions: on a proxy that is connected
    // already fd stays the caller's and the answer is true; -1 answers false. Of two
    // threads that connect at once the slower one's fd is closed, and both answers are true.
    bool connectToFd(int fd);

    virtual bool isConnected();

    // Shares the log; an empty pointer ends logging. Set it before other threads use the proxy.
    virtual void setLog(SharedPtr<Log> const& log);

    // Parameters of calls may hold open descriptors (FileDescriptorElem), anywhere in the tree and at most 253: the
    // handler finds descriptors of its own process in them. The caller's are lent for the call of callMethod or
    // callMethodAsync alone and stay its own. A transfer that fails ends the call with an exception that says why;
    // when it cannot even begin, the callback runs before callMethodAsync returns. Calls made later may reach the
    // object earlier than one that waits for its descriptors. In events and results a descriptor is a mere number.
    //
    // Calls a method and waits. Lends params (null for none). Gives back the result: result is PROXY_OK and
    // the value the caller's; or the code of the exception, and the ExceptionElem the caller's; or another
    // code and null when the call could not be sent.
    virtual Element* callMethod(std::string objName, std::string method, Element* params,
                                RemoteProxyResult& result);

    // Sends a call and returns. Lends params for the call. With PROXY_OK the callback (which may be null)
    // runs exactly once; with any other result it never runs.
    virtual RemoteProxyResult callMethodAsync(std::string objName, std::string method, Element* params,
                                              ResponseCallback callback, void* userData);

    // The same with parameters built by tvx_elem_new from format and the arguments behind it;
    // PROXY_MEMORY_ERROR when that builds nothing.
    virtual RemoteProxyResult callMethodAsync(ResponseCallback callback, void* userData,
                                              std::string const& objName, std::string const& method,
                                              std::string const& format, ...);

    // Sends at once what callbacks have sent up to here. For a callback that goes on for long, or waits for the effect
    // of it in another way than through a proxy or the loop. Any thread.
    void flush();

    // Runs the loop until the semaphore can be taken.
    virtual void wait(Ferrule::Semaphore& sem);
    virtual void wait(sem_t* sem);

    // Sends an event under the name of an object, which needs neither exist nor be the sender's. Lends data
    // (null for none). Every client that observes the pair gets it, this one too. Nobody answers: PROXY_OK
    // says that it is on its way.
    virtual RemoteProxyResult sendEvent(std::string objName, std::string event, Element* data);

    // Runs the callback (which may be null) once, when the bus has an object of this name or would start one
    // on demand: before the return, or later from the loop. Makes a blocking call. It cannot be cancelled, and
    // after a failure the callback may still run, when only the bus's list of objects could not be had: what
    // userData points to is lent until the callback has run or the proxy has gone.
    virtual RemoteProxyResult onObjectAdded(std::string objName, void (*callback)(TavixProxy*, void*),
                                            void* userData);

    // Runs the loop until the bus has an object of this name or would start one on demand.
    // PROXY_CONNECTION_ERROR when the connection breaks before; nothing stays behind in any case.
    virtual RemoteProxyResult waitForObject(std::string objName);

    // Routes a received call or event. Takes data.
    virtual void dispatchEvent(ResponseData* data);

    // Encodes and sends one request; every message that the proxy originates comes through here. Lends
    // params. With PROXY_OK in result the callback, if any, runs once. The answer is null when nothing waits
    // for a response; it is for a test against null only.
    virtual CoreRequest* formatAndSendRequest(EESMessageType type, std::string const& objName,
                                              std::string const& method, Element* params, bool wantsResponse,
                                              RemoteProxyResult& result, ResponseCallback callback,
                                              void* userData);

    // Publishes an object under a name. Lends observer until removeSharedObject or the proxy's end. PROXY_OK
    // says that the request was sent; when the bus refuses it, a line on standard error names object, text
    // and code. A name added on this connection before keeps its first
    // observer.
    RemoteProxyResult addSharedObject(std::string objName, SharedObjectObserver* observer);

    // Takes a name back. Calls to it that are not answered yet get the exception "Object disappeared",
    // code 2. No call of the object begins behind the return; one that is under way on another thread goes on.
    RemoteProxyResult removeSharedObject(std::string objName);

    // Subscribes to an event of an object, which needs not exist. Lends observer until removeObserver has
    // returned. PROXY_OK says that the request was sent. PROXY_OBSERVER_ALREADY_EXISTS when this observer
    // has the pair already; after PROXY_CONNECTION_ERROR it is not listed. Object and event are told apart by their joined text only: "ab", "c" and
    // "a", "bc" are one subscription.
    //
    // A subscription belongs to its connection. After another connect remove the observer and add it anew.
    RemoteProxyResult addObserver(std::string objName, std::string event, ObjectEventObserver* observer);

    // Ends a subscription. Once it has returned the observer is not called again: it waits for a call that is
    // under way on another thread, unless that one waits in here for a call of this thread. From inside the
    // observer's own call it returns at once; the call goes on, so an observer that removes itself must not be
    // deleted elsewhere before that call has ended.
    // PROXY_OBSERVER_NOT_FOUND for a pair that nobody observes here. PROXY_CONNECTION_ERROR: not connected,
    // and the observer stays; or the connection broke meanwhile, and it has gone.
    RemoteProxyResult removeObserver(std::string objName, std::string event, ObjectEventObserver* observer);

    // Sends the response to a call. Lends result. Dropped without a word when the connection has gone; a
    // result that cannot be sent is replaced by an exception with code -1 that says why.
    void sendResponse(unsigned clientId, int requestId, Element* result);

    // PROXY_MEMORY_ERROR for the encoder's failure, else PROXY_OK.
    RemoteProxyResult getResultCode(EESVisitor::Result r) const;
    // The result for an exception's code: code itself from 1 to 9, else PROXY_EXCEPTION. Stores nothing.
    RemoteProxyResult setProxyResult(int code) const;

protected:
    // The loop has come to its end: closes the connection for its peer, and ends everything that waits for an
    // answer or an object as a broken connection would. isConnected still answers true.
    void endTraffic();

    // Sent as the "identity" of every call. Set it before the first call.
    std::string _identity;

private:
    friend class BackChannels;
    friend class BackChannelState;
    friend class MethodCall;
    friend class ObjectReadyObserver;
    friend class TableDrivenTavix;
    friend class TavixTemplate;
    friend struct FlatProxy;
    friend RemoteProxyResult stopSharing(TavixProxy*& proxy, std::string const& name,
                                         SharedObjectObserver const* object);

    // For a served object that goes while nothing can be told to the bus.
    void forgetObserver(std::string const& objName, SharedObjectObserver* observer);
    // For one whose name another object took on a later connection, or had first.
    bool isServedByAnother(std::string const& objName, SharedObjectObserver const* observer) const;
    // Adding and removing in steps. listObject takes object unless it answers false, and then leaves it alone; what
    // it took the place of is given back. takeOutObject answers null for an unknown name, and for another observer.
    bool listObject(std::string const& objName, SharedObject* object, SharedObject*& replaced);
    SharedObject* takeOutObject(std::string const& objName, SharedObjectObserver const* observer);
    RemoteProxyResult announceObject(std::string const& objName);
    RemoteProxyResult retractObject(std::string const& objName);

    bool adopt(int fd);
    bool install(std::shared_ptr<ProxyLink> const& link);
    bool watch(ProxyLink& link);
    static void sourceCallback(void** source, void* proxy);
    void sourceReadOrWrite(void** source);
    void takeTurn(std::shared_ptr<ProxyLink> const& link, bool readable, bool writable);
    void sourceRead(std::shared_ptr<ProxyLink> const& link, ProxyFrame const& turn, bool readable);
    void endTurn(std::shared_ptr<ProxyLink> const& link, bool writable);
    void recall(ProxyLink& link);
    void updateWriteWatch(ProxyLink& link, bool watched);
    void sendQueued(std::shared_ptr<ProxyLink> const& link, unsigned size);
    bool holdBack(ProxyLink& link, unsigned size);
    void passInWait(long& tick);
    void sourceWrite();
    void sourceWrite(std::shared_ptr<ProxyLink> const& link);
    void handleReceivedMessage(SharedPtr<Message> const& message, unsigned connectionId);
    void handleUndecodable(Message const& message, unsigned clientId, unsigned connectionId);
    void handleMethodResponse(int requestId, MessageType type, MapElem* map);
    void reportRefusal(CoreRequest const& core, MapElem const* map);
    ResponseData* serveBackChannel(MapElem* message, int clientId, unsigned connectionId);
    void connectionBroken(std::shared_ptr<ProxyLink> const& link);
    void completeRequests(unsigned linkId);
    bool decodesPlainly() const;

    std::shared_ptr<ProxyLink> currentLink() const;
    CoreRequest* sendRequest(RequestData& requestData, CoreRequest* core, RemoteProxyResult& result);
    bool forgetRequest(unsigned id, CoreRequest* core);
    static bool holdsDescriptors(ListElem const& descriptors);
    CoreRequest* startTransfer(RequestData& request, ListElem const& descriptors, std::string const& objName,
                               std::string const& method, RemoteProxyResult& result,
                               ResponseCallback callback, void* userData);
    bool takeDescriptors(std::string const& objName, std::string const& method, unsigned messageId,
                         unsigned clientId, unsigned connectionId, Element* params);

    bool dispatchPlainCall(Message const& message, unsigned clientId, unsigned connectionId,
                           std::shared_ptr<void const> const& owner);
    void dispatchMethodCall(ResponseData* data);
    bool dispatchPlainEvent(Message const& message, std::shared_ptr<void const> const& owner);
    RemoteProxyResult observe(std::string const& objName, std::string const& event, EventObserverInfo* info,
                              bool keepUnsent);
    RemoteProxyResult endObservation(std::string const& objName, std::string const& event,
                                     ObjectEventObserver* observer, bool tellTheBus);
    RemoteProxyResult sendSubscription(EESMessageType type, std::string const& objName,
                                       std::string const& event);
    EventObserverInfo* takeOutObserver(std::string const& key, ObjectEventObserver const* observer,
                                       bool& last);
    void endWaitsForObjects(unsigned linkId);
    void deleteObservers();
    void startMethodCall(SharedPtr<MethodCall> const& call);
    void runMethodCall(SharedPtr<MethodCall> const& call);
    bool callObject(SharedObject& object, SharedPtr<MethodCall> const& call,
                    std::unique_ptr<Element>& response);
    void answerThrown(MethodCall* call, char const* what);
    void _sendMethodResponse(MethodCall* call, Element* result);
    void sendResponseOn(unsigned connectionId, unsigned clientId, int requestId, Element* result);

    SharedPtr<PollLoopIf> _pollLoopIf;
    SharedPtr<Log> _log;
    std::unique_ptr<ProxyPrivate> _private;
};

// The callback of callMethod: takes the response's tree into the waiting call's state and wakes it.
void cm_callback(ResponseData const* r, void* state);

} // namespace Tavix

#endif
