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
    // The master's commands: relayed with the page's argument, or carrying nothing.
    for (const char* name :
         {"updateSpammer", "updateKeySpam", "removeKeySpamTarget", "setKeySpamChordMode", "setHoldMode",
          "updateTracker", "setTheme", "deleteEvent", "updateEventTime", "reassignKey"})
        w.bind(name, Relay(name));
    for (const char* name : {"startSpammer", "stopSpammer", "startKeySpam", "stopKeySpam", "pickLocation",
                             "startRecording", "stopRecording", "continueRecording", "undoContinueRecording",
                             "startPlayback", "stopPlayback", "optimizeMacro"})
        w.bind(name, Signal(name));
    const std::vector<std::pair<const char*, Fn>> table = {
        {"getSharedTheme", [](const std::string&) { return JsonEscapeForBind(LoadThemeFromFile()); }},
        {"getCustomThemes", BindGetCustomThemes},
        {"getSkinPiece", BindGetSkinPiece},
        {"getSkinFont", BindGetSkinFont},
        {"getTrackerStatus", [](const std::string&) { return PanelTrackerStatus(); }},
        {"getSettings", [](const std::string&) { return PanelSettings(); }},
        {"getMacroEvents", [](const std::string&) { return LoadMacroEventsFromFile(); }},
        // The editor belongs to the master: a panel opens it for its parent.
        {"openTimelineEditor", [](const std::string&) { return OpenTimelineEditorWindow(PlatformParentProcessId()); }},
        {"qvnMacAlert", BindShowAlertLater(w)},
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
