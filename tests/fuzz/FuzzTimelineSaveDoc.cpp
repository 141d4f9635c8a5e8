// Any bytes as the editor's save document: the parser never crashes, what it accepts is a valid macro,
// and that macro written as the master writes events reads back as the same events (times to 15 digits).
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "timeline/TimelineExchange.h"
#include "timeline/TimelineSaveDoc.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    TimelineSaveDoc doc;
    if (!ParseTimelineSaveDoc(std::string_view(reinterpret_cast<const char*>(data), size), doc).empty()) return 0;
    if (!ValidateTimelineEvents(doc.events).empty()) __builtin_trap();
    const std::string again = R"({"nonce":")" + doc.nonce + R"(","loadNonce":")" + doc.loadNonce + R"(","events":)" +
                              TimelineEventsToJson(doc.events) + "}";
    TimelineSaveDoc back;
    if (!ParseTimelineSaveDoc(again, back).empty() || back.events.size() != doc.events.size()) __builtin_trap();
    for (size_t i = 0; i < doc.events.size(); ++i) {
        UnifiedEvent a = doc.events[i], b = back.events[i];
        a.time = b.time = 0;
        if (!(a == b)) __builtin_trap();
    }
    return 0;
}
