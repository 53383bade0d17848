#ifndef TAVIX_ELEMENTS_EESVISITOR_H
#define TAVIX_ELEMENTS_EESVISITOR_H

#include <tavix/elements/ElementVisitor.h>
#include <tavix/elements/EncodedFrame.h>
#include <tavix/elements/ListElem.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace Tavix {

// Writes one message: startMessage, then optionally value->accept(&visitor) for the one value behind the
// entries of the root map, optionally setReplyClientId, then encode. One pass, appending to one buffer.
//
// A value that the format cannot carry (nested deeper than kMaxNesting, an empty key in a map, more children
// than the child count can tell, a buffer above the memory limit) sets an error: getError() names the place
// and the reason, everything further is ignored and encode answers null and 0.
//
// Belongs to one thread for the life of one message. Running out of memory stops the process.
class TAVIX_API EESVisitor : public ElementVisitor {
public:
    enum Result { kSuccess = 0, kOutOfMemory = 1 };

    EESVisitor();
    EESVisitor(EESVisitor const&) = delete;
    EESVisitor& operator=(EESVisitor const&) = delete;
    ~EESVisitor() override;

    // The capacity beyond which the buffer must not grow, in bytes; 0 is no limit.
    void setMemoryLimit(unsigned bytes);

    // A response.
    void startMessage(int type, unsigned messageId);
    // A request (see EESMessageType). `name` is the method or the event; the short form has an empty
    // identity.
    Result startMessage(int type, unsigned messageId, std::string const& objName, std::string const& name);
    Result startMessage(int type, unsigned messageId, std::string const& objName, std::string const& name,
                        std::string const& identity);

    // The client that a response goes back to. Does nothing before startMessage.
    void setReplyClientId(unsigned id);

    // The node writers. Counting the children of the node around them is the caller's business.
    void addStringChild(std::string_view key, std::string_view value);
    void addTerminal(int id, char const* data, unsigned length);
    void addNonTerminal(int id);
    // Completes the head of a container that begins at `start` and whose children end before `end`.
    void updateNonTerminal(unsigned start, unsigned end, unsigned count);

    // The steps of startMessage. reallocateBuffer is false when the limit forbids the growth.
    bool allocateBuffer();
    bool reallocateBuffer(unsigned required);
    void startHeader(int type, unsigned messageId);

    void visitorAtMapElem(MapElem* element) override;
    void visitorAtListElem(ListElem* element) override;
    void visitorAtIntegerElem(IntegerElem* element) override;
    void visitorAtBooleanElem(BooleanElem* element) override;
    void visitorAtDoubleElem(DoubleElem* element) override;
    void visitorAtStringElem(StringElem* element) override;
    void visitorAtBinaryElem(BinaryElem* element) override;
    void visitorAtNullElem(NullElem* element) override;
    void visitorAtExceptionElem(ExceptionElem* element) override;
    void visitorAtFileDescriptorElem(FileDescriptorElem* element) override;

    // Finishes the message: gives back the buffer in *out, to be released with free, and answers its length
    // in bytes. Null and 0 when no message was started or when it failed. The visitor is finished then.
    int encode(char** out) override;

    // The same for a sender that can write a frame in pieces: values of kSharedLength and more are not copied but
    // shared. False where encode answers 0.
    bool encodeFrame(EncodedFrame& frame);
    // To be called before the value is visited.
    void shareLargeValues() { _sharing = true; }

    bool failed() const { return _failed; }
    // What could not be carried and where: "params"/"list"/3: nested deeper than 128 levels. Empty without
    // failure.
    std::string const& getError() const { return _error; }

private:
    void _startRoot(int type, unsigned messageId, std::string_view tailKey);
    bool _reserve(std::size_t length) { return _offset + length < _capacity || _grow(length); }
    bool _grow(std::size_t length);
    void _written(char const* end);
    void _addText(std::string_view text);
    void _addShared(int id, SharedBytes const& shared) noexcept;
    bool _enterContainer(int id, std::size_t children, std::size_t nodesPerChild);
    void _leaveContainer(unsigned start, std::size_t outside, std::size_t nodes);
    void _lengthen(unsigned start, std::size_t outside);
    void _finishRoot();
    void _moveToHeap();
    void _addChild(Element* child);
    void _fail(std::string_view reason) noexcept;
    void _failLength();
    void _failDepth();
    void _failBelow(std::string_view place);
    void _failBelowIndex(std::size_t index);
    void _failBelowKey(std::string_view key);

    // Most messages fit the small buffer and leave as a block of their own length.
    static constexpr unsigned kSmallCapacity = 4000;

    // _small, or a block from malloc.
    char* _buffer = nullptr;
    unsigned _offset = 0;
    unsigned _memoryLimit = 0;
    // 0 without a buffer and after an error, so that nothing fits then.
    unsigned _capacity = 0;
    bool _bufferOwned = false; // false while the buffer is _small
    bool _sharing = false;
    std::vector<FramePart> _parts;
    std::size_t _outside = 0; // bytes of all parts
    int _type = 0;
    unsigned _rootOffset = 0;
    unsigned _rootChildCount = 0;
    std::string_view _key; // a constant
    bool _valueWritten = false;

public:
    // A clone of every FileDescriptorElem met while encoding, in order.
    ListElem fileDescriptors;

private:
    // The level of the node that is written next; the root map is level 0.
    unsigned _level = 0;
    bool _failed = false;
    // How much of the error text names the place as far as it is known.
    std::size_t _placeEnd = 0;
    std::string _error;
    char _small[kSmallCapacity + 1];
};

} // namespace Tavix

#endif
