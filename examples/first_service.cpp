// Publishes the object "greeter" and serves it until the bus ends.
#include <tavix/tavix.h>

#include <cstdio>
#include <string>

using namespace Tavix;

class Greeter : public SharedObjectObserver {
public:
    Element* callMethod(std::string, std::string method, Element* params) override
    {
        if (method == "greet")
            return new StringElem("Hello, " + params->stringValue() + "!");
        return new ExceptionElem("greeter has no method " + method, -1);
    }
};

int main()
{
    Greeter greeter;
    SharedPtr<PollLoopIf> loop(select_loop_glue_new());
    TavixProxy proxy(loop);
    if (!proxy.connect(nullptr, 0) || proxy.addSharedObject("greeter", &greeter) != PROXY_OK)
        return 1;
    std::puts("serving greeter");
    std::fflush(stdout);
    while (proxy.isConnected())
        loop->iterate();
    return 0;
}
