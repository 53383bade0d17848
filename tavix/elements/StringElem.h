#ifndef TAVIX_ELEMENTS_STRINGELEM_H
#define TAVIX_ELEMENTS_STRINGELEM_H

#include <tavix/elements/SharedBytes.h>
#include <tavix/elements/TerminalElem.h>

#include <memory>
#include <string_view>

namespace Tavix {

// A text: bytes with a length. Any bytes, also zeros, travel unchanged.
class TAVIX_API StringElem : public TerminalElem {
public:
    static constexpr char _type[] = "StringElem";

    explicit StringElem(std::string const& value);
    explicit StringElem(std::string&& value);
    explicit StringElem(std::string_view value);
    // A null text is the empty text.
    explicit StringElem(char const* value);
    // Shares the bytes.
    explicit StringElem(SharedBytes const& value);
    ~StringElem() override;

    using TerminalElem::setValue;
    bool setValue(std::string const& value) override;

    using TerminalElem::booleanValue;
    using TerminalElem::stringValue;
    std::string stringValue() const override;

    // The text as a whole in C notation ("0x10" is 16, "010" is 8), cut to its low 32 bits; the empty text is
    // 0. A text that is no number gives -1 with OPERATION_FAILED_NOT_SUPPORTED, and 0 in the form without a
    // result.
    int intValue() const override;
    int intValue(TvxResult& result) const override;

    // By the rule of toBoolean.
    bool booleanValue() const override;

    std::string toString() const override;
    Element* clone() const override;
    void accept(ElementVisitor* visitor) override;
    bool instanceOf(std::string const& type) const override;

    // The text without a copy. Lends: valid until the value changes.
    std::string_view text() const { return _shared ? _shared->view() : std::string_view(_value); }

    // The bytes of a text of kSharedLength or more, for keeping them beyond a later change of the value.
    SharedBytes const& share() const;

private:
    // The text is in _shared when that is set, else in _value. Sharing moves it, which nobody can tell.
    mutable std::string _value;
    mutable std::unique_ptr<SharedBytes> _shared;
};

} // namespace Tavix

#endif
