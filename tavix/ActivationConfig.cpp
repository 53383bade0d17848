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

// File systems that do not tell the type have it looked at after opening.
int mayBeConfigFile(dirent const* entry)
{
    return entry->d_name[0] != '.' && (entry->d_type == DT_REG || entry->d_type == DT_UNKNOWN);
}

void report(std::string const& path, char const* reason)
{
    std::printf("%s: %s\n", path.c_str(), reason);
}

// What keeps an open file from being read, empty when nothing does.
std::string findObstacle(int fd)
{
    struct stat status;
    if (fstat(fd, &status) != 0)
        return std::strerror(errno);
    if (!S_ISREG(status.st_mode))
        return "Not a regular file";
    return status.st_size > kMaxFileSize ? "Larger than 1 MiB" : "";
}

// Empty after a failure, which has been reported, and for a file without a value. Takes fd.
SharedPtr<DataObject> parseFile(std::string const& path, int fd)
{
    Ferrule::FileInputStream stream(fd);
    stream.setNonBlocking();
    Ferrule::DataObjectHandler handler;
    handler.reset();
    json::JsonDeserializer deserializer;
    const int result = stream.getErrorString() ? 0 : deserializer.parse(&stream, &handler);
    if (stream.getErrorString())
        report(path, stream.getErrorString());
    else if (result == json::JsonDeserializer::kFailed)
        report(path, deserializer.getErrorString());
    else
        return handler.getRoot();
    return SharedPtr<DataObject>();
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

// Opening must neither follow a link nor wait for the other end of a pipe.
void ActivationConfig::loadFile(std::string const& path)
{
    const int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        report(path, std::strerror(errno));
        return;
    }
    const std::string obstacle = findObstacle(fd);
    if (!obstacle.empty()) {
        report(path, obstacle.c_str());
        close(fd);
        return;
    }
    SharedPtr<DataObject> root = parseFile(path, fd);
    if (!root.get())
        return;
    if (!root->isList())
        loadConfigEntry(path, *root);
    for (int i = 0; root->hasItem(i); ++i)
        loadConfigEntry(path, *root->item(i));
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
                std::printf("%s: Can't stringify name list elem %d\n", path.c_str(), i);
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
