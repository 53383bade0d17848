#ifndef TAVIX_BENCH_OBJECTS_WORLD_H
#define TAVIX_BENCH_OBJECTS_WORLD_H

#include "RawClient.h"
#include "common/PrivateDirectory.h"

#include <tavix/PollLoopIf.h>
#include <tavix/TavixBus.h>
#include <tavix/foundation/SharedPtr.h>

#include <memory>
#include <vector>

namespace Bench {

// A bus and its clients in this process, on one thread. The bus's loop is stepped until it finds nothing more
// to do, so that the CPU time between two moments is all that something cost.
class World {
public:
    World();
    ~World();

    RawClient& connect();
    void disconnect(RawClient& client);

    // Hands the frames over, few enough at a time that no socket is ever full, and settles.
    void exchange(RawClient& client, std::vector<std::string> const& frames);
    // Steps the bus, and has the clients read, until neither finds anything.
    void settle();

private:
    const PrivateDirectory _directory;
    SharedPtr<Tavix::PollLoopIf> _loop;
    std::unique_ptr<Tavix::TavixBus> _bus;
    std::vector<std::unique_ptr<RawClient>> _clients;
};

} // namespace Bench

#endif
