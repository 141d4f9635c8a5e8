#include "input/OwnEventMarks.h"

#include <atomic>

namespace {

// Each slot is a small seqlock: `seq` is the ring index plus one once the fields are complete, 0 while a
// producer writes them. The fields are relaxed atomics so that a reader racing a writer stays defined.
struct Slot {
    std::atomic<uint64_t> seq{0};
    std::atomic<int32_t> kind{0}, detail{0}, x{0}, y{0};
    std::atomic<bool> hasPoint{false};
    std::atomic<int64_t> deadlineNs{0};
};

struct Mark {
    int32_t kind, detail, x, y;
    bool hasPoint;
    int64_t deadlineNs;
};

Slot g_Ring[kMarkRingSize];
std::atomic<uint64_t> g_Tail{0};
// Private to the consumer; atomic only so that tests may reset it from another thread.
std::atomic<uint64_t> g_Head{0};

// Reads the mark at ring index i: false when it isn't complete yet or was overwritten by a later lap.
bool ReadMark(uint64_t i, Mark& out) {
    Slot& s = g_Ring[i % kMarkRingSize];
    const uint64_t before = s.seq.load(std::memory_order_acquire);
    if (before != i + 1) return false;
    out = {s.kind.load(std::memory_order_relaxed),     s.detail.load(std::memory_order_relaxed),
           s.x.load(std::memory_order_relaxed),        s.y.load(std::memory_order_relaxed),
           s.hasPoint.load(std::memory_order_relaxed), s.deadlineNs.load(std::memory_order_relaxed)};
    std::atomic_thread_fence(std::memory_order_acquire);
    return s.seq.load(std::memory_order_relaxed) == before;
}

}  // namespace

void PushOwnEventMark(MarkKind kind, int32_t detail, bool hasPoint, int32_t x, int32_t y, int64_t nowNs) {
    const uint64_t i = g_Tail.fetch_add(1, std::memory_order_acq_rel);
    Slot& s = g_Ring[i % kMarkRingSize];
    s.seq.store(0, std::memory_order_relaxed);
    std::atomic_thread_fence(std::memory_order_release);
    s.kind.store(kind, std::memory_order_relaxed);
    s.detail.store(detail, std::memory_order_relaxed);
    s.x.store(x, std::memory_order_relaxed);
    s.y.store(y, std::memory_order_relaxed);
    s.hasPoint.store(hasPoint, std::memory_order_relaxed);
    s.deadlineNs.store(nowNs + kMarkLifetimeNs, std::memory_order_relaxed);
    s.seq.store(i + 1, std::memory_order_release);
}

bool TakeOwnEventMark(MarkKind kind, int32_t detail, int32_t x, int32_t y, int64_t nowNs) {
    const uint64_t tail = g_Tail.load(std::memory_order_acquire);
    uint64_t head = g_Head.load(std::memory_order_relaxed);
    if (tail - head > kMarkRingSize) head = tail - kMarkRingSize;  // overwritten: lost

    // Expire from the oldest end; a mark still being written stops the sweep.
    Mark m{};
    while (head < tail && ReadMark(head, m) && m.deadlineNs < nowNs) ++head;

    bool found = false;
    for (uint64_t i = head; i < tail && i < head + kMarkSearchWindow; ++i) {
        if (!ReadMark(i, m) || m.deadlineNs < nowNs) continue;
        if (m.kind != kind || m.detail != detail) continue;
        if (m.hasPoint && (m.x != x || m.y != y)) continue;
        head = i + 1;
        found = true;
        break;
    }
    g_Head.store(head, std::memory_order_relaxed);
    return found;
}

int PendingOwnEventMarks() {
    const uint64_t tail = g_Tail.load(std::memory_order_acquire);
    const uint64_t head = g_Head.load(std::memory_order_relaxed);
    const uint64_t n = tail - head;
    return static_cast<int>(n > kMarkRingSize ? kMarkRingSize : n);
}

void ResetOwnEventMarks() { g_Head.store(g_Tail.load()); }
