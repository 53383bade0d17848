#include "World.h"

#include "common/Fail.h"

#include <tavix/SelectLoopGlue.h>
#include <tavix/SocketUtil.h>

#include <algorithm>

namespace Bench {

namespace {

const std::size_t kFramesAtOnce = 64;

std::string socketPath(PrivateDirectory const& directory)
{
    return directory.path() + "/bus";
}

} // namespace

World::World() : _loop(new Tavix::SelectLoopGlue)
{
    const int listener = startUnixDomainServer(socketPath(_directory).c_str());
    if (listener < 0)
        fail("the bus cannot listen");
    _bus = std::make_unique<Tavix::TavixBus>(_loop, 0, listener, -1);
}

World::~World() = default;

RawClient& World::connect()
{
    _clients.push_back(std::make_unique<RawClient>(socketPath(_directory)));
    settle();
    return *_clients.back();
}

void World::disconnect(RawClient& client)
{
    _clients.erase(std::find_if(_clients.begin(), _clients.end(),
                                [&](auto const& candidate) { return candidate.get() == &client; }));
    settle();
}

void World::exchange(RawClient& client, std::vector<std::string> const& frames)
{
    for (std::size_t first = 0; first < frames.size(); first += kFramesAtOnce) {
        for (std::size_t i = first; i < std::min(first + kFramesAtOnce, frames.size()); ++i)
            client.send(frames[i]);
        settle();
    }
}

void World::settle()
{
    bool any;
    do {
        while (_loop->check())
            _loop->iterate();
        any = false;
        for (auto const& client : _clients)
            any |= client->work();
    } while (any);
}

} // namespace Bench
