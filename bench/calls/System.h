#ifndef TAVIX_BENCH_CALLS_SYSTEM_H
#define TAVIX_BENCH_CALLS_SYSTEM_H

#include "Options.h"
#include "common/System.h"

namespace Bench {

// A broker, a caller and an owner.
enum Part : unsigned { kCaller = System::kDriver, kOwner, kParts };

// tavix-bus and two clients over the library.
class TavixSystem : public System {
public:
    explicit TavixSystem(Options const& options);
};

// The floor, over socket pairs.
class FloorSystem : public System {
public:
    explicit FloorSystem(Options const& options);
};

} // namespace Bench

#endif
