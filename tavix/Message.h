#ifndef TAVIX_MESSAGE_H
#define TAVIX_MESSAGE_H

#include <tavix/FrameBlocks.h>
#include <tavix/elements/EncodedFrame.h>
#include <tavix/foundation/Export.h>
#include <tavix/foundation/RecycledNode.h>
#include <tavix/foundation/SharedPtr.h>

#include <sys/uio.h>
#include <utility>
#include <vector>

namespace Tavix {

class ReadBuffer;

// One whole frame as it stands on a socket, its 4-byte size field included. Always held through
// SharedPtr<Message>: one message may stand in the send queues of several connections at once.
struct TAVIX_API Message : Ferrule::RecycledNode, Ferrule::SelfCounted {
    // Takes data, a block from malloc with the whole frame of `size` bytes.
    Message(unsigned char* data, unsigned size) : data(data), size(size), blockLength(size) {}
    // Lends the frame of `size` bytes, which stands in the buffer, and shares all of that.
    Message(ReadBuffer& buffer, unsigned char* data, unsigned size);
    // Takes the block, and shares what lies outside it: for sending only.
    explicit Message(EncodedFrame& frame)
        : data(reinterpret_cast<unsigned char*>(std::exchange(frame.block, nullptr))), size(frame.length),
          blockLength(frame.blockLength), parts(std::move(frame.parts))
    {
    }
    ~Message()
    {
        if (lender)
            giveBack();
        else
            releaseFrame(data, blockLength);
    }

    Message(Message const&) = delete;
    Message& operator=(Message const&) = delete;

    // The frame from byte `from` on, as writev(2) takes it. Answers how many of `count` entries are in use; when that
    // is all of them, there may be more behind.
    int gather(unsigned from, iovec* entries, int count) const;

    unsigned char* data;
    unsigned size;          // bytes, with the size field
    unsigned messageId = 0; // 0 until the receiver has looked into the header
    int clientId = 0;       // of the connection that the message arrived on; 0 for one made here

    unsigned blockLength;               // bytes of data; all of the frame unless there are parts
    std::vector<FramePart> parts;       // of an outgoing frame: large values that were not copied into data
    ReadBuffer* const lender = nullptr; // where data stands, of a message that does not own it

private:
    void giveBack();
};

} // namespace Tavix

#endif
