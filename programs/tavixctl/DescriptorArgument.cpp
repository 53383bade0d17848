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
        const size_t separator = text.find('=');
        if (separator == std::string::npos || separator == 0 || separator + 1 == text.size()) {
            error = "--fd takes NAME=PATH, with :r, :w or :rw behind it, not \"" + text + "\"";
            return false;
        }
        const std::string name = text.substr(0, separator);
        if (map->hasChild(name)) {
            error = "--fd " + text + ": there is a \"" + name + "\" already";
            return false;
        }
        auto* place = new Tavix::FileDescriptorElem(-1, "", "", "");
        map->addChild(name, place);
        _files.push_back({text.substr(separator + 1), place});
    }
    return true;
}

ExitCode DescriptorArguments::open(Deadline const& deadline)
{
    Deadline::Interrupt interrupt(deadline);
    for (File& file : _files) {
        const int flags = flagsOf(file.path);
        const int fd = ::open(file.path.c_str(), flags | O_CLOEXEC | O_NOCTTY, 0666);
        if (fd < 0 && errno == EINTR && deadline.expired())
            return fail(kTimedOut, "timed out while opening " + file.path);
        if (fd < 0)
            return fail(kUsage, "cannot open " + file.path + ": " + std::strerror(errno));
        _open.push_back(fd);
        file.place->setValue(fd);
    }
    return kSuccess;
}
