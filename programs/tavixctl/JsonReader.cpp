#include "tavixctl/Json.h"

#include <tavix/elements/ElementHandler.h>
#include <tavix/foundation/JsonDeserializer.h>

namespace {

// An integer of a value tree has 32 bits. A larger one that a user has typed is not cut.
class StrictHandler : public Tavix::ElementHandler {
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

} // namespace

SharedPtr<Tavix::Element> readJson(Ferrule::InputStream& input, std::string& error)
{
    json::JsonDeserializer deserializer;
    StrictHandler handler;
    if (deserializer.parse(&input, &handler) == json::JsonDeserializer::kOk)
        return handler.getElement();
    error = deserializer.getErrorString();
    return {};
}
