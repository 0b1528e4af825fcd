// The timer list is a hierarchical timing wheel. Time is cut into slots of 10 ms, numbered from
// the clock's start. A slot number is read as nine digits to the base 64, and the wheel has one
// level per digit and one bucket per value of a digit. A node hangs on the level of the highest
// digit in which its slot differs from the slot that the wheel stands in, in the bucket of its own
// digit there. So near nodes stand on level 0, each bucket one slot wide, and far ones wait in
// coarse buckets until the wheel arrives, when they are spread over the finer levels. Arming and
// stopping touch one bucket only. The earliest node is always in the lowest bucket in use of the
// lowest level in use, which two bit scans find.
//
// Inside a bucket nodes hang in the order in which they were armed. Which bucket a node hangs in
// depends on the wheel's position and the node's slot alone, so nodes of equal expiry share their
// bucket all the way down and stay in that order. With equal delays the order of arming is the
// order of expiry too, and a bucket knows whether it still holds: then its first node is its
// minimum. Otherwise the minimum is remembered, and only when the node that had it is gone is the
// bucket sorted, stably, which costs one merge per stretch that is out of order.
//
// The list head holds nothing but the wheel's address, so a copy of it is as good as itself.

#include "platform/timer.h"

#include <bit>
#include <cstddef>
#include <cstdlib>

namespace {

constexpr uint64_t kTickMicroseconds = 10000;
constexpr uint32_t kDigitBits = 6;
constexpr uint32_t kBuckets = 1U << kDigitBits;
constexpr uint32_t kLevels = 9; // 54 bits: more than 2^64 microseconds have slots
constexpr uint32_t kSortBins = 32;

struct Bucket {
    list_head nodes;
    uint64_t minimum; // earliest expiry while minimumKnown; never later than it
    bool minimumKnown;
    bool ordered; // expiries ascend along the list
};

struct Wheel {
    list_head anchor; // what the list head's links point to
    list_head due;    // nodes that timerListCheck has taken off the levels
    uint64_t slot;    // where the wheel stands; no node on a level is in an earlier slot
    uint64_t used[kLevels];
    Bucket buckets[kLevels][kBuckets];
};

struct Place {
    uint32_t level;
    uint32_t index;
};

Wheel* wheelOf(const tTimerLst* list) {
    if (list->next == nullptr) {
        return nullptr;
    }
    return listRecord<Wheel, offsetof(Wheel, anchor)>(list->next);
}

tTimerNode* timerOf(list_head* link) {
    return listRecord<tTimerNode, offsetof(tTimerNode, node)>(link);
}

uint64_t expiryOf(list_head* link) {
    return timerOf(link)->expireTime;
}

uint32_t digitOf(uint64_t slot, uint32_t level) {
    return static_cast<uint32_t>(slot >> (level * kDigitBits)) & (kBuckets - 1);
}

// The level of the highest digit in which two slots differ, 0 if they are the same.
uint32_t levelBetween(uint64_t a, uint64_t b) {
    const uint64_t difference = a ^ b;
    if (difference == 0) {
        return 0;
    }
    return (63U - static_cast<uint32_t>(std::countl_zero(difference))) / kDigitBits;
}

Place placeOf(const Wheel* wheel, uint64_t expireTime) {
    uint64_t slot = expireTime / kTickMicroseconds;
    if (slot < wheel->slot) {
        slot = wheel->slot;
    }
    const uint32_t level = levelBetween(slot, wheel->slot);
    return {level, digitOf(slot, level)};
}

uint64_t usedBit(uint32_t index) {
    return uint64_t{1} << index;
}

void hang(Wheel* wheel, tTimerNode* node) {
    const Place place = placeOf(wheel, node->expireTime);
    Bucket& bucket = wheel->buckets[place.level][place.index];
    const uint64_t expiry = node->expireTime;
    if (listEmpty(&bucket.nodes)) {
        bucket.ordered = true;
        bucket.minimumKnown = true;
        bucket.minimum = expiry;
        wheel->used[place.level] |= usedBit(place.index);
    } else {
        bucket.ordered = bucket.ordered && expiryOf(bucket.nodes.prev) <= expiry;
        if (expiry <= bucket.minimum) {
            bucket.minimum = expiry;
            bucket.minimumKnown = true;
        }
    }
    listAddTail(&bucket.nodes, &node->node);
}

// Brings a bucket's record up to date after a node of that expiry was unlinked. A node that
// already stood among the due ones leaves its former bucket as it is.
void settle(Wheel* wheel, uint64_t expireTime) {
    const Place place = placeOf(wheel, expireTime);
    Bucket& bucket = wheel->buckets[place.level][place.index];
    if (listEmpty(&bucket.nodes)) {
        wheel->used[place.level] &= ~usedBit(place.index);
        return;
    }
    if (bucket.ordered) {
        bucket.minimum = expiryOf(bucket.nodes.next);
        return;
    }
    if (bucket.minimum == expireTime) {
        bucket.minimumKnown = false;
    }
}

// Merges two ascending lists into @p first; among equals the nodes of @p first come first.
void merge(list_head* first, list_head* second) {
    list_head* where = first->next;
    while (!listEmpty(second)) {
        list_head* candidate = second->next;
        while (where != first && expiryOf(where) <= expiryOf(candidate)) {
            where = where->next;
        }
        if (where == first) {
            listSplice(second, first);
            return;
        }
        listRemove(candidate);
        listInsertAfter(where->prev, candidate);
    }
}

// Moves the longest ascending stretch at the head of @p from into the empty list @p run.
void takeRun(list_head* from, list_head* run) {
    uint64_t last = 0;
    while (!listEmpty(from) && expiryOf(from->next) >= last) {
        list_head* link = from->next;
        last = expiryOf(link);
        listRemove(link);
        listAddTail(run, link);
    }
}

// Sorts by expiry and keeps the order among equals. Bin n holds 2^n stretches, older ones than all
// lower bins.
void sortByExpiry(list_head* list) {
    list_head bins[kSortBins];
    uint32_t binsUsed = 0;
    while (!listEmpty(list)) {
        list_head run;
        listInit(&run);
        takeRun(list, &run);
        uint32_t bin = 0;
        for (; bin < binsUsed && !listEmpty(&bins[bin]); bin++) {
            merge(&bins[bin], &run);
            listSplice(&bins[bin], &run);
        }
        if (bin == binsUsed) {
            listInit(&bins[bin]);
            binsUsed++;
        }
        listSplice(&run, &bins[bin]);
    }
    for (uint32_t bin = 0; bin < binsUsed; bin++) {
        merge(&bins[bin], list);
        listSplice(&bins[bin], list);
    }
}

uint64_t minimumOf(Bucket& bucket) {
    if (!bucket.minimumKnown) {
        sortByExpiry(&bucket.nodes);
        bucket.ordered = true;
        bucket.minimumKnown = true;
        bucket.minimum = expiryOf(bucket.nodes.next);
    }
    return bucket.minimum;
}

// Empties a bucket: what is due at @p now goes to the tail of the due list in order of expiry, the
// rest to where the wheel's present position puts it.
void collect(Wheel* wheel, uint32_t level, uint32_t index, uint64_t now) {
    Bucket& bucket = wheel->buckets[level][index];
    list_head nodes;
    list_head due;
    listInit(&nodes);
    listInit(&due);
    listSplice(&bucket.nodes, &nodes);
    wheel->used[level] &= ~usedBit(index);
    while (!listEmpty(&nodes)) {
        tTimerNode* node = timerOf(nodes.next);
        listRemove(&node->node);
        if (node->expireTime <= now) {
            listAddTail(&due, &node->node);
        } else {
            hang(wheel, node);
        }
    }
    sortByExpiry(&due);
    listSplice(&due, &wheel->due);
}

// Collects the buckets in use of a level whose index is at most @p last.
void collectLevel(Wheel* wheel, uint32_t level, uint32_t last, uint64_t now) {
    const uint64_t upToLast = ~uint64_t{0} >> (kBuckets - 1 - last);
    uint64_t pending = wheel->used[level] & upToLast;
    while (pending != 0) {
        collect(wheel, level, static_cast<uint32_t>(std::countr_zero(pending)), now);
        pending &= pending - 1;
    }
}

// Moves the wheel to the slot of @p now. Below the highest digit that changes everything is due;
// on its level everything before the new digit is, and the bucket of that digit is spread.
void advance(Wheel* wheel, uint64_t now) {
    const uint64_t target = now / kTickMicroseconds;
    if (target < wheel->slot) {
        return;
    }
    const uint32_t top = levelBetween(target, wheel->slot);
    wheel->slot = target;
    for (uint32_t level = 0; level < top; level++) {
        collectLevel(wheel, level, kBuckets - 1, now);
    }
    collectLevel(wheel, top, digitOf(target, top), now);
}

void makeIdle(list_head* nodes) {
    while (!listEmpty(nodes)) {
        listRemove(nodes->next);
    }
}

// Ticks from now until @p expireTime, rounded up; 0 when it has come.
uint64_t ticksUntil(uint64_t expireTime) {
    const uint64_t now = platformClock();
    if (expireTime <= now) {
        return 0;
    }
    return (expireTime - now + kTickMicroseconds - 1) / kTickMicroseconds;
}

} // namespace

int32_t timerListInit(tTimerLst* list) {
    list->next = nullptr;
    list->prev = nullptr;
    auto* wheel = static_cast<Wheel*>(calloc(1, sizeof(Wheel)));
    if (wheel == nullptr) {
        return -1;
    }
    listInit(&wheel->due);
    for (auto& level : wheel->buckets) {
        for (Bucket& bucket : level) {
            listInit(&bucket.nodes);
        }
    }
    wheel->slot = platformClock() / kTickMicroseconds;
    list->next = &wheel->anchor;
    list->prev = &wheel->anchor;
    return 0;
}

void timerListRelease(tTimerLst* list) {
    Wheel* wheel = wheelOf(list);
    if (wheel == nullptr) {
        return;
    }
    makeIdle(&wheel->due);
    for (auto& level : wheel->buckets) {
        for (Bucket& bucket : level) {
            makeIdle(&bucket.nodes);
        }
    }
    free(wheel);
    list->next = nullptr;
    list->prev = nullptr;
}

uint32_t timerListNextTimeout(tTimerLst* list) {
    Wheel* wheel = wheelOf(list);
    if (wheel == nullptr) {
        return TIMER_NO_TIMEOUT;
    }
    if (!listEmpty(&wheel->due)) {
        return 0;
    }
    for (uint32_t level = 0; level < kLevels; level++) {
        if (wheel->used[level] == 0) {
            continue;
        }
        const int index = std::countr_zero(wheel->used[level]);
        const uint64_t ticks = ticksUntil(minimumOf(wheel->buckets[level][index]));
        return ticks < TIMER_NO_TIMEOUT ? static_cast<uint32_t>(ticks) : TIMER_NO_TIMEOUT - 1;
    }
    return TIMER_NO_TIMEOUT;
}

void timerListCheck(tTimerLst* list) {
    Wheel* wheel = wheelOf(list);
    if (wheel == nullptr) {
        return;
    }
    advance(wheel, platformClock());
    while (!listEmpty(&wheel->due)) {
        tTimerNode* node = timerOf(wheel->due.next);
        listRemove(&node->node);
        node->callBack(node->arg1, node->arg2, node->arg3);
    }
}

int32_t timerStart(tTimerLst* list, tTimerNode* node, uint32_t ticks, TIMERFUNCPTR callBack,
                   void* arg1, void* arg2, void* arg3) {
    Wheel* wheel = wheelOf(list);
    if (wheel == nullptr) {
        return -1;
    }
    timerStop(list, node);
    node->callBack = callBack;
    node->arg1 = arg1;
    node->arg2 = arg2;
    node->arg3 = arg3;
    node->expireTime = platformClock() + ticks * kTickMicroseconds;
    hang(wheel, node);
    return 0;
}

int32_t timerStop(tTimerLst* list, tTimerNode* node) {
    if (!listLinked(&node->node)) {
        return 0;
    }
    listRemove(&node->node);
    Wheel* wheel = wheelOf(list);
    if (wheel != nullptr) {
        settle(wheel, node->expireTime);
    }
    return 0;
}

int32_t timerRemain(const tTimerNode* node) {
    if (!listLinked(&node->node)) {
        return 0;
    }
    return static_cast<int32_t>(static_cast<uint32_t>(ticksUntil(node->expireTime)));
}
