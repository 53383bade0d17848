#ifndef TAVIX_BENCH_OBJECTS_RAWCLIENT_H
#define TAVIX_BENCH_OBJECTS_RAWCLIENT_H

#include "common/Process.h"

#include <tavix/elements/EESMessageType.h>

#include <string>

namespace Bench {

// A frame as a proxy would write it, without a value.
std::string makeRequest(Tavix::EESMessageType type, std::string const& objName, std::string const& name);

// A connection to the bus that does next to nothing itself: it writes frames that were made before, counts what
// comes, and answers a call with a null as an object would.
class RawClient {
public:
    explicit RawClient(std::string const& path);

    void send(std::string const& frames);
    // Reads and counts all that is there, and sends what is left to send. True when there was anything.
    bool work();

    unsigned responses() const { return _responses; }
    unsigned calls() const { return _calls; }
    unsigned events() const { return _events; }
    void resetCounts() { _responses = _calls = _events = 0; }

private:
    void takeFrames();
    void takeFrame(unsigned char const* frame);
    bool flush();

    Descriptor _socket;
    std::string _incoming; // ends in the middle of a frame
    std::string _unsent;
    std::string _answer; // to be completed with the call's ids
    unsigned _responses = 0;
    unsigned _calls = 0;
    unsigned _events = 0;
};

} // namespace Bench

#endif
