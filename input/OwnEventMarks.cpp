#include "input/OwnEventMarks.h"

#include <atomic>

namespace {

// Each slot is a small seqlock: `seq` is the lane index plus one once the fields are complete, 0 while a
// producer writes them. The fields are relaxed atomics so that a reader racing a writer stays defined.
struct Slot {
    std::atomic<uint64_t> seq{0};
    std::atomic<int32_t> kind{0}, detail{0}, x{0}, y{0};
    std::atomic<bool> hasPoint{false};
    std::atomic<int64_t> pushedNs{0};
};

struct Mark {
    int32_t kind, detail, x, y;
    bool hasPoint;
    int64_t pushedNs;
};

// One lane for each injecting thread: a thread has a display connection of its own, and the server keeps the
// order of one connection's requests but not across connections. So a match may skip older marks of its own
// lane (their events were lost), never another lane's, whose events may still be on their way.
struct Lane {
    Slot slots[kMarkRingSize];
    std::atomic<uint64_t> tail{0};
    // Private to the consumer; atomic only so that tests may reset it from another thread.
    std::atomic<uint64_t> head{0};
};

Lane g_Lanes[kMarkLanes];
std::atomic<uint32_t> g_NextLane{0};

Lane& MyLane() {
    thread_local Lane& lane = g_Lanes[g_NextLane.fetch_add(1) % kMarkLanes];
    return lane;
}

// Reads the mark at lane index i: false when it isn't complete yet or was overwritten by a later lap.
bool ReadMark(Lane& lane, uint64_t i, Mark& out) {
    Slot& s = lane.slots[i % kMarkRingSize];
    const uint64_t before = s.seq.load(std::memory_order_acquire);
    if (before != i + 1) return false;
    out = {s.kind.load(std::memory_order_relaxed),     s.detail.load(std::memory_order_relaxed),
           s.x.load(std::memory_order_relaxed),        s.y.load(std::memory_order_relaxed),
           s.hasPoint.load(std::memory_order_relaxed), s.pushedNs.load(std::memory_order_relaxed)};
    std::atomic_thread_fence(std::memory_order_acquire);
    return s.seq.load(std::memory_order_relaxed) == before;
}

bool Expired(const Mark& m, int64_t nowNs) { return nowNs - m.pushedNs > kMarkLifetimeNs; }

}  // namespace

void PushOwnEventMark(MarkKind kind, int32_t detail, bool hasPoint, int32_t x, int32_t y, int64_t nowNs) {
    Lane& lane = MyLane();
    const uint64_t i = lane.tail.fetch_add(1, std::memory_order_acq_rel);
    Slot& s = lane.slots[i % kMarkRingSize];
    s.seq.store(0, std::memory_order_relaxed);
    std::atomic_thread_fence(std::memory_order_release);
    s.kind.store(kind, std::memory_order_relaxed);
    s.detail.store(detail, std::memory_order_relaxed);
    s.x.store(x, std::memory_order_relaxed);
    s.y.store(y, std::memory_order_relaxed);
    s.hasPoint.store(hasPoint, std::memory_order_relaxed);
    s.pushedNs.store(nowNs, std::memory_order_relaxed);
    s.seq.store(i + 1, std::memory_order_release);
}

bool TakeOwnEventMark(MarkKind kind, int32_t detail, int32_t x, int32_t y, int64_t nowNs) {
    // The first matching mark of each lane. Of those, the one that skips the fewest older marks of its lane is
    // taken, and of equals the one pushed first: a release that another thread sent for the same button
    // (a stop lifting the buttons) mustn't use up a mark whose event is still to come.
    Lane* best = nullptr;
    uint64_t bestIndex = 0, bestSkipped = 0;
    int64_t bestPushed = 0;
    for (Lane& lane : g_Lanes) {
        const uint64_t tail = lane.tail.load(std::memory_order_acquire);
        uint64_t head = lane.head.load(std::memory_order_relaxed);
        if (head == tail) continue;
        if (tail - head > kMarkRingSize) head = tail - kMarkRingSize;  // overwritten: lost

        // Expire from the oldest end; a mark still being written stops the sweep.
        Mark m{};
        while (head < tail && ReadMark(lane, head, m) && Expired(m, nowNs)) ++head;
        lane.head.store(head, std::memory_order_relaxed);

        for (uint64_t i = head; i < tail && i < head + kMarkSearchWindow; ++i) {
            if (!ReadMark(lane, i, m) || Expired(m, nowNs)) continue;
            if (m.kind != kind || m.detail != detail) continue;
            if (m.hasPoint && (m.x != x || m.y != y)) continue;
            const uint64_t skipped = i - head;
            if (!best || skipped < bestSkipped || (skipped == bestSkipped && m.pushedNs < bestPushed)) {
                best = &lane;
                bestIndex = i;
                bestSkipped = skipped;
                bestPushed = m.pushedNs;
            }
            break;
        }
    }
    if (!best) return false;
    best->head.store(bestIndex + 1, std::memory_order_relaxed);
    return true;
}

int PendingOwnEventMarks() {
    uint64_t n = 0;
    for (Lane& lane : g_Lanes) {
        const uint64_t tail = lane.tail.load(std::memory_order_acquire);
        const uint64_t head = lane.head.load(std::memory_order_relaxed);
        n += tail - head > kMarkRingSize ? kMarkRingSize : tail - head;
    }
    return static_cast<int>(n);
}

void ResetOwnEventMarks() {
    for (Lane& lane : g_Lanes) lane.head.store(lane.tail.load());
}
