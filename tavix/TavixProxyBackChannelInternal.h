#ifndef TAVIX_TAVIXPROXYBACKCHANNELINTERNAL_H
#define TAVIX_TAVIXPROXYBACKCHANNELINTERNAL_H

#include "tavix/Connection.h"
#include "tavix/DescriptorsInternal.h"
#include "tavix/Message.h"
#include "tavix/RequestData.h"
#include "tavix/TavixProxy.h"

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <vector>

// Transfer of open descriptors. A number means nothing in another process, and the bus moves bytes only; so the
// proxies of caller and owner open a private socket for a call whose parameters hold descriptors:
//
//   sender                                                 receiver
//     "backChannel", its first descriptor    -- bus -->      listens on an abstract name of its own
//     connects                               <-- bus --      "hostname": that name
//     "fdList" and "requestID", then "FD"    -- socket -->   notes which of its descriptors stands for which number
//     sends the call, which was held back    <-- socket --   one byte 0, or 1 and the text of a refusal
//
// The byte 0 orders the two roads: the call cannot be there before its descriptors. When the call comes, its numbers
// are replaced, and the descriptors belong to the application.
//
// Every step runs on the loop's thread and none of them blocks; starting a transfer, and ending all of a broken
// connection, is open to any thread. `lock` guards all of it. It is held across calls of the sockets and of the
// loop, but never across a callback or a use of the proxy: a transfer that ends is taken out of the table and closed
// under the lock, and finished, which tells the caller, behind it.
namespace Tavix {

class Transfer;
class BackChannels;
class FileDescriptorElem;

// The kernel passes no more of them in one message (SCM_MAX_FD).
constexpr int kMaxPassedDescriptors = 253;

// How long a receiver keeps what nobody comes for, or goes on with, at least: it looks when the next transfer begins. A
// sender whose connection to the bus broke, in a process that lives on, cannot take its request back.
constexpr std::chrono::seconds kPatience{60};

// A receiver keeps at most half of the descriptors that its process may open for one client, and three quarters for
// all of them; this many count as the least that it may open. The rest stays for its own work: a broker's connections.
constexpr size_t kLeastLimit = 1024;

// The first byte of the receiver's answer.
constexpr char kDescriptorsArrived = 0;
constexpr char kDescriptorsRefused = 1;

using EndedTransfers = std::vector<std::unique_ptr<Transfer>>;

// Something that the loop watches for the transfers.
class TransferSource {
public:
    explicit TransferSource(BackChannels& owner) : channels(owner) {}
    TransferSource(TransferSource const&) = delete;
    TransferSource& operator=(TransferSource const&) = delete;
    virtual ~TransferSource() { unwatch(); }

    // Something can be done. Transfers that end by it are given back in `ended`. The object may go in the call.
    virtual void ready(EndedTransfers& ended) = 0;

protected:
    bool watch(int fd, unsigned watches);
    void unwatch(); // before fd is closed

    BackChannels& channels;
    void** source = nullptr;
};

// The process that a receiver expects descriptors from. A sender that dies before it has connected, or before it has
// sent the call, shows on no socket.
class SenderWatch : public TransferSource {
public:
    SenderWatch(BackChannels& owner, pid_t pid) : TransferSource(owner), pid(pid) {}
    ~SenderWatch() override;

    // 0, or the errno value of why there is nothing to watch.
    int open();
    void ready(EndedTransfers& ended) override;

    const pid_t pid;

private:
    OwnedDescriptor _process;
};

// One end of one transfer.
class Transfer : public TransferSource {
public:
    Transfer(BackChannels& owner, unsigned mainConnection)
        : TransferSource(owner), connectionId(mainConnection)
    {
    }

    void ready(EndedTransfers& ended) override;
    // Goes as far as the sockets let it. True when the transfer has ended.
    virtual bool advance() = 0;
    // Lets go of every descriptor and source.
    virtual void close() = 0;
    // The connection to the bus has broken. False when the end of a request will tell this one.
    virtual bool connectionEnded() = 0;
    // Without the lock, after close: tells who waits for the end.
    virtual void finish() {}
    // What a proxy that goes has to tell the other end.
    virtual void abandon() {}

    const unsigned connectionId; // of the connection to the bus that it belongs to
};

// The sender's end, and the call that waits for it.
class BackChannelState : public Transfer {
public:
    BackChannelState(BackChannels& owner, unsigned mainConnection, std::string const& calledObject,
                     std::string const& calledMethod, ResponseCallback onResponse, void* data)
        : Transfer(owner, mainConnection), objName(calledObject), method(calledMethod), callback(onResponse),
          userData(data)
    {
    }

    // Takes the frame of request and duplicates the descriptors, so that the caller may close its own. Otherwise
    // `reason` says why not, and request is as it was. Descriptors that cannot be passed make the transfer fail.
    RemoteProxyResult prepare(RequestData& encoded, ListElem const& descriptors, std::string& reason);
    bool hasFailed() const { return failed; }

    static void handleBackChannel(ResponseData const* response, void* bc);

    bool advance() override;
    void close() override;
    bool connectionEnded() override;
    void finish() override { cleanupBackChannel(); }
    void abandon() override { withdraw(std::string()); }

private:
    bool duplicate(ListElem const& descriptors);
    void answered(Element* answer);
    bool connectTo(Element* answer);
    bool readAnswer();
    bool transferFileDescriptorRights();
    bool sendRights();
    void cleanupBackChannel();
    void withdraw(std::string const& name);
    void giveUp();
    bool fail(std::string const& reason, int code = PROXY_CONNECTION_ERROR);

    const std::string objName;
    const std::string method;
    const ResponseCallback callback;
    void* const userData;

    RequestData request;                 // the call
    SharedPtr<Message> identifiers;      // the numbers by which the call knows its descriptors
    std::vector<OwnedDescriptor> fdList; // what stands for them; empty once they have left
    bool asked = true;                   // the bus has not answered yet
    std::string listener;                // a name that the receiver listens on in vain
    std::unique_ptr<Connection> connection;
    bool failed = false; // the call cannot be sent, and why
    std::string failure;
    int failureCode = 0;
};

// The receiver's end.
class ReceiveFileDescriptorState : public Transfer {
public:
    ReceiveFileDescriptorState(BackChannels& owner, unsigned mainConnection, int caller)
        : Transfer(owner, mainConnection), clientId(caller)
    {
    }

    // Opens the listener for a sender. Otherwise `reason` says why not.
    bool listen(std::string const& program, std::string const& process, std::string& reason);

    bool advance() override;
    void close() override;
    bool connectionEnded() override { return true; }

    const int clientId; // the caller's at the bus
    std::string name;   // what the socket listens on
    const std::chrono::steady_clock::time_point since = std::chrono::steady_clock::now();
    std::shared_ptr<SenderWatch> sender;

private:
    // What it waits for.
    enum State { kConnection, kIdentifiers, kRights };
    enum Step { kWait, kGoOn, kEnd };

    bool bindListener(std::string const& program, std::string& reason);
    Step acceptBackChannelConnection();
    Step receiveRemoteFileDescriptorIdentifiers();
    bool readIdentifiers(Element* root);
    Step receiveFileDescriptorRights();
    Step deliver(std::vector<OwnedDescriptor>&& received);
    Step refuse(char const* reason);

    State _state = kConnection;
    OwnedDescriptor _listener;
    std::unique_ptr<Connection> _connection;
    std::string _key; // of the call
    std::vector<int> _numbers;
};

// What has arrived for one call that has not.
struct ReceivedDescriptors {
    std::map<int, OwnedDescriptor> descriptors; // by the sender's number
    unsigned connectionId = 0;
    int clientId = 0;
    std::shared_ptr<SenderWatch> sender;
    std::chrono::steady_clock::time_point since;
};

// All transfers of one proxy.
class BackChannels {
public:
    explicit BackChannels(TavixProxy* owner) : proxy(owner) {}
    BackChannels(BackChannels const&) = delete;
    BackChannels& operator=(BackChannels const&) = delete;

    // Under the lock.
    template <class Kind>
    Kind* add(std::unique_ptr<Kind> transfer)
    {
        Kind* const added = transfer.get();
        transfers[added] = std::move(transfer);
        return added;
    }
    // Under the lock: takes a transfer out and closes it.
    std::unique_ptr<Transfer> take(Transfer* transfer);
    // Under the lock: takes out what `ends` is true for.
    template <class Ends>
    void takeAll(Ends ends, EndedTransfers& ended)
    {
        std::vector<Transfer*> found;
        for (auto const& entry : transfers)
            if (ends(entry.first))
                found.push_back(entry.first);
        for (Transfer* transfer : found)
            ended.push_back(take(transfer));
    }
    // Under the lock: closes the descriptors that have arrived for calls of which `ends` is true.
    template <class Ends>
    void dropReceived(Ends ends)
    {
        for (auto entry = fdMaps.begin(); entry != fdMaps.end();)
            entry = ends(entry->second) ? fdMaps.erase(entry) : std::next(entry);
        hasReceived = !fdMaps.empty();
    }
    // Under the lock. Null with errno when there is no such process.
    std::shared_ptr<SenderWatch> watchSender(pid_t pid);

    static void sourceCallback(void** source, void* channels);

    // Answers a "backChannel" request: a new element.
    Element* serve(Element* params, int clientId, unsigned connectionId);

    // Replaces the numbers in a call by what has arrived for it; params may be null. False when it holds one that has not
    // arrived. What it does not hold is closed, in that case all.
    bool replaceNumbers(std::string const& key, Element* params);

    void connectionEnded(unsigned connectionId); // any thread
    void abandonAll();                           // the proxy goes

    PollLoopIf& loop() { return *proxy->_pollLoopIf.get(); }
    // Of the connection to the bus; 0 while there is none.
    unsigned connectionId() const;

    TavixProxy* const proxy;
    std::chrono::seconds patience = kPatience;
    std::mutex lock;
    std::map<void**, TransferSource*> sources;
    std::map<Transfer*, std::unique_ptr<Transfer>> transfers;
    std::map<pid_t, std::weak_ptr<SenderWatch>> senders;
    std::map<std::string, ReceivedDescriptors>
        fdMaps;                           // by object, method, message id and client id of the call
    std::atomic<bool> hasReceived{false}; // fdMaps is not empty

    // Under the lock: whether a receiver holds as much as it may for one client, or for all.
    bool isFull(int clientId, size_t added) const;

private:
    void withdraw(std::string const& name, int clientId);
    void dropForgotten();
};

// The key of a call in fdMaps.
std::string descriptorKey(std::string const& objName, std::string const& method, int messageId, int clientId);

// The process at the other end of a Unix domain socket, 0 when the kernel does not tell.
pid_t peerProcess(int fd);

} // namespace Tavix

#endif
