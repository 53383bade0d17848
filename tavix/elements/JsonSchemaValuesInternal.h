#ifndef TAVIX_ELEMENTS_JSONSCHEMAVALUESINTERNAL_H
#define TAVIX_ELEMENTS_JSONSCHEMAVALUESINTERNAL_H

#include "tavix/elements/JsonSchemaRunInternal.h"

namespace Tavix {

// Of two values. Deeper than our readers allow it does not look: such values count as different.
class TAVIX_HIDDEN JsonSchemaValidator::Comparison {
public:
    // Values of unknown kind go to the list of `reports`, unless that is null.
    Comparison(JsonSchemaValidator* reports, MapElem* schema) : _reports(reports), _schema(schema) {}

    bool areEqual(Element* a, Element* b, Path const& path);
    bool isTooDeep() const { return _isTooDeep; }

private:
    Schema::Kind _kindOf(Element* e, Path const& path);
    bool _goesOn(Path const& path);
    bool _mapsAreEqual(MapElem* a, MapElem* b, Path const& path);
    bool _listsAreEqual(ListElem* a, ListElem* b, Path const& path);

    JsonSchemaValidator* _reports;
    MapElem* _schema;
    bool _isTooDeep = false;
};

} // namespace Tavix

#endif
