#include "tavix-bus/Broker.h"

#include <tavix/EpollLoopGlue.h>
#include <tavix/GlibSelectLoop.h>
#include <tavix/SelectLoopGlue.h>

#include <cstdlib>
#include <optional>
#include <unistd.h>

namespace {

Tavix::PollLoopIf* newLoop(std::string const& name)
{
    if (name == "select")
        return Tavix::select_loop_glue_new();
    return name == "glib" ? Tavix::glib_select_loop_new() : Tavix::epoll_loop_glue_new();
}

// A variable of the environment that has another value for a while. What the bus's constructor reads is for
// the bus alone, and not for the programs that it starts.
class BorrowedVariable {
public:
    BorrowedVariable(char const* name, char const* value) : _name(name)
    {
        if (char const* found = std::getenv(name))
            _before = found;
        if (value)
            setenv(name, value, 1);
    }
    ~BorrowedVariable()
    {
        if (_before)
            setenv(_name, _before->c_str(), 1);
        else
            unsetenv(_name);
    }
    BorrowedVariable(BorrowedVariable const&) = delete;
    BorrowedVariable& operator=(BorrowedVariable const&) = delete;

private:
    char const* const _name;
    std::optional<std::string> _before;
};

} // namespace

bool Broker::start(Options const& options, int unixListener, int tcpListener, Signals::Handler handler,
                   std::string& error)
{
    _options = &options;
    _loop = SharedPtr<Tavix::PollLoopIf>(newLoop(options.loop));
    if (!_loop.get() || !_signals.watch(_loop, std::move(handler))) {
        error = "no memory or descriptor left to start with";
        close(unixListener);
        if (tcpListener >= 0)
            close(tcpListener);
        return false;
    }
    _output.watch(_loop);
    _errors.watch(_loop);
    BorrowedVariable variable("TVX_ACTIVATION_CONFIG_DIR", activationDir());
    _bus = std::make_unique<Tavix::TavixBus>(_loop, options.bufferSize, unixListener, tcpListener);
    _memory.watch(_loop);
    if (!_bus->isServing())
        error = "cannot watch the socket";
    return _bus->isServing();
}

void Broker::reload()
{
    _bus->reloadActivationConfig(activationDir());
}

char const* Broker::activationDir() const
{
    return _options->activationDir.empty() ? nullptr : _options->activationDir.c_str();
}
