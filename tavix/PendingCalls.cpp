#include "tavix/PendingCallsInternal.h"

namespace Tavix {

namespace {

const size_t kFirstSize = 64; // a power of two

// Client ids and message ids both count up: a multiplication spreads them over the buckets.
size_t spread(unsigned value)
{
    return static_cast<size_t>((value * 0x9E3779B97F4A7C15ull) >> 32);
}

} // namespace

PendingCalls::PendingCalls()
{
    grow();
}

void PendingCalls::add(int ownerClientId, int callerClientId, unsigned messageId)
{
    int index = takeFreeSlot();
    _slots[index].call = PendingCall{ownerClientId, callerClientId, messageId};
    for (List list : {kByCall, kByOwner, kByCaller})
        append(list, index);
    ++_size;
}

bool PendingCalls::remove(int callerClientId, unsigned messageId)
{
    PendingCall wanted{0, callerClientId, messageId};
    for (int i = bucketOf(kByCall, wanted).first; i != kNone; i = _slots[i].links[kByCall].next) {
        if (_slots[i].call.callerClientId == callerClientId && _slots[i].call.messageId == messageId) {
            release(i);
            return true;
        }
    }
    return false;
}

void PendingCalls::orphan(int ownerClientId)
{
    PendingCall wanted{ownerClientId, 0, 0};
    for (int i = bucketOf(kByOwner, wanted).first; i != kNone;) {
        int next = _slots[i].links[kByOwner].next;
        if (_slots[i].call.ownerClientId == ownerClientId) {
            _orphans.push_back(_slots[i].call);
            release(i);
        }
        i = next;
    }
}

bool PendingCalls::takeOrphan(PendingCall& call)
{
    if (_orphans.empty())
        return false;
    call = _orphans.front();
    _orphans.pop_front();
    return true;
}

void PendingCalls::dropByCaller(int callerClientId)
{
    PendingCall wanted{0, callerClientId, 0};
    for (int i = bucketOf(kByCaller, wanted).first; i != kNone;) {
        int next = _slots[i].links[kByCaller].next;
        if (_slots[i].call.callerClientId == callerClientId)
            release(i);
        i = next;
    }
}

unsigned PendingCalls::keyOf(List list, PendingCall const& call)
{
    switch (list) {
    case kByOwner:
        return static_cast<unsigned>(call.ownerClientId);
    case kByCaller:
        return static_cast<unsigned>(call.callerClientId);
    default:
        return static_cast<unsigned>(call.callerClientId) * 31u + call.messageId;
    }
}

PendingCalls::Ends& PendingCalls::bucketOf(List list, PendingCall const& call)
{
    return _buckets[list][spread(keyOf(list, call)) & (_buckets[list].size() - 1)];
}

void PendingCalls::append(List list, int index)
{
    Ends& ends = bucketOf(list, _slots[index].call);
    _slots[index].links[list] = Link{ends.last, kNone};
    if (ends.last == kNone)
        ends.first = index;
    else
        _slots[ends.last].links[list].next = index;
    ends.last = index;
}

void PendingCalls::unlink(List list, int index)
{
    Ends& ends = bucketOf(list, _slots[index].call);
    Link link = _slots[index].links[list];
    (link.previous == kNone ? ends.first : _slots[link.previous].links[list].next) = link.next;
    (link.next == kNone ? ends.last : _slots[link.next].links[list].previous) = link.previous;
}

void PendingCalls::release(int index)
{
    for (List list : {kByCall, kByOwner, kByCaller})
        unlink(list, index);
    _slots[index].links[kByCall].next = _firstFree;
    _firstFree = index;
    --_size;
}

int PendingCalls::takeFreeSlot()
{
    if (_firstFree == kNone)
        grow();
    int index = _firstFree;
    _firstFree = _slots[index].links[kByCall].next;
    return index;
}

// Called when every slot is in use. The lists of the larger table are made anew; the old owner lists, walked
// bucket by bucket, would not give the order of age across calls, so that order is taken from each list
// itself: calls that share a key or an owner share a bucket before and after, and are met there oldest first.
void PendingCalls::grow()
{
    std::vector<Ends> old[kLists];
    const size_t size = _slots.empty() ? kFirstSize : _slots.size() * 2;
    for (int list = 0; list < kLists; ++list) {
        old[list] = std::move(_buckets[list]);
        _buckets[list].assign(size, Ends());
    }
    for (int list = 0; list < kLists; ++list) {
        for (Ends const& ends : old[list]) {
            for (int i = ends.first; i != kNone;) {
                int next = _slots[i].links[list].next;
                append(static_cast<List>(list), i);
                i = next;
            }
        }
    }
    const size_t used = _slots.size();
    _slots.resize(size);
    for (size_t i = used; i < size; ++i)
        _slots[i].links[kByCall].next = i + 1 < size ? static_cast<int>(i + 1) : _firstFree;
    _firstFree = static_cast<int>(used);
}

} // namespace Tavix
