#include "tavixctl/DescriptorArgument.h"

#include <tavix/elements/FileDescriptorElem.h>
#include <tavix/elements/MapElem.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

struct Mode {
    char const* suffix;
    int flags;
};

const Mode kModes[] = {
    {":r", O_RDONLY},
    {":w", O_WRONLY | O_CREAT | O_TRUNC},
    {":rw", O_RDWR | O_CREAT},
};

// Takes the suffix off the path.
int flagsOf(std::string& path)
{
    for (Mode const& mode : kModes) {
        const size_t length = std::strlen(mode.suffix);
        if (path.size() > length && path.compare(path.size() - length, length, mode.suffix) == 0) {
            path.resize(path.size() - length);
            return mode.flags;
        }
    }
    return O_RDONLY;
}

} // namespace

DescriptorArguments::~DescriptorArguments()
{
    for (int fd : _open)
        close(fd);
}

bool DescriptorArguments::addTo(SharedPtr<Tavix::Element>& argument, std::vector<std::string> const& texts,
                                std::string& error)
{
    if (texts.empty())
        return true;
    if (!argument.get())
        argument = SharedPtr<Tavix::Element>(new Tavix::MapElem);
    if (!argument->isMap()) {
        error = "--fd puts descriptors into an ARGUMENT that is a JSON object; this one is none";
        return false;
    }
    auto* map = static_cast<Tavix::MapElem*>(argument.get());
    for (std::string const& text : texts) {
        std::string name;
        int fd;
        if (!open(text, name, fd, error))
            return false;
        if (map->hasChild(name)) {
            error = "--fd " + text + ": the ARGUMENT has \"" + name + "\" already";
            return false;
        }
        map->addChild(name, new Tavix::FileDescriptorElem(fd, "", "", ""));
    }
    return true;
}

bool DescriptorArguments::open(std::string const& text, std::string& name, int& fd, std::string& error)
{
    const size_t separator = text.find('=');
    if (separator == std::string::npos || separator == 0 || separator + 1 == text.size()) {
        error = "--fd takes NAME=PATH, with :r, :w or :rw behind it, not \"" + text + "\"";
        return false;
    }
    name = text.substr(0, separator);
    std::string path = text.substr(separator + 1);
    const int flags = flagsOf(path);
    fd = ::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, 0666);
    if (fd < 0) {
        error = "cannot open " + path + ": " + std::strerror(errno);
        return false;
    }
    _open.push_back(fd);
    return true;
}
