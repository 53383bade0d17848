#include "Frames.h"

#include "Clients.h"

#include <tavix/SelectLoopGlue.h>
#include <tavix/SocketUtil.h>
#include <tavix/TavixProxy.h>
#include <tavix/elements/EESFormat.h>

#include <memory>
#include <sys/socket.h>
#include <unistd.h>

namespace Bench {

namespace {

// A proxy with nobody but this class at the other end of its socket.
class LoneProxy {
public:
    LoneProxy() : _loop(new Tavix::SelectLoopGlue), proxy(_loop)
    {
        int pair[2];
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, pair) != 0)
            fail("socketpair");
        setNonblocking(pair[1]);
        proxy.connectToFd(pair[0]);
        _peer = pair[1];
    }

    ~LoneProxy() { close(_peer); }

    Frame readFrame()
    {
        Frame frame(Tavix::kSizeFieldLength);
        receive(frame, 0);
        const std::size_t body = Tavix::readBigEndian32(frame.data());
        frame.resize(Tavix::kSizeFieldLength + body);
        receive(frame, Tavix::kSizeFieldLength);
        return frame;
    }

    void writeFrame(Frame const& frame)
    {
        std::size_t done = 0;
        while (done < frame.size()) {
            const ssize_t sent = write(_peer, frame.data() + done, frame.size() - done);
            if (sent > 0)
                done += static_cast<std::size_t>(sent);
            else
                _loop->iterate();
        }
    }

private:
    void receive(Frame& frame, std::size_t done)
    {
        while (done < frame.size()) {
            const ssize_t got = read(_peer, frame.data() + done, frame.size() - done);
            if (got > 0)
                done += static_cast<std::size_t>(got);
            else
                _loop->iterate();
        }
    }

    SharedPtr<Tavix::PollLoopIf> _loop;
    int _peer;

public:
    Tavix::TavixProxy proxy;
};

} // namespace

FramePair captureFrames(Options const& options, unsigned payload)
{
    FramePair frames;
    LoneProxy caller;
    std::unique_ptr<Tavix::Element> argument(makeArgument(options, payload));
    caller.proxy.callMethodAsync(kObjectName, kMethodName, argument.get(), nullptr, nullptr);
    frames.request = caller.readFrame();
    Tavix::writeBigEndian32(frames.request.data() + Tavix::kOffsetReplyClientId, 1);

    LoneProxy owner;
    std::unique_ptr<Tavix::SharedObjectObserver> object(makeObject(options));
    owner.proxy.addSharedObject(kObjectName, object.get());
    owner.readFrame();
    owner.writeFrame(frames.request);
    frames.reply = owner.readFrame();
    return frames;
}

std::vector<FramePair> captureAllFrames(Options const& options)
{
    std::vector<FramePair> frames;
    for (unsigned payload : options.sizes)
        frames.push_back(captureFrames(options, payload));
    return frames;
}

} // namespace Bench
