#include "tavix/ActivationConfigInternal.h"
#include "tavix/ObjectActivatorInternal.h"
#include "tavix/foundation/DataObjectHandler.h"
#include "tavix/foundation/FileInputStream.h"
#include "tavix/foundation/JsonDeserializer.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Tavix {

namespace {

using Ferrule::DataObject;

constexpr off_t kMaxFileSize = 1024 * 1024;
constexpr char kTooLarge[] = "Larger than 1 MiB";
// A large file may be wrong in every line.
constexpr unsigned kMaxFaultLines = 20;

// Ends behind the largest size, for a file that grows meanwhile or whose size is not known before.
class LimitedStream : public Ferrule::InputStream {
public:
    explicit LimitedStream(Ferrule::InputStream& file) : _file(file) {}

    bool isExceeded() const { return _size > kMaxFileSize; }

    int read(char* buffer, int size) override
    {
        const int count = _file.read(buffer, size);
        _size += count;
        return isExceeded() ? 0 : count;
    }

private:
    Ferrule::InputStream& _file;
    off_t _size = 0;
};

// File systems that do not tell the type have it looked at after opening.
int mayBeConfigFile(dirent const* entry)
{
    return entry->d_name[0] != '.' && (entry->d_type == DT_REG || entry->d_type == DT_UNKNOWN);
}

// What keeps an open file from being read, empty when nothing does.
std::string findObstacle(int fd)
{
    struct stat status;
    if (fstat(fd, &status) != 0)
        return std::strerror(errno);
    if (!S_ISREG(status.st_mode))
        return "Not a regular file";
    return status.st_size > kMaxFileSize ? kTooLarge : "";
}

// Answers why there is no root, empty also for a file without a value. Takes fd.
std::string parseFile(int fd, SharedPtr<DataObject>& root)
{
    Ferrule::FileInputStream file(fd);
    file.setNonBlocking();
    if (file.getErrorString())
        return file.getErrorString();
    LimitedStream stream(file);
    Ferrule::DataObjectHandler handler;
    handler.reset();
    json::JsonDeserializer deserializer;
    const int result = deserializer.parse(&stream, &handler);
    if (file.getErrorString())
        return file.getErrorString();
    if (stream.isExceeded())
        return kTooLarge;
    if (result == json::JsonDeserializer::kFailed)
        return deserializer.getErrorString();
    root = handler.getRoot();
    return "";
}

// The same for a path. Opening must neither follow a link nor wait for the other end of a pipe, nor take a
// terminal.
std::string readFile(std::string const& path, SharedPtr<DataObject>& root)
{
    const int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0)
        return std::strerror(errno);
    std::string obstacle = findObstacle(fd);
    if (obstacle.empty())
        return parseFile(fd, root);
    close(fd);
    return obstacle;
}

// The empty text for whatever counts as absent.
std::string textOf(DataObject const& entry, char const* key)
{
    char const* text = entry.get(key)->text();
    return text ? text : "";
}

} // namespace

bool ActivationConfig::load(char const* directory)
{
    dirent** entries = nullptr;
    const int count = scandir(directory, &entries, mayBeConfigFile, nullptr);
    if (count < 0) {
        std::perror(directory);
        return false;
    }
    for (int i = count - 1; i >= 0; --i) {
        loadFile(std::string(directory) + "/" + entries[i]->d_name);
        std::free(entries[i]);
    }
    std::free(entries);
    return true;
}

void ActivationConfig::loadFile(std::string const& path)
{
    _faults = 0;
    SharedPtr<DataObject> root;
    const std::string obstacle = readFile(path, root);
    if (!obstacle.empty())
        report(path, obstacle);
    if (root.get() && !root->isList())
        loadConfigEntry(path, *root);
    for (int i = 0; root.get() && root->hasItem(i); ++i)
        loadConfigEntry(path, *root->item(i));
    if (_faults > kMaxFaultLines)
        std::printf("%s: %u more faults\n", path.c_str(), _faults - kMaxFaultLines);
}

void ActivationConfig::report(std::string const& path, std::string const& reason)
{
    if (++_faults <= kMaxFaultLines)
        std::printf("%s: %s\n", path.c_str(), reason.c_str());
}

void ActivationConfig::loadConfigEntry(std::string const& path, DataObject const& entry)
{
    const std::string exec = textOf(entry, "exec");
    const std::string service = textOf(entry, "service");
    if (exec.empty() && service.empty())
        report(path, "Neither 'exec' nor 'service' present");
    else if (!exec.empty() && !service.empty())
        report(path, "Both 'exec' and 'service' specified");
    else if (!entry.get("name")->isValid())
        report(path, "Missing 'name' key");
    else
        addNames(path, *entry.get("name"), exec, service);
}

void ActivationConfig::addNames(std::string const& path, DataObject const& names, std::string const& exec,
                                std::string const& service)
{
    if (names.isList()) {
        for (int i = 0; names.hasItem(i); ++i) {
            if (char const* name = names.item(i)->text())
                add(name, exec, service);
            else
                report(path, "Can't stringify name list elem " + std::to_string(i));
        }
    } else if (char const* name = names.text()) {
        add(name, exec, service);
    } else {
        report(path, "'name' value is not a string");
    }
}

void ActivationConfig::add(char const* name, std::string const& exec, std::string const& service)
{
    if (service.empty())
        _activator.addEntry(name, exec);
    else
        _activator.addEntryService(name, service);
}

} // namespace Tavix
