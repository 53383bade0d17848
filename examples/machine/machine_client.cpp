// Asks the object "machine" for everything it knows and prints it for people.
//   machine_client [DIRECTORY]

#include <tavix/tavix.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

using namespace Tavix;

namespace {

double numberAt(Element* map, char const* name)
{
    Element* child = map->getChild(name);
    return child ? child->doubleValue() : 0;
}

std::string textAt(Element* map, char const* name)
{
    Element* child = map->getChild(name);
    return child ? child->stringValue() : "";
}

class MachineClient {
public:
    MachineClient() : _loop(select_loop_glue_new()), _proxy(_loop) {}

    bool connect() { return _proxy.connect(nullptr, 0); }

    // The answer takes half a second. It is asked for first, and printed last.
    bool startMeasuring()
    {
        DoubleElem seconds(0.5);
        return _proxy.callMethodAsync("machine", "measureLoad", &seconds, onMeasured, this) == PROXY_OK;
    }

    void printUptime()
    {
        const int seconds = static_cast<int>(numberAt(call("uptime").get(), "seconds"));
        std::printf("uptime     %d days %d:%02d hours\n", seconds / 86400, seconds / 3600 % 24,
                    seconds / 60 % 60);
    }

    void printLoad()
    {
        std::unique_ptr<Element> load = call("load");
        std::printf("load       %.2f %.2f %.2f over 1, 5 and 15 minutes; %.0f of %.0f tasks run\n",
                    numberAt(load.get(), "1min"), numberAt(load.get(), "5min"), numberAt(load.get(), "15min"),
                    numberAt(load.get(), "running"), numberAt(load.get(), "tasks"));
    }

    void printMemory()
    {
        std::unique_ptr<Element> memory = call("memory");
        std::printf("memory     %.1f of %.1f GiB available\n",
                    numberAt(memory.get(), "availableKb") / 1048576,
                    numberAt(memory.get(), "totalKb") / 1048576);
    }

    void printProcesses()
    {
        IntegerElem count(3);
        std::unique_ptr<Element> processes = call("processes", &count);
        for (int i = 0; i < processes->getNumChildren(); ++i) {
            Element* process = processes->getChild(static_cast<unsigned>(i));
            std::printf("%-10s %-16s %8.1f MiB, process %.0f\n", i == 0 ? "processes" : "",
                        textAt(process, "name").c_str(), numberAt(process, "residentKb") / 1024,
                        numberAt(process, "pid"));
        }
    }

    void printDirectory(std::string const& path)
    {
        StringElem param(path);
        std::unique_ptr<Element> entries = call("list", &param);
        int directories = 0;
        for (int i = 0; i < entries->getNumChildren(); ++i)
            directories += textAt(entries->getChild(static_cast<unsigned>(i)), "kind") == "directory";
        std::printf("directory  %s has %d entries, of which %d are directories\n", path.c_str(),
                    entries->getNumChildren(), directories);
    }

    void printMeasurement()
    {
        _proxy.wait(_measured);
        std::printf("processors %.0f %% busy over half a second\n",
                    numberAt(requireValue("measureLoad", _measurement.get()), "busyPercent"));
    }

private:
    // Runs inside the loop: here while printMeasurement, or any other call, waits.
    static void onMeasured(ResponseData const* response, void* client)
    {
        auto* self = static_cast<MachineClient*>(client);
        self->_measurement.reset(response->map->getChild("result")->clone());
        self->_measured.post();
    }

    std::unique_ptr<Element> call(char const* method, Element* params = nullptr)
    {
        RemoteProxyResult result;
        std::unique_ptr<Element> value(_proxy.callMethod("machine", method, params, result));
        requireValue(method, value.get());
        return value;
    }

    static Element* requireValue(char const* method, Element* value)
    {
        if (value && !value->isException())
            return value;
        std::fprintf(stderr, "machine_client: %s: %s\n", method,
                     value ? value->stringValue().c_str() : "the call could not be sent");
        std::exit(1);
    }

    SharedPtr<PollLoopIf> _loop;
    TavixProxy _proxy;
    Ferrule::Semaphore _measured{0};
    std::unique_ptr<Element> _measurement;
};

} // namespace

int main(int argc, char** argv)
{
    MachineClient client;
    if (!client.connect() || !client.startMeasuring())
        return 1;
    client.printUptime();
    client.printLoad();
    client.printMemory();
    client.printProcesses();
    client.printDirectory(argc > 1 ? argv[1] : "/");
    client.printMeasurement();
    return 0;
}
