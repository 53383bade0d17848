#ifndef TAVIX_ELEMENTS_ELEMENTHANDLER_H
#define TAVIX_ELEMENTS_ELEMENTHANDLER_H

#include <tavix/elements/Element.h>
#include <tavix/foundation/Deserializer.h>
#include <tavix/foundation/Export.h>
#include <tavix/foundation/FixedArrayList.h>
#include <tavix/foundation/SharedPtr.h>

namespace Tavix {

// Builds a tree from the events of a parse:
//
//     json::JsonDeserializer deserializer;
//     Tavix::ElementHandler handler;
//     if (deserializer.parse(&stream, &handler) != 0)
//         ... deserializer.getErrorString()
//     SharedPtr<Tavix::Element> root = handler.getElement();
//
// Collections nest 15 deep, the root counted. A deeper document ends in an error; without the deserialiser,
// that is for whoever sends the events, what follows is counted and dropped. Of two equal keys the last one
// wins. Integers beyond 32 bits keep their low 32 bits.
//
// Serves one parse at a time on one thread. The next document needs reset() first: otherwise its values are
// added into the old root; when that is no container they are dropped and the parse ends in an error.
class TAVIX_API ElementHandler : public Ferrule::Deserializer::Handler {
public:
    enum ElementHandlerType { kElementTerminal = 0, kElementList = 1, kElementMap = 2 };

    struct ElementHandlerInfo {
        Element* element; // owned by the tree
        ElementHandlerType type;
    };

    ElementHandler();
    ~ElementHandler() override;

    void reset() override;
    void onInteger(WeakPtr<Ferrule::Deserializer> source, char const* name, int value) override;
    void onInteger64(WeakPtr<Ferrule::Deserializer> source, char const* name, std::int64_t value) override;
    void onDouble(WeakPtr<Ferrule::Deserializer> source, char const* name, double value) override;
    void onString(WeakPtr<Ferrule::Deserializer> source, char const* name, char const* value) override;
    void onBoolean(WeakPtr<Ferrule::Deserializer> source, char const* name, bool value) override;
    void onNull(WeakPtr<Ferrule::Deserializer> source, char const* name) override;
    void arrayStart(WeakPtr<Ferrule::Deserializer> source, char const* name) override;
    void arrayEnd(WeakPtr<Ferrule::Deserializer> source) override;
    void objectStart(WeakPtr<Ferrule::Deserializer> source, char const* name) override;
    void objectEnd(WeakPtr<Ferrule::Deserializer> source) override;
    char const* getErrorString() const override { return _error; }

    // Shares the root, which is whole when the parse has succeeded. Empty when there was no value, and after
    // an error of this handler that has left the tree without a part.
    SharedPtr<Element> getElement() const;

private:
    // Takes `element`; false when it was dropped.
    bool handleElement(Element* element, char const* name);
    void pushCollection(Element* element, char const* name, ElementHandlerType type);
    void pushRoot();
    void push(Element* element, ElementHandlerType type);
    void popCollection();
    ElementHandlerInfo const& getTopOfStack() const;

    SharedPtr<Element> m_element;
    // The open collections from the root down. A root stands here once more for itself, below its first
    // entry, for as long as the tree is built.
    Ferrule::FixedArrayList<SharedPtr<ElementHandlerInfo>, 16> m_elementStack;

    char const* _error;      // null when all is well
    unsigned _skippedLevels; // collections opened since the error, which are not on the stack
};

} // namespace Tavix

#endif
