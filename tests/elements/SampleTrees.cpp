#include "elements/SampleTrees.h"

#include "tavix/elements/EESParser.h"

#include <random>

namespace SampleTrees {

using namespace Tavix;
using namespace std::string_literals;

namespace {

Element* bytes(std::string const& content)
{
    TvxResult result;
    return new BinaryElem(reinterpret_cast<unsigned char const*>(content.data()),
                          static_cast<unsigned>(content.size()), result);
}

using Random = std::mt19937;

unsigned below(Random& source, unsigned limit)
{
    return static_cast<unsigned>(source() % limit);
}

std::string randomText(Random& source, unsigned minimum)
{
    std::string text(minimum + below(source, 20), ' ');
    for (char& c : text)
        c = static_cast<char>(source());
    return text;
}

// What text formats have to replace, and characters of every length.
std::string randomPlainText(Random& source, unsigned minimum)
{
    static std::string const pieces[] = {"<", "&", "\"",   "'",      "]]>",    "&amp;",     "/",
                                         " ", "a", "name", "\u00E9", "\u20AC", "\U0001F600"};
    std::string text;
    for (unsigned left = minimum + below(source, 6); left > 0; --left)
        text += pieces[below(source, sizeof pieces / sizeof *pieces)];
    return text;
}

using RandomText = std::string (*)(Random&, unsigned);

Element* randomNode(Random& source, unsigned levels, RandomText text)
{
    switch (below(source, levels == 0 ? 8 : 12)) {
    case 0:
        return new IntegerElem(static_cast<int>(source()));
    case 1:
        return new BooleanElem(source() % 2 == 0);
    case 2:
        return new DoubleElem(static_cast<int>(source()) / 64.0);
    case 3:
        return new StringElem(text(source, 0));
    case 4:
        return new NullElem;
    case 5:
        return bytes(randomText(source, 0));
    case 6:
        return new ExceptionElem("broken: " + std::to_string(source()), static_cast<int>(source()));
    case 7:
        if (text == randomPlainText)
            return new MapElem;
        return new FileDescriptorElem(static_cast<int>(below(source, 9)), randomText(source, 1), "/proc/1",
                                      "/bin/x");
    case 8:
    case 9: {
        auto* const list = new ListElem;
        for (unsigned left = below(source, 9); left > 0; --left)
            list->add(randomNode(source, levels - 1, text));
        return list;
    }
    default: {
        auto* const map = new MapElem;
        for (unsigned left = below(source, 9); left > 0; --left)
            map->put(text(source, 1), randomNode(source, levels - 1, text));
        return map;
    }
    }
}

} // namespace

Tree everyKind()
{
    auto map = std::make_unique<MapElem>();
    map->addChild("integer", new IntegerElem(-2));
    map->addChild("yes", new BooleanElem(true));
    map->addChild("double", new DoubleElem(-1.5));
    map->addChild("text", new StringElem("odd \0\r\xFF bytes"s));
    map->addChild("null", new NullElem);
    map->addChild("bytes", bytes("\x80\0\x7F"s));
    map->addChild("no bytes", bytes(""));
    map->addChild("failure", new ExceptionElem("no such: object", 5));
    map->addChild("descriptor", new FileDescriptorElem(7, "box", "/proc/412", "/usr/bin/player"));
    auto* const inner = new MapElem;
    inner->addChild("descriptor", new FileDescriptorElem(8, "b", "p", "e"));
    auto* const list = new ListElem;
    list->add(1)->add(new MapElem)->add(inner);
    map->addChild("list", list);
    return map;
}

Tree random(unsigned seed)
{
    Random source(seed);
    return Tree(randomNode(source, 5, randomText));
}

Tree randomPlain(unsigned seed)
{
    Random source(seed);
    return Tree(randomNode(source, 5, randomPlainText));
}

Tree nested(unsigned level)
{
    Tree tree(new StringElem("innermost"));
    for (unsigned i = 1; i < level; ++i) {
        if (i % 2 == 0) {
            auto list = std::make_unique<ListElem>();
            list->add(tree.release());
            tree = std::move(list);
        } else {
            auto map = std::make_unique<MapElem>();
            map->put("key", tree.release());
            tree = std::move(map);
        }
    }
    return tree;
}

std::string describe(Element* e)
{
    if (!e)
        return "nothing";
    std::unique_ptr<ElementIterator> const children(e->iterator());
    if (!children)
        return std::to_string(e->doubleValue()) + e->toString();
    std::string text = e->toString() + "[";
    while (children->hasNext()) {
        text += children->nextName() + "=";
        text += describe(children->next()) + ",";
    }
    return text + "]";
}

std::string message(std::function<void(EESVisitor&)> const& start, Element* value)
{
    EESVisitor visitor;
    start(visitor);
    if (value)
        value->accept(&visitor);
    char* out;
    int const length = visitor.encode(&out);
    std::string const bytes(out, static_cast<std::size_t>(length));
    free(out);
    return bytes;
}

std::string response(Element* value)
{
    return message([](EESVisitor& visitor) { visitor.startMessage(Response, 5); }, value);
}

std::string call(Element* value)
{
    return message([](EESVisitor& visitor) { visitor.startMessage(CallMethod, 5, "clock", "now", "me"); },
                   value);
}

std::vector<std::string> everyMessage()
{
    Tree const value = everyKind();
    Tree const text(new StringElem("a text"));
    Tree const failure(new ExceptionElem("gone", 2));
    auto const bare = [](int type) {
        return message(
            [type](EESVisitor& visitor) { visitor.startMessage(type, 0xFFFFFFFF, "clock", "tick"); },
            nullptr);
    };
    return {call(value.get()), call(text.get()),      response(failure.get()),
            response(nullptr), bare(AddSharedObject), bare(BackChannel)};
}

Tree parsed(std::string const& message)
{
    std::vector<unsigned char> const block(message.begin() + kSizeFieldLength, message.end());
    return Tree(EESParser::readContainer(block.data(), static_cast<unsigned>(block.size()), kParsePosition,
                                         static_cast<unsigned char>(message[kOffsetVersion])));
}

std::string value(int id, std::string const& bytes)
{
    unsigned char head[kValueHeadLength] = {static_cast<unsigned char>(id), kMarkValue};
    writeBigEndian32(head + 2, static_cast<unsigned>(bytes.size()));
    return std::string(reinterpret_cast<char*>(head), sizeof head) + bytes;
}

std::string text(std::string const& text)
{
    return value(kNodeString, text);
}

std::string container(int id, unsigned count, std::string const& children)
{
    unsigned char head[kContainerHeadLength] = {static_cast<unsigned char>(id), kMarkContainer};
    writeBigEndian16(head + 2, count);
    writeBigEndian32(head + 4, static_cast<unsigned>(children.size()));
    return std::string(reinterpret_cast<char*>(head), sizeof head) + children;
}

} // namespace SampleTrees
