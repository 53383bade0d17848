#ifndef TAVIX_TAVIXBUS_H
#define TAVIX_TAVIXBUS_H

#include <tavix/PollLoopIf.h>
#include <tavix/elements/Element.h>
#include <tavix/foundation/DynamicLookupTable.h>
#include <tavix/foundation/Export.h>
#include <tavix/foundation/LessOperator.h>
#include <tavix/foundation/SharedPtr.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Tavix {

class ActivationPending;
class Connection;
class EventObservers;
struct Message;
class PendingCalls;
struct RoutingFields;
class RoutingMemo;
class TavixProxy;
class TvxObject;

// The broker. One process creates one, over a loop, and runs that loop; all others reach it through a
// TavixProxy. It routes whole frames by a few texts at their top and never decodes what a call carries.
//
// Threads: one, that of the loop, and no lock. Every operation is called there; the bus is destroyed there,
// while the loop does not iterate.
//
// Limits: 127 clients beside the bus's own; frames of 196608 bytes. What waits for a client that does not
// read is kept without a limit, and a call waits for its answer without one.
class TAVIX_API TavixBus {
public:
    // Shares the loop. socketBufferSize: bytes for the socket buffers of every client, 0 for the system's
    // default. udsServerSocket: a listening Unix domain socket, which the bus takes, or -1 to open the
    // default one (getSocketPath). tcpServerSocket: a listening TCP socket, which the bus takes, or -1 for
    // none.
    TavixBus(SharedPtr<PollLoopIf> const& loop, int socketBufferSize, int udsServerSocket,
             int tcpServerSocket);
    TavixBus(TavixBus const&) = delete;
    TavixBus& operator=(TavixBus const&) = delete;

    // Closes every connection and the listeners. The socket file stays. Nobody is told anything else.
    ~TavixBus();

    // False when no Unix domain socket could be opened: standard output has the reason, and no client can
    // come.
    bool isServing() const { return _udsSource != nullptr; }

    // Listens on TCP too; port 0 selects TAVX_TCPPORT or 5010. False, with a line on standard error, when the
    // socket cannot be opened.
    bool serveOnTcp(int port);

    // Reads the configuration of the objects that are started on demand anew: every file of the directory,
    // null for the one that the environment variable TVX_ACTIVATION_CONFIG_DIR names. What is wrong with a
    // file is said on standard output, and harms no other. Calls that wait for an object go on waiting.
    void reloadActivationConfig(char const* directory);

    // Adds an entry per connection: client id, and the peer in words.
    void getConnectionDebug(std::map<int, std::string>& names);

    // Appends "object.event" for each pair that the client observes, "\n\t\t" between them.
    void getEventListDebugForClientId(int clientId, std::string& text);

private:
    static constexpr unsigned kMemos = 8;
    static constexpr int kMaxConnections = 128; // the bus's own included

    static void acceptCallback(void** source, void* bus);
    static void clientCallback(void** source, void* bus);
    static void brokenConnectionCallback(Connection* connection, void* bus);

    void** listenOn(int fd);
    void stopListening(void** source);
    void newConnection(void** listener);
    void refuseConnection(int listenerFd);
    void resumeListening();
    void addConnection(int fd);
    int takeClientId() const;

    void sourceReadOrWrite(void** source);
    bool readConnection(Connection* connection);
    void flush();
    void flushLater(Connection* connection);
    void writeConnection(Connection* connection);
    bool sendTo(int clientId, SharedPtr<Message> const& message);
    void connectionBroken(Connection* connection);

    void handleReceivedMessage(SharedPtr<Message> const& message);
    void peekMessage(SharedPtr<Message> const& message, RoutingFields& fields) const;
    Element* parseMessage(SharedPtr<Message> const& message) const;
    void routeResponse(SharedPtr<Message> const& message);
    void handleUnknownRule(SharedPtr<Message> const& message, RoutingFields& fields);
    void handleMethodCallServer(SharedPtr<Message> const& message, RoutingFields& fields);
    void handleAddSharedObjectServer(SharedPtr<Message> const& message, RoutingFields& fields);
    void releaseDeferredCalls(std::string_view name);
    void handleRemoveSharedObjectServer(SharedPtr<Message> const& message, RoutingFields& fields);
    void handleAddEventObserver(SharedPtr<Message> const& message, RoutingFields& fields);
    void handleRemoveEventObserver(SharedPtr<Message> const& message, RoutingFields& fields);
    void handleSendEvent(SharedPtr<Message> const& message, RoutingFields& fields);
    void sendResponse(int clientId, unsigned replyClientId, unsigned messageId, Element* result);
    void sendDone(Message const& request);
    void sendFailure(int clientId, unsigned messageId, int code, char const* text);

    template <class V, class K>
    using Table = Ferrule::DynamicLookupTable<V, K, Ferrule::LessOperator<K>>;

    std::unique_ptr<PendingCalls> _pendingCalls;
    std::unique_ptr<EventObservers> _eventObservers;
    void** _tcpSource = nullptr; // null while there is no such listener
    void** _udsSource = nullptr;
    int _spareFd;                    // kept for refusing a newcomer when no other descriptor is left
    bool _atDescriptorLimit = false; // a client was refused, and none was accepted since
    bool _listeningPaused = false;   // the listeners are not watched: not even the spare descriptor is left
    int _connectionCount = 0;
    // Every connection stands in both tables, and its Connection knows its source.
    Table<Connection*, int> _connectionsByClientId;
    Table<Connection*, void**> _connectionsBySource;
    std::unique_ptr<RoutingMemo[]> _routing; // of the streams of kMemos clients
    Connection* _reading = nullptr;          // whose messages are being routed; null when it has gone
    std::vector<Connection*> _toFlush; // each once, null when it has gone; empty between the loop's callbacks
    SharedPtr<PollLoopIf> _pollLoop;
    const int _socketBufferSize;
    std::unique_ptr<TavixProxy> _proxy; // the bus's own client, at the other end of a socket pair
    std::unique_ptr<TvxObject> _tvxObject;
    std::unique_ptr<ActivationPending> _activationPending;
};

} // namespace Tavix

#endif
