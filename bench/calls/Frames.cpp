#include "Frames.h"

#include "Clients.h"

#include <tavix/elements/EESFormat.h>

#include <memory>

namespace Bench {

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
