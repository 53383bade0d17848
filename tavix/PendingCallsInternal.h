#ifndef TAVIX_PENDINGCALLSINTERNAL_H
#define TAVIX_PENDINGCALLSINTERNAL_H

#include <cstddef>
#include <deque>
#include <vector>

namespace Tavix {

// One call that the bus has forwarded to an owner and that is not answered yet.
struct PendingCall {
    int ownerClientId;
    int callerClientId;
    unsigned messageId; // the caller's choice; unique among that caller's calls only
};

// The calls under way, found by caller and message id when a response passes, and by owner when an owner
// dies. Both cost what they find, however many calls are out; a call costs no allocation once the table has
// grown to the number of calls that are out at a time.
//
// The calls stand in slots of one array. A slot is in two doubly linked lists, both oldest first: that of its
// hash bucket, and that of its owner's bucket.
class PendingCalls {
public:
    PendingCalls();

    void add(int ownerClientId, int callerClientId, unsigned messageId);

    // Drops the oldest call with this caller and message id; false when there is none.
    bool remove(int callerClientId, unsigned messageId);

    // The owner has gone: its calls, oldest first, wait for takeOrphan.
    void orphan(int ownerClientId);

    // Takes out the first call whose owner has gone; false when there is none.
    bool takeOrphan(PendingCall& call);

    // Forgets all calls of one caller: nobody is left to hear of them.
    void dropByCaller(int callerClientId);

    size_t size() const { return _size; }

private:
    static constexpr int kNone = -1;

    enum List { kByCall, kByOwner, kByCaller, kLists };

    struct Link {
        int previous = kNone;
        int next = kNone; // of a free slot: the next free one, in the first link
    };

    struct Ends {
        int first = kNone;
        int last = kNone;
    };

    struct Slot {
        PendingCall call;
        Link links[kLists];
    };

    Ends& bucketOf(List list, PendingCall const& call);
    void append(List list, int index);
    void unlink(List list, int index);
    void release(int index);
    static unsigned keyOf(List list, PendingCall const& call);
    int takeFreeSlot();
    void grow();

    std::vector<Slot> _slots;
    std::vector<Ends> _buckets[kLists]; // as many in each as there are slots, a power of two
    std::deque<PendingCall> _orphans;
    int _firstFree = kNone;
    size_t _size = 0;
};

} // namespace Tavix

#endif
