#include "support/RawClient.h"

#include "tavix/SocketUtil.h"
#include "tavix/elements/EESFormat.h"
#include "tavix/elements/EESParser.h"
#include "tavix/elements/EESVisitor.h"
#include "tavix/elements/JsonVisitor.h"
#include "tavix/elements/ListElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/StringElem.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Tavix;

namespace {

const int kLimitMilliseconds = 30000;

unsigned char const* bytesOf(std::string const& text)
{
    return reinterpret_cast<unsigned char const*>(text.data());
}

// Takes value.
std::string finish(EESVisitor& visitor, Element* value)
{
    if (value)
        value->accept(&visitor);
    delete value;
    char* data = nullptr;
    const int length = visitor.encode(&data);
    EXPECT_TRUE(data) << visitor.getError();
    std::string frame(data ? data : "", static_cast<size_t>(length));
    free(data);
    return frame;
}

} // namespace

std::string makeRequest(EESMessageType type, unsigned id, std::string const& objName, std::string const& name,
                        Element* value)
{
    EESVisitor visitor;
    visitor.startMessage(type, id, objName, name);
    return finish(visitor, value);
}

std::string makeResponse(unsigned id, unsigned clientId, Element* result)
{
    EESVisitor visitor;
    visitor.startMessage(Response, id);
    return stamped(finish(visitor, result), clientId);
}

std::string makeMessage(unsigned id, unsigned clientId,
                        std::initializer_list<std::pair<char const*, Element*>> root)
{
    MapElem* map = new MapElem;
    for (auto const& entry : root)
        map->addChild(entry.first, entry.second);
    const size_t valueOffset = makeResponse(0, 0, new NullElem).size() - kValueHeadLength;
    return makeFrame(id, clientId, makeResponse(0, 0, map).substr(valueOffset));
}

std::string makeFrame(unsigned id, unsigned clientId, std::string const& body)
{
    const std::string header = std::string("#$\1\2") + bigEndian(id) + '\1' + bigEndian(clientId);
    return bigEndian(static_cast<unsigned>(header.size() + body.size())) + header + body;
}

std::string withDeepValue(std::string const& frame)
{
    std::string body = frame.substr(kHeaderLength, frame.size() - kHeaderLength - kValueHeadLength);
    for (unsigned left = 300; left > 0; --left)
        body += std::string("\0\0\0\1", 4) + bigEndian((left - 1) * kContainerHeadLength);
    return makeFrame(Frame(frame).id, Frame(frame).clientId, body);
}

std::string stamped(std::string frame, unsigned clientId)
{
    return frame.replace(kOffsetReplyClientId, 4, bigEndian(clientId));
}

std::string bigEndian(unsigned value)
{
    unsigned char bytes[4];
    writeBigEndian32(bytes, value);
    return std::string(bytes, bytes + 4);
}

Element* makeNested(unsigned levels)
{
    Element* value = new ListElem;
    while (--levels > 0)
        value = (new ListElem)->add(value);
    return value;
}

Element* makeText(size_t length)
{
    return new StringElem(std::string(length, 'x'));
}

std::string describe(Element const* value)
{
    if (value && value->isException())
        return "!" + std::to_string(value->intValue()) + " " + value->stringValue();
    return JsonVisitor::toJsonString(const_cast<Element*>(value));
}

Frame::Frame(std::string const& frame) : bytes(frame)
{
    if (frame.empty())
        return;
    id = readBigEndian32(bytesOf(frame) + kOffsetMessageId);
    clientId = readBigEndian32(bytesOf(frame) + kOffsetReplyClientId);
    std::shared_ptr<Element> read(EESParser::readContainer(
        bytesOf(frame) + kSizeFieldLength, static_cast<unsigned>(frame.size()) - kSizeFieldLength,
        kParsePosition, bytesOf(frame)[kOffsetVersion]));
    root = std::dynamic_pointer_cast<MapElem>(read);
}

std::string Frame::describe() const
{
    if (!root)
        return bytes.empty() ? "end" : "undecodable";
    auto text = [&](char const* key) {
        return root->hasChild(key) ? root->getChild(key)->stringValue() : "";
    };
    const std::string number = std::to_string(id);
    if (text("messageType") == "response")
        return number + ": " + ::describe(root->getChild("result"));
    Element* value = root->getChild(root->hasChild("data") ? "data" : "params");
    return text("systemRule") + " " + number + " " + text("objName") + "." + text("method") + text("event") +
           " " + ::describe(value);
}

RawClient::RawClient(int fd, std::function<void()> meanwhile)
    : _meanwhile(std::move(meanwhile)), _fd(new int(fd), [](int const* owned) {
          ::close(*owned);
          delete owned;
      })
{
    setNonblocking(fd);
    setCloseOnExec(fd);               // the end is not kept back by a process that the bus has started
    setSocketBufferSize(fd, 0x40000); // room for a frame of the largest size
}

void RawClient::wait(short events)
{
    if (_meanwhile)
        _meanwhile();
    pollfd poller{*_fd, events, 0};
    if (poll(&poller, 1, kLimitMilliseconds) == 1)
        return;
    ADD_FAILURE() << "nothing came, or nobody reads";
    _ended = true;
}

void RawClient::send(std::string const& bytes)
{
    for (size_t sent = 0; sent < bytes.size() && !_ended;) {
        ssize_t count = ::send(*_fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count > 0)
            sent += static_cast<size_t>(count);
        else if (errno == EAGAIN)
            wait(POLLOUT);
        else
            return; // the end is heard
    }
}

void RawClient::read()
{
    char part[65536];
    ssize_t count = recv(*_fd, part, sizeof part, 0);
    if (count > 0)
        _unread.append(part, static_cast<size_t>(count));
    else if (count == 0 || errno != EAGAIN)
        _ended = true;
}

// Waits until `length` bytes are there: false at the end of the connection.
bool RawClient::fill(size_t length)
{
    while (_unread.size() < length && !_ended) {
        wait(POLLIN);
        read();
    }
    return _unread.size() >= length;
}

Frame RawClient::receive()
{
    if (!fill(kSizeFieldLength))
        return Frame("");
    const size_t length = readBigEndian32(bytesOf(_unread)) + kSizeFieldLength;
    if (!fill(length))
        return Frame("");
    Frame frame(_unread.substr(0, length));
    _unread.erase(0, length);
    return frame;
}

std::string RawClient::hear()
{
    return receive().describe();
}

std::string RawClient::ask(std::string const& request)
{
    send(request);
    return hear();
}

bool RawClient::isQuiet()
{
    if (_meanwhile)
        _meanwhile();
    read();
    return _unread.empty() && !_ended;
}
