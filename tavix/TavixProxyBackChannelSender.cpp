// The sender of descriptors. The call is encoded and held back; it leaves when the receiver has acknowledged them, or
// its callback gets an exception that says why it cannot.

#include "tavix/LateThrowInternal.h"
#include "tavix/ProxyInternal.h"
#include "tavix/SocketUtilInternal.h"
#include "tavix/TavixProxyBackChannelInternal.h"
#include "tavix/elements/ExceptionElem.h"
#include "tavix/elements/FileDescriptorElem.h"
#include "tavix/elements/StringElem.h"
#include "tavix/foundation/Check.h"
#include "tavix/foundation/SingleThreaded.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>

namespace Tavix {

namespace {

bool namesDescriptor(Element const* element)
{
    return element->intValue() >= 0;
}

// One attempt, which does not block: the receiver listens before it tells the name.
OwnedDescriptor connectOnce(std::string const& name)
{
    OwnedDescriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const sockaddr_un address = makeUnixAddress(name.c_str(), 1);
    if (fd.get() >= 0 && connect(fd.get(), reinterpret_cast<sockaddr const*>(&address), sizeof address) != 0)
        fd.reset();
    return fd;
}

// The name says program-receiver-sender, and a count behind that when it was taken. A process of another namespace
// has no number that could be compared.
bool isReceiver(int fd, std::string const& name)
{
    const pid_t peer = peerProcess(fd);
    if (peer == 0)
        return true;
    const std::string pair = "-" + std::to_string(peer) + "-" + std::to_string(getpid());
    const size_t place = name.rfind(pair);
    const size_t end = place + pair.size();
    return place != std::string::npos && (end == name.size() || name[end] == '-');
}

// A program that was replaced while it runs, as the kernel names it. The receiver looks for a file.
std::string presentProgram(std::string const& exe)
{
    const std::string mark = " (deleted)";
    const bool marked =
        exe.size() > mark.size() && exe.compare(exe.size() - mark.size(), mark.size(), mark) == 0;
    return marked && access(exe.c_str(), F_OK) != 0 ? exe.substr(0, exe.size() - mark.size()) : exe;
}

// The descriptor by which the request names its sender. The element itself may come from another process.
std::unique_ptr<FileDescriptorElem> makeIntroduction(ListElem const& descriptors)
{
    for (Element const* element : descriptors) {
        if (!namesDescriptor(element))
            continue;
        std::unique_ptr<FileDescriptorElem> first(static_cast<FileDescriptorElem*>(element->clone()));
        StringElem process("/proc/" + std::to_string(getpid()));
        first->setMember("pid", &process);
        StringElem program(presentProgram(first->exe()));
        first->setMember("exe", &program);
        return first;
    }
    return nullptr;
}

} // namespace

bool TavixProxy::holdsDescriptors(ListElem const& descriptors)
{
    for (Element const* element : descriptors)
        if (namesDescriptor(element))
            return true;
    return false;
}

CoreRequest* TavixProxy::startTransfer(RequestData& request, ListElem const& descriptors,
                                       std::string const& objName, std::string const& method,
                                       RemoteProxyResult& result, ResponseCallback callback, void* userData)
{
    BackChannels& channels = _private->backChannels;
    std::unique_ptr<BackChannelState> prepared(
        new BackChannelState(channels, _private->linkId, objName, method, callback, userData));
    std::string reason;
    result = prepared->prepare(request, descriptors, reason);
    if (result != PROXY_OK) {
        std::fprintf(stderr, "TavixProxy: cannot send \"%s\" to object \"%s\": %s\n", method.c_str(),
                     objName.c_str(), reason.c_str());
        return nullptr;
    }
    if (prepared->hasFailed()) {
        prepared->close();
        prepared->finish();
        return nullptr;
    }
    BackChannelState* state;
    {
        Ferrule::Guard<std::mutex> guard(channels.lock);
        state = channels.add(std::move(prepared));
    }
    CoreRequest* const core =
        formatAndSendRequest(BackChannel, objName, method, makeIntroduction(descriptors).get(), true, result,
                             BackChannelState::handleBackChannel, state);
    if (result == PROXY_OK)
        return core; // the transfer may be over already
    Ferrule::Guard<std::mutex> guard(channels.lock);
    channels.take(state);
    return nullptr;
}

RemoteProxyResult BackChannelState::prepare(RequestData& encoded, ListElem const& descriptors,
                                            std::string& reason)
{
    if (encoded.frame.length > Connection::kMaxFrameSize) {
        reason = Connection::getResultString(Connection::RESULT_MESSAGE_TOO_LARGE);
        return PROXY_REQUEST_TOO_LARGE;
    }
    request.id = encoded.id;
    if (!duplicate(descriptors))
        return PROXY_OK;

    ListElem* list = new ListElem;
    MapElem params;
    params.addChild("fdList", list);
    for (Element const* element : descriptors)
        if (namesDescriptor(element))
            list->add(element->clone());
    params.addChild("requestID", new IntegerElem(static_cast<int>(encoded.id)));
    EESVisitor visitor;
    visitor.startMessage(CallMethod, 0, objName, method);
    params.accept(&visitor);
    EncodedFrame frame;
    if (!visitor.encodeFrame(frame)) {
        reason = visitor.getError();
        return PROXY_MEMORY_ERROR;
    }
    identifiers = SharedPtr<Message>(new Message(frame));

    request.frame = std::move(encoded.frame);
    encoded.frame.block = nullptr;
    request.noResponse = encoded.noResponse;
    return PROXY_OK;
}

bool BackChannelState::duplicate(ListElem const& descriptors)
{
    for (Element const* element : descriptors) {
        if (!namesDescriptor(element))
            continue;
        if (fdList.size() == kMaxPassedDescriptors)
            return fail("A call passes at most " + std::to_string(kMaxPassedDescriptors) + " descriptors",
                        PROXY_REQUEST_TOO_LARGE);
        if (static_cast<FileDescriptorElem const*>(element)->isForeign())
            return fail("Descriptor " + element->stringValue() + " is a number of another process",
                        PROXY_EXCEPTION);
        fdList.emplace_back(fcntl(element->intValue(), F_DUPFD_CLOEXEC, 0));
        if (fdList.back().get() < 0)
            return fail("Descriptor " + element->stringValue() + " cannot be passed: " + std::strerror(errno),
                        PROXY_MEMORY_ERROR);
    }
    return true;
}

void BackChannelState::handleBackChannel(ResponseData const* response, void* bc)
{
    TAVIX_CHECK(bc, "bc");
    Element* result = response->map->find("result");
    TAVIX_CHECK(result, "result");
    static_cast<BackChannelState*>(bc)->answered(result);
}

void BackChannelState::answered(Element* answer)
{
    std::unique_ptr<Transfer> ended;
    {
        Ferrule::Guard<std::mutex> guard(channels.lock);
        asked = false;
        if (!connectTo(answer) || advance())
            ended = channels.take(this);
    }
    if (ended)
        ended->finish();
}

bool BackChannelState::connectTo(Element* answer)
{
    if (answer->isException())
        return fail(answer->stringValue(), answer->intValue());
    if (channels.connectionId() != connectionId)
        return fail("Connection broken");
    Element const* hostname = answer->getChild("hostname");
    listener = hostname ? hostname->stringValue() : std::string();
    OwnedDescriptor fd = connectOnce(listener);
    if (fd.get() < 0)
        return fail("Failed to connect backchannel");
    if (!isReceiver(fd.get(), listener))
        return fail("The back channel leads to another process");
    connection.reset(new Connection(-1, fd.release(), nullptr, nullptr));
    if (connection->sendMessage(identifiers) != Connection::RESULT_OK)
        return fail("The list of descriptors does not fit a message", PROXY_REQUEST_TOO_LARGE);
    if (!watch(connection->getFd(), kReadWatch))
        return fail("The loop cannot watch the back channel");
    listener.clear();
    return true;
}

bool BackChannelState::fail(std::string const& reason, int code)
{
    failed = true;
    failure = reason;
    failureCode = code;
    return false;
}

bool BackChannelState::advance()
{
    return readAnswer() || !transferFileDescriptorRights();
}

// True when the transfer has ended.
bool BackChannelState::readAnswer()
{
    char text[256];
    const ssize_t length = recv(connection->getFd(), text, sizeof text, MSG_DONTWAIT);
    if (length < 0 && (errno == EAGAIN || errno == EINTR))
        return false;
    if (length <= 0)
        fail("The receiver closed the back channel");
    else if (text[0] == kDescriptorsRefused)
        fail("The receiver refused the descriptors: " + std::string(text + 1, text + length));
    else if (text[0] != kDescriptorsArrived || !fdList.empty())
        fail("The receiver answered with something else");
    return true;
}

// False when the transfer has ended.
bool BackChannelState::transferFileDescriptorRights()
{
    if (fdList.empty())
        return true;
    connection->checkSendQueue();
    const int unsent = connection->writeData();
    if (unsent < 0)
        return fail("The receiver closed the back channel");
    PollLoopIf& loop = channels.loop();
    if (unsent > 0) {
        loop.sourceAddWatch(source, kWriteWatch);
        return true;
    }
    if (sendRights()) {
        fdList.clear();
        loop.sourceRemoveWatch(source, kWriteWatch);
        return true;
    }
    if (errno != EAGAIN && errno != EINTR) {
        const std::string reason = std::strerror(errno);
        std::fprintf(stderr, "%s - sendmsg: %s\n", "transferFileDescriptorRights", reason.c_str());
        return fail("The descriptors cannot be sent: " + reason);
    }
    loop.sourceAddWatch(source, kWriteWatch);
    return true;
}

bool BackChannelState::sendRights()
{
    char data[] = {'F', 'D'};
    iovec piece{data, sizeof data};
    alignas(cmsghdr) char control[CMSG_SPACE(kMaxPassedDescriptors * sizeof(int))] = {};
    const size_t length = fdList.size() * sizeof(int);
    msghdr header{};
    header.msg_iov = &piece;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = CMSG_SPACE(length);
    cmsghdr* const rights = CMSG_FIRSTHDR(&header);
    rights->cmsg_level = SOL_SOCKET;
    rights->cmsg_type = SCM_RIGHTS;
    rights->cmsg_len = CMSG_LEN(length);
    for (size_t i = 0; i < fdList.size(); ++i) {
        const int fd = fdList[i].get();
        std::memcpy(CMSG_DATA(rights) + i * sizeof fd, &fd, sizeof fd);
    }
    // Two bytes leave together or not at all.
    return sendmsg(connection->getFd(), &header, MSG_NOSIGNAL | MSG_DONTWAIT) >= 0;
}

void BackChannelState::close()
{
    unwatch();
    connection.reset();
    fdList.clear();
}

bool BackChannelState::connectionEnded()
{
    if (asked)
        return false;
    fail("Connection broken");
    return true;
}

void BackChannelState::cleanupBackChannel()
{
    TavixProxy& proxy = *channels.proxy;
    if (!failed && channels.connectionId() != connectionId)
        fail("Connection broken");
    if (failed) {
        // The withdrawal may find the connection broken, and run the callbacks of others.
        LateThrow thrown;
        if (!listener.empty())
            thrown.during([this] { withdraw(listener); });
        thrown.during([this] { giveUp(); });
        thrown.rethrow();
        return;
    }
    std::unique_ptr<CoreRequest> core(new CoreRequest(&request, BackChannel));
    core->callback = callback;
    core->userData = userData;
    RemoteProxyResult result = PROXY_OK;
    proxy.sendRequest(request, core.release(), result);
    if (result == PROXY_OK)
        return;
    std::fprintf(stderr, "Error cleaning up back channel for fd transfer (%d)\n", result);
    fail("The call could not be sent", result);
    giveUp();
}

// Tells the receiver that nobody will connect to this name; without a name, that this client gives all of its transfers
// up. Answered like any request, which nobody waits for.
void BackChannelState::withdraw(std::string const& name)
{
    StringElem which(name);
    RemoteProxyResult result;
    channels.proxy->TavixProxy::formatAndSendRequest(BackChannel, objName, method, &which, false, result,
                                                     nullptr, nullptr);
}

void BackChannelState::giveUp()
{
    MapElem* map = new MapElem;
    map->addChild("result", new ExceptionElem(failure, failureCode));
    ResponseData response(map);
    response.requestId = request.id;
    CoreRequest core(&request, BackChannel);
    core.callback = callback;
    core.userData = userData;
    core.setResponse(&response);
}

} // namespace Tavix
