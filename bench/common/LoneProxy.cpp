#include "common/LoneProxy.h"

#include <tavix/SelectLoopGlue.h>
#include <tavix/SocketUtil.h>
#include <tavix/elements/EESFormat.h>

#include <unistd.h>

namespace Bench {

LoneProxy::LoneProxy() : _loop(new Tavix::SelectLoopGlue), proxy(_loop)
{
    SocketPair pair;
    _peer = std::move(pair.second);
    setNonblocking(_peer.get());
    proxy.connectToFd(pair.first.release());
}

Frame LoneProxy::readFrame()
{
    Frame frame(Tavix::kSizeFieldLength);
    receive(frame, 0);
    const std::size_t body = Tavix::readBigEndian32(frame.data());
    frame.resize(Tavix::kSizeFieldLength + body);
    receive(frame, Tavix::kSizeFieldLength);
    return frame;
}

void LoneProxy::writeFrame(Frame const& frame)
{
    std::size_t done = 0;
    while (done < frame.size()) {
        const ssize_t sent = write(_peer.get(), frame.data() + done, frame.size() - done);
        if (sent > 0)
            done += static_cast<std::size_t>(sent);
        else
            _loop->iterate();
    }
}

void LoneProxy::receive(Frame& frame, std::size_t done)
{
    while (done < frame.size()) {
        const ssize_t got = read(_peer.get(), frame.data() + done, frame.size() - done);
        if (got > 0)
            done += static_cast<std::size_t>(got);
        else
            _loop->iterate();
    }
}

} // namespace Bench
