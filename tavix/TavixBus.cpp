// The frame of the bus: construction, listeners, the tables of connections, the one way in and the one way
// out of a connection, and the clean-up behind a client that has gone.
//
// A callback of the loop takes what one bounded read brings from a client, routes all of it, and then sends: once
// for each client that has been given something. Whoever routes only queues, so tables, lists and connections stay
// as they are meanwhile. A connection breaks in one of two places, in the reading from it or in a flush; its client's
// clean-up runs there at once, and only queues as well. A handler that flushes holds nothing across that.

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
#include "tavix/elements/RoutingMemoInternal.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

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
    : _pendingCalls(new PendingCalls), _spareFd(openSpare()), _routing(new RoutingMemo[kMemos]),
      _pollLoop(loop), _socketBufferSize(socketBufferSize), _tvxObject(new TvxObject(this, loop)),
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
    connection->readAhead();
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
    Connection** found = _connectionsBySource.find(source);
    if (!found)
        return;
    Connection* connection = *found;
    bool readable = false;
    bool writable = false;
    _pollLoop->sourceIsReadable(source, readable);
    _pollLoop->sourceIsWritable(source, writable);
    const bool gone = readable && !readConnection(connection);
    if (writable && !gone)
        flushLater(connection);
    flush();
}

// What one read brings. False when the connection has broken: it is deleted.
bool TavixBus::readConnection(Connection* connection)
{
    SharedPtr<Message> message;
    _reading = connection;
    do {
        connection->readData(&message);
        if (message.get())
            handleReceivedMessage(message);
    } while (_reading && connection->hasReadAhead());
    return std::exchange(_reading, nullptr) != nullptr;
}

// A write may find its connection broken, whose clean-up may bring further connections into the list.
void TavixBus::flush()
{
    for (size_t i = 0; i < _toFlush.size(); ++i) {
        Connection* connection = _toFlush[i];
        if (!connection)
            continue;
        connection->setDueForWriting(false);
        writeConnection(connection);
    }
    _toFlush.clear();
}

void TavixBus::flushLater(Connection* connection)
{
    if (connection->isDueForWriting())
        return;
    connection->setDueForWriting(true);
    _toFlush.push_back(connection);
}

void TavixBus::writeConnection(Connection* connection)
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
        _pollLoop->sourceAddWatch(connection->getSource(), kWriteWatch);
    else
        _pollLoop->sourceRemoveWatch(connection->getSource(), kWriteWatch);
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
        flushLater(connection);
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
    if (_reading == connection)
        _reading = nullptr;
    std::replace(_toFlush.begin(), _toFlush.end(), connection, static_cast<Connection*>(nullptr));
    --_connectionCount;
    _pendingCalls->dropByCaller(clientId);
    _pendingCalls->orphan(clientId);
    PendingCall call;
    while (_pendingCalls->takeOrphan(call))
        sendFailure(call.callerClientId, call.messageId, PROXY_CONNECTION_ERROR, "Object connection broken");
    _eventObservers->purgeClient(clientId);
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
