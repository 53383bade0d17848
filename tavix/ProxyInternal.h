#ifndef TAVIX_PROXYINTERNAL_H
#define TAVIX_PROXYINTERNAL_H

#include "tavix/Connection.h"
#include "tavix/RegistrationInternal.h"
#include "tavix/TavixProxy.h"
#include "tavix/TavixProxyBackChannelInternal.h"
#include "tavix/capi.h"
#include "tavix/elements/EESPeekParser.h"
#include "tavix/elements/RoutingMemoInternal.h"
#include "tavix/foundation/AtomicCounter.h"
#include "tavix/foundation/NodeAllocator.h"
#include "tavix/foundation/NonCopyable.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <semaphore.h>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Tavix {

// One connection of a proxy and its place in the loop. Whoever reads, writes or tears down holds a reference,
// so a break that one thread finds never pulls the object away under another that is inside readData or
// writeData.
struct ProxyLink {
    // Its messages may lend: none outlives its turn, but for those whose values share it.
    ProxyLink(int fd, unsigned linkId) : connection(0, fd, nullptr, nullptr), id(linkId)
    {
        connection.readAhead(true);
    }

    Connection connection;
    void** source = nullptr; // guarded by writeLock once the link is in use; null after the tear-down
    bool recalled = false;   // the loop is to call back in any case; guarded by writeLock
    bool full = false;       // the last send has left something; guarded by writeLock
    unsigned heldBack = 0;   // bytes since the last send, about; guarded by writeLock
    bool passedOver = false; // a call back in a wait has left what was read ahead; of the loop's thread
    std::atomic<bool> ended{false}; // its traffic has: no further message is handed out
    const unsigned id;              // counts the proxy's connections from 1
};

// What a token knows of its proxy. A proxy that goes waits for the answers that are being sent on other
// threads; answers behind that are dropped.
struct ProxyLife {
    explicit ProxyLife(TavixProxy* owner) : proxy(owner) {}

    std::mutex lock;
    std::condition_variable idle;
    TavixProxy* proxy; // null once the proxy has gone
    int answering = 0; // answers on their way through the proxy
};

// One observer of one pair.
struct TavixProxy::EventObserverInfo : Registration {
    explicit EventObserverInfo(ObjectEventObserver* lent) : observer(lent) {}

    ObjectEventObserver* const observer; // lent
};

// One object under one name.
struct TavixProxy::SharedObject : Registration {
    explicit SharedObject(SharedObjectObserver* lent) : observer(lent) {}

    SharedObjectObserver* const observer; // lent
    unsigned linkId = 0;                  // of the connection it was added on last; guarded by tableLock
};

// Lock order. Each of these is held for a few lines and never across another of this list, a callback or a
// wait: connectionLock, requestLock, methodLock, tableLock, the locks of ProxyLife and of an
// ObjectReadyObserver, the queue's lock in Connection, taskLock of TavixProxyThreaded, and the loop's own.
// Nor is pokeLock there, which is held during a write that does not block. Before them, and never during a
// callback:
// - subscriptionLock may be followed by any of them. A request of a subscription is sent under it:
//   formatAndSendRequest calls nobody back for a request without a callback.
// - writeLock is held during Connection::writeData and followed by the locks of Connection and of the loop. A
//   break that writeData finds is handled after its release.
// - The lock of BackChannels is held during calls of sockets that do not block and may be followed by the
//   loop's.
// - lateTaskLock of TavixProxyThreaded is held while a bus is started or ended, behind the end of the thread.
// The lock of a registration is held while its observer or object runs: it stands before all the others.
struct ProxyPrivate {
    // A call of the flat interface, from before it is sent until its callback has run.
    struct AsyncCallShim {
        TvxResponseCallback callback;
        TvxProxy* proxy;
        void* userData;
        ProxyPrivate* owner;
        std::list<AsyncCallShim>::iterator place;
    };

    // The observers of one pair, in order of registration.
    struct Subscription {
        std::vector<TavixProxy::EventObserverInfo*>::iterator find(ObjectEventObserver const* observer)
        {
            return std::find_if(observers.begin(), observers.end(),
                                [=](auto info) { return info->observer == observer; });
        }

        std::vector<TavixProxy::EventObserverInfo*> observers;
        unsigned linkId = 0; // of the connection on which the bus was asked for the pair last
    };

    // A subscription's key is its two names, joined; a search takes them as they are.
    struct JoinedOrder {
        using is_transparent = void;
        using Names = std::pair<std::string_view, std::string_view>;

        bool operator()(std::string const& one, std::string const& other) const { return one < other; }
        bool operator()(std::string const& key, Names const& names) const { return compare(key, names) < 0; }
        bool operator()(Names const& names, std::string const& key) const { return compare(key, names) > 0; }

        static int compare(std::string_view key, Names const& names)
        {
            const int order = key.compare(0, names.first.size(), names.first);
            return order != 0 ? order : key.substr(names.first.size()).compare(names.second);
        }
    };

    // One waitForObject under way. Its observer and the end of the connection may both end it, at once too.
    struct ObjectWait {
        explicit ObjectWait(ProxyPrivate& waited);
        ObjectWait(ObjectWait const&) = delete;
        ObjectWait& operator=(ObjectWait const&) = delete;
        ~ObjectWait();
        RemoteProxyResult start(TavixProxy* starter, std::string objName);
        bool end();

        ProxyPrivate& proxy;
        ObjectReadyObserver* const observer; // one reference
        sem_t wake;
        sem_t called; // behind it the callback is done with this object
        bool ended = false;
        bool arrived = false;
        bool broken = false; // guarded by tableLock
        unsigned linkId;     // of the connection when it began, 0 without one
        std::list<ObjectWait*>::iterator place;
    };

    explicit ProxyPrivate(TavixProxy* owner) : life(std::make_shared<ProxyLife>(owner)), backChannels(owner)
    {
    }

    const std::shared_ptr<ProxyLife> life;

    mutable std::mutex connectionLock; // guards link
    std::mutex requestLock;            // guards requests and asyncCalls
    std::mutex writeLock;              // one writer at a time, and the source of every link
    std::mutex methodLock;             // guards pendingMethods and the place of every call in it
    std::mutex tableLock;              // guards sharedObjects, eventObservers and the three behind it
    std::mutex subscriptionLock;       // one change of eventObservers at a time, with its message to the bus

    std::shared_ptr<ProxyLink> link;
    std::atomic<unsigned> linkId{0}; // of link, 0 while there is none; read without the lock
    std::atomic<unsigned> nextLinkId{1};

    using Requests = std::map<unsigned, CoreRequest*, std::less<unsigned>,
                              Ferrule::NodeAllocator<std::pair<unsigned const, CoreRequest*>>>;
    Requests requests; // by request identifier, owned
    std::list<AsyncCallShim> asyncCalls;
    using Methods = std::list<SharedPtr<TavixProxy::MethodCall>,
                              Ferrule::NodeAllocator<SharedPtr<TavixProxy::MethodCall>>>;
    Methods pendingMethods;
    std::map<std::string, Registered<TavixProxy::SharedObject>> sharedObjects;
    std::map<std::string, Subscription, JoinedOrder> eventObservers; // by object name and event
    // The subscription of an event that comes again, by the number of eventMemo. Goes with any of them.
    std::pair<unsigned, Subscription*> repeated{0, nullptr};
    std::list<ObjectWait*> objectWaits;
    std::set<ObjectReadyObserver*> readyObservers; // owned, as they are by themselves
    std::atomic<pthread_t> queueingThread{0};      // its requests are queued only; see addObserver
    std::atomic<unsigned> nextRequestId{1};
    // Of the thread that takes the turns.
    RoutingMemo callMemo;
    RoutingMemo eventMemo;
    BackChannels backChannels;
};

// One inbound call, from its dispatch until the last holder of the token lets go. While it stands in
// pendingMethods it is unanswered.
class TavixProxy::MethodCall : public SharedObjectObserver::MethodInvocation,
                               public Ferrule::RecycledNode,
                               public Ferrule::NonCopyable<MethodCall> {
public:
    // Takes data. Adds a NullElem under "params" when the call has none.
    MethodCall(TavixProxy* owner, ResponseData* received);
    // Takes params. For a call of which nothing else was decoded.
    MethodCall(TavixProxy* owner, RoutingFields const& fields, Element* callParams, int client,
               unsigned request, unsigned connection);

    std::string const& getObjectName() override { return objName; }
    std::string const& getMethodName() override { return method; }
    std::string const& getIdentity() override { return identity; }
    Element* getParams() override { return params; }
    void respond(Element* result) override;
    // False, and nothing is sent, when it has been answered before.
    bool respondFirst(Element* result);

    // False for a message that names no object or no method: it cannot be dispatched.
    bool isComplete() const { return complete; }

    const std::shared_ptr<ProxyLife> life;
    const std::unique_ptr<ResponseData> data; // null when only params were decoded
    const std::unique_ptr<Element> ownParams; // null when data has them
    std::atomic<bool> responded{false};
    std::string objName;
    std::string method;
    std::string identity;
    Element* params; // lent from data or ownParams
    const int clientId;
    const unsigned requestId;
    const unsigned connectionId;

    // Guarded by methodLock.
    bool pending = false;
    ProxyPrivate::Methods::iterator place;

private:
    void answer(Element* result);

    bool complete;
};

} // namespace Tavix

#endif
