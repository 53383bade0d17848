#include "tavixctl/BusClient.h"

#include "common/BusAddress.h"

#include <tavix/SelectLoopGlue.h>
#include <tavix/SocketUtil.h>

#include <CLI/CLI.hpp>
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

std::string checkTimeout(std::string const& text)
{
    double seconds = 0;
    bool valid = CLI::detail::lexical_cast(text, seconds) && seconds >= 0.001 && seconds <= 1e9;
    return valid ? "" : text + " is not a time from 0.001 to 1000000000 seconds";
}

} // namespace

void BusOptions::addTo(CLI::App& verb)
{
    verb.add_option("--address", address,
                    "Where the bus is: the path of its socket, or for TCP\n"
                    "HOST, HOST:PORT or [IPV6]:PORT (port 5010 when absent).\n"
                    "Default: \"tavix-server-uds\" in the directory that\n"
                    "QZV_RUNTIME_DIR names, or in the current directory")
        ->type_name("ADDRESS");
    verb.add_option("--timeout", timeout,
                    "Give up after this time, fractions allowed, for\n"
                    "connecting and call together. Default: wait as long as\n"
                    "it takes")
        ->check(checkTimeout)
        ->type_name("SECONDS");
}

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
    while (!_answered && !_deadline.expired())
        _loop->iterate();
    if (!_answered)
        return fail(kTimedOut, name + ": timed out");
    if (!_answer)
        return fail(kException, name + ": out of memory for the answer");
    if (_answer->isException())
        return answeredWithException(object, name);
    result = std::move(_answer);
    return kSuccess;
}

ExitCode BusClient::notSent(RemoteProxyResult result, std::string const& call) const
{
    switch (result) {
    case PROXY_REQUEST_TOO_LARGE:
        return fail(kUsage, call + ": the ARGUMENT is too large for one message of 196608 bytes");
    case PROXY_MEMORY_ERROR:
        return fail(kUsage, call + ": the ARGUMENT cannot be sent");
    default:
        return fail(kNoBus, call + ": the bus at " + _place + " closed the connection");
    }
}

// The bus and the owner's proxy use the code and text below for an object that is not there. The code alone
// proves nothing: an object chooses those of its own exceptions freely.
ExitCode BusClient::answeredWithException(std::string const& object, std::string const& call)
{
    const std::string text = _answer->stringValue();
    const int code = _answer->intValue();
    if (!_proxy.isConnected() && code == PROXY_CONNECTION_ERROR)
        return fail(kNoBus, call + ": the bus at " + _place + " closed the connection during the call");
    if (code == PROXY_OBJECT_NOT_FOUND && text == "Object not found")
        return fail(kNoObject, "no object \"" + object + "\" on the bus at " + _place);
    return fail(kException, call + ": exception: " + text + " (code " + std::to_string(code) + ")");
}
