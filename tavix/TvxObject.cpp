#include "tavix/LogDebug.h"
#include "tavix/StringLog.h"
#include "tavix/TavixBus.h"
#include "tavix/TavixProxy.h"
#include "tavix/TvxObjectInternal.h"
#include "tavix/elements/ElementIterator.h"
#include "tavix/elements/FileDescriptorVisitor.h"
#include "tavix/elements/ListElem.h"
#include "tavix/elements/MapElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/StringElem.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>

namespace Tavix {

namespace {

const char kOwnName[] = "tvx";

template <Element* (TvxObject::*method)(Element*)>
Element* callMember(TableDrivenTavix* object, std::string const&, std::string const&, Element* params)
{
    return (static_cast<TvxObject*>(object)->*method)(params);
}

struct Description {
    char const* method;
    char const* text;
};

const Description kDescriptions[] = {
    {"listObjects", "Lists all objects registered with the tavix bus"},
    {"toggleDebug", "Enable logging of debug to stdout"},
    {"getDebug", "Get a history of log messages"},
};

bool hasChildText(Element* params, char const* text)
{
    if (params->getNumChildren() <= 0)
        return false;
    std::unique_ptr<ElementIterator> children(params->iterator());
    while (children && children->hasNext()) {
        Element* child = children->next();
        if (child && child->stringValue() == text)
            return true;
    }
    return false;
}

} // namespace

const TableDrivenTavix::Entry TvxObject::METHODS[] = {
    {"listObjects", callMember<&TvxObject::listObjects>},
    {"toggleDebug", callMember<&TvxObject::toggleDebug>},
    {"getDebug", callMember<&TvxObject::getDebug>},
};

const unsigned TvxObject::NUM_METHODS = sizeof(METHODS) / sizeof(METHODS[0]);

TvxObject::TvxObject(TavixBus* bus, SharedPtr<PollLoopIf> const& loop)
    : TableDrivenTavix(kOwnName, METHODS, NUM_METHODS), _activator(loop, _directory), _bus(bus)
{
    reloadActivationConfig(nullptr);
}

Element* TvxObject::callMethod(std::string objName, std::string method, Element* params)
{
    Element* const result = TableDrivenTavix::callMethod(objName, method, params);
    closeDescriptors(params);
    return result;
}

int TvxObject::getClientId(std::string_view objName)
{
    const int owner = _directory.findMatch(objName);
    return owner == -1 && _activator.activate(objName) ? kActivating : owner;
}

int TvxObject::addObject(std::string const& objName, int clientId)
{
    const int result = _directory.addObject(objName, clientId);
    if (result == 0 && objName != kOwnName)
        handleObjectEvents({objName});
    return result;
}

int TvxObject::removeObject(std::string const& objName, int clientId)
{
    const int result = _directory.removeObject(objName, clientId);
    if (result == 0 && objName != kOwnName)
        handleObjectEvents({objName});
    return result;
}

void TvxObject::removeAllObjectsForClient(int clientId)
{
    handleObjectEvents(_directory.removeAllObjectsForClient(clientId));
}

// Names that have come or gone, in name order; the directory tells which. An event that cannot be sent, for a
// name that fills a frame, is left out: nobody could receive it.
void TvxObject::handleObjectEvents(std::vector<std::string> const& changed)
{
    for (std::string const& objName : changed) {
        const bool added = _directory.findMatch(objName) != -1;
        if (added)
            _activator.activated(objName);
        else
            _activator.deactivated(objName);
        StringElem data(objName);
        if (proxy)
            proxy->sendEvent(kOwnName, added ? "objectAdded" : "objectRemoved", &data);
    }
}

void TvxObject::reloadActivationConfig(char const* directory)
{
    if (!directory)
        directory = std::getenv("TVX_ACTIVATION_CONFIG_DIR");
    if (!directory)
        return;
    _activator.removeAllEntries();
    if (!_activator.loadConfig(directory)) {
        std::printf("Failed to load activation config from %s\n", directory);
        return;
    }
    std::printf("Loaded activation config from %s\n", directory);
    _activator.dumpStatus(stdout);
}

Element* TvxObject::listObjects(Element*)
{
    ListElem* names = new ListElem;
    for (auto const& object : _directory.getObjects())
        names->add(object.first);
    for (std::string const& objName : _activator.listInactive())
        names->add(objName);
    return names;
}

Element* TvxObject::toggleDebug(Element*)
{
    LogDebug::printDebug = !LogDebug::printDebug;
    return new NullElem;
}

Element* TvxObject::getDebug(Element* params)
{
    const bool observers = hasChildText(params, "observers");
    ListElem* lines = new ListElem;
    StringLog::Iterator position;
    LogDebug::getLog().begin(position);
    while (char const* line = LogDebug::getLog().getNext(position))
        lines->addChild(0u, new StringElem(line));

    lines->add("Connection(s):\n");
    std::map<int, std::string> connections;
    _bus->getConnectionDebug(connections);
    for (auto const& connection : connections) {
        std::string text = connection.second;
        if (_directory.ownsAny(connection.first)) { // perhaps only the object with the empty name
            std::string owned;
            _directory.getAllObjectsForClient(connection.first, owned);
            text += "\n\tobjects:\n\t\t" + owned;
        }
        std::string observed;
        if (observers)
            _bus->getEventListDebugForClientId(connection.first, observed);
        if (!observed.empty())
            text += "\n\tobservers:\n\t\t" + observed;
        lines->add(text);
    }
    return lines;
}

void TvxObject::_populateInterfaceDescription(Element* description)
{
    Element* methods = description->getChild("methods");
    for (Description const& entry : kDescriptions)
        methods->getChild(entry.method)->addChild("description", new StringElem(entry.text));
}

} // namespace Tavix
