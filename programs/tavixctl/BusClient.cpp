#include "tavixctl/BusClient.h"

#include "common/BusAddress.h"

#include <tavix/SelectLoopGlue.h>
#include <tavix/SocketUtil.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Tavix;

namespace {

// connectToServerTCP tells on standard output what it is about to do.
class SilentOutput {
public:
    SilentOutput() : _kept(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0))
    {
        int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(nowhere, STDOUT_FILENO);
        close(nowhere);
    }
    ~SilentOutput()
    {
        std::fflush(stdout);
        dup2(_kept, STDOUT_FILENO);
        close(_kept);
    }
    SilentOutput(SilentOutput const&) = delete;
    SilentOutput& operator=(SilentOutput const&) = delete;

private:
    int _kept;
};

int connectTcp(std::string const& address)
{
    SilentOutput silent;
    return connectToServerTCP(address.c_str());
}

// A socket file, or what can only be meant as one.
bool isPath(std::string const& address)
{
    struct stat found;
    return address.find('/') != std::string::npos ||
           (stat(address.c_str(), &found) == 0 && S_ISSOCK(found.st_mode));
}

} // namespace

BusClient::BusClient(BusOptions const& options)
    : _options(options), _loop(select_loop_glue_new()), _deadline(options.timeout, _loop), _proxy(_loop)
{
}

ExitCode BusClient::connect()
{
    _place = _options.address;
    std::string error;
    if (_place.empty() && !findDefaultSocket(_place, error))
        return fail(kUsage, error);
    const bool overTcp = !isPath(_place);
    int fd;
    {
        Deadline::Interrupt interrupt(_deadline);
        fd = overTcp ? connectTcp(_place) : connectOnce(_place, 0);
    }
    const std::string reason = std::strerror(errno);
    if (fd >= 0 && _proxy.connectToFd(fd))
        return kSuccess;
    if (_deadline.expired())
        return fail(kTimedOut, "timed out while connecting to " + _place);
    // connectToServerTCP has given its reason on standard error.
    return fail(kNoBus, "no bus answers at " + _place + (overTcp ? " over TCP" : ": " + reason));
}

void BusClient::onAnswer(ResponseData const* response, void* client)
{
    auto* self = static_cast<BusClient*>(client);
    self->_answered = true;
    if (Element* result = response->map->getChild("result"))
        self->_answer.reset(result->clone());
}

ExitCode BusClient::call(std::string const& object, std::string const& method, Element* params,
                         std::unique_ptr<Element>& result)
{
    const std::string name = object + "." + method;
    _answered = false;
    RemoteProxyResult sent = _proxy.callMethodAsync(object, method, params, onAnswer, this);
    if (sent != PROXY_OK)
        return notSent(sent, name);
    ExitCode code = waitUntil(_answered, name);
    if (code != kSuccess)
        return code;
    if (!_answer)
        return fail(kException, name + ": out of memory for the answer");
    if (_answer->isException())
        return answeredWithException(object, name);
    result = std::move(_answer);
    return kSuccess;
}

ExitCode BusClient::askBus(std::string const& method, Element* params, std::vector<std::string>& texts)
{
    std::unique_ptr<Element> list;
    const ExitCode code = call("tvx", method, params, list);
    for (unsigned i = 0; code == kSuccess && list->hasChild(i); ++i)
        texts.push_back(list->getChild(i)->stringValue());
    return code;
}

ExitCode BusClient::sendEvent(std::string const& object, std::string const& event, Element* data)
{
    RemoteProxyResult sent = _proxy.sendEvent(object, event, data);
    return sent == PROXY_OK ? kSuccess : notSent(sent, object + "." + event);
}

ExitCode BusClient::observe(std::string const& object, std::string const& event,
                            ObjectEventObserver* observer)
{
    RemoteProxyResult sent = _proxy.addObserver(object, event, observer);
    return sent == PROXY_OK ? kSuccess : notSent(sent, object + "." + event);
}

// What is done by the time the bus ends counts.
ExitCode BusClient::waitUntil(bool const& done, std::string const& what)
{
    while (!done) {
        if (_deadline.expired())
            return fail(kTimedOut, what + ": timed out");
        if (!_proxy.isConnected())
            return busEnded(what);
        _loop->iterate();
    }
    return kSuccess;
}

ExitCode BusClient::busEnded(std::string const& what) const
{
    return fail(kNoBus, what + ": the bus at " + _place + " closed the connection");
}

ExitCode BusClient::notSent(RemoteProxyResult result, std::string const& what) const
{
    switch (result) {
    case PROXY_REQUEST_TOO_LARGE:
        return fail(kUsage, what + ": too large for one message of 196608 bytes");
    case PROXY_MEMORY_ERROR:
        return fail(kUsage, what + ": the value cannot be sent");
    default:
        return busEnded(what);
    }
}

// The bus and the owner's proxy use the code and text below for an object that is not there. The code alone
// proves nothing: an object chooses those of its own exceptions freely.
ExitCode BusClient::answeredWithException(std::string const& object, std::string const& call)
{
    const std::string text = _answer->stringValue();
    const int code = _answer->intValue();
    if (!_proxy.isConnected() && code == PROXY_CONNECTION_ERROR)
        return busEnded(call);
    if (code == PROXY_OBJECT_NOT_FOUND && text == "Object not found")
        return fail(kNoObject, "no object \"" + object + "\" on the bus at " + _place);
    return fail(kException, call + ": exception: " + text + " (code " + std::to_string(code) + ")");
}
