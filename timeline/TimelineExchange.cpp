#include "timeline/TimelineExchange.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <set>

#include "core/BindArgs.h"
#include "core/Numbers.h"
#include "input/Keys.h"
#include "persist/AppSettings.h"
#include "platform/Platform.h"
#include "timeline/TimelineSaveDoc.h"

TimelineExportState g_TimelineExport;

namespace {

void AppendTime(std::string& out, double t) {
    // The "%.15g" form, but in the C locale whatever the process's locale is: a decimal comma would
    // break the document.
    char buf[64];
    const auto r = std::to_chars(buf, buf + sizeof buf, std::isfinite(t) ? t : 0.0, std::chars_format::general, 15);
    out.append(buf, r.ptr);
}

std::string LoadDocument(const std::string& name, int32_t index, const std::vector<UnifiedEvent>& events) {
    if (events.size() > kTimelineMaxEvents) {
        std::string message = "This macro has ";
        AppendUInt(message, events.size());
        message += " events - more than the Timeline Editor's limit of 1000000.";
        return "{\"error\":" + JsonEscapeForBind(message) + "}";
    }
    // One name per distinct key, not one lookup per event.
    std::set<int32_t> keys;
    for (const UnifiedEvent& e : events) {
        if (e.type == EventKey) keys.insert(e.vk);
    }
    std::string out = "{\"profile\":" + JsonEscapeForBind(name) + ",\"profileIdx\":";
    AppendInt(out, index);
    out += ",\"keys\":{";
    bool first = true;
    for (int32_t vk : keys) {
        if (!first) out += ',';
        first = false;
        out += '"';
        AppendInt(out, vk);
        out += "\":";
        out += JsonEscapeForBind(GetKeyName(vk));
    }
    out += "},\"events\":";
    out += TimelineEventsToJson(events);
    out += '}';
    return out;
}

void Reply(const std::string& nonce, bool ok, const std::string& message) {
    WriteTimelineFileAtomic(TimelineDataFilePath("timeline-result.txt"),
                            nonce + "\n" + (ok ? "ok" : "error") + "\n" + message);
}

}  // namespace

std::string TimelineDataFilePath(const std::string& name) {
    const std::string events = GetMacroEventsFilePath();
    const size_t slash = events.find_last_of("/\\");
    return (slash == std::string::npos ? std::string() : events.substr(0, slash + 1)) + name;
}

bool WriteTimelineFileAtomic(const std::string& path, const std::string& content) {
    const std::string tmp = path + ".tmp";
    std::FILE* f = std::fopen(tmp.c_str(), "wb");
    if (!f) return false;
    bool ok = std::fwrite(content.data(), 1, content.size(), f) == content.size();
    ok = std::fclose(f) == 0 && ok;
    // A rename replaces the old file in one step, so it isn't deleted first: a reader never finds a gap.
    if (ok) ok = std::rename(tmp.c_str(), path.c_str()) == 0;
    if (!ok) std::remove(tmp.c_str());
    return ok;
}

bool ReadTimelineFile(const std::string& path, std::string& content, size_t maxBytes) {
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return false;
    bool ok = std::fseek(f, 0, SEEK_END) == 0;
    const long size = ok ? std::ftell(f) : -1;
    ok = ok && size >= 0 && static_cast<unsigned long>(size) <= maxBytes && std::fseek(f, 0, SEEK_SET) == 0;
    if (ok) {
        content.resize(static_cast<size_t>(size));
        const size_t got = size > 0 ? std::fread(content.data(), 1, content.size(), f) : 0;
        ok = std::ferror(f) == 0;
        content.resize(got);  // a file that shrank meanwhile gives what was there
    }
    std::fclose(f);
    return ok;
}

std::string TimelineEventsToJson(const std::vector<UnifiedEvent>& events) {
    std::string out;
    out.reserve(events.size() * 40 + 2);
    out += '[';
    for (size_t i = 0; i < events.size(); ++i) {
        const UnifiedEvent& e = events[i];
        if (i > 0) out += ',';
        out += '[';
        AppendInt(out, e.type);
        out += ',';
        AppendTime(out, e.time);
        out += ',';
        AppendInt(out, e.x);
        out += ',';
        AppendInt(out, e.y);
        out += ',';
        AppendUInt(out, e.mouseFlags);
        out += ',';
        AppendInt(out, e.vk);
        out += e.down ? ",1," : ",0,";
        AppendInt(out, e.scrollDelta);
        out += ']';
    }
    out += ']';
    return out;
}

bool SameTimelineEvents(const std::vector<UnifiedEvent>& a, const std::vector<UnifiedEvent>& b) { return a == b; }

void HandleTimelineExport(const std::string& nonce) {
    if (!IsTimelineNonce(nonce)) return;
    // The input tap waits on profileMutex for every recorded event, so the room for the copy is made and
    // its pages touched before the lock that the copy needs.
    size_t expected = 0;
    {
        std::lock_guard<std::mutex> profile(profileMutex);
        if (currentProfileIdx >= 0 && static_cast<size_t>(currentProfileIdx) < profiles.size())
            expected = profiles[static_cast<size_t>(currentProfileIdx)].events.size();
    }
    std::vector<UnifiedEvent> events(expected + 1024);
    std::string name;
    int32_t index = 0;
    {
        std::lock_guard<std::mutex> timeline(g_TimelineMutex);
        {
            std::lock_guard<std::mutex> profile(profileMutex);
            index = currentProfileIdx;
            if (index < 0 || static_cast<size_t>(index) >= profiles.size()) return;  // the editor keeps waiting
            const MacroProfile& p = profiles[static_cast<size_t>(index)];
            if (p.events.size() <= events.size()) {
                std::copy(p.events.begin(), p.events.end(), events.begin());
                events.resize(p.events.size());
            } else {
                events = p.events;  // it grew by more than the margin meanwhile
            }
            name = p.name;
        }
        // The second copy is made after profileMutex is released.
        g_TimelineExport.nonce = nonce;
        g_TimelineExport.profileIdx = index;
        g_TimelineExport.profileName = name;
        g_TimelineExport.events = events;
    }
    WriteTimelineFileAtomic(TimelineDataFilePath("timeline-load.txt"),
                            nonce + "\n" + LoadDocument(name, index, events));
}

void HandleTimelineApply(const std::string& nonce, void (*afterSave)()) {
    if (!IsTimelineNonce(nonce)) return;
    const std::string savePath = TimelineDataFilePath("timeline-save.json");
    std::string text;
    const bool read = ReadTimelineFile(savePath, text, kTimelineMaxDocumentBytes);
    if (PlatformFileExists(savePath)) PlatformDeleteFile(savePath);  // one save document is acted on once
    if (!read) return Reply(nonce, false, "Couldn't read the edited macro.");

    TimelineSaveDoc doc;
    const std::string error = ParseTimelineSaveDoc(text, doc);
    if (!error.empty()) return Reply(nonce, false, "Not saved: " + error);
    if (doc.nonce != nonce) return Reply(nonce, false, "Not saved: the save request was out of date. Try again.");

    const size_t count = doc.events.size();
    std::string name;
    {
        // The refusals below are written with the locks held, so no export or change slips in between
        // the test and the answer.
        std::lock_guard<std::mutex> timeline(g_TimelineMutex);
        if (doc.loadNonce != g_TimelineExport.nonce) {
            return Reply(nonce, false, "Not saved: this editor's copy is out of date. Revert to reload the macro.");
        }
        std::lock_guard<std::mutex> profile(profileMutex);
        const bool recording = isRecording;
        if (recording || isPlaying) {
            return Reply(nonce, false,
                         std::string("Not saved: Quorvane is ") + (recording ? "recording" : "playing") +
                             ". Stop it first, then save again.");
        }
        const int32_t index = g_TimelineExport.profileIdx;
        if (index < 0 || static_cast<size_t>(index) >= profiles.size() ||
            profiles[static_cast<size_t>(index)].name != g_TimelineExport.profileName) {
            return Reply(nonce, false, "Not saved: the profile this macro came from was renamed or deleted.");
        }
        MacroProfile& target = profiles[static_cast<size_t>(index)];
        if (!SameTimelineEvents(target.events, g_TimelineExport.events)) {
            return Reply(nonce, false,
                         "Not saved: the macro was changed outside the editor since it was loaded (recorded, "
                         "imported or edited). Revert loads the current version.");
        }
        // The export now holds what was saved, so the next save from the same editor copy needs no reload.
        target.events = doc.events;
        g_TimelineExport.events = std::move(doc.events);
        name = target.name;
    }
    if (afterSave) afterSave();
    std::string message = "Saved ";
    AppendUInt(message, count);
    Reply(nonce, true, message + " events to \"" + name + "\".");
}
