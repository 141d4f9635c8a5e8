// The editor's save document: every refusal from the smallest document that causes it, and what a
// document that passes turns into.
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "timeline/TimelineSaveDoc.h"

namespace {

const std::string kEvent = "[0,0,0,0,0,0,0,0]";

// A document with valid nonces around the given events list text.
std::string WithEvents(const std::string& events) {
    return R"({"nonce":"a1","loadNonce":"B2","events":[)" + events + "]}";
}

// One event with `value` at position `pos`.
std::string EventWith(int pos, const std::string& value) {
    std::string v[8] = {"0", "0", "0", "0", "0", "0", "0", "0"};
    v[pos] = value;
    std::string out = "[";
    for (int i = 0; i < 8; ++i) out += (i ? "," : "") + v[i];
    return out + "]";
}

std::string Parse(const std::string& text) {
    TimelineSaveDoc doc;
    return ParseTimelineSaveDoc(text, doc);
}

}  // namespace

TEST(SaveDocTest, EachRefusalHasItsSentence) {
    const std::string key258(258, 'k');
    const std::string number40 = "1." + std::string(38, '0');
    const struct {
        std::string text;
        const char* error;
    } kCases[] = {
        {"", "The edited macro is not in the expected format."},
        {" [] ", "The edited macro is not in the expected format."},
        {"{}", "The edited macro is missing a field."},
        {R"({"nonce":"a1","loadNonce":"a1"})", "The edited macro is missing a field."},
        {R"({"nonce" "a1"})", "Malformed document."},
        {R"({nonce:"a1"})", "Expected a string."},
        {R"({"nonce":1})", "Expected a string."},
        {R"({"nonce":"a1",})", "Expected a string."},
        {R"({"no\nce":"a1"})", "Unexpected character in a string."},
        {"{\"nonce\":\"a\x01\"}", "Unexpected character in a string."},
        {"{\"nonce\":\"\xC3\xA9\"}", "Unexpected character in a string."},
        {"{\"nonce\":\"a\x7F\"}", "Unexpected character in a string."},
        {R"({"nonce":"a1)", "Unterminated string."},
        {"{\"" + key258 + "\":1}", "A string is too long."},
        {"{\"" + key258.substr(1) + "\":1}", "Unexpected key in the edited macro."},
        {R"({"Nonce":"a1"})", "Unexpected key in the edited macro."},
        {R"({"nonce":"a1","nonce":"a1"})", "Duplicate key: nonce."},
        {R"({"loadNonce":"a1","loadNonce":"a1"})", "Duplicate key: loadNonce."},
        {R"({"events":[],"events":[]})", "Duplicate key: events."},
        {"{\"nonce\":\"" + std::string(65, 'f') + "\"}", "Malformed nonce."},
        {R"({"nonce":"0g"})", "Malformed nonce."},
        {R"({"loadNonce":""})", "Malformed loadNonce."},
        {R"({"events":{}})", "events must be a list."},
        {R"({"events":"[]"})", "events must be a list."},
        {WithEvents("1"), "Event 1: expected [type, time, x, y, flags, vk, down, wheel]."},
        {WithEvents(kEvent + ","), "Event 2: expected [type, time, x, y, flags, vk, down, wheel]."},
        {WithEvents("[0,0,0,0,0,0,0]"), "Event 1: needs exactly 8 values."},
        {WithEvents("[0,0,0,0,0,0,0,0,0]"), "Event 1: needs exactly 8 values."},
        {WithEvents("[0 0,0,0,0,0,0,0]"), "Event 1: needs exactly 8 values."},
        {WithEvents(EventWith(1, "01")), "Event 1: needs exactly 8 values."},  // a leading zero ends the token
        {WithEvents(kEvent + "," + EventWith(1, "true")), "Event 2: has a value that is not a number."},
        {WithEvents(EventWith(0, "\"1\"")), "Event 1: has a value that is not a number."},
        {WithEvents(EventWith(1, "+1")), "Event 1: has a value that is not a number."},
        {WithEvents(EventWith(1, ".5")), "Event 1: has a value that is not a number."},
        {WithEvents(EventWith(1, "1.")), "Event 1: has a value that is not a number."},
        {WithEvents(EventWith(1, "1e")), "Event 1: has a value that is not a number."},
        {WithEvents(EventWith(1, "1e400")), "Event 1: has a value that is not a number."},
        {WithEvents(EventWith(1, number40 + "0")), "Event 1: has a value that is not a number."},
        {WithEvents("[0,0,0,0,0,0,0,"), "Event 1: has a value that is not a number."},
        {WithEvents(EventWith(0, "6")), "Event 1: unknown event type."},
        {WithEvents(EventWith(0, "-1")), "Event 1: unknown event type."},
        {WithEvents(EventWith(0, "1.5")), "Event 1: unknown event type."},
        {WithEvents(EventWith(2, "1000001")), "Event 1: position is out of range."},
        {WithEvents(EventWith(3, "-1000001")), "Event 1: position is out of range."},
        {WithEvents(EventWith(4, "-1")), "Event 1: mouse flags are out of range."},
        {WithEvents(EventWith(4, "4294967296")), "Event 1: mouse flags are out of range."},
        {WithEvents(EventWith(5, "256")), "Event 1: key code is out of range."},
        {WithEvents(EventWith(6, "2")), "Event 1: the down flag must be 0 or 1."},
        {WithEvents(EventWith(6, "0.5")), "Event 1: the down flag must be 0 or 1."},
        {WithEvents(EventWith(7, "1e7")), "Event 1: scroll amount is out of range."},
        {WithEvents(EventWith(1, "-1")), "Event 1: time is out of range."},
        {WithEvents(kEvent + "," + EventWith(1, "1000000.5")), "Event 2: time is out of range."},
        {WithEvents(EventWith(1, "2") + "," + EventWith(1, "1") + "," + kEvent), "Event 2: times are out of order."},
        {WithEvents(kEvent + " " + kEvent), "events list is malformed."},
        {R"({"nonce":"a1","loadNonce":"B2","events":[)" + kEvent, "events list is malformed."},
        {R"({"nonce":"a1","loadNonce":"B2","events":[])", "The edited macro is not in the expected format."},
        {WithEvents("") + " x", "Unexpected data after the edited macro."},
        {WithEvents("") + "}", "Unexpected data after the edited macro."},
    };
    for (const auto& c : kCases) EXPECT_EQ(Parse(c.text), c.error) << c.text;

    // The boundaries of the sizes: a 40-byte number and a 257-byte string are still read.
    EXPECT_EQ(Parse(WithEvents(EventWith(1, number40))), "");
    EXPECT_EQ(Parse(std::string(0x8000001, ' ')), "The edited macro is too large to save.");
}

TEST(SaveDocTest, TooManyEventsIsRefusedWhileReading) {
    std::string events;
    events.reserve(18 * 1000001);
    for (int i = 0; i < 1000001; ++i) events += (i ? "," : "") + kEvent;
    EXPECT_EQ(Parse(WithEvents(events)), "Too many events (the limit is 1000000).");
    events.resize(events.size() - kEvent.size() - 1);
    EXPECT_EQ(Parse(WithEvents(events)), "");
}

TEST(SaveDocTest, AcceptedDocumentBecomesEvents) {
    TimelineSaveDoc doc;
    const std::string nonce64(64, 'F');
    const std::string text =
        " \r\n\t{ \"events\" : [ [-0,1E-400,0,0,0,255,1.0,0], "
        "[ 3 , 0.25 , -7 , 1e3 , 4294967295 , 65 , 1 , -120 ] ] , \"loadNonce\":\"" +
        nonce64 + "\", \"nonce\" : \"0aF\" } \n";
    ASSERT_EQ(ParseTimelineSaveDoc(text, doc), "");
    EXPECT_EQ(doc.nonce, "0aF");
    EXPECT_EQ(doc.loadNonce, nonce64);
    ASSERT_EQ(doc.events.size(), 2u);
    EXPECT_EQ(doc.events[0], (UnifiedEvent{EventMoveAbs, 0.0, 0, 0, 0, 255, true, 0}));
    EXPECT_EQ(doc.events[1], (UnifiedEvent{EventKey, 0.25, -7, 1000, 4294967295u, 65, true, -120}));

    // A refused document leaves what the caller had.
    EXPECT_NE(ParseTimelineSaveDoc(WithEvents(EventWith(0, "9")), doc), "");
    EXPECT_EQ(doc.nonce, "0aF");
    EXPECT_EQ(doc.events.size(), 2u);

    ASSERT_EQ(ParseTimelineSaveDoc(WithEvents(""), doc), "");
    EXPECT_TRUE(doc.events.empty());
}

TEST(SaveDocTest, ValidationJudgesWhatTheParserCannotProduce) {
    std::vector<UnifiedEvent> events(2);
    events[1].time = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(ValidateTimelineEvents(events), "Event 2: time is out of range.");
    events.assign(1000001, UnifiedEvent{});
    EXPECT_EQ(ValidateTimelineEvents(events), "Too many events (1000001; the limit is 1000000).");
}
