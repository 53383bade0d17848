#include "tavixctl/EventFeed.h"

#include "tavixctl/ReadableText.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

BusOptions::Texts const EventFeed::kTexts{"End after this time, fractions allowed. It is an orderly\n"
                                          "end (exit code 0), but with --count and fewer lines the\n"
                                          "time ran out (exit code 5). Default: no limit",
                                          BusOptions::Texts{}.json};

void EventFeed::addCount(CLI::App& verb, unsigned& count)
{
    verb.add_option("--count", count, "End after this many lines")
        ->check(CLI::Range(1, INT_MAX).description(""))
        ->type_name("N");
}

EventFeed::EventFeed(BusClient& client, StandardOutput& output, unsigned count)
    : _client(client), _output(output), _count(count), _interruption(output.descriptor(), client.loop())
{
}

void EventFeed::print(std::string_view line)
{
    if (_outputGone || (_count > 0 && _printed == _count))
        return;
    switch (_output.write(line, {_interruption.descriptor(), _client.deadline().descriptor()})) {
    case StandardOutput::kWritten:
        ++_printed;
        break;
    case StandardOutput::kInterrupted: // run() finds out by what
        break;
    case StandardOutput::kFailed:
        _outputGone = true;
        if (errno != EPIPE)
            _result = fail(kOutputFailed, std::string("cannot write: ") + std::strerror(errno));
    }
}

ExitCode EventFeed::run(std::string const& what)
{
    _what = what;
    // The bus takes the messages of a connection in their order: with the answer to this all that was asked
    // for before stands.
    if (_client.proxy().callMethodAsync("tvx", "generateInterfaceDescription", nullptr, onStanding, this) !=
        Tavix::PROXY_OK)
        return _client.busEnded(what);
    while (!_outputGone && (_count == 0 || _printed < _count) && !_interruption.happened()) {
        if (_client.deadline().expired())
            return timeIsOver();
        if (!_client.proxy().isConnected())
            return _client.busEnded(what);
        _client.loop()->iterate();
    }
    return _result;
}

// Also called when the connection breaks, which run() finds.
void EventFeed::onStanding(Tavix::ResponseData const*, void* feed)
{
    auto* self = static_cast<EventFeed*>(feed);
    self->_standing = self->_client.proxy().isConnected();
    if (self->_standing)
        std::fprintf(stderr, "%s\n", readableText(self->_what).c_str());
}

ExitCode EventFeed::timeIsOver() const
{
    if (!_standing)
        return fail(kTimedOut, _what + ": timed out before the bus answered");
    if (_count > 0)
        return fail(kTimedOut,
                    _what + ": timed out with " + std::to_string(_printed) + " of " + std::to_string(_count));
    return kSuccess;
}
