#ifndef TAVIX_TVXOBJECTINTERNAL_H
#define TAVIX_TVXOBJECTINTERNAL_H

#include "tavix/ObjectDirectoryInternal.h"
#include "tavix/TableDrivenTavix.h"

namespace Tavix {

class TavixBus;

// The bus's own object, "tvx", served through the bus's internal proxy like any other object. It holds the
// directory of names; every change of the directory goes through it. On the bus's loop thread only.
class TvxObject : public TableDrivenTavix {
public:
    // Lends bus.
    explicit TvxObject(TavixBus* bus);

    // The owner of a name, or -1.
    int getClientId(std::string_view name) const;
    ObjectDirectory const* getDirectory() const { return &_directory; }

    // As the operations of ObjectDirectory.
    int addObject(std::string const& name, int clientId);
    int removeObject(std::string const& name, int clientId);
    void removeAllObjectsForClient(int clientId);

    // Methods. params is lent and ignored unless said otherwise.
    Element* listObjects(Element* params); // a list of the names of all objects, in byte-wise order
    Element* toggleDebug(Element* params); // flips LogDebug::printDebug; a NullElem
    // The ring log, newest line first, then one text per connection with its objects; with a child
    // "observers" in params also with what it observes.
    Element* getDebug(Element* params);

protected:
    void _populateInterfaceDescription(Element* description) override;

private:
    static const Entry METHODS[];
    static const unsigned NUM_METHODS;

    ObjectDirectory _directory;
    TavixBus* const _bus;
};

} // namespace Tavix

#endif
