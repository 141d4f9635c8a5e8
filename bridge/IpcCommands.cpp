#include <atomic>

#include "bridge/Ipc.h"
#include "core/AppState.h"
#include "core/Numbers.h"
#include "core/Wake.h"
#include "engine/AutoClicker.h"
#include "engine/EventList.h"
#include "engine/KeySpammer.h"
#include "engine/Playback.h"
#include "engine/Signals.h"
#include "persist/AppSettings.h"
#include "persist/Settings.h"
#include "platform/FileOpen.h"
#include "themes/Themes.h"
#include "timeline/AutomationWatch.h"
#include "timeline/TimelineExchange.h"

namespace {

// Commands that only ask for a tool to change: the payload is ignored.
struct TriggerCommand {
    const char* name;
    std::atomic<bool>* trigger;
};
const TriggerCommand kTriggerCommands[] = {
    {"startSpammer", &triggerAutoClickStart},      {"stopSpammer", &triggerAutoClickStop},
    {"startKeySpam", &triggerKeySpamStart},        {"stopKeySpam", &triggerKeySpamStop},
    {"startRecording", &triggerRecordStart},       {"stopRecording", &triggerRecordStop},
    {"continueRecording", &triggerRecordContinue}, {"undoContinueRecording", &triggerUndoContinue},
    {"startPlayback", &triggerPlayStart},          {"stopPlayback", &triggerPlayStop},
};

// The unlock key is left out on purpose: a companion process must not be able to open the hotkey lock.
struct ReassignWord {
    const char* word;
    int code;
};
const ReassignWord kReassignWords[] = {
    {"rec", 1}, {"play", 2}, {"auto", 3}, {"keyspamhotkey", 4}, {"keyspamtarget", 5},
};

void RewriteEventList() { SaveMacroEventsToFile(BuildMacroEventsJson()); }

}  // namespace

void HandleIpcMessage(std::string_view message) {
    if (message.size() >= kIpcMessageLimit) return;
    const size_t bar = message.find('|');
    if (bar == std::string_view::npos) return;
    const std::string command(message.substr(0, bar));
    const std::string payload(message.substr(bar + 1));
    if (command == "timelineAck") {
        HandleTimelineAck(payload);
    } else {
        HandleIpcCommand(command, payload);
    }
}

void HandleIpcCommand(const std::string& command, const std::string& payload) {
    for (const TriggerCommand& t : kTriggerCommands) {
        if (command == t.name) {
            *t.trigger = true;
            WakeSignalProcessor();
            return;
        }
    }
    if (command == "updateSpammer") {
        ApplySpammerUpdate(payload);
    } else if (command == "updateKeySpam") {
        ApplyKeySpamUpdate(payload);
    } else if (command == "updateTracker") {
        ApplyTrackerUpdate(payload);
    } else if (command == "removeKeySpamTarget") {
        int32_t index = 0;
        if (ParseInt(payload, index)) RemoveKeySpamTarget(index);
    } else if (command == "setKeySpamChordMode") {
        SetKeySpamChordMode(payload);
    } else if (command == "panelHover") {
        g_PanelHoverActive = payload == "1";
    } else if (command == "pickLocation") {
        isPickingLocation = true;  // the Spammer panel's "Pick point" in a window of its own
        InputSettingsChanged();
    } else if (command == "reassignKey") {
        for (const ReassignWord& w : kReassignWords) {
            if (payload == w.word) currentReassign = w.code;
        }
        InputSettingsChanged();
        WakeSignalProcessor();
    } else if (command == "setHoldMode") {
        ApplyHoldMode(payload);
    } else if (command == "setTheme") {
        SetCurrentTheme(payload);
        NotifyChildWindowsThemesChanged();
    } else if (command == "deleteEvent") {
        int32_t index = 0;
        if (!ParseInt(payload, index)) return;
        DeleteEventAt(index);
        RewriteEventList();
    } else if (command == "updateEventTime") {
        const std::vector<std::string> f = SplitString(payload, ',');
        int32_t index = 0;
        double time = 0;
        if (f.size() == 2 && ParseInt(f[0], index) && ParseDouble(f[1], time)) SetEventTimeAt(index, time);
        RewriteEventList();
    } else if (command == "optimizeMacro") {
        OptimizeMacro();
        RewriteEventList();
    } else if (command == "timelineExport") {
        WakeTimelineWatcher();  // an editor has come: it is told the automation state from now on
        HandleTimelineExport(payload);
    } else if (command == "applyTimelineEdit") {
        HandleTimelineApply(payload, PublishEventList);
    } else if (command == "openFile") {
        // A second start's file, for the window's thread; only an absolute path means the same file here.
        if (!payload.empty() && payload[0] == '/') OpenFilesLater({payload});
    }
}
