// The save document of the Timeline Editor: the edited macro as JSON text from a web page, read by a
// strict reader of its own. Both the editor and the master run this one parser on every save.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "core/AppState.h"

// The most events a macro may have to cross between the master and the editor.
inline constexpr size_t kTimelineMaxEvents = 1000000;
// The largest load or save document, in bytes.
inline constexpr size_t kTimelineMaxDocumentBytes = 0x8000000;

struct TimelineSaveDoc {
    std::string nonce;      // this save request
    std::string loadNonce;  // the load that produced the editor's copy
    std::vector<UnifiedEvent> events;
};

// Reads `json` as {"nonce":..., "loadNonce":..., "events":[[type, time, x, y, flags, vk, down, wheel], ...]}.
// Returns the first error as a sentence for the user (without the "Not saved: " opening), or empty text on
// success. `doc` is assigned only on success. One pass over the text; numbers are copied only into a
// short buffer. Any thread; no shared state.
std::string ParseTimelineSaveDoc(std::string_view json, TimelineSaveDoc& doc);

// What a macro from the editor may be: types, time range and order, positions, key codes, scroll amounts.
// The first error as text ("Event 3: times are out of order."), or empty text.
std::string ValidateTimelineEvents(const std::vector<UnifiedEvent>& events);

// The shape of a nonce, which names a load or a save: 1 to 64 hexadecimal digits of either case. The
// editor makes them; the master only checks the shape and compares.
bool IsTimelineNonce(const std::string& text);

// "Event " index + 1 ": " message: indexes count from 0, the user reads them from 1.
std::string EventError(size_t index, const std::string& message);
