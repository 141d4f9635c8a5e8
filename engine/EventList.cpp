#include "engine/EventList.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

#include "core/AppState.h"
#include "core/BindArgs.h"
#include "core/Limits.h"
#include "core/Numbers.h"
#include "persist/AppSettings.h"
#include "persist/Settings.h"

namespace {

std::vector<UnifiedEvent>* ActiveEventsLocked() {
    if (currentProfileIdx < 0 || static_cast<size_t>(currentProfileIdx) >= profiles.size()) return nullptr;
    return &profiles[static_cast<size_t>(currentProfileIdx)].events;
}

void AppendDescription(std::string& out, const UnifiedEvent& e) {
    switch (e.type) {
        case EventMoveAbs:
            out += "Abs Move to X:";
            AppendInt(out, e.x);
            out += " Y:";
            AppendInt(out, e.y);
            break;
        case EventMoveRel:
            out += "Rel Move dX:";
            AppendInt(out, e.x);
            out += " dY:";
            AppendInt(out, e.y);
            break;
        case EventMouseClick:
            out += "Mouse Click at X:";
            AppendInt(out, e.x);
            out += " Y:";
            AppendInt(out, e.y);
            break;
        case EventKey:
            out += "Keyboard VK: ";
            AppendInt(out, e.vk);
            out += e.down ? " (DOWN)" : " (UP)";
            break;
        case EventScroll:
            out += "Mouse Scroll Delta: ";
            AppendInt(out, e.scrollDelta);
            break;
        case EventToolToggle:
            out += e.vk == 2 ? "Key Spammer " : "Autoclicker ";
            out += e.down ? "ON" : "OFF";
            break;
        default: break;
    }
}

// Six decimals in fixed form. A time that isn't finite (a macro file may say "nan") is shown as 0, since
// JSON has no word for it and the page would fail to read the whole list.
void AppendFixedTime(std::string& out, double t) {
    char buf[400];
    const auto r = std::to_chars(buf, buf + sizeof buf, std::isfinite(t) ? t : 0.0, std::chars_format::fixed, 6);
    out.append(buf, r.ptr);
}

std::string SaveAndReturnList() {
    std::string json = BuildMacroEventsJson();
    SaveMacroEventsToFile(json);
    return json;
}

int RequireInt(const std::string& name, const std::string& text) {
    int32_t v = 0;
    if (!ParseInt(text, v)) throw BindError(name + ": \"" + text + "\" is not a number");
    return v;
}

}  // namespace

void PublishEventList() {
    SaveMacroEventsToFile(BuildMacroEventsJson());
    g_MasterEvalFn("if (typeof refreshExpertList === 'function') refreshExpertList();");
}

void OptimizeMacro() {
    std::lock_guard<std::mutex> lock(profileMutex);
    std::vector<UnifiedEvent>* events = ActiveEventsLocked();
    if (!events || events->empty()) return;
    const std::vector<UnifiedEvent>& old = *events;
    std::vector<UnifiedEvent> kept;
    kept.reserve(old.size());
    for (size_t i = 0; i < old.size(); ++i) {
        const UnifiedEvent& e = old[i];
        const bool inner = i > 0 && i + 1 < old.size();
        if (e.type == EventMoveAbs && inner && old[i + 1].type == EventMoveAbs && !kept.empty() &&
            kept.back().type == EventMoveAbs) {
            // Distance from the last kept point, not from the dropped neighbour, so a slow drift survives.
            const double dx = static_cast<double>(e.x - kept.back().x);
            const double dy = static_cast<double>(e.y - kept.back().y);
            if (dx * dx + dy * dy < 101) continue;
        }
        kept.push_back(e);
    }
    *events = std::move(kept);
}

std::string BuildMacroEventsJson() {
    // Copy under the lock and format outside it: the tap waits on this mutex for every recorded event, and
    // formatting a long macro takes far longer than copying it.
    // The room is made (and its pages touched) before the lock is taken, so the hold is a plain copy.
    size_t expected = 0;
    {
        std::lock_guard<std::mutex> lock(profileMutex);
        if (const std::vector<UnifiedEvent>* active = ActiveEventsLocked()) expected = active->size();
    }
    std::vector<UnifiedEvent> copy(expected + 1024);
    {
        std::lock_guard<std::mutex> lock(profileMutex);
        const std::vector<UnifiedEvent>* active = ActiveEventsLocked();
        if (!active) {
            copy.clear();
        } else if (active->size() <= copy.size()) {
            std::copy(active->begin(), active->end(), copy.begin());
            copy.resize(active->size());
        } else {
            copy = *active;  // it grew meanwhile by more than the margin
        }
    }
    const std::vector<UnifiedEvent>* events = &copy;
    if (events->empty()) return "[]";
    std::string out;
    out.reserve(events->size() * 56);
    out += '[';
    for (size_t i = 0; i < events->size(); ++i) {
        if (i > 0) out += ',';
        out += "{\"id\":";
        AppendInt(out, static_cast<int64_t>(i));
        out += ",\"time\":";
        AppendFixedTime(out, (*events)[i].time);
        out += ",\"desc\":\"";
        AppendDescription(out, (*events)[i]);
        out += "\"}";
    }
    out += ']';
    return out;
}

void DeleteEventAt(int index) {
    std::lock_guard<std::mutex> lock(profileMutex);
    std::vector<UnifiedEvent>* events = ActiveEventsLocked();
    if (events && index >= 0 && static_cast<size_t>(index) < events->size()) events->erase(events->begin() + index);
}

void SetEventTimeAt(int index, double time) {
    if (!IsValidEventTime(time)) return;
    std::lock_guard<std::mutex> lock(profileMutex);
    std::vector<UnifiedEvent>* events = ActiveEventsLocked();
    if (events && index >= 0 && static_cast<size_t>(index) < events->size())
        (*events)[static_cast<size_t>(index)].time = time;
}

std::string BindGetMacroEvents() { return SaveAndReturnList(); }

std::string BindDeleteEvent(const std::string& arg) {
    DeleteEventAt(RequireInt("deleteEvent", ParseJSString(arg)));
    SaveAndReturnList();
    return "";
}

std::string BindUpdateEventTime(const std::string& arg) {
    const std::vector<std::string> f = SplitString(ParseJSString(arg), ',');
    if (f.size() == 2) {
        const int index = RequireInt("updateEventTime", f[0]);
        double time = 0;
        if (!ParseDouble(f[1], time)) throw BindError("updateEventTime: \"" + f[1] + "\" is not a number");
        if (!IsValidEventTime(time)) {
            throw BindError("updateEventTime: the time must be a number of seconds from 0 to 1000000000, not \"" +
                            f[1] + "\"");
        }
        SetEventTimeAt(index, time);
    }
    SaveAndReturnList();
    return "";
}

std::string BindOptimizeMacro() {
    OptimizeMacro();
    SaveAndReturnList();
    return "";
}
