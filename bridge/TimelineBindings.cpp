#include "bridge/TimelineBindings.h"

#include <string>
#include <utility>
#include <vector>

#include "bridge/Ipc.h"
#include "bridge/MainBindings.h"
#include "bridge/WebView.h"
#include "core/BindArgs.h"
#include "persist/AppSettings.h"
#include "platform/Window.h"
#include "themes/Themes.h"
#include "timeline/EditorProcess.h"
#include "timeline/TimelineSaveDoc.h"

namespace {

bool IsSequenceNumber(const std::string& text) {
    if (text.empty() || text.size() > 10) return false;
    for (char c : text) {
        if (c < '0' || c > '9') return false;
    }
    return true;
}

}  // namespace

void BindTimelineWindow(WebView& w, std::function<void()> close) {
    using Fn = std::function<std::string(const std::string&)>;
    const std::vector<std::pair<const char*, Fn>> table = {
        // The editor keeps no theme of its own: the master's choice is read from its file each time.
        {"getSharedTheme", [](const std::string&) { return JsonEscapeForBind(LoadThemeFromFile()); }},
        {"getCustomThemes", BindGetCustomThemes},
        {"qvnMacAlert", BindShowAlertLater(w)},
        {"tlGetStatus", [](const std::string&) { return JsonEscapeForBind(LoadTrackerStatusFromFile()); }},
        {"tlRequestLoad",
         [](const std::string& arg) {
             const std::string nonce = ParseJSString(arg);
             if (IsTimelineNonce(nonce)) SendIPCMessage("timelineExport", nonce);
             return std::string();
         }},
        {"tlReadLoad", [](const std::string& arg) { return TimelineReadLoad(ParseJSString(arg)); }},
        {"tlSave", [](const std::string& arg) { return TimelineSaveRequest(arg, SendIPCMessage); }},
        {"tlReadResult", [](const std::string& arg) { return TimelineReadResult(ParseJSString(arg)); }},
        {"tlAckAutomation",
         [](const std::string& arg) {
             const std::string seq = ParseJSString(arg);
             if (IsSequenceNumber(seq)) SendIPCMessage("timelineAck", seq);
             return std::string();
         }},
        {"tlGetAutomation",
         [](const std::string&) { return std::string(g_TimelineAutomationBusy ? "true" : "false"); }},
        {"tlSetDirty",
         [](const std::string& arg) {
             g_TimelineDirty = ParseJSString(arg) == "1";
             return std::string();
         }},
        {"tlCloseWindow",
         [close](const std::string&) {
             close();
             return std::string();
         }},
    };
    for (const auto& [name, fn] : table) w.bind(name, fn);
}
