// The frame of the bus: construction, listeners, the tables of connections, the one way in and the one way
// out of a connection, and the clean-up behind a client that has gone.
//
// The hazard is re-entrancy. Any write can find its connection broken and runs that client's whole clean-up
// before it returns, which changes the tables and writes to other clients, which may be gone as well. So
// nothing here holds a Connection, an iterator or a reference into a table across a write: what a walk needs
// is taken out first, and connections are looked up again by client id or source.

#include "tavix/TavixBus.h"

#include "tavix/ActivationPendingInternal.h"
#include "tavix/Connection.h"
#include "tavix/EventObserversInternal.h"
#include "tavix/LogDebug.h"
#include "tavix/PendingCallsInternal.h"
#include "tavix/SocketPath.h"
#include "tavix/SocketUtil.h"
#include "tavix/TavixProxy.h"
#include "tavix/TvxObjectInternal.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace Tavix {

namespace {

// How many sends are made for one client before the others have their turn.
const int kSendsPerTurn = 64;

// Client ids grow through all buses of the process, so that an id names one connection only.
std::atomic<int> _nextClientId{1};

int openSpare()
{
    return eventfd(0, EFD_CLOEXEC);
}

} // namespace

TavixBus::TavixBus(SharedPtr<PollLoopIf> const& loop, int socketBufferSize, int udsServerSocket,
                   int tcpServerSocket)
    : _pendingCalls(new PendingCalls), _spareFd(openSpare()), _pollLoop(loop),
      _socketBufferSize(socketBufferSize), _tvxObject(new TvxObject(this, loop)),
      _activationPending(new ActivationPending)
{
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) {
        std::perror("socketpair");
        std::abort();
    }
    addConnection(pair[0]);
    _proxy.reset(new TavixProxy(loop));
    _eventObservers.reset(new EventObservers(_proxy.get()));
    if (!_proxy->connectToFd(pair[1]) || _tvxObject->startShare(_proxy.get()) != PROXY_OK) {
        std::fputs("TavixBus: the bus cannot join itself\n", stderr);
        for (int fd : {udsServerSocket, tcpServerSocket}) {
            if (fd >= 0)
                close(fd);
        }
        return;
    }
    if (udsServerSocket == -1)
        udsServerSocket = startUnixDomainServer(getSocketPath().c_str());
    if (udsServerSocket >= 0)
        _udsSource = listenOn(udsServerSocket);
    if (tcpServerSocket != -1)
        _tcpSource = listenOn(tcpServerSocket);
}

TavixBus::~TavixBus()
{
    for (unsigned i = 0; i < _connectionsByClientId.getSize(); ++i) {
        Connection* connection = _connectionsByClientId.getEntry(i).value;
        _pollLoop->removeSource(connection->getSource());
        _pollLoop->deleteSource(connection->getSource());
        delete connection;
    }
    _pendingCalls.reset();
    _activationPending.reset();
    // The object takes itself back through the proxy, which finds its connection gone and completes the calls
    // of the observers' table.
    _tvxObject.reset();
    _eventObservers.reset();
    _proxy.reset();
    stopListening(_udsSource);
    stopListening(_tcpSource);
    if (_spareFd >= 0)
        close(_spareFd);
}

bool TavixBus::serveOnTcp(int port)
{
    int fd = _tcpSource ? -1 : startTCPServer(port);
    if (fd >= 0)
        _tcpSource = listenOn(fd);
    if (fd < 0 || !_tcpSource) {
        std::fputs("Failed to start TVX TCP server socket.\n", stderr);
        return false;
    }
    return true;
}

void** TavixBus::listenOn(int fd)
{
    void** source = nullptr;
    if (_pollLoop->newSource(fd, &source) != 0) {
        close(fd);
        return nullptr;
    }
    _pollLoop->sourceAddWatch(source, kReadWatch);
    if (_pollLoop->addSource(source, acceptCallback, this) != 0) {
        _pollLoop->deleteSource(source);
        close(fd);
        return nullptr;
    }
    return source;
}

void TavixBus::stopListening(void** source)
{
    if (!source)
        return;
    int fd = _pollLoop->getFileDescriptor(source);
    _pollLoop->removeSource(source);
    _pollLoop->deleteSource(source);
    close(fd);
}

void TavixBus::acceptCallback(void** source, void* bus)
{
    static_cast<TavixBus*>(bus)->newConnection(source);
}

void TavixBus::newConnection(void** listener)
{
    int listenerFd = _pollLoop->getFileDescriptor(listener);
    int fd = accept4(listenerFd, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd == -1 && (errno == EMFILE || errno == ENFILE)) {
        refuseConnection(listenerFd);
        return;
    }
    _atDescriptorLimit = false;
    if (fd != -1 && _socketBufferSize > 0)
        setSocketBufferSize(fd, _socketBufferSize);
    addConnection(fd);
}

// At the limit of descriptors a waiting client would keep the listener readable, and the loop spinning. The
// spare descriptor makes room to accept it and close it at once. When even that one is lost to another part
// of the process, the listeners rest until the bus has reason to believe that a descriptor is free.
void TavixBus::refuseConnection(int listenerFd)
{
    if (!_atDescriptorLimit)
        std::fputs("TavixBus: no descriptor is left, clients are refused\n", stderr);
    _atDescriptorLimit = true;
    if (_spareFd >= 0) {
        close(_spareFd);
        int fd = accept4(listenerFd, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd >= 0)
            close(fd);
        _spareFd = openSpare();
    }
    if (_spareFd < 0) {
        _listeningPaused = true;
        for (void** source : {_udsSource, _tcpSource}) {
            if (source)
                _pollLoop->sourceRemoveWatch(source, kReadWatch);
        }
    }
}

void TavixBus::resumeListening()
{
    _spareFd = openSpare();
    if (_spareFd < 0)
        return;
    _listeningPaused = false;
    for (void** source : {_udsSource, _tcpSource}) {
        if (source)
            _pollLoop->sourceAddWatch(source, kReadWatch);
    }
}

int TavixBus::takeClientId() const
{
    for (;;) {
        int id = _nextClientId.load();
        int following = id == INT_MAX ? 1 : id + 1;
        if (_nextClientId.compare_exchange_weak(id, following) && !_connectionsByClientId.find(id))
            return id;
    }
}

void TavixBus::addConnection(int fd)
{
    if (fd == -1)
        return;
    if (_connectionCount >= kMaxConnections) {
        LogDebug::logMessage("Too many connections : closing socket %d", fd);
        close(fd);
        return;
    }
    int id = takeClientId();
    LogDebug::logMessage("Client connected : client = %d, socket = %d", id, fd);
    std::unique_ptr<Connection> connection(new Connection(id, fd, brokenConnectionCallback, this));
    void** source = nullptr;
    if (_pollLoop->newSource(fd, &source) != 0)
        return;
    _pollLoop->sourceAddWatch(source, kReadWatch);
    if (_pollLoop->addSource(source, clientCallback, this) != 0) {
        _pollLoop->deleteSource(source);
        return;
    }
    connection->setSource(source);
    _connectionsByClientId.insert(id, connection.get());
    _connectionsBySource.insert(source, connection.release());
    ++_connectionCount;
}

void TavixBus::clientCallback(void** source, void* bus)
{
    static_cast<TavixBus*>(bus)->sourceReadOrWrite(source);
}

void TavixBus::sourceReadOrWrite(void** source)
{
    if (_listeningPaused)
        resumeListening();
    Connection** connection = _connectionsBySource.find(source);
    if (!connection)
        return;
    bool readable = false;
    _pollLoop->sourceIsReadable(source, readable);
    if (readable) {
        SharedPtr<Message> message;
        if ((*connection)->readData(&message) == -1)
            return;
        if (message.get())
            handleReceivedMessage(message);
        if (!_connectionsBySource.find(source)) // handling may have broken any connection
            return;
    }
    bool writable = false;
    _pollLoop->sourceIsWritable(source, writable);
    if (writable)
        writeSource(source);
}

void TavixBus::writeSource(void** source)
{
    if (Connection** connection = _connectionsBySource.find(source))
        writeConnection(*connection, source);
}

void TavixBus::writeConnection(Connection* connection, void** source)
{
    connection->checkSendQueue();
    int unsent = connection->writeMessages(kSendsPerTurn);
    if (unsent == -1)
        return; // gone, and deleted
    const bool waits = unsent > 0;
    if (waits == connection->isWatchedForWriting())
        return;
    connection->setWatchedForWriting(waits);
    if (waits)
        _pollLoop->sourceAddWatch(source, kWriteWatch);
    else
        _pollLoop->sourceRemoveWatch(source, kWriteWatch);
}

bool TavixBus::sendTo(int clientId, SharedPtr<Message> const& message)
{
    Connection** found = _connectionsByClientId.find(clientId);
    if (!found)
        return false;
    Connection* connection = *found;
    // A refusal for size drops the message: its sender was within the limit for reading by less than 4 bytes.
    connection->postMessage(message);
    // A full socket costs its senders nothing: the loop reports when it takes more.
    if (!connection->isWatchedForWriting())
        writeConnection(connection, connection->getSource());
    return true;
}

void TavixBus::brokenConnectionCallback(Connection* connection, void* bus)
{
    TavixBus* self = static_cast<TavixBus*>(bus);
    self->connectionBroken(connection);
    delete connection;
    if (self->_listeningPaused)
        self->resumeListening(); // its descriptor is free now
}

void TavixBus::connectionBroken(Connection* connection)
{
    const int clientId = connection->getClientId();
    void** source = connection->getSource();
    _tvxObject->removeAllObjectsForClient(clientId);
    _pollLoop->removeSource(source);
    _pollLoop->deleteSource(source);
    _connectionsBySource.remove(source);
    _connectionsByClientId.remove(clientId);
    --_connectionCount;
    _pendingCalls->dropByCaller(clientId);
    _pendingCalls->orphan(clientId);
    answerOrphanedCalls();
    _eventObservers->purgeClient(clientId);
}

// A reply may find its own receiver gone, whose clean-up then runs inside the write and leaves its calls here: the
// outermost clean-up answers them all, so the stack does not grow with the number of clients that go together.
void TavixBus::answerOrphanedCalls()
{
    if (_answeringOrphans)
        return;
    _answeringOrphans = true;
    PendingCall call;
    while (_pendingCalls->takeOrphan(call))
        sendFailure(call.callerClientId, call.messageId, PROXY_CONNECTION_ERROR, "Object connection broken");
    _answeringOrphans = false;
}

void TavixBus::reloadActivationConfig(char const* directory)
{
    _tvxObject->reloadActivationConfig(directory);
}

void TavixBus::getConnectionDebug(std::map<int, std::string>& names)
{
    for (unsigned i = 0; i < _connectionsByClientId.getSize(); ++i) {
        auto const& entry = _connectionsByClientId.getEntry(i);
        names[entry.key] = entry.value->getName();
    }
}

void TavixBus::getEventListDebugForClientId(int clientId, std::string& text)
{
    _eventObservers->getAllEventsForClient(clientId, text);
}

} // namespace Tavix
