#include "tavix/elements/FileDescriptorElem.h"

#include "tavix/SvcErr.h"
#include "tavix/elements/ElementVisitor.h"

#include <new>
#include <unistd.h>
#include <utility>

namespace Tavix {

namespace {

std::string hostName()
{
    char name[255] = {};
    if (gethostname(name, sizeof name - 1) != 0)
        SvcErr("Unable to determine Host Name");
    return name;
}

// The text of a link below /proc, cut to what fits; empty when it cannot be read.
template <std::size_t Size>
std::string readLink(char const* path)
{
    char text[Size];
    ssize_t const length = readlink(path, text, sizeof text - 1);
    return std::string(text, length > 0 ? static_cast<std::size_t>(length) : 0);
}

} // namespace

FileDescriptorElem::FileDescriptorElem(int fd, std::string host, std::string pid, std::string exe)
    : FileDescriptorElem(Foreign(), fd, std::move(host), std::move(pid), std::move(exe))
{
    if (_host.empty())
        _host = hostName();
    if (_pid.empty())
        _pid = "/proc/" + readLink<32>("/proc/self");
    if (_exe.empty())
        _exe = readLink<4096>("/proc/self/exe");
}

FileDescriptorElem::FileDescriptorElem(Foreign, int fd, std::string host, std::string pid, std::string exe)
    : IntegerElem(fd), _host(std::move(host)), _pid(std::move(pid)), _exe(std::move(exe))
{
}

FileDescriptorElem::~FileDescriptorElem() = default;

FileDescriptorElem* FileDescriptorElem::makeForeign(int fd, std::string host, std::string pid,
                                                    std::string exe)
{
    auto* const made =
        new (std::nothrow) FileDescriptorElem(Foreign(), fd, std::move(host), std::move(pid), std::move(exe));
    if (made)
        made->_foreign = true;
    return made;
}

bool FileDescriptorElem::setValue(int value)
{
    _foreign = false;
    return IntegerElem::setValue(value);
}

void FileDescriptorElem::setMember(std::string const& name, Element* value)
{
    if (name == "host")
        _host = value->stringValue();
    else if (name == "pid")
        _pid = value->stringValue();
    else if (name == "exe")
        _exe = value->stringValue();
    else
        IntegerElem::setValue(value->intValue());
}

std::string FileDescriptorElem::toString() const
{
    return ":fd " + stringValue() + ":host " + _host + ":pid " + _pid + ":exe " + _exe;
}

Element* FileDescriptorElem::clone() const
{
    try {
        FileDescriptorElem* const copy = makeForeign(intValue(), _host, _pid, _exe);
        if (copy)
            copy->_foreign = _foreign;
        return copy;
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
}

void FileDescriptorElem::accept(ElementVisitor* visitor)
{
    visitor->visitorAtFileDescriptorElem(this);
}

bool FileDescriptorElem::instanceOf(std::string const& type) const
{
    return type == _type;
}

} // namespace Tavix
