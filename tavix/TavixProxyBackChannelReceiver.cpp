// The receiver of descriptors. Nothing that comes over the private socket is relied on: what is not as it has to be
// ends that transfer, and the sender is told why.

#include "tavix/ProxyInternal.h"
#include "tavix/SocketUtilInternal.h"
#include "tavix/TavixProxyBackChannelInternal.h"
#include "tavix/elements/EESFormat.h"
#include "tavix/elements/EESParser.h"
#include "tavix/elements/FileDescriptorElem.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>

namespace Tavix {

namespace {

constexpr size_t kMaxName = 107;
constexpr int kMaxNames = 10000;
constexpr int kBacklog = 64; // strangers stand in the queue too, and a sender does not wait for a place

// The number of a text "/proc/N"; 0 when it is none.
pid_t processOf(std::string const& text)
{
    const std::string prefix = "/proc/";
    pid_t pid = 0;
    char const* const end = text.data() + text.size();
    if (text.compare(0, prefix.size(), prefix) != 0)
        return 0;
    auto parsed = std::from_chars(text.data() + prefix.size(), end, pid);
    return parsed.ec == std::errc() && parsed.ptr == end && pid > 0 ? pid : 0;
}

// All of them, so that none stays open unseen.
std::vector<OwnedDescriptor> takeRights(msghdr& header)
{
    std::vector<OwnedDescriptor> taken;
    for (cmsghdr* part = CMSG_FIRSTHDR(&header); part; part = CMSG_NXTHDR(&header, part)) {
        if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS)
            continue;
        for (size_t at = CMSG_LEN(0); at + sizeof(int) <= part->cmsg_len; at += sizeof(int)) {
            int fd;
            std::memcpy(&fd, CMSG_DATA(part) + (at - CMSG_LEN(0)), sizeof fd);
            taken.emplace_back(fd);
        }
    }
    return taken;
}

// What recvmsg says about the two bytes that the descriptors come with.
void reportReception(ssize_t length, int flags, int error)
{
    static const struct {
        int flag;
        char const* text;
    } kTexts[] = {{MSG_EOR, "End of record"},
                  {MSG_TRUNC, "Message truncated!  Probably didn't get the FDs!"},
                  {MSG_CTRUNC, "ancillary data truncated! -- did not get all FDs!"},
                  {MSG_ERRQUEUE, "Some error -- no data"}};
    if (length != 2)
        std::fprintf(stderr, "recvmsg returned: %zd\n", length);
    if (length < 0) {
        std::fprintf(stderr, "recvmsg: %s:%s\n", "receiveFileDescriptorRights", std::strerror(error));
        return;
    }
    flags &= ~MSG_CMSG_CLOEXEC; // asked for
    if (flags != 0)
        std::fprintf(stderr, "Some error: %d\n", flags);
    for (auto const& entry : kTexts)
        if (flags & entry.flag)
            std::fprintf(stderr, "%s\n", entry.text);
}

} // namespace

bool ReceiveFileDescriptorState::listen(std::string const& program, std::string const& process,
                                        std::string& reason)
{
    const pid_t pid = processOf(process);
    if (pid == 0) {
        reason = "the descriptor names no process";
        return false;
    }
    sender = channels.watchSender(pid);
    if (!sender) {
        reason =
            errno == ESRCH ? "there is no process " + std::to_string(pid) + " here" : std::strerror(errno);
        return false;
    }
    if (!bindListener(program, reason))
        return false;
    if (watch(_listener.get(), kReadWatch))
        return true;
    reason = "the loop cannot watch it";
    return false;
}

// Several transfers at once between the same processes: the first name that is free.
bool ReceiveFileDescriptorState::bindListener(std::string const& program, std::string& reason)
{
    _listener.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    bool bound = false;
    for (int count = 1; _listener.get() >= 0 && !bound && count <= kMaxNames; ++count) {
        std::string tail = "-" + std::to_string(getpid()) + "-" + std::to_string(sender->pid);
        if (count > 1)
            tail += "-" + std::to_string(count);
        name = program.substr(0, kMaxName - tail.size()) + tail;
        const sockaddr_un address = makeUnixAddress(name.c_str(), 1);
        bound = bind(_listener.get(), reinterpret_cast<sockaddr const*>(&address), sizeof address) == 0;
        if (!bound && errno != EADDRINUSE)
            break;
    }
    if (bound && ::listen(_listener.get(), kBacklog) == 0)
        return true;
    reason = std::strerror(errno);
    return false;
}

bool ReceiveFileDescriptorState::advance()
{
    Step step = kGoOn;
    while (step == kGoOn) {
        switch (_state) {
        case kConnection:
            step = acceptBackChannelConnection();
            break;
        case kIdentifiers:
            step = receiveRemoteFileDescriptorIdentifiers();
            break;
        case kRights:
            step = receiveFileDescriptorRights();
            break;
        }
    }
    return step == kEnd;
}

ReceiveFileDescriptorState::Step ReceiveFileDescriptorState::acceptBackChannelConnection()
{
    OwnedDescriptor fd(accept4(_listener.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (fd.get() < 0) {
        if (errno == EAGAIN || errno == EINTR || errno == ECONNABORTED)
            return kWait;
        std::perror("acceptBackChannelConnection: accept()");
        return kEnd; // the one who waits there would keep the loop busy
    }
    if (peerProcess(fd.get()) != sender->pid)
        return kWait; // a stranger
    unwatch();
    _listener.reset();
    _connection.reset(new Connection(-1, fd.release(), nullptr, nullptr));
    if (!watch(_connection->getFd(), kReadWatch))
        return refuse("the loop cannot watch the back channel");
    _state = kIdentifiers;
    return kGoOn;
}

ReceiveFileDescriptorState::Step ReceiveFileDescriptorState::receiveRemoteFileDescriptorIdentifiers()
{
    SharedPtr<Message> message;
    if (_connection->readData(&message) == -1)
        return kEnd;
    if (!message.get())
        return kWait;
    std::unique_ptr<Element> root(EESParser::readContainer(message->data + kSizeFieldLength,
                                                           message->size - kSizeFieldLength, kParsePosition,
                                                           message->data[kOffsetVersion]));
    if (!root || !readIdentifiers(root.get()))
        return refuse("the list of descriptors is not in order");
    _state = kRights;
    return kGoOn;
}

bool ReceiveFileDescriptorState::readIdentifiers(Element* root)
{
    Element* const objName = root->getChild("objName");
    Element* const method = root->getChild("method");
    Element* const params = root->getChild("params");
    if (!objName || !method || !params)
        return false;
    auto* const list = dynamic_cast<ListElem*>(params->getChild("fdList"));
    auto* const id = dynamic_cast<IntegerElem*>(params->getChild("requestID"));
    if (!list || !id || list->size() == 0 || list->size() > kMaxPassedDescriptors)
        return false;
    for (Element* element : *list) {
        if (!dynamic_cast<FileDescriptorElem*>(element))
            return false;
        _numbers.push_back(element->intValue());
    }
    _key = descriptorKey(objName->stringValue(), method->stringValue(), id->intValue(), clientId);
    return true;
}

ReceiveFileDescriptorState::Step ReceiveFileDescriptorState::receiveFileDescriptorRights()
{
    char data[2];
    iovec piece{data, sizeof data};
    alignas(cmsghdr) char control[CMSG_SPACE(kMaxPassedDescriptors * sizeof(int))];
    msghdr header{};
    header.msg_iov = &piece;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof control;
    const ssize_t length = recvmsg(_connection->getFd(), &header, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (length < 0 && (errno == EAGAIN || errno == EINTR))
        return kWait;
    reportReception(length, header.msg_flags, errno);
    if (length <= 0)
        return kEnd;
    std::vector<OwnedDescriptor> received = takeRights(header);
    if (header.msg_flags & MSG_CTRUNC)
        return refuse("no room for all descriptors, the limit of open ones is reached");
    if (length != sizeof data || std::memcmp(data, "FD", sizeof data) != 0 ||
        received.size() != _numbers.size())
        return refuse("other descriptors came than were announced");
    if (channels.isFull(clientId, received.size()))
        return refuse("too many wait for their calls");
    return deliver(std::move(received));
}

ReceiveFileDescriptorState::Step ReceiveFileDescriptorState::deliver(std::vector<OwnedDescriptor>&& received)
{
    ReceivedDescriptors entry;
    entry.connectionId = connectionId;
    entry.clientId = clientId;
    entry.sender = sender;
    entry.since = std::chrono::steady_clock::now();
    // Of equal numbers the last one counts.
    for (size_t i = 0; i < received.size(); ++i)
        entry.descriptors[_numbers[i]] = std::move(received[i]);
    if (send(_connection->getFd(), &kDescriptorsArrived, 1, MSG_NOSIGNAL | MSG_DONTWAIT) == 1) {
        channels.fdMaps[_key] = std::move(entry);
        channels.hasReceived = true;
    }
    return kEnd;
}

ReceiveFileDescriptorState::Step ReceiveFileDescriptorState::refuse(char const* reason)
{
    std::fprintf(stderr, "TavixProxy: descriptors of process %d refused: %s\n", static_cast<int>(sender->pid),
                 reason);
    const std::string answer = kDescriptorsRefused + std::string(reason);
    send(_connection->getFd(), answer.data(), answer.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    return kEnd;
}

void ReceiveFileDescriptorState::close()
{
    unwatch();
    _connection.reset();
    _listener.reset();
    sender.reset();
}

} // namespace Tavix
