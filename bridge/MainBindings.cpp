#include "bridge/MainBindings.h"

#include <functional>
#include <vector>

#include "bridge/PopOut.h"
#include "bridge/StatusDocuments.h"
#include "bridge/WebView.h"
#include "core/AppState.h"
#include "core/BindArgs.h"
#include "core/Wake.h"
#include "engine/AutoClicker.h"
#include "engine/EventList.h"
#include "engine/KeySpammer.h"
#include "engine/Playback.h"
#include "engine/Signals.h"
#include "macro/MacroImport.h"
#include "persist/AppSettings.h"
#include "platform/Dialogs.h"
#include "platform/Platform.h"
#include "platform/Window.h"
#include "themes/Themes.h"
#include "timeline/EditorProcess.h"
#include "update/Update.h"

namespace {

std::string Trigger(std::atomic<bool>& trigger) {
    trigger = true;
    WakeSignalProcessor();
    return "";
}

}  // namespace

namespace {

// The alert's text is a JSON string; decoded properly, since it is shown, not parsed further.
std::string AlertText(const std::string& arg) {
    std::string text;
    if (!JsonFirstStringArg(arg, text)) text = ParseJSString(arg);
    return text;
}

}  // namespace

std::string BindShowAlert(const std::string& arg) {
    PlatformShowAlert(AlertText(arg));
    return std::string();
}

std::function<std::string(const std::string&)> BindShowAlertLater(WebView& w) {
    return [&w](const std::string& arg) {
        w.dispatch([text = AlertText(arg)] { PlatformShowAlert(text); });
        return std::string();
    };
}

void BindMainWindow(WebView& w) {
    using Fn = std::function<std::string(const std::string&)>;
    const auto none = [](std::string (*fn)()) { return Fn([fn](const std::string&) { return fn(); }); };
    // In the order of the page contract; the names of parts not built yet join as those parts land.
    const std::vector<std::pair<const char*, Fn>> table = {
        {"resizeWindow", BindResizeWindow},
        {"updateSpammer",
         [](const std::string& arg) {
             std::string why;
             if (!ApplySpammerUpdate(ParseJSString(arg), &why)) throw BindError(why);
             return std::string();
         }},
        {"startSpammer", [](const std::string&) { return Trigger(triggerAutoClickStart); }},
        {"stopSpammer", [](const std::string&) { return Trigger(triggerAutoClickStop); }},
        {"updateKeySpam",
         [](const std::string& arg) {
             std::string why;
             if (!ApplyKeySpamUpdate(ParseJSString(arg), &why)) throw BindError(why);
             return std::string();
         }},
        {"startKeySpam", [](const std::string&) { return Trigger(triggerKeySpamStart); }},
        {"stopKeySpam", [](const std::string&) { return Trigger(triggerKeySpamStop); }},
        {"removeKeySpamTarget", BindRemoveKeySpamTarget},
        {"setKeySpamChordMode", BindSetKeySpamChordMode},
        {"pickLocation",
         [](const std::string&) {
             isPickingLocation = true;
             InputSettingsChanged();
             return std::string();
         }},
        {"popOutPanel", BindPopOutPanel},
        {"setHoldMode",
         [](const std::string& arg) {
             ApplyHoldMode(ParseJSString(arg));
             return std::string();
         }},
        {"updateTracker",
         [](const std::string& arg) {
             std::string why;
             if (!ApplyTrackerUpdate(ParseJSString(arg), &why)) throw BindError(why);
             return std::string();
         }},
        {"startRecording", [](const std::string&) { return Trigger(triggerRecordStart); }},
        {"stopRecording", [](const std::string&) { return Trigger(triggerRecordStop); }},
        {"continueRecording", [](const std::string&) { return Trigger(triggerRecordContinue); }},
        {"undoContinueRecording", [](const std::string&) { return Trigger(triggerUndoContinue); }},
        {"startPlayback", [](const std::string&) { return Trigger(triggerPlayStart); }},
        {"stopPlayback", [](const std::string&) { return Trigger(triggerPlayStop); }},
        {"optimizeMacro", [](const std::string&) { return BindOptimizeMacro(); }},
        {"openTimelineEditor", [](const std::string&) { return OpenTimelineEditorWindow(PlatformProcessId()); }},
        {"getMacroEvents", [](const std::string&) { return BindGetMacroEvents(); }},
        {"deleteEvent", BindDeleteEvent},
        {"updateEventTime", BindUpdateEventTime},
        {"setTheme", BindSetTheme},
        {"getSharedTheme", none(BindGetSharedTheme)},
        {"getCustomThemes", BindGetCustomThemes},
        {"getSkinPiece", BindGetSkinPiece},
        {"getSkinFont", BindGetSkinFont},
        {"importTheme",
         [](const std::string&) {
             const std::string path = PlatformChooseFileToOpen("qvntheme");
             return path.empty() ? std::string() : BindMessage(ImportThemeFromPath(path));
         }},
        {"deleteTheme", BindDeleteTheme},
        {"getPendingThemeAlert", BindGetPendingThemeAlert},
        {"exportProfile", BindExportProfile},
        {"importProfile", BindImportProfile},
        {"confirmMacroImport", BindConfirmMacroImport},
        {"cancelMacroImport", BindCancelMacroImport},
        {"getPendingMacroImport", none(BindGetPendingMacroImport)},
        {"getAppSettings", none(BindGetAppSettings)},
        {"takeNotices", none(BindTakeNotices)},
        {"markWarningSeen", BindMarkWarningSeen},
        {"setAppSetting", BindSetAppSetting},
        {"setPanelOrder", BindSetPanelOrder},
        {"resetHotkeys", none(BindResetHotkeys)},
        {"openLink", BindOpenLink},
        {"getTrackerStatus", none(BindGetTrackerStatus)},
        {"clearProfile", none(BindClearProfile)},
        {"addProfile", BindAddProfile},
        {"deleteProfile", none(BindDeleteProfile)},
        {"switchProfile", BindSwitchProfile},
        {"getProfiles", none(BindGetProfiles)},
        {"getSettings", none(BuildSettingsJson)},
        {"reassignKey", BindReassignKey},
        {"qvnMacAlert", BindShowAlert},
    };
    for (const auto& [name, fn] : table) w.bind(name, fn);
    // Answered later, and only on failure: on success the process ends and the new version starts.
    w.bind_async("startUpdate", [&w](const std::string& id, const std::string&) {
        UpdatePageHooks hooks;
        hooks.resolve = [&w, id](const std::string& message) { w.resolve(id, 0, JsonEscapeForBind(message)); };
        hooks.dispatch = [&w](std::function<void()> fn) { w.dispatch(std::move(fn)); };
        hooks.terminate = [&w] { w.terminate(); };
        StartUpdate(hooks);
    });
}
