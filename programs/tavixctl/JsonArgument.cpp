#include "tavixctl/JsonArgument.h"

#include <tavix/elements/ElementHandler.h>
#include <tavix/foundation/ByteArrayInputStream.h>
#include <tavix/foundation/FileInputStream.h>
#include <tavix/foundation/JsonDeserializer.h>

#include <cstdio>

namespace {

// An integer of a value tree has 32 bits. A larger one that a user has typed is not cut.
class ArgumentHandler : public Tavix::ElementHandler {
public:
    void onInteger64(WeakPtr<Ferrule::Deserializer>, char const*, std::int64_t value) override
    {
        _tooLarge = "the integer " + std::to_string(value) + " does not fit in 32 bits; " +
                    std::to_string(value) + ".0 would be sent as a double";
    }

    char const* getErrorString() const override
    {
        return _tooLarge.empty() ? ElementHandler::getErrorString() : _tooLarge.c_str();
    }

private:
    std::string _tooLarge;
};

SharedPtr<Tavix::Element> read(Ferrule::InputStream& input, std::string& error)
{
    json::JsonDeserializer deserializer;
    ArgumentHandler handler;
    if (deserializer.parse(&input, &handler) == json::JsonDeserializer::kOk)
        return handler.getElement();
    error = deserializer.getErrorString();
    return {};
}

} // namespace

SharedPtr<Tavix::Element> readJsonArgument(std::string const& text, std::string& error)
{
    if (text != "-") {
        Ferrule::ByteArrayInputStream input(text.data(), static_cast<int>(text.size()));
        SharedPtr<Tavix::Element> value = read(input, error);
        error.insert(0, error.empty() ? "" : "the argument is not usable JSON: ");
        return value;
    }
    Ferrule::FileInputStream input(stdin, false);
    SharedPtr<Tavix::Element> value = read(input, error);
    if (char const* failure = input.getErrorString()) {
        error = std::string("cannot read standard input: ") + failure;
        return {};
    }
    error.insert(0, error.empty() ? "" : "standard input is not usable JSON: ");
    return value;
}
