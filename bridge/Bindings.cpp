#include <functional>
#include <vector>

#include "bridge/MainBindings.h"
#include "core/AppState.h"
#include "core/BindArgs.h"
#include "core/Notices.h"
#include "core/Numbers.h"
#include "core/Wake.h"
#include "engine/KeySpammer.h"
#include "engine/Signals.h"
#include "macro/MacroImport.h"
#include "persist/AppSettings.h"
#include "persist/SessionFile.h"
#include "persist/Settings.h"
#include "platform/Window.h"
#include "themes/Themes.h"

#ifndef QVN_DOCS_URL
#define QVN_DOCS_URL "https://quorvane.app/docs"
#endif
#ifndef QVN_COMMUNITY_URL
#define QVN_COMMUNITY_URL "https://discord.gg/quorvane"
#endif

const char* const kDocumentStartScript = R"JS(
document.addEventListener('contextmenu', function (e) { e.preventDefault(); });
window.alert = function (message) { if (window.qvnMacAlert) window.qvnMacAlert(String(message)); };
document.addEventListener('DOMContentLoaded', function () {
  var style = document.createElement('style');
  style.textContent =
    "@font-face { font-family: 'Segoe UI'; font-weight: 100 500; src: local('Cantarell'), local('Noto Sans'), local('DejaVu Sans'); }" +
    "@font-face { font-family: 'Segoe UI'; font-weight: 600 900; src: local('Cantarell Bold'), local('Noto Sans Bold'), local('DejaVu Sans Bold'); }";
  document.head.appendChild(style);
  var box = document.getElementById('opt-launch-startup');
  var label = box && box.closest('label');
  if (label) {
    for (var n = label.lastChild; n; n = n.previousSibling) {
      if (n.nodeType === 3 && n.nodeValue.indexOf('Windows') >= 0) { n.nodeValue = ' Launch at login'; break; }
    }
  }
});
)JS";

namespace {

int RequireInt(const std::string& name, const std::string& text) {
    int32_t v = 0;
    if (!ParseInt(text, v)) throw BindError(name + ": \"" + text + "\" is not a number");
    return v;
}

// The setup stored with a profile, or the defaults when it has none.
void ApplyProfileSettings(const std::string& settings) {
    if (settings.empty()) {
        ResetSpammerKeySpamDefaults();
    } else {
        DeserializeProfileSettings(settings);
    }
}

}  // namespace

std::string BindGetProfiles() {
    std::lock_guard<std::mutex> lock(profileMutex);
    std::string out = "{\"current\":";
    AppendInt(out, currentProfileIdx);
    out += ",\"names\":[";
    for (size_t i = 0; i < profiles.size(); ++i) {
        if (i > 0) out += ',';
        out += JsonEscapeForBind(profiles[i].name);
    }
    out += "],\"cap\":-1,\"defaultName\":\"";
    out += kDefaultProfileName;
    out += "\"}";
    return out;
}

std::string BindAddProfile(const std::string& arg) {
    if (isRecording) return "";
    const std::string name = ParseJSString(arg);
    if (name.empty()) return "";
    const std::string settings = SerializeProfileSettings();
    std::lock_guard<std::mutex> lock(profileMutex);
    profiles.push_back(MacroProfile{name, settings, {}});
    currentProfileIdx = static_cast<int32_t>(profiles.size() - 1);
    return "";
}

std::string BindDeleteProfile() {
    if (isRecording) return "";
    std::string toApply;
    bool apply = false;
    {
        std::lock_guard<std::mutex> lock(profileMutex);
        if (currentProfileIdx < 0 || static_cast<size_t>(currentProfileIdx) >= profiles.size()) return "";
        MacroProfile& current = profiles[static_cast<size_t>(currentProfileIdx)];
        if (current.name == kDefaultProfileName) {
            // The default profile is never removed: it is emptied and takes the default setup.
            ResetSpammerKeySpamDefaults();
            current.events.clear();
            current.settings = SerializeProfileSettings();
            return "";
        }
        if (profiles.size() < 2) return "";
        profiles.erase(profiles.begin() + currentProfileIdx);
        if (static_cast<size_t>(currentProfileIdx) >= profiles.size()) {
            currentProfileIdx = static_cast<int32_t>(profiles.size() - 1);
        }
        toApply = profiles[static_cast<size_t>(currentProfileIdx)].settings;
        apply = true;
    }
    if (apply) ApplyProfileSettings(toApply);
    return "";
}

std::string BindSwitchProfile(const std::string& arg) {
    if (isRecording) return "";
    int32_t index = 0;
    if (!ParseInt(ParseJSString(arg), index)) return "";
    std::string settings;
    {
        std::lock_guard<std::mutex> lock(profileMutex);
        if (index < 0 || static_cast<size_t>(index) >= profiles.size()) return "";
        currentProfileIdx = index;
        settings = profiles[static_cast<size_t>(index)].settings;
    }
    ApplyProfileSettings(settings);
    return "";
}

std::string BindClearProfile() {
    if (isRecording) return "";
    ResetSpammerKeySpamDefaults();
    const std::string settings = SerializeProfileSettings();
    std::lock_guard<std::mutex> lock(profileMutex);
    if (currentProfileIdx >= 0 && static_cast<size_t>(currentProfileIdx) < profiles.size()) {
        MacroProfile& current = profiles[static_cast<size_t>(currentProfileIdx)];
        current.events.clear();
        current.settings = settings;
    }
    return "";
}

std::string BindResetHotkeys() {
    vkRecord = kDefaultVkRecord;
    vkPlay = kDefaultVkPlay;
    vkAutoClicker = kDefaultVkAutoClicker;
    vkKeySpamHotkey = kDefaultVkKeySpamHotkey;
    vkUnlock = kDefaultVkUnlock;
    InputSettingsChanged();
    return "";
}

std::string BindRemoveKeySpamTarget(const std::string& arg) {
    int32_t index = 0;
    if (ParseInt(ParseJSString(arg), index)) RemoveKeySpamTarget(index);
    return "";
}

std::string BindSetKeySpamChordMode(const std::string& arg) {
    SetKeySpamChordMode(ParseJSString(arg));
    return "";
}

std::string BindResizeWindow(const std::string& arg) { return BindResizeWindowOf(g_MasterWindow, arg); }

std::string BindResizeWindowOf(void* window, const std::string& arg) {
    const std::vector<std::string> f = SplitString(ParseJSString(arg), ',');
    if (f.size() < 2) return "";
    const int w = RequireInt("resizeWindow", f[0]);
    const int h = RequireInt("resizeWindow", f[1]);
    if (window) PlatformResizeWindowClamped(window, w, h);
    return "";
}

std::string BindSetTheme(const std::string& arg) {
    SetCurrentTheme(ParseJSString(arg));
    NotifyChildWindowsThemesChanged();  // open panels repaint in the new theme
    return "";
}

std::string BindGetSharedTheme() { return "\"" + CurrentTheme() + "\""; }

std::string BindOpenLink(const std::string& arg) {
    const std::string word = ParseJSString(arg);
    if (word == "docs") PlatformOpenUrl(QVN_DOCS_URL);
    if (word == "discord") PlatformOpenUrl(QVN_COMMUNITY_URL);
    return "";
}

std::string BindTakeNotices() {
    std::string out = "[";
    for (const std::string& text : TakeUserNotices()) {
        if (out.size() > 1) out += ',';
        out += JsonEscapeForBind(text);
    }
    out += ']';
    return out;
}
