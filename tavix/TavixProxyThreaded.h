#ifndef TAVIX_TAVIXPROXYTHREADED_H
#define TAVIX_TAVIXPROXYTHREADED_H

#include <tavix/TavixProxy.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <vector>

namespace Tavix {

class TavixBus;

// A proxy that brings a thread and a select loop of its own: the application has no loop to run. Every
// operation of the base may be called on any thread; a blocking call blocks that thread only. All callbacks,
// handlers and observers run on the proxy's thread, the response callbacks of a connection that a sender
// finds broken on the sender's. What a handler throws is its caller's exception; what another callback throws
// on the proxy's thread ends the process.
//
// The thread lives from the construction to killMainLoop or the destructor. A child of fork has none: it
// leaves the proxy alone.
class TAVIX_API TavixProxyThreaded : public TavixProxy {
public:
    // Starts the thread, named after the calling one with ".rpt" behind. Stops the process when there is no
    // thread or descriptor to be had. Makes no connection: see connect.
    TavixProxyThreaded();

    // Ends the thread. Other threads must have left the proxy, and it is not one of the proxy's callbacks.
    ~TavixProxyThreaded() override;

    // Creates the process's proxy; see TavixProxy::init. Lends it.
    static TavixProxyThreaded* init();

    // Ends the thread, once. Everybody who waits for an answer or an object gets PROXY_CONNECTION_ERROR, and
    // so does every later request, with a line on standard output; calls of this process's objects that are
    // not answered end for their callers as well. A bus that runs in the thread stands still from then on,
    // and its clients wait, until stopServer. Any thread: on the proxy's own one, from a callback, the thread
    // ends behind that callback; on another one it has ended when this returns. A second call does nothing,
    // and does not wait for the first.
    void killMainLoop();

    // Runs a bus on the default socket in this thread, unless there is one: see TavixBus. Any thread; the bus
    // is there on return, or standard output says why it could not get its socket, and another call tries
    // again. Off the proxy's thread it waits for the handler that is at work there.
    void startServer();
    // Ends it, if there is one. Any thread; the bus is gone on return. The destructor does the same. Waits
    // likewise.
    void stopServer();

    // On the proxy's thread they run the loop until the semaphore can be taken, on any other they sleep until
    // it can. Nobody posts an application's own semaphore when the thread ends.
    void wait(Ferrule::Semaphore& sem) override;
    void wait(sem_t* sem) override;

    // As the base's, on any thread. PROXY_CONNECTION_ERROR, with a line on standard output, once the thread
    // has been told to end.
    CoreRequest* formatAndSendRequest(EESMessageType type, std::string const& objName,
                                      std::string const& method, Element* params, bool wantsResponse,
                                      RemoteProxyResult& result, ResponseCallback callback,
                                      void* userData) override;

    // Makes the thread look at its sources anew. The loop wakes by itself when another thread changes a
    // source, so nothing in the library's own requests needs it. Any thread; never blocks.
    void poke_main_loop();

private:
    explicit TavixProxyThreaded(SharedPtr<PollLoopIf> const& ownLoop);

    using Task = std::function<void()>;

    static void* main_loop_func(void* proxy);
    static void source_cb(void** source, void* proxy);
    void kill_main_loop();
    void writeCommand(char command, int flags);
    void stopHere();
    void closePokeSockets();
    void runOnLoop(Task const& task);
    bool enqueue(Task task);
    void runTasks();
    bool isLoopThread() const;

    SharedPtr<PollLoopIf> const loop;
    std::atomic<bool> running{true};
    pthread_t thread{};
    bool joined = false;
    std::mutex pokeLock; // guards the sockets against a writer on another thread while they are closed
    int pokeSockets[2];
    void** pokeSource = nullptr;
    std::unique_ptr<TavixBus> server; // of the loop's thread

    std::mutex lateTaskLock; // one task at a time when the thread runs none any more
    std::mutex taskLock;     // guards the two below
    std::vector<Task> tasks; // for the loop's thread
    bool ended = false;      // the thread runs no task any more
};

} // namespace Tavix

#endif
