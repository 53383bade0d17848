#include "common/CallFrames.h"

#include <tavix/elements/EESFormat.h>

#include <memory>

namespace Bench {

FramePair captureFrames(CallStyle const& style, unsigned payload)
{
    FramePair frames;
    LoneProxy caller;
    std::unique_ptr<Tavix::Element> argument(makeArgument(style, payload));
    caller.proxy.callMethodAsync(objectName(0), kMethodName, argument.get(), nullptr, nullptr);
    frames.request = caller.readFrame();
    Tavix::writeBigEndian32(frames.request.data() + Tavix::kOffsetReplyClientId, 1);

    LoneProxy owner;
    std::unique_ptr<Tavix::SharedObjectObserver> object(makeObject(style));
    owner.proxy.addSharedObject(objectName(0), object.get());
    owner.readFrame();
    owner.writeFrame(frames.request);
    frames.reply = owner.readFrame();
    return frames;
}

std::vector<FramePair> captureAllFrames(RunOptions const& options, CallStyle const& style)
{
    std::vector<FramePair> frames;
    for (unsigned payload : options.sizes)
        frames.push_back(captureFrames(style, payload));
    return frames;
}

} // namespace Bench
