#ifndef TAVIX_TESTS_SUPPORT_LOOPS_H
#define TAVIX_TESTS_SUPPORT_LOOPS_H

#include "tavix/PollLoopIf.h"

// Every kind of loop: "select", "epoll", "glib", and "table", a loop over poll(2) that tavix reaches through a table
// of functions.
struct LoopKind {
    char const* name;
    Tavix::PollLoopIf* (*create)();
};
extern LoopKind const kLoopKinds[4];

// A loop of the kind that TAVIX_TEST_LOOP names, over select without.
Tavix::PollLoopIf* newTestLoop();

#endif
