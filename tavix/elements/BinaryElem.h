#ifndef TAVIX_ELEMENTS_BINARYELEM_H
#define TAVIX_ELEMENTS_BINARYELEM_H

#include <tavix/elements/SharedBytes.h>
#include <tavix/elements/TerminalElem.h>

namespace Tavix {

// A block of bytes.
class TAVIX_API BinaryElem : public TerminalElem {
public:
    static constexpr char _type[] = "BinaryElem";

    // Copies `length` bytes. Null data gives an empty element. When the copy cannot be allocated, `result` is
    // OPERATION_FAILED_OUT_OF_MEMORY and the element is empty.
    BinaryElem(unsigned char const* data, unsigned length, TvxResult& result);

    // Takes a block that came from malloc; it is released with free. Null data gives an empty element.
    BinaryElem(unsigned char* data, unsigned length);

    // Shares the bytes.
    explicit BinaryElem(SharedBytes const& value);

    BinaryElem(BinaryElem const&) = delete;
    BinaryElem& operator=(BinaryElem const&) = delete;
    ~BinaryElem() override;

    // The bytes as a text.
    using TerminalElem::stringValue;
    std::string stringValue() const override;

    unsigned char const* binaryValue() const override;
    unsigned binaryLength() const override;

    // A block of 1, 2 or 4 bytes as an unsigned number in this host's byte order. Other lengths give -1 with
    // OPERATION_FAILED_NOT_SUPPORTED. The form without a result is -1 always.
    using TerminalElem::intValue;
    int intValue(TvxResult& result) const override;

    // A block of 4 bytes as a float, of 8 as a double. Other lengths give 0.0 with
    // OPERATION_FAILED_NOT_SUPPORTED.
    using TerminalElem::doubleValue;
    double doubleValue(TvxResult& result) const override;

    std::string toString() const override;
    Element* clone() const override;
    void accept(ElementVisitor* visitor) override;
    bool instanceOf(std::string const& type) const override;

    // The bytes, for keeping them beyond the element's life.
    SharedBytes share() const;

private:
    unsigned char const* _data;
    unsigned _length;
    mutable std::shared_ptr<void const> _owner; // of the bytes; without one they are this element's own
};

} // namespace Tavix

#endif
