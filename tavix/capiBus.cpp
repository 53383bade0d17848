// The flat functions for a bus of the caller's own process.

#include "tavix/TavixBus.h"
#include "tavix/capiProxyInternal.h"

using namespace Tavix;

// A bus without its socket could not be reached, and nothing here could tell the caller.
TvxBus* tvx_bus_new(TvxPollLoop* loop, int socketBufferSize)
{
    if (loop == nullptr)
        return nullptr;
    return guarded<TvxBus*>(nullptr, [=] {
        std::unique_ptr<TavixBus> bus(new TavixBus(*toCpp(loop), socketBufferSize, -1, -1));
        return reinterpret_cast<TvxBus*>(bus->isServing() ? bus.release() : nullptr);
    });
}

void tvx_bus_free(TvxBus* bus)
{
    delete reinterpret_cast<TavixBus*>(bus);
}
