// Prints the events "load" of the object "machine" as they come: one, or as many as the argument says.
#include <tavix/tavix.h>

#include <cstdio>
#include <cstdlib>
#include <string>

using namespace Tavix;

class Printer : public ObjectEventObserver {
public:
    void event(std::string objName, std::string event, Element* data) override
    {
        std::printf("%s.%s %s\n", objName.c_str(), event.c_str(), JsonVisitor::toJsonString(data).c_str());
        std::fflush(stdout);
        ++count;
    }

    int count = 0;
};

int main(int argc, char** argv)
{
    const int wanted = argc > 1 ? std::atoi(argv[1]) : 1;
    Printer printer;
    SharedPtr<PollLoopIf> loop(select_loop_glue_new());
    TavixProxy proxy(loop);
    if (!proxy.connect(nullptr, 0) || proxy.addObserver("machine", "load", &printer) != PROXY_OK)
        return 1;
    while (printer.count < wanted && proxy.isConnected())
        loop->iterate();
    proxy.removeObserver("machine", "load", &printer);
    return printer.count < wanted;
}
