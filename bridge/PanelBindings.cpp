#include "bridge/PanelBindings.h"

#include <functional>
#include <vector>

#include "bridge/Ipc.h"
#include "bridge/MainBindings.h"
#include "bridge/PopOut.h"
#include "bridge/WebView.h"
#include "core/AppState.h"
#include "core/BindArgs.h"
#include "persist/AppSettings.h"
#include "platform/ChildWindow.h"
#include "platform/Platform.h"
#include "platform/Window.h"
#include "themes/Themes.h"
#include "timeline/EditorProcess.h"

namespace {

using Fn = std::function<std::string(const std::string&)>;

// A command for the master with the page's argument as its payload.
Fn Relay(const char* name) {
    return [name](const std::string& arg) {
        SendIPCMessage(name, ParseJSString(arg));
        return std::string();
    };
}

// A command that carries nothing.
Fn Signal(const char* name) {
    return [name](const std::string&) {
        SendIPCMessage(name, "");
        return std::string();
    };
}

// Drags the window with the pointer; dropped on the main window's saved rectangle, the panel docks: this
// process ends and the master shows the panel again at its next poll.
std::string BeginWindowDrag(WebView& w) {
    LoadAppSettings();
    const bool docked = PlatformRunChildWindowDrag(w.window(), PointIsOverSavedMainWindow,
                                                   [](bool over) { SendIPCMessage("panelHover", over ? "1" : "0"); });
    if (docked) w.terminate();
    return "";
}

}  // namespace

void BindPanelWindow(WebView& w) {
    const std::vector<std::pair<const char*, Fn>> table = {
        {"updateSpammer", Relay("updateSpammer")},
        {"startSpammer", Signal("startSpammer")},
        {"stopSpammer", Signal("stopSpammer")},
        {"updateKeySpam", Relay("updateKeySpam")},
        {"startKeySpam", Signal("startKeySpam")},
        {"stopKeySpam", Signal("stopKeySpam")},
        {"removeKeySpamTarget", Relay("removeKeySpamTarget")},
        {"setKeySpamChordMode", Relay("setKeySpamChordMode")},
        {"pickLocation", Signal("pickLocation")},
        {"setHoldMode", Relay("setHoldMode")},
        {"updateTracker", Relay("updateTracker")},
        {"setTheme", Relay("setTheme")},
        {"getSharedTheme", [](const std::string&) { return JsonEscapeForBind(LoadThemeFromFile()); }},
        {"getCustomThemes", BindGetCustomThemes},
        {"getSkinPiece", BindGetSkinPiece},
        {"getSkinFont", BindGetSkinFont},
        {"startRecording", Signal("startRecording")},
        {"stopRecording", Signal("stopRecording")},
        {"continueRecording", Signal("continueRecording")},
        {"undoContinueRecording", Signal("undoContinueRecording")},
        {"startPlayback", Signal("startPlayback")},
        {"stopPlayback", Signal("stopPlayback")},
        {"getTrackerStatus", [](const std::string&) { return PanelTrackerStatus(); }},
        {"getSettings", [](const std::string&) { return PanelSettings(); }},
        {"getMacroEvents", [](const std::string&) { return LoadMacroEventsFromFile(); }},
        {"deleteEvent", Relay("deleteEvent")},
        {"updateEventTime", Relay("updateEventTime")},
        {"optimizeMacro", Signal("optimizeMacro")},
        {"reassignKey", Relay("reassignKey")},
        // The editor belongs to the master: a panel opens it for its parent.
        {"openTimelineEditor", [](const std::string&) { return OpenTimelineEditorWindow(PlatformParentProcessId()); }},
        {"qvnMacAlert",
         [&w](const std::string& arg) {
             std::string text;
             if (!JsonFirstStringArg(arg, text)) text = ParseJSString(arg);
             // After the page's call has been answered: the alert runs a loop of its own.
             w.dispatch([text] { PlatformShowAlert(text); });
             return std::string();
         }},
        {"resizeWindow", [&w](const std::string& arg) { return BindResizeWindowOf(w.window(), arg); }},
        {"beginWindowDrag", [&w](const std::string&) { return BeginWindowDrag(w); }},
        {"closeThisWindow",
         [&w](const std::string&) {
             w.terminate();
             return std::string();
         }},
    };
    for (const auto& [name, fn] : table) w.bind(name, fn);
}
