#ifndef TAVIX_BENCH_COMMON_LONEPROXY_H
#define TAVIX_BENCH_COMMON_LONEPROXY_H

#include "common/Process.h"

#include <tavix/PollLoopIf.h>
#include <tavix/TavixProxy.h>

#include <vector>

namespace Bench {

typedef std::vector<unsigned char> Frame;

// A proxy with nobody but this class at the other end of its socket: whole frames as it writes them.
class LoneProxy {
public:
    LoneProxy();

    Frame readFrame();
    void writeFrame(Frame const& frame);

private:
    void receive(Frame& frame, std::size_t done);

    SharedPtr<Tavix::PollLoopIf> _loop;
    Descriptor _peer;

public:
    Tavix::TavixProxy proxy;
};

} // namespace Bench

#endif
