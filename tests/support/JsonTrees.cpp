#include "support/JsonTrees.h"

#include "tavix/elements/BinaryElem.h"
#include "tavix/elements/BooleanElem.h"
#include "tavix/elements/DoubleElem.h"
#include "tavix/elements/ExceptionElem.h"
#include "tavix/elements/FileDescriptorElem.h"
#include "tavix/elements/ListElem.h"
#include "tavix/elements/MapElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/StringElem.h"

#include <fstream>
#include <nlohmann/json.hpp>

namespace JsonTrees {

using namespace Tavix;
using nlohmann::json;

json load(char const* file)
{
    std::ifstream stream(std::string(TAVIX_SOURCE_DIR "/tests/data/") + file);
    return json::parse(stream);
}

namespace {

Element* makeObject(json const& object)
{
    if (object.contains("$nothing"))
        return nullptr;
    if (object.contains("$double"))
        return new DoubleElem(std::stod(object["$double"].get<std::string>()));
    if (object.contains("$fd"))
        return new FileDescriptorElem(object["$fd"].get<int>(), "h", "p", "e");
    if (object.contains("$exception"))
        return new ExceptionElem(object["$exception"].get<std::string>(), 7);
    if (object.contains("$bytes")) {
        TvxResult result;
        auto const bytes = object["$bytes"].get<std::string>();
        return new BinaryElem(reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size(), result);
    }
    MapElem* const map = new MapElem;
    for (auto const& [name, value] : object.items())
        map->addChild(name, make(value));
    return map;
}

} // namespace

Element* make(json const& value)
{
    switch (value.type()) {
    case json::value_t::object:
        return makeObject(value);
    case json::value_t::array: {
        ListElem* const list = new ListElem;
        for (json const& child : value)
            list->add(make(child));
        return list;
    }
    case json::value_t::string:
        return new StringElem(value.get<std::string>());
    case json::value_t::boolean:
        return new BooleanElem(value.get<bool>());
    case json::value_t::null:
        return new NullElem;
    case json::value_t::number_float:
        return new DoubleElem(value.get<double>());
    default:
        return new IntegerElem(value.get<int>());
    }
}

} // namespace JsonTrees
