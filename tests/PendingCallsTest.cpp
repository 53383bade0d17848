#include "tavix/PendingCallsInternal.h"

#include <functional>
#include <gtest/gtest.h>
#include <random>

using namespace Tavix;

namespace {

// Takes out of a plain list, oldest first, up to `limit` calls that match.
std::vector<PendingCall> take(std::vector<PendingCall>& calls, size_t limit,
                              std::function<bool(PendingCall const&)> const& matches)
{
    std::vector<PendingCall> taken;
    for (size_t i = 0; i < calls.size() && taken.size() < limit;) {
        if (matches(calls[i])) {
            taken.push_back(calls[i]);
            calls.erase(calls.begin() + static_cast<long>(i));
        } else {
            ++i;
        }
    }
    return taken;
}

// Few keys, so that many calls share one: their order shows in what owners are left with. Adding prevails, so
// that the table grows several times.
TEST(PendingCalls, behaveLikeAListOldestFirst)
{
    std::mt19937 random(1);
    auto below = [&](unsigned limit) { return static_cast<int>(random() % limit); };
    PendingCalls calls;
    std::vector<PendingCall> model;
    for (int step = 0; step < 40000; ++step) {
        const PendingCall call{1 + below(6), 1 + below(6), static_cast<unsigned>(below(40))};
        const int action = below(1000);
        auto sameCaller = [&](PendingCall const& c) { return c.callerClientId == call.callerClientId; };
        auto sameCall = [&](PendingCall const& c) { return sameCaller(c) && c.messageId == call.messageId; };
        auto sameOwner = [&](PendingCall const& c) { return c.ownerClientId == call.ownerClientId; };
        if (action < 700) {
            calls.add(call.ownerClientId, call.callerClientId, call.messageId);
            model.push_back(call);
        } else if (action < 997) {
            ASSERT_EQ(take(model, 1, sameCall).size(), calls.remove(call.callerClientId, call.messageId));
        } else if (action < 998) {
            calls.dropByCaller(call.callerClientId);
            take(model, model.size(), sameCaller);
        } else {
            auto expected = take(model, model.size(), sameOwner);
            calls.orphan(call.ownerClientId);
            PendingCall orphan;
            for (PendingCall const& next : expected) {
                ASSERT_TRUE(calls.takeOrphan(orphan));
                ASSERT_EQ(next.callerClientId, orphan.callerClientId);
                ASSERT_EQ(next.messageId, orphan.messageId);
            }
            ASSERT_FALSE(calls.takeOrphan(orphan));
        }
        ASSERT_EQ(model.size(), calls.size());
    }
}

} // namespace
