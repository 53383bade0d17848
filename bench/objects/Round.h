#ifndef TAVIX_BENCH_OBJECTS_ROUND_H
#define TAVIX_BENCH_OBJECTS_ROUND_H

#include "World.h"

namespace Bench {

enum Step {
    kRegister,
    kObserve,
    kBystanderLeaves,
    kObserverLeaves,
    kObserveOne,
    kObserverOfOneLeaves,
    kRegisterObserved,
    kOwnerLeaves,
    kSteps
};

struct StepText {
    char const* text;
    bool eachObject; // its cost is one per object, else one in all
};

extern const StepText kStepTexts[kSteps];

// Takes a world through all steps with so many objects, and answers the CPU time of each in microseconds,
// per object where the step has one cost per object. The world is empty again afterwards.
void runRound(World& world, unsigned objects, double (&microseconds)[kSteps]);

} // namespace Bench

#endif
