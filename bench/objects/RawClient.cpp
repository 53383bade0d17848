#include "RawClient.h"

#include "common/Fail.h"

#include <tavix/SocketUtil.h>
#include <tavix/elements/EESFormat.h>
#include <tavix/elements/EESVisitor.h>
#include <tavix/elements/NullElem.h>

#include <cerrno>
#include <cstdlib>
#include <sys/socket.h>

namespace Bench {

namespace {

std::string finish(Tavix::EESVisitor& visitor)
{
    char* data = nullptr;
    const int length = visitor.encode(&data);
    if (!data)
        fail("a frame cannot be encoded");
    const std::string frame(data, static_cast<std::size_t>(length));
    std::free(data);
    return frame;
}

std::string makeAnswer()
{
    Tavix::EESVisitor visitor;
    Tavix::NullElem null;
    visitor.startMessage(Tavix::Response, 0);
    null.accept(&visitor);
    return finish(visitor);
}

} // namespace

std::string makeRequest(Tavix::EESMessageType type, std::string const& objName, std::string const& name)
{
    Tavix::EESVisitor visitor;
    visitor.startMessage(type, 1, objName, name);
    return finish(visitor);
}

RawClient::RawClient(std::string const& path)
    : _socket(connectToServerUnixDomain(path.c_str())), _answer(makeAnswer())
{
    if (_socket.get() < 0)
        fail("connect");
    setNonblocking(_socket.get());
}

void RawClient::send(std::string const& frames)
{
    _unsent += frames;
    flush();
}

bool RawClient::work()
{
    static char buffer[65536];
    bool any = false;
    ssize_t got;
    while ((got = recv(_socket.get(), buffer, sizeof buffer, 0)) > 0) {
        _incoming.append(buffer, static_cast<std::size_t>(got));
        takeFrames();
        any = true;
    }
    if (got == 0 || errno != EAGAIN)
        fail("the bus has closed a connection");
    return flush() || any;
}

void RawClient::takeFrames()
{
    auto const* bytes = reinterpret_cast<unsigned char const*>(_incoming.data());
    std::size_t position = 0;
    while (_incoming.size() - position >= Tavix::kSizeFieldLength) {
        const std::size_t length = Tavix::kSizeFieldLength + Tavix::readBigEndian32(bytes + position);
        if (_incoming.size() - position < length)
            break;
        takeFrame(bytes + position);
        position += length;
    }
    _incoming.erase(0, position);
}

// Only a call that the bus has passed on names a client to answer, so this tells it from an event.
void RawClient::takeFrame(unsigned char const* frame)
{
    const unsigned caller = Tavix::readBigEndian32(frame + Tavix::kOffsetReplyClientId);
    if (frame[Tavix::kOffsetMessageType] == Tavix::Response) {
        ++_responses;
    } else if (caller == 0) {
        ++_events;
    } else {
        ++_calls;
        auto* answer = reinterpret_cast<unsigned char*>(_answer.data());
        Tavix::writeBigEndian32(answer + Tavix::kOffsetMessageId,
                                Tavix::readBigEndian32(frame + Tavix::kOffsetMessageId));
        Tavix::writeBigEndian32(answer + Tavix::kOffsetReplyClientId, caller);
        _unsent += _answer;
    }
}

bool RawClient::flush()
{
    if (_unsent.empty())
        return false;
    const ssize_t sent = ::send(_socket.get(), _unsent.data(), _unsent.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno != EAGAIN)
        fail("the bus has closed a connection");
    if (sent > 0)
        _unsent.erase(0, static_cast<std::size_t>(sent));
    return sent > 0;
}

} // namespace Bench
