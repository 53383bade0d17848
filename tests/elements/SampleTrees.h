#ifndef TAVIX_TESTS_ELEMENTS_SAMPLETREES_H
#define TAVIX_TESTS_ELEMENTS_SAMPLETREES_H

// Value trees and messages that the tests of elements and of the codec share, with all the kinds of elements.

#include "tavix/elements/BinaryElem.h"
#include "tavix/elements/BooleanElem.h"
#include "tavix/elements/DoubleElem.h"
#include "tavix/elements/EESFormat.h"
#include "tavix/elements/EESMessageType.h"
#include "tavix/elements/EESVisitor.h"
#include "tavix/elements/ExceptionElem.h"
#include "tavix/elements/FileDescriptorElem.h"
#include "tavix/elements/Limits.h"
#include "tavix/elements/ListElem.h"
#include "tavix/elements/MapElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/StringElem.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace SampleTrees {

using Tree = std::unique_ptr<Tavix::Element>;

// A leaf that knows how many of its kind are alive.
class CountedElem : public Tavix::NullElem {
public:
    CountedElem() { ++alive; }
    CountedElem(CountedElem const&) = delete;
    ~CountedElem() override { --alive; }

    static inline int alive = 0;
};

// A map with one value of every kind, containers within containers and texts with odd bytes.
Tree everyKind();

// A tree of all kinds, the same for the same seed. Doubles have at most six decimals, as the wire has.
Tree random(unsigned seed);
// The same with what XML can hold: no descriptors, texts in UTF-8 without control characters.
Tree randomPlain(unsigned seed);

// A leaf behind as many containers as put it at `level` when the whole is the value of a message.
Tree nested(unsigned level);

// The whole tree as text, equal for equal trees only.
std::string describe(Tavix::Element* e);

// The message that `start` begins, with `value` behind it; empty when the encoder refuses.
std::string message(std::function<void(Tavix::EESVisitor&)> const& start, Tavix::Element* value);
std::string response(Tavix::Element* value);
std::string call(Tavix::Element* value);
// Messages of every shape: with values of all kinds, with a text, without any, with an empty key.
std::vector<std::string> everyMessage();

// The root map of a message, through a copy that ends where the message does.
Tree parsed(std::string const& message);

// Nodes by hand.
std::string value(int id, std::string const& bytes);
std::string text(std::string const& text);
std::string container(int id, unsigned count, std::string const& children);

} // namespace SampleTrees

#endif
