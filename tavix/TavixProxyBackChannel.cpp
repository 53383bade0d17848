// The table of transfers, and what a call finds when it arrives.

#include "tavix/LateThrowInternal.h"
#include "tavix/ProxyInternal.h"
#include "tavix/TavixProxyBackChannelInternal.h"
#include "tavix/elements/ElementText.h"
#include "tavix/elements/ExceptionElem.h"
#include "tavix/elements/FileDescriptorElem.h"
#include "tavix/elements/FileDescriptorVisitor.h"
#include "tavix/foundation/SingleThreaded.h"

#include <cerrno>
#include <set>
#include <sys/socket.h>

// The header of glibc 2.36 does not say it itself.
extern "C" {
#include <sys/pidfd.h>
}

namespace Tavix {

namespace {

// One run of replaceFileDescriptors over a call.
struct Replacement {
    ReceivedDescriptors received;
    std::set<int> used; // numbers
    bool missing = false;
};

void replaceFileDescriptors(void* context, FileDescriptorElem* element, std::string const&)
{
    Replacement& replacement = *static_cast<Replacement*>(context);
    const int number = element->intValue();
    if (number < 0)
        return; // stands for none
    auto found = replacement.received.descriptors.find(number);
    if (found == replacement.received.descriptors.end()) {
        replacement.missing = true;
        return;
    }
    element->setValue(found->second.get());
    replacement.used.insert(number);
}

void finishAll(EndedTransfers const& ended)
{
    LateThrow thrown;
    for (auto const& transfer : ended)
        thrown.during([&] { transfer->finish(); });
    thrown.rethrow();
}

} // namespace

bool holdsDescriptor(Element* tree)
{
    auto note = [](void* found, FileDescriptorElem*, std::string const&) {
        *static_cast<bool*>(found) = true;
    };
    bool found = false;
    FileDescriptorVisitor visitor(note, &found, std::string());
    tree->accept(&visitor);
    return found;
}

std::string descriptorKey(std::string const& objName, std::string const& method, int messageId, int clientId)
{
    return objName + "." + method + "." + iToString(messageId) + "." + iToString(clientId);
}

pid_t peerProcess(int fd)
{
    ucred peer{};
    socklen_t length = sizeof peer;
    return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) == 0 ? peer.pid : 0;
}

unsigned BackChannels::connectionId() const
{
    return proxy->_private->linkId;
}

bool TransferSource::watch(int fd, unsigned watches)
{
    PollLoopIf& loop = channels.loop();
    if (loop.newSource(fd, &source) != 0) {
        source = nullptr;
        return false;
    }
    loop.sourceAddWatch(source, watches);
    channels.sources[source] = this;
    if (loop.addSource(source, BackChannels::sourceCallback, &channels) == 0)
        return true;
    unwatch();
    return false;
}

void TransferSource::unwatch()
{
    if (!source)
        return;
    PollLoopIf& loop = channels.loop();
    channels.sources.erase(source);
    loop.removeSource(source);
    loop.deleteSource(source);
    source = nullptr;
}

SenderWatch::~SenderWatch()
{
    unwatch();
    channels.senders.erase(pid);
}

int SenderWatch::open()
{
    _process.reset(pidfd_open(pid, 0));
    if (_process.get() < 0)
        return errno;
    return watch(_process.get(), kReadWatch) ? 0 : EMFILE;
}

// Its call, should it be on its way nevertheless, has nobody left who hears an answer.
void SenderWatch::ready(EndedTransfers& ended)
{
    auto fromHere = [this](Transfer* transfer) {
        auto* receiving = dynamic_cast<ReceiveFileDescriptorState*>(transfer);
        return receiving && receiving->sender.get() == this;
    };
    std::shared_ptr<SenderWatch> self = channels.senders[pid].lock();
    channels.takeAll(fromHere, ended);
    channels.dropReceived([this](ReceivedDescriptors const& entry) { return entry.sender.get() == this; });
    unwatch();
}

void Transfer::ready(EndedTransfers& ended)
{
    if (advance())
        ended.push_back(channels.take(this));
}

void BackChannels::sourceCallback(void** source, void* context)
{
    BackChannels& channels = *static_cast<BackChannels*>(context);
    EndedTransfers ended;
    {
        Ferrule::Guard<std::mutex> guard(channels.lock);
        auto entry = channels.sources.find(source);
        if (entry == channels.sources.end())
            return; // another thread was faster
        entry->second->ready(ended);
    }
    finishAll(ended);
}

std::unique_ptr<Transfer> BackChannels::take(Transfer* transfer)
{
    auto entry = transfers.find(transfer);
    std::unique_ptr<Transfer> taken = std::move(entry->second);
    transfers.erase(entry);
    taken->close();
    return taken;
}

std::shared_ptr<SenderWatch> BackChannels::watchSender(pid_t pid)
{
    std::shared_ptr<SenderWatch> watch = senders[pid].lock();
    if (watch)
        return watch;
    watch = std::make_shared<SenderWatch>(*this, pid);
    const int error = watch->open();
    // A kernel that has no descriptors of processes leaves such a sender to the end of the connection.
    if (error != 0 && error != ENOSYS && error != EPERM) {
        watch.reset();
        errno = error;
        return nullptr;
    }
    senders[pid] = watch;
    return watch;
}

// For a call that holds descriptors, or when some have arrived. A call whose own did not is answered here and goes no
// further.
bool TavixProxy::takeDescriptors(std::string const& objName, std::string const& method, unsigned messageId,
                                 unsigned clientId, unsigned connectionId, Element* params)
{
    if (_private->backChannels.replaceNumbers(
            descriptorKey(objName, method, static_cast<int>(messageId), static_cast<int>(clientId)), params))
        return true;
    ExceptionElem exception("The descriptors of the call did not arrive", PROXY_CONNECTION_ERROR);
    sendResponseOn(connectionId, clientId, static_cast<int>(messageId), &exception);
    return false;
}

bool BackChannels::replaceNumbers(std::string const& key, Element* params)
{
    Replacement replacement;
    {
        Ferrule::Guard<std::mutex> guard(lock);
        auto entry = fdMaps.find(key);
        if (entry != fdMaps.end()) {
            replacement.received = std::move(entry->second);
            replacement.received.sender.reset();
            fdMaps.erase(entry);
            hasReceived = !fdMaps.empty();
        }
    }
    FileDescriptorVisitor visitor(replaceFileDescriptors, &replacement, key);
    if (params)
        params->accept(&visitor);
    if (replacement.missing)
        return false;
    for (int number : replacement.used)
        replacement.received.descriptors[number].release();
    return true;
}

void BackChannels::connectionEnded(unsigned connectionId)
{
    EndedTransfers ended;
    {
        Ferrule::Guard<std::mutex> guard(lock);
        takeAll(
            [=](Transfer* transfer) {
                return transfer->connectionId == connectionId && transfer->connectionEnded();
            },
            ended);
        dropReceived([=](ReceivedDescriptors const& entry) { return entry.connectionId == connectionId; });
    }
    finishAll(ended);
}

void BackChannels::abandonAll()
{
    EndedTransfers ended;
    {
        Ferrule::Guard<std::mutex> guard(lock);
        takeAll([](Transfer*) { return true; }, ended);
        dropReceived([](ReceivedDescriptors const&) { return true; });
    }
    for (auto const& transfer : ended)
        transfer->abandon();
}

} // namespace Tavix
