#ifndef TAVIX_TVXOBJECTINTERNAL_H
#define TAVIX_TVXOBJECTINTERNAL_H

#include "tavix/ObjectActivatorInternal.h"
#include "tavix/ObjectDirectoryInternal.h"
#include "tavix/TableDrivenTavix.h"

namespace Tavix {

class TavixBus;

// The bus's own object, "tvx", served through the bus's internal proxy like any other object. It holds the
// directory of names and the table of those that are started on demand. Every change of the directory goes
// through it, and is announced to both: to the table at once, and to whoever observes "objectAdded" and
// "objectRemoved" of this object by an event with the name, which takes the road of any event. A change costs
// what changed, however many names there are. On the bus's loop thread only.
class TvxObject : public TableDrivenTavix {
public:
    // What getClientId answers when the object is being started (-ENOENT).
    static constexpr int kActivating = -2;

    // Lends bus, shares its loop. Reads the activation configuration that the environment names.
    TvxObject(TavixBus* bus, SharedPtr<PollLoopIf> const& loop);

    using TableDrivenTavix::callMethod;
    // Closes the descriptors of a call: no method has a use for them.
    Element* callMethod(std::string objName, std::string method, Element* params) override;

    // The owner of a name. Without one, the object is started if the configuration says how: kActivating when
    // it is to be waited for, else -1.
    int getClientId(std::string_view name);
    ObjectDirectory const* getDirectory() const { return &_directory; }

    // As the operations of ObjectDirectory.
    int addObject(std::string const& name, int clientId);
    int removeObject(std::string const& name, int clientId);
    void removeAllObjectsForClient(int clientId);

    // Empties the table of objects that are started on demand and fills it from a directory of files; null
    // for the one that the environment variable TVX_ACTIVATION_CONFIG_DIR names, and then nothing happens
    // without it. Standard output has the result.
    void reloadActivationConfig(char const* directory);

    // Methods. params is lent and ignored unless said otherwise.
    // A list of the names of all objects and behind them of those that would be started; each part in byte-wise
    // order.
    Element* listObjects(Element* params);
    Element* toggleDebug(Element* params); // flips LogDebug::printDebug; a NullElem
    // The ring log, newest line first, then one text per connection with its objects; with a child
    // "observers" in params also with what it observes.
    Element* getDebug(Element* params);

protected:
    void _populateInterfaceDescription(Element* description) override;

private:
    static const Entry METHODS[];
    static const unsigned NUM_METHODS;

    void handleObjectEvents(std::vector<std::string> const& changed);

    ObjectDirectory _directory;
    ObjectActivator _activator;
    TavixBus* const _bus;
};

} // namespace Tavix

#endif
