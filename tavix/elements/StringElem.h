#ifndef TAVIX_ELEMENTS_STRINGELEM_H
#define TAVIX_ELEMENTS_STRINGELEM_H

#include <tavix/elements/SharedBytes.h>
#include <tavix/elements/TerminalElem.h>

#include <string_view>
#include <variant>

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
    std::string_view text() const
    {
        if (auto const* const shortText = std::get_if<Short>(&_text))
            return std::string_view(shortText->bytes, shortText->size);
        if (auto const* const longText = std::get_if<std::string>(&_text))
            return *longText;
        return std::get_if<SharedBytes>(&_text)->view();
    }

    // The bytes of a text of kSharedLength or more, for keeping them beyond a later change of the value.
    SharedBytes const& share() const;

private:
    // Most texts are names, paths and the like: they stand in the element itself.
    struct Short {
        explicit Short(std::string_view text) : size(static_cast<unsigned char>(text.size()))
        {
            text.copy(bytes, sizeof bytes);
        }

        unsigned char size;
        char bytes[39];
    };
    using Text = std::variant<Short, std::string, SharedBytes>;

    template <class From>
    static Text _makeText(From&& from);

    // Sharing changes how a text is kept, which nobody can tell.
    mutable Text _text;
};

} // namespace Tavix

#endif
