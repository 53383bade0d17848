// A program that knows nothing but the installed headers: builds a tree of every kind and reads it back. With
// the argument "call" it sends the tree through the bus to the object "mirror", which answers what it is
// given; with "serve" it is that object, until it is killed.
#include <tavix/capi.h>
#include <tavix/tavix.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

using namespace Tavix;

static void expect(bool condition, const char* what)
{
    if (condition)
        return;
    std::fprintf(stderr, "%s does not hold\n", what);
    std::exit(1);
}
#define EXPECT(condition) expect(condition, #condition)

static std::unique_ptr<MapElem> build()
{
    static const unsigned char bytes[] = {1, 2, 3};
    TvxResult result;
    auto map = std::make_unique<MapElem>();
    auto* list = new ListElem();
    list->add(5)->add(true)->add("text")->add(new DoubleElem(0.5));
    map->addChild("list", list);
    map->addChild("bytes", new BinaryElem(bytes, sizeof bytes, result));
    map->addChild("nothing", new NullElem());
    map->addChild("failure", new ExceptionElem("no luck", 7));
    map->addChild("flat", tvx_convert_to_cpp_element(tvx_elem_new("(i{s})", 1, "key", "value")));
    return map;
}

static void check(const Element& map)
{
    const Element* list = map.getChild("list");
    EXPECT(map.getNumChildren() == 5);
    EXPECT(list->getChild(0u)->intValue() == 5 && list->getChild(1u)->booleanValue());
    EXPECT(list->getChild(2u)->stringValue() == "text" && list->getChild(3u)->doubleValue() == 0.5);
    EXPECT(map.getChild("bytes")->binaryLength() == 3);
    EXPECT(map.getChild("nothing")->instanceOf(NullElem::_type));
    EXPECT(map.getChild("failure")->isException() && map.getChild("failure")->intValue() == 7);
    EXPECT(map.getChild("flat")->getChild(1u)->getChild("key")->stringValue() == "value");
    EXPECT(FileDescriptorElem(1, "", "", "").instanceOf(FileDescriptorElem::_type));
}

static void call(TavixProxy& proxy)
{
    const std::unique_ptr<MapElem> map = build();
    RemoteProxyResult result = PROXY_CONNECTION_ERROR;
    const std::unique_ptr<Element> answer(proxy.callMethod("mirror", "show", map.get(), result));
    EXPECT(result == PROXY_OK);
    check(*answer);
}

class Mirror : public SharedObjectObserver {
public:
    using SharedObjectObserver::callMethod;
    Element* callMethod(std::string, std::string, Element* params) override { return params->clone(); }
};

int main(int argc, char** argv)
{
    const std::string role = argc > 1 ? argv[1] : "";
    check(*build());
    if (role.empty())
        return 0;

    const SharedPtr<PollLoopIf> loop(select_loop_glue_new());
    TavixProxy proxy(loop);
    Mirror mirror;
    EXPECT(proxy.connect(nullptr, 0));
    if (role == "serve")
        EXPECT(proxy.addSharedObject("mirror", &mirror) == PROXY_OK);
    call(proxy);
    if (role == "call")
        return 0;
    // The bus has answered behind the registration, so the object is there.
    std::puts("serving");
    std::fflush(stdout);
    for (;;)
        loop->iterate();
}
