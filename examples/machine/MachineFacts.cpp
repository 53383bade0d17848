#include "MachineFacts.h"

#include <algorithm>
#include <climits>
#include <filesystem>
#include <fstream>
#include <map>
#include <unistd.h>
#include <vector>

using namespace Tavix;

namespace {

namespace fs = std::filesystem;

// An integer of a tree has 32 bits; what is larger travels as a double.
Element* newNumber(double value)
{
    if (value >= INT_MIN && value <= INT_MAX)
        return new IntegerElem(static_cast<int>(value));
    return new DoubleElem(value);
}

Element* cannotRead(std::string const& file)
{
    return new ExceptionElem("cannot read " + file, kSystemError);
}

struct Process {
    int pid;
    double residentKb;
};

std::vector<Process> findProcesses()
{
    const double pageKb = static_cast<double>(sysconf(_SC_PAGESIZE)) / 1024;
    std::vector<Process> processes;
    std::error_code error;
    for (fs::directory_iterator entry("/proc", error), end; !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename();
        if (name.find_first_not_of("0123456789") != std::string::npos)
            continue;
        std::ifstream statm(entry->path() / "statm");
        double size, resident;
        if (statm >> size >> resident) // a process that has ended meanwhile reads as nothing
            processes.push_back({std::stoi(name), resident * pageKb});
    }
    return processes;
}

Element* describeProcess(Process const& process)
{
    std::string name;
    std::ifstream comm("/proc/" + std::to_string(process.pid) + "/comm");
    std::getline(comm, name);
    auto* map = new MapElem;
    map->addChild("pid", new IntegerElem(process.pid));
    map->addChild("name", new StringElem(name));
    map->addChild("residentKb", newNumber(process.residentKb));
    return map;
}

char const* kindOf(fs::file_type type)
{
    switch (type) {
    case fs::file_type::regular:
        return "file";
    case fs::file_type::directory:
        return "directory";
    case fs::file_type::symlink:
        return "link";
    default:
        return "other";
    }
}

Element* describeEntry(fs::path const& path)
{
    std::error_code error;
    const fs::file_type type = fs::symlink_status(path, error).type();
    auto* map = new MapElem;
    map->addChild("name", new StringElem(path.filename()));
    map->addChild("kind", new StringElem(kindOf(type)));
    const std::uintmax_t size = type == fs::file_type::regular ? fs::file_size(path, error) : 0;
    if (type == fs::file_type::regular && !error)
        map->addChild("size", newNumber(static_cast<double>(size)));
    return map;
}

} // namespace

Element* readUptime()
{
    std::ifstream file("/proc/uptime");
    double up, idle;
    if (!(file >> up >> idle))
        return cannotRead("/proc/uptime");
    auto* map = new MapElem;
    map->addChild("seconds", newNumber(up));
    map->addChild("idleSeconds", newNumber(idle));
    return map;
}

Element* readLoad()
{
    std::ifstream file("/proc/loadavg");
    double one, five, fifteen;
    int running, tasks;
    char slash;
    if (!(file >> one >> five >> fifteen >> running >> slash >> tasks))
        return cannotRead("/proc/loadavg");
    auto* map = new MapElem;
    map->addChild("1min", new DoubleElem(one));
    map->addChild("5min", new DoubleElem(five));
    map->addChild("15min", new DoubleElem(fifteen));
    map->addChild("running", new IntegerElem(running));
    map->addChild("tasks", new IntegerElem(tasks));
    return map;
}

Element* readMemory()
{
    static const std::map<std::string, std::string> names = {{"MemTotal:", "totalKb"},
                                                             {"MemAvailable:", "availableKb"},
                                                             {"MemFree:", "freeKb"},
                                                             {"SwapTotal:", "swapTotalKb"},
                                                             {"SwapFree:", "swapFreeKb"}};
    std::ifstream file("/proc/meminfo");
    auto* map = new MapElem;
    std::string word, restOfLine;
    double amount;
    while (file >> word >> amount && std::getline(file, restOfLine)) {
        auto name = names.find(word);
        if (name != names.end())
            map->addChild(name->second, newNumber(amount));
    }
    if (map->getNumChildren() > 0)
        return map;
    delete map;
    return cannotRead("/proc/meminfo");
}

Element* readProcesses(unsigned count)
{
    std::vector<Process> processes = findProcesses();
    count = std::min<unsigned>(count, static_cast<unsigned>(processes.size()));
    std::partial_sort(processes.begin(), processes.begin() + count, processes.end(),
                      [](Process const& a, Process const& b) { return a.residentKb > b.residentKb; });
    auto* list = new ListElem;
    for (unsigned i = 0; i < count; ++i)
        list->addChild(i, describeProcess(processes[i]));
    return list;
}

Element* readDirectory(std::string const& path)
{
    std::error_code error;
    std::vector<fs::path> paths;
    for (fs::directory_iterator entry(path, error), end; !error && entry != end; entry.increment(error))
        paths.push_back(entry->path());
    if (error)
        return new ExceptionElem("cannot list " + path + ": " + error.message(), kSystemError);
    std::sort(paths.begin(), paths.end());
    auto* list = new ListElem;
    for (unsigned i = 0; i < paths.size(); ++i)
        list->addChild(i, describeEntry(paths[i]));
    return list;
}

bool readCpuTimes(CpuTimes& times)
{
    // "cpu", then times: user, nice, system, idle, iowait, irq, softirq, steal.
    std::ifstream file("/proc/stat");
    std::string name;
    file >> name;
    times = CpuTimes();
    double time;
    for (int i = 0; i < 8 && file >> time; ++i) {
        times.total += time;
        if (i != 3 && i != 4)
            times.busy += time;
    }
    return times.total > 0;
}
