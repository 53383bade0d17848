// The thread of a proxy. What must happen on it is handed over as a task; a byte on a socket pair makes it
// look. The order of an end: no request is taken any more, the thread is told, ends the traffic (which
// releases everybody who waits, a handler of its own too), leaves its loop, runs the tasks that are left and
// is joined.

#include "tavix/TavixProxyThreaded.h"

#include "tavix/ProxyFrameInternal.h"
#include "tavix/SelectLoopGlue.h"
#include "tavix/TavixBus.h"
#include "tavix/foundation/Check.h"

#include <cerrno>
#include <cstdio>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace Tavix {

namespace {

enum Command : char { kWake = 0, kStop = 1 };

thread_local int _stopFlag = 0;
// The proxy that the calling thread runs the loop of. The thread's id would not do: once it is joined, the
// system gives the same to another thread.
thread_local TavixProxyThreaded const* _proxyOfThread = nullptr;

// The creator's name, cut to 12 characters, with ".rpt" behind it. The kernel keeps 15 of them.
void nameThread()
{
    char inherited[17] = {};
    prctl(PR_GET_NAME, inherited);
    char name[17];
    std::snprintf(name, sizeof name, "%.*s%s", 12, inherited, ".rpt");
    prctl(PR_SET_NAME, name);
}

} // namespace

TavixProxyThreaded::TavixProxyThreaded() : TavixProxyThreaded(SharedPtr<PollLoopIf>(select_loop_glue_new()))
{
}

TavixProxyThreaded::TavixProxyThreaded(SharedPtr<PollLoopIf> const& ownLoop)
    : TavixProxy(ownLoop), loop(ownLoop)
{
    int rc = socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pokeSockets);
    TAVIX_CHECK(rc == 0, "rc == 0");
    rc = loop->newSource(pokeSockets[1], &pokeSource);
    TAVIX_CHECK(rc == 0, "rc == 0");
    rc = loop->addSource(pokeSource, source_cb, this);
    TAVIX_CHECK(rc == 0, "rc == 0");
    loop->sourceAddWatch(pokeSource, kReadWatch);
    rc = pthread_create(&thread, nullptr, main_loop_func, this);
    TAVIX_CHECK(rc == 0, "rc == 0");
}

TavixProxyThreaded::~TavixProxyThreaded()
{
    killMainLoop();
    if (!joined && !isLoopThread()) { // the thread has ended itself
        ProxyFrame::flushAll();
        pthread_join(thread, nullptr);
    }
}

TavixProxyThreaded* TavixProxyThreaded::init()
{
    TavixProxyThreaded* proxy = new TavixProxyThreaded;
    Ferrule::BasicSingleton<TavixProxy>::init(proxy);
    return proxy;
}

bool TavixProxyThreaded::isLoopThread() const
{
    return _proxyOfThread == this;
}

void* TavixProxyThreaded::main_loop_func(void* proxy)
{
    TavixProxyThreaded* self = static_cast<TavixProxyThreaded*>(proxy);
    _proxyOfThread = self;
    nameThread();
    while (!_stopFlag)
        self->loop->iterate();
    std::lock_guard<std::mutex> late(self->lateTaskLock);
    {
        std::lock_guard<std::mutex> guard(self->taskLock);
        self->ended = true;
    }
    self->runTasks();
    return nullptr;
}

void TavixProxyThreaded::source_cb(void**, void* proxy)
{
    TavixProxyThreaded* self = static_cast<TavixProxyThreaded*>(proxy);
    char command;
    ssize_t rc;
    do {
        rc = read(self->pokeSockets[1], &command, 1);
    } while (rc < 0 && errno == EINTR);
    TAVIX_CHECK(rc == 1, "rc == 1");
    self->runTasks();
    if (command == kStop)
        self->stopHere();
}

// On the loop's thread. A handler further down on this stack may wait for an answer: it gets its failure now.
void TavixProxyThreaded::stopHere()
{
    _stopFlag = 1;
    endTraffic();
}

void TavixProxyThreaded::killMainLoop()
{
    if (!running.exchange(false))
        return;
    if (isLoopThread()) {
        closePokeSockets();
        stopHere(); // last: a callback of those who wait may throw
        return;
    }
    kill_main_loop();
    ProxyFrame::flushAll();
    const int rc = pthread_join(thread, nullptr);
    TAVIX_CHECK(rc == 0, "rc == 0");
    joined = true;
    closePokeSockets();
}

void TavixProxyThreaded::closePokeSockets()
{
    loop->removeSource(pokeSource);
    loop->deleteSource(pokeSource);
    std::lock_guard<std::mutex> guard(pokeLock);
    for (int& fd : pokeSockets)
        close(std::exchange(fd, -1));
}

void TavixProxyThreaded::poke_main_loop()
{
    if (isLoopThread())
        return;
    std::lock_guard<std::mutex> guard(pokeLock);
    if (running)
        writeCommand(kWake, MSG_DONTWAIT);
}

void TavixProxyThreaded::kill_main_loop()
{
    writeCommand(kStop, 0);
}

// A full socket holds wake-ups enough. The thread may be in a long handler, or in one that waits for the
// caller.
void TavixProxyThreaded::writeCommand(char command, int flags)
{
    ssize_t rc;
    do {
        rc = send(pokeSockets[0], &command, 1, MSG_NOSIGNAL | flags);
    } while (rc < 0 && errno == EINTR);
    if (rc < 0 && errno == EAGAIN)
        return;
    if (rc < 0)
        std::perror("poke_main_loop");
    TAVIX_CHECK(rc == 1, "rc == 1");
}

// Returns when the task has run: on the loop's thread, or here when that thread is at its end.
void TavixProxyThreaded::runOnLoop(Task const& task)
{
    if (isLoopThread()) {
        task();
        return;
    }
    Ferrule::Semaphore done{0};
    if (!enqueue([&] {
            task();
            done.post();
        })) {
        std::lock_guard<std::mutex> guard(lateTaskLock);
        task();
        return;
    }
    poke_main_loop();
    ProxyFrame::flushAll();
    done.wait();
}

// False when the thread runs no task any more.
bool TavixProxyThreaded::enqueue(Task task)
{
    std::lock_guard<std::mutex> guard(taskLock);
    if (!ended)
        tasks.push_back(std::move(task));
    return !ended;
}

void TavixProxyThreaded::runTasks()
{
    std::vector<Task> taken;
    {
        std::lock_guard<std::mutex> guard(taskLock);
        taken.swap(tasks);
    }
    for (Task const& task : taken)
        task();
}

void TavixProxyThreaded::startServer()
{
    runOnLoop([this] {
        if (!server)
            server.reset(new TavixBus(loop, 0, -1, -1));
        if (!server->isServing())
            server.reset();
    });
}

void TavixProxyThreaded::stopServer()
{
    runOnLoop([this] { server.reset(); });
}

void TavixProxyThreaded::wait(Ferrule::Semaphore& sem)
{
    if (isLoopThread()) {
        TavixProxy::wait(sem);
        return;
    }
    ProxyFrame::flushAll();
    sem.wait();
}

void TavixProxyThreaded::wait(sem_t* sem)
{
    if (isLoopThread()) {
        TavixProxy::wait(sem);
        return;
    }
    ProxyFrame::flushAll();
    while (sem_wait(sem) != 0 && errno == EINTR) {
    }
}

// The base may add a watch for what the socket did not take; the loop takes that up at once, on any thread.
CoreRequest* TavixProxyThreaded::formatAndSendRequest(EESMessageType type, std::string const& objName,
                                                      std::string const& method, Element* params,
                                                      bool wantsResponse, RemoteProxyResult& result,
                                                      ResponseCallback callback, void* userData)
{
    if (!running) {
        std::printf("\n\n%s:%d: Somebody is sending to the threaded proxy when its thread is not running\n"
                    "This most likely means you need to shut down your subsystem before exiting.\n\n",
                    __FILE__, __LINE__);
        result = PROXY_CONNECTION_ERROR;
        return nullptr;
    }
    CoreRequest* const core = TavixProxy::formatAndSendRequest(type, objName, method, params, wantsResponse,
                                                               result, callback, userData);
    // The thread may have ended meanwhile, and the request have left on a connection that was made behind its
    // end: the thread did not find it there, and nobody will read the answer. Without a callback nobody waits
    // for one either; subscriptions come here under their lock, where no callback may run.
    if (!running && callback && result == PROXY_OK)
        endTraffic();
    return core;
}

} // namespace Tavix
