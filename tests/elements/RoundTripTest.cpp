// One corpus of trees through each form that a tree can be written in and read from.

#include "elements/SampleTrees.h"
#include "tavix/elements/ElementHandler.h"
#include "tavix/elements/JsonVisitor.h"
#include "tavix/elements/XMLParser.h"
#include "tavix/elements/XMLVisitor.h"
#include "tavix/foundation/ByteArrayInputStream.h"
#include "tavix/foundation/JsonDeserializer.h"

#include <climits>
#include <gtest/gtest.h>

namespace {

using namespace Tavix;
using namespace SampleTrees;

std::string throughEES(Element* tree)
{
    Tree const message = parsed(response(tree));
    return describe(message ? message->getChild("result") : nullptr);
}

std::string throughXML(Element* tree)
{
    XMLVisitor writer;
    tree->accept(&writer);
    std::string const document = writer.getResult();
    XMLParser reader;
    Tree const read(reader.parse_raw(document.data(), static_cast<int>(document.size())));
    return describe(read.get());
}

std::string throughJson(Element* tree)
{
    std::string const text = JsonVisitor::toJsonString(tree);
    Ferrule::ByteArrayInputStream stream(text.data(), static_cast<int>(text.size()));
    json::JsonDeserializer reader;
    ElementHandler handler;
    reader.parse(&stream, &handler);
    return describe(handler.getElement().get());
}

// The tree that JSON can say in the place of this one.
Tree asInJson(Element* e)
{
    if (dynamic_cast<BinaryElem*>(e)) {
        std::string const quoted = JsonVisitor::toJsonString(e);
        return std::make_unique<StringElem>(quoted.substr(1, quoted.size() - 2));
    }
    if (e->isException()) {
        auto map = std::make_unique<MapElem>();
        map->put("exceptionstring", new StringElem(e->stringValue()));
        map->put("exceptioninteger", new IntegerElem(e->intValue()));
        return map;
    }
    std::unique_ptr<ElementIterator> const children(e->iterator());
    if (!children)
        return Tree(e->clone());
    Tree copy(e->isMap() ? static_cast<Element*>(new MapElem) : new ListElem);
    for (unsigned i = 0; children->hasNext(); ++i) {
        std::string const name = e->isMap() ? children->nextName() : std::to_string(i);
        copy->addChild(name, asInJson(children->next()).release());
    }
    return copy;
}

std::vector<Tree> corpus()
{
    std::vector<Tree> trees;
    auto const list = new ListElem;
    trees.emplace_back(list);
    for (int const edge : {0, 1, -1, 127, 128, -128, 255, 256, 32767, -32768, 65535, 65536, INT_MAX, INT_MIN})
        list->add(edge)->add(new ExceptionElem("", edge));
    for (double const edge : {0.0, -0.0, 0.000001, -1.5, 123456789.25, 999999999999999.0})
        list->add(new DoubleElem(edge));
    auto const wide = new MapElem;
    trees.emplace_back(wide);
    for (int i = 0; i < 5000; ++i)
        wide->put("key " + std::to_string(i), new StringElem(std::string(static_cast<std::size_t>(i), 'x')));
    std::string all;
    for (int byte = 0; byte < 256; ++byte) {
        all += static_cast<char>(byte);
        TvxResult result;
        list->add(new BinaryElem(reinterpret_cast<unsigned char const*>(all.data()),
                                 static_cast<unsigned>(all.size()), result));
    }
    for (unsigned seed = 0; seed < 3000; ++seed)
        trees.push_back(randomPlain(seed));
    return trees;
}

TEST(RoundTrip, EveryTreeThroughEveryForm)
{
    for (Tree const& tree : corpus()) {
        std::string const original = describe(tree.get());
        ASSERT_EQ(throughEES(tree.get()), original);
        ASSERT_EQ(throughXML(tree.get()), original);
        ASSERT_EQ(throughJson(tree.get()), describe(asInJson(tree.get()).get()));
    }
}

TEST(RoundTrip, AsDeepAsAMessage)
{
    Tree const deepest = nested(kMaxNesting);
    EXPECT_EQ(throughEES(deepest.get()), describe(deepest.get()));
    EXPECT_EQ(throughXML(deepest.get()), describe(deepest.get()));
    Tree const shallow = nested(16); // 15 containers
    EXPECT_EQ(throughJson(shallow.get()), describe(shallow.get()));
}

} // namespace
