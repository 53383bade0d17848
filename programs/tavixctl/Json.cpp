#include "tavixctl/Json.h"

#include <tavix/elements/BinaryElem.h>
#include <tavix/elements/BooleanElem.h>
#include <tavix/elements/DoubleElem.h>
#include <tavix/elements/ElementVisitor.h>
#include <tavix/elements/ExceptionElem.h>
#include <tavix/elements/FileDescriptorElem.h>
#include <tavix/elements/IntegerElem.h>
#include <tavix/elements/ListElem.h>
#include <tavix/elements/MapElem.h>
#include <tavix/elements/NullElem.h>
#include <tavix/elements/StringElem.h>

#include <glib.h>
#include <nlohmann/json.hpp>

using namespace Tavix;
using nlohmann::json;

namespace {

json toJson(Element* value);

class Converter : public ElementVisitor {
public:
    void visitorAtMapElem(MapElem* element) override
    {
        result = json::object();
        for (auto const& [name, child] : *element)
            result.emplace(name, toJson(child));
    }
    void visitorAtListElem(ListElem* element) override
    {
        result = json::array();
        for (Element* child : *element)
            result.push_back(toJson(child));
    }
    void visitorAtIntegerElem(IntegerElem* element) override { result = element->intValue(); }
    void visitorAtBooleanElem(BooleanElem* element) override { result = element->booleanValue(); }
    void visitorAtDoubleElem(DoubleElem* element) override { result = element->doubleValue(); }
    void visitorAtStringElem(StringElem* element) override { result = element->stringValue(); }
    void visitorAtBinaryElem(BinaryElem* element) override
    {
        gchar* const encoded = g_base64_encode(element->binaryValue(), element->binaryLength());
        result = encoded;
        g_free(encoded);
    }
    void visitorAtNullElem(NullElem*) override {}
    void visitorAtExceptionElem(ExceptionElem* element) override
    {
        result = {{"exceptionstring", element->stringValue()}, {"exceptioninteger", element->intValue()}};
    }
    void visitorAtFileDescriptorElem(FileDescriptorElem*) override {}
    int encode(char**) override { return 0; }

    json result;
};

json toJson(Element* value)
{
    Converter converter;
    if (value)
        value->accept(&converter);
    return std::move(converter.result);
}

std::string dump(json const& value)
{
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

} // namespace

std::string jsonText(Element* value)
{
    return dump(toJson(value));
}

std::string jsonText(std::string const& text)
{
    return dump(text);
}

JsonLine& JsonLine::addJson(char const* key, std::string const& json)
{
    _text += _text.empty() ? "{\"" : ",\"";
    ((_text += key) += "\":") += json;
    return *this;
}
