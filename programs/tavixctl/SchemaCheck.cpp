#include "tavixctl/SchemaCheck.h"

#include "tavixctl/TreeArgument.h"

#include <tavix/elements/MapElem.h>

#include <stdexcept>

bool SchemaCheck::load(std::string const& file, std::string& error)
{
    _schema = readTextFile(file, error);
    if (!_schema.get())
        return false;
    auto* const map = dynamic_cast<Tavix::MapElem*>(_schema.get());
    if (!map) {
        error = "the schema in " + file + " is not an object";
        return false;
    }
    _validator = std::make_unique<Tavix::JsonSchemaValidator>(map, _open, _open);
    return true;
}

bool SchemaCheck::check(Tavix::Element* value, std::string& error)
{
    try {
        _validator->validate(value, "#");
        return true;
    } catch (std::runtime_error const& e) { // a pattern that backtracks without end
        error = std::string("a pattern of the schema cannot be matched: ") + e.what();
        return false;
    }
}
