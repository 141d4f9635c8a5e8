// The ring of own-event marks: matching, skipping lost marks, expiry, overwrite, and many producers.
#include <gtest/gtest.h>

#include <deque>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "input/OwnEventMarks.h"

namespace {

constexpr int64_t kT = 5'000'000'000;  // an arbitrary now
constexpr int64_t kMs = 1'000'000;

class OwnEventMarksTest : public ::testing::Test {
protected:
    void SetUp() override { ResetOwnEventMarks(); }
};

TEST_F(OwnEventMarksTest, MatchesKindDetailAndPoint) {
    PushOwnEventMark(MarkKeyPress, 38, false, 0, 0, kT);
    PushOwnEventMark(MarkMotion, 0, true, 200, 210, kT);
    PushOwnEventMark(MarkButtonPress, 1, false, 0, 0, kT);

    EXPECT_FALSE(TakeOwnEventMark(MarkKeyRelease, 38, 0, 0, kT)) << "wrong kind";
    EXPECT_FALSE(TakeOwnEventMark(MarkKeyPress, 39, 0, 0, kT)) << "wrong key: the user's";
    EXPECT_TRUE(TakeOwnEventMark(MarkKeyPress, 38, 0, 0, kT));
    EXPECT_FALSE(TakeOwnEventMark(MarkKeyPress, 38, 0, 0, kT)) << "a mark is used once";
    EXPECT_FALSE(TakeOwnEventMark(MarkMotion, 0, 200, 211, kT)) << "another point";
    EXPECT_TRUE(TakeOwnEventMark(MarkMotion, 0, 200, 210, kT));
    EXPECT_TRUE(TakeOwnEventMark(MarkButtonPress, 1, 0, 0, kT));
    PushOwnEventMark(MarkMotion, 0, false, 0, 0, kT);  // a relative move
    EXPECT_TRUE(TakeOwnEventMark(MarkMotion, 0, 5, -3, kT)) << "a mark without a point matches any motion";
    EXPECT_EQ(PendingOwnEventMarks(), 0);
}

TEST_F(OwnEventMarksTest, LostMarksAreSkippedWithinTheWindow) {
    PushOwnEventMark(MarkKeyRelease, 41, false, 0, 0, kT);  // a release the server drops
    PushOwnEventMark(MarkKeyPress, 42, false, 0, 0, kT);
    PushOwnEventMark(MarkKeyRelease, 42, false, 0, 0, kT);
    EXPECT_TRUE(TakeOwnEventMark(MarkKeyPress, 42, 0, 0, kT));
    EXPECT_EQ(PendingOwnEventMarks(), 1) << "the lost mark went with the match";
    EXPECT_TRUE(TakeOwnEventMark(MarkKeyRelease, 42, 0, 0, kT));

    // Beyond the search window a mark isn't found: a run of lost marks longer than the window hides it.
    for (int i = 0; i < kMarkSearchWindow; ++i) PushOwnEventMark(MarkMotion, 0, true, i, i, kT);
    PushOwnEventMark(MarkButtonPress, 3, false, 0, 0, kT);
    EXPECT_FALSE(TakeOwnEventMark(MarkButtonPress, 3, 0, 0, kT));
}

TEST_F(OwnEventMarksTest, MarksExpireAfterTheirLifetime) {
    PushOwnEventMark(MarkButtonPress, 1, false, 0, 0, kT);
    PushOwnEventMark(MarkButtonRelease, 1, false, 0, 0, kT + 500 * kMs);
    EXPECT_FALSE(TakeOwnEventMark(MarkButtonPress, 1, 0, 0, kT + kMarkLifetimeNs + 1));
    EXPECT_EQ(PendingOwnEventMarks(), 1);
    EXPECT_TRUE(TakeOwnEventMark(MarkButtonRelease, 1, 0, 0, kT + kMarkLifetimeNs + 1));
}

TEST_F(OwnEventMarksTest, AnOverwrittenMarkIsLost) {
    PushOwnEventMark(MarkKeyPress, 10, false, 0, 0, kT);
    for (int i = 0; i < kMarkRingSize; ++i) PushOwnEventMark(MarkKeyPress, 11, false, 0, 0, kT);
    EXPECT_FALSE(TakeOwnEventMark(MarkKeyPress, 10, 0, 0, kT));
    EXPECT_TRUE(TakeOwnEventMark(MarkKeyPress, 11, 0, 0, kT));
    EXPECT_EQ(PendingOwnEventMarks(), kMarkRingSize - 1);
}

TEST_F(OwnEventMarksTest, ManyProducersOneConsumer) {
    // Three injecting threads, each sending through the "server" (a queue that keeps the order of the
    // requests), while the tap takes the mark of every event the server reports: none is the user's.
    constexpr int kPerThread = 2000;
    std::mutex serverMutex;
    std::deque<int> server;
    std::vector<std::thread> producers;
    for (int p = 0; p < 3; ++p) {
        producers.emplace_back([p, &serverMutex, &server] {
            for (int i = 0; i < kPerThread; ++i) {
                const int detail = p * kPerThread + i;
                for (;;) {
                    std::unique_lock<std::mutex> lock(serverMutex);
                    // A tap that keeps up: the ring never laps.
                    if (server.size() < kMarkRingSize / 4) {
                        PushOwnEventMark(MarkKeyPress, detail, false, 0, 0, kT);
                        server.push_back(detail);
                        break;
                    }
                    lock.unlock();
                    std::this_thread::yield();
                }
            }
        });
    }
    int own = 0, seen = 0;
    while (seen < 3 * kPerThread) {
        int detail = -1;
        {
            std::lock_guard<std::mutex> lock(serverMutex);
            if (!server.empty()) {
                detail = server.front();
                server.pop_front();
            }
        }
        if (detail < 0) {
            std::this_thread::yield();
            continue;
        }
        ++seen;
        if (TakeOwnEventMark(MarkKeyPress, detail, 0, 0, kT)) ++own;
    }
    for (auto& t : producers) t.join();
    EXPECT_EQ(own, 3 * kPerThread);
    EXPECT_EQ(PendingOwnEventMarks(), 0);
}

TEST_F(OwnEventMarksTest, TheServerMayInterleaveTwoThreadsRequestsInAnyOrder) {
    // The Spammer clicks and the Key Spammer types at once, each on its own connection. The server keeps each
    // connection's order but mixes the two as it likes; no event of either may be taken for the user's.
    constexpr int kRounds = 3000;
    std::mutex serverMutex;
    std::deque<int> connection[2];
    std::vector<std::thread> producers;
    for (int p = 0; p < 2; ++p) {
        producers.emplace_back([p, &serverMutex, &connection] {
            const MarkKind press = p == 0 ? MarkButtonPress : MarkKeyPress;
            const MarkKind release = p == 0 ? MarkButtonRelease : MarkKeyRelease;
            const int detail = p == 0 ? 1 : 38;
            for (int i = 0; i < kRounds; ++i) {
                for (;;) {
                    std::unique_lock<std::mutex> lock(serverMutex);
                    if (connection[p].size() < 64) {
                        PushOwnEventMark(press, detail, false, 0, 0, kT);
                        connection[p].push_back(press);
                        PushOwnEventMark(release, detail, false, 0, 0, kT);
                        connection[p].push_back(release);
                        break;
                    }
                    lock.unlock();
                    std::this_thread::yield();
                }
            }
        });
    }
    std::mt19937 pick(7);
    int own = 0, seen = 0;
    while (seen < 2 * 2 * kRounds) {
        int kind = -1, p = static_cast<int>(pick() % 2);
        {
            std::lock_guard<std::mutex> lock(serverMutex);
            if (connection[p].empty()) p = 1 - p;
            if (!connection[p].empty()) {
                kind = connection[p].front();
                connection[p].pop_front();
            }
        }
        if (kind < 0) {
            std::this_thread::yield();
            continue;
        }
        ++seen;
        if (TakeOwnEventMark(static_cast<MarkKind>(kind), p == 0 ? 1 : 38, 0, 0, kT)) ++own;
    }
    for (auto& t : producers) t.join();
    EXPECT_EQ(own, seen);
    EXPECT_EQ(PendingOwnEventMarks(), 0);
}

}  // namespace
