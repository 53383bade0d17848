#include "tavixctl/Json.h"

#include <tavix/elements/BooleanElem.h>
#include <tavix/elements/DoubleElem.h>
#include <tavix/elements/IntegerElem.h>
#include <tavix/elements/Limits.h>
#include <tavix/elements/ListElem.h>
#include <tavix/elements/MapElem.h>
#include <tavix/elements/NullElem.h>
#include <tavix/elements/StringElem.h>
#include <tavix/foundation/JsonDeserializer.h>

#include <vector>

using namespace Tavix;

namespace {

using Source = WeakPtr<Ferrule::Deserializer>;

// The library's own handler nests 15 deep and cuts integers to 32 bits. What a user has typed or keeps in a file
// may be as deep as a message, and is never cut.
class TreeHandler : public Ferrule::Deserializer::Handler {
public:
    void reset() override
    {
        root = SharedPtr<Element>();
        _open.clear();
        _error.clear();
    }
    void onInteger(Source, char const* name, int value) override { add(name, new IntegerElem(value)); }
    void onInteger64(Source, char const*, std::int64_t value) override
    {
        _error = "the integer " + std::to_string(value) + " does not fit in 32 bits; " +
                 std::to_string(value) + ".0 would be a double";
    }
    void onDouble(Source, char const* name, double value) override { add(name, new DoubleElem(value)); }
    void onString(Source, char const* name, char const* value) override { add(name, new StringElem(value)); }
    void onBoolean(Source, char const* name, bool value) override { add(name, new BooleanElem(value)); }
    void onNull(Source, char const* name) override { add(name, new NullElem); }
    void arrayStart(Source, char const* name) override { open(name, new ListElem); }
    void objectStart(Source, char const* name) override { open(name, new MapElem); }
    void arrayEnd(Source) override { _open.pop_back(); }
    void objectEnd(Source) override { _open.pop_back(); }
    char const* getErrorString() const override { return _error.empty() ? nullptr : _error.c_str(); }

    SharedPtr<Element> root;

private:
    void add(char const* name, Element* value)
    {
        if (_open.empty())
            root = SharedPtr<Element>(value);
        else if (_open.back()->isMap())
            _open.back()->addChild(name, value);
        else
            static_cast<ListElem*>(_open.back())->add(value);
    }
    void open(char const* name, Element* container)
    {
        add(name, container);
        _open.push_back(container);
        if (_open.size() > kMaxNesting)
            _error = "nested deeper than " + std::to_string(kMaxNesting) + " levels";
    }

    std::vector<Element*> _open; // from the root down; they belong to the tree
    std::string _error;
};

} // namespace

SharedPtr<Element> readJson(Ferrule::InputStream& input, std::string& error)
{
    json::JsonDeserializer deserializer;
    TreeHandler handler;
    if (deserializer.parse(&input, &handler) == json::JsonDeserializer::kOk)
        return handler.root;
    error = deserializer.getErrorString();
    return {};
}
