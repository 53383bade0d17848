#ifndef TAVIX_TABLEDRIVENTAVIX_H
#define TAVIX_TABLEDRIVENTAVIX_H

#include <tavix/RemoteProxyResult.h>
#include <tavix/SharedObjectObserver.h>
#include <tavix/foundation/Export.h>

#include <string>

namespace Tavix {

class TavixProxy;

// A served object whose methods are a constant table of names and functions. It answers at once, and it
// answers one method beside the table's: "generateInterfaceDescription", with a tree that lists the methods.
class TAVIX_API TableDrivenTavix : public SharedObjectObserver {
public:
    struct Entry {
        char const* name;
        // Lends params, but not the open descriptors in it: the function closes those. Gives back a new element, an ExceptionElem for a failure; never null.
        Element* (*function)(TableDrivenTavix* object, std::string const& objName, std::string const& method,
                             Element* params);
    };

    // Copies name. Lends the table, which outlives the object.
    TableDrivenTavix(std::string const& name, Entry const* entries, unsigned numEntries);
    TableDrivenTavix(TableDrivenTavix const&) = delete;
    TableDrivenTavix& operator=(TableDrivenTavix const&) = delete;

    // Takes the object back from the bus.
    ~TableDrivenTavix() override;

    using SharedObjectObserver::callMethod;
    Element* callMethod(std::string objName, std::string method, Element* params) override;

    // Publishes the object on a proxy (null: the process's own), which is connected to the default socket
    // first when it is not. Lends proxy until stopShare. PROXY_OBJECT_ALREADY_EXISTS when it is shared
    // already.
    RemoteProxyResult startShare(TavixProxy* proxy);
    // PROXY_OBJECT_NOT_FOUND when it is not shared. After any other failure it still counts as shared.
    RemoteProxyResult stopShare();

    // Gives back a new tree {"methods": {name: {...}}}, null when memory runs out.
    Element* generateInterfaceDescription();

protected:
    // For derived classes: fills the empty map under each method's name. description stays the caller's.
    virtual void _populateInterfaceDescription(Element* description);

    TavixProxy* proxy = nullptr; // null while the object is not shared
    const std::string name;

private:
    Entry const* const entries;
    const unsigned numEntries;
};

} // namespace Tavix

#endif
