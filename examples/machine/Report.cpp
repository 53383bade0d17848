#include "Report.h"

#include "MachineFacts.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <poll.h>
#include <string>
#include <unistd.h>

using namespace Tavix;

namespace {

std::string compose()
{
    std::string text;
    for (Element* (*read)() : {readUptime, readLoad, readMemory}) {
        std::unique_ptr<Element> facts(read());
        text += JsonVisitor::toJsonString(facts.get()) + "\n";
    }
    return text;
}

// A pipe that is ready takes up to PIPE_BUF (4096) bytes at once, so a reader that sleeps does not hold up the
// service.
Element* write(int fd, std::string const& text)
{
    pollfd target{fd, POLLOUT, 0};
    if (poll(&target, 1, 0) != 1 || !(target.revents & POLLOUT))
        return new ExceptionElem("the descriptor takes nothing now", kSystemError);
    if (::write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        return new ExceptionElem(std::string("cannot write: ") + std::strerror(errno), kSystemError);
    return new IntegerElem(static_cast<int>(text.size()));
}

} // namespace

Element* writeReport(Element* params)
{
    Element* to = params->instanceOf(MapElem::_type) ? static_cast<MapElem*>(params)->find("to") : nullptr;
    if (!to || !to->instanceOf(FileDescriptorElem::_type))
        return new ExceptionElem("report takes an open descriptor under the key \"to\"", kBadArgument);
    return write(to->intValue(), compose());
}
