// Calls "greet" of the object "greeter" and prints the answer.
#include <tavix/tavix.h>

#include <cstdio>
#include <memory>

using namespace Tavix;

int main(int argc, char** argv)
{
    SharedPtr<PollLoopIf> loop(select_loop_glue_new());
    TavixProxy proxy(loop);
    if (!proxy.connect(nullptr, 0))
        return 1;

    StringElem name(argc > 1 ? argv[1] : "world");
    RemoteProxyResult result;
    std::unique_ptr<Element> answer(proxy.callMethod("greeter", "greet", &name, result));
    if (result != PROXY_OK) {
        std::fprintf(stderr, "failed: %s\n", answer ? answer->stringValue().c_str() : "not sent");
        return 1;
    }
    std::puts(answer->stringValue().c_str());
    return 0;
}
