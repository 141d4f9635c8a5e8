// The event list document, single-event edits, and the thinning of mouse paths.
#include <gtest/gtest.h>

#include <cmath>

#include "bridge/MainBindings.h"
#include "core/AppState.h"
#include "engine/EventList.h"
#include "persist/AppSettings.h"
#include "tests/fakes/Fakes.h"

namespace {

UnifiedEvent Abs(int64_t x, int64_t y, double t = 0) { return UnifiedEvent{EventMoveAbs, t, x, y, 0, 0, false, 0}; }
UnifiedEvent Key(int vk, bool down, double t = 0) { return UnifiedEvent{EventKey, t, 0, 0, 0, vk, down, 0}; }
UnifiedEvent Click(int64_t x, int64_t y) { return UnifiedEvent{EventMouseClick, 0, x, y, 2, 0, false, 0}; }

std::vector<std::pair<int64_t, int64_t>> Points(const std::vector<UnifiedEvent>& ev) {
    std::vector<std::pair<int64_t, int64_t>> p;
    for (const auto& e : ev) p.emplace_back(e.type == EventMoveAbs ? e.x : -1, e.type == EventMoveAbs ? e.y : -1);
    return p;
}

class EventListTest : public ::testing::Test {
protected:
    void SetUp() override { ResetAppState(); }
};

TEST_F(EventListTest, OptimizerKeepsRunEndsAndDistantPoints) {
    using P = std::vector<std::pair<int64_t, int64_t>>;
    const struct {
        const char* name;
        std::vector<UnifiedEvent> events;
        P kept;
    } cases[] = {
        {"two moves alone are first and last", {Abs(0, 0), Abs(1, 1)}, {{0, 0}, {1, 1}}},
        {"distance from the last kept point",
         {Abs(0, 0), Abs(3, 4), Abs(6, 8), Abs(9, 12), Abs(30, 40), Key(65, true)},
         {{0, 0}, {9, 12}, {30, 40}, {-1, -1}}},
        {"squared distance 100 drops, 101 keeps",
         {Abs(0, 0), Abs(6, 8), Abs(10, 1), Abs(50, 50), Abs(90, 90)},
         {{0, 0}, {10, 1}, {50, 50}, {90, 90}}},
        {"a move after a click stays whatever its distance",
         {Click(0, 0), Abs(0, 0), Abs(1, 0), Abs(2, 0)},
         {{-1, -1}, {0, 0}, {2, 0}}},
        {"relative moves are never touched",
         {UnifiedEvent{EventMoveRel, 0, 1, 1, 0, 0, false, 0}, UnifiedEvent{EventMoveRel, 0, 1, 1, 0, 0, false, 0},
          UnifiedEvent{EventMoveRel, 0, 1, 1, 0, 0, false, 0}},
         {{-1, -1}, {-1, -1}, {-1, -1}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        profiles[0].events = c.events;
        OptimizeMacro();
        EXPECT_EQ(Points(profiles[0].events), c.kept);
        const auto once = profiles[0].events;
        OptimizeMacro();  // a second run changes nothing
        EXPECT_EQ(profiles[0].events, once);
    }
}

TEST_F(EventListTest, DocumentText) {
    profiles[0].events = {Abs(1, -2, 1.5),
                          UnifiedEvent{EventMoveRel, 0.25, -3, 4, 0, 0, false, 0},
                          Click(5, 6),
                          Key(65, true, 2),
                          Key(65, false, 2.000001),
                          UnifiedEvent{EventScroll, 3, 0, 0, 0, 0, false, -240},
                          UnifiedEvent{EventToolToggle, 4, 0, 0, 0, 2, true, 0},
                          UnifiedEvent{EventToolToggle, 5, 0, 0, 0, 7, false, 0},
                          UnifiedEvent{9, NAN, 0, 0, 0, 0, false, 0}};
    EXPECT_EQ(BuildMacroEventsJson(),
              "[{\"id\":0,\"time\":1.500000,\"desc\":\"Abs Move to X:1 Y:-2\"},"
              "{\"id\":1,\"time\":0.250000,\"desc\":\"Rel Move dX:-3 dY:4\"},"
              "{\"id\":2,\"time\":0.000000,\"desc\":\"Mouse Click at X:5 Y:6\"},"
              "{\"id\":3,\"time\":2.000000,\"desc\":\"Keyboard VK: 65 (DOWN)\"},"
              "{\"id\":4,\"time\":2.000001,\"desc\":\"Keyboard VK: 65 (UP)\"},"
              "{\"id\":5,\"time\":3.000000,\"desc\":\"Mouse Scroll Delta: -240\"},"
              "{\"id\":6,\"time\":4.000000,\"desc\":\"Key Spammer ON\"},"
              "{\"id\":7,\"time\":5.000000,\"desc\":\"Autoclicker OFF\"},"
              "{\"id\":8,\"time\":0.000000,\"desc\":\"\"}]");
    profiles[0].events.clear();
    EXPECT_EQ(BuildMacroEventsJson(), "[]");
}

TEST_F(EventListTest, EditsRewriteTheFile) {
    profiles[0].events = {Key(65, true, 1)};
    SaveMacroEventsToFile("stale");
    BindUpdateEventTime("[\"1,2.5\"]");  // out of range: nothing changes, the file is rewritten
    EXPECT_EQ(profiles[0].events[0].time, 1);
    EXPECT_EQ(LoadMacroEventsFromFile(), BuildMacroEventsJson());
    BindUpdateEventTime("[\"0,2.5\"]");
    EXPECT_EQ(profiles[0].events[0].time, 2.5);
    BindUpdateEventTime("[\"0,1,2\"]");
    EXPECT_EQ(profiles[0].events[0].time, 2.5);
    // A time before the start, or one that isn't a number, is refused with the range.
    for (const char* bad : {"-2.5", "nan", "inf"}) {
        try {
            BindUpdateEventTime(std::string("[\"0,") + bad + "\"]");
            ADD_FAILURE() << bad;
        } catch (const BindError& e) {
            EXPECT_EQ(std::string(e.what()), std::string("updateEventTime: the time must be a number of seconds from 0 "
                                                         "to 1000000000, not \"") +
                                                 bad + "\"");
        }
    }
    EXPECT_EQ(profiles[0].events[0].time, 2.5);
    EXPECT_THROW(BindUpdateEventTime("[\"0,soon\"]"), BindError);
    EXPECT_THROW(BindDeleteEvent("[\"first\"]"), BindError);
    BindDeleteEvent("[3]");
    EXPECT_EQ(profiles[0].events.size(), 1u);
    BindDeleteEvent("[0]");
    EXPECT_EQ(LoadMacroEventsFromFile(), "[]");

    profiles[0].events = {Abs(0, 0), Abs(1, 1), Abs(2, 2)};
    BindOptimizeMacro();
    EXPECT_EQ(LoadMacroEventsFromFile(),
              "[{\"id\":0,\"time\":0.000000,\"desc\":\"Abs Move to X:0 Y:0\"},{\"id\":1,\"time\":0.000000,\"desc\":"
              "\"Abs Move to X:2 Y:2\"}]");
    EXPECT_EQ(BindGetMacroEvents(), LoadMacroEventsFromFile());
}

}  // namespace
