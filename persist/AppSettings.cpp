#include "persist/AppSettings.h"

#include <cstdio>
#include <mutex>

#include "core/AppState.h"
#include "core/BindArgs.h"
#include "core/Numbers.h"
#include "core/Wake.h"
#include "persist/Settings.h"
#include "platform/Platform.h"
#include "platform/Window.h"

const char* const kIdleTrackerStatus =
    "{\"state\":\"Idle\",\"count\":0,\"restore\":[],\"hkRec\":\"\",\"hkPlay\":\"\",\"hkAuto\":\"\",\"hkKeySpam\":"
    "\"\",\"keySpamTargets\":[],\"keySpamChord\":false,\"ksCap\":0,\"reassigning\":\"\",\"panelHover\":false,"
    "\"autoClicking\":false,\"keySpamming\":false}";

namespace {

constexpr const char* kPanelIds[] = {"panel-ui", "panel-profile", "panel-spammer", "panel-keyspam", "panel-tracker"};

std::string FirstLineOr(const std::string& path, const char* fallback) {
    const std::string text = ReadFile(path);
    const std::string line = text.substr(0, text.find('\n'));
    return line.empty() ? fallback : line;
}

template <class Strings>
std::string Join(const Strings& items) {
    std::string out;
    for (const auto& s : items) {
        if (!out.empty()) out += ',';
        out += s;
    }
    return out;
}

// A JSON string literal. Ids come from the pages, which can't send quotes, or from the settings file,
// which can hold anything: a backslash or a control character must not break the document.
void AppendJsonString(std::string& out, const std::string& s) {
    out += '"';
    for (unsigned char c : s) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", c);
            out += buf;
        } else {
            out += static_cast<char>(c);
        }
    }
    out += '"';
}

template <class Strings>
void AppendJsonArray(std::string& out, const Strings& items) {
    out += '[';
    bool first = true;
    for (const auto& s : items) {
        if (!first) out += ',';
        first = false;
        AppendJsonString(out, s);
    }
    out += ']';
}

void AppendFlagLine(std::string& out, const char* key, bool v) {
    out += key;
    out += v ? "=1\n" : "=0\n";
}

void AppendIntLine(std::string& out, const char* key, int v) {
    out += key;
    out += '=';
    AppendInt(out, v);
    out += '\n';
}

}  // namespace

bool IsKnownPanelId(const std::string& id) {
    for (const char* known : kPanelIds) {
        if (id == known) return true;
    }
    return false;
}

bool ParsePanelOrder(const std::string& text, std::vector<std::string>& out) {
    std::vector<std::string> order;
    for (const std::string& piece : SplitString(text, ',')) {
        if (piece.empty()) continue;
        if (!IsKnownPanelId(piece)) return false;
        for (const auto& seen : order) {
            if (seen == piece) return false;
        }
        order.push_back(piece);
    }
    out = std::move(order);
    return true;
}

void LoadAppSettings() {
    const std::string path = GetAppSettingsFilePath();
    if (!PlatformFileExists(path)) return;
    LoadAppSettingsFromText(ReadFile(path));
}

void LoadAppSettingsFromText(const std::string& text) {
    for (const std::string& line : SplitString(text, '\n')) {
        const auto eq = line.find('=');
        if (eq == std::string::npos) continue;
        const std::string key = line.substr(0, eq);
        const std::string value = line.substr(eq + 1);
        const bool flag = value == "1";
        int32_t number = 0;

        if (key == "alwaysOnTop") {
            g_AlwaysOnTop = flag;
        } else if (key == "launchOnStartup") {
            g_LaunchOnStartup = flag;
        } else if (key == "startMinimized") {
            g_StartMinimized = flag;
        } else if (key == "hotkeysEnabled") {
            g_HotkeysEnabled = flag;
        } else if (key == "hotkeyLockOn") {
            g_HotkeyLockEnabled = flag;
        } else if (key == "stopToolsWithMacro") {
            g_StopToolsWithMacro = flag;
        } else if (key == "disableAnimations") {
            g_DisableAnimations = flag;
        } else if (key == "showWarnings") {
            g_ShowWarnings = flag;
        } else if (key == "seenWarnings") {
            g_SeenWarningIds.clear();
            for (const std::string& id : SplitString(value, ',')) {
                if (!id.empty()) g_SeenWarningIds.insert(id);
            }
        } else if (key == "minimizedPanels") {
            g_MinimizedPanels.clear();
            for (const std::string& id : SplitString(value, ',')) {
                if (IsKnownPanelId(id)) g_MinimizedPanels.insert(id);
            }
        } else if (key == "panelOrder") {
            ParsePanelOrder(value, g_PanelOrder);
        } else if (key == "windowX") {
            if (ParseInt(value, number)) {
                g_SavedWindowX = number;
                g_HasSavedWindowPos = true;
            }
        } else if (key == "windowY") {
            if (ParseInt(value, number)) g_SavedWindowY = number;
        } else if (key == "windowWidth") {
            if (ParseInt(value, number)) g_SavedWindowWidth = number;
        } else if (key == "windowHeight") {
            if (ParseInt(value, number)) g_SavedWindowHeight = number;
        } else if (key == "windowMaximized") {
            g_SavedMaximized = flag;
        }
    }
    InputSettingsChanged();  // hotkeys on or off, the lock
}

std::string BuildAppSettingsText() {
    std::string out;
    AppendFlagLine(out, "alwaysOnTop", g_AlwaysOnTop);
    AppendFlagLine(out, "launchOnStartup", g_LaunchOnStartup);
    AppendFlagLine(out, "startMinimized", g_StartMinimized);
    AppendFlagLine(out, "hotkeysEnabled", g_HotkeysEnabled);
    AppendFlagLine(out, "hotkeyLockOn", g_HotkeyLockEnabled);
    AppendFlagLine(out, "stopToolsWithMacro", g_StopToolsWithMacro);
    AppendFlagLine(out, "disableAnimations", g_DisableAnimations);
    AppendFlagLine(out, "showWarnings", g_ShowWarnings);
    out += "seenWarnings=" + Join(g_SeenWarningIds) + "\n";
    out += "minimizedPanels=" + Join(g_MinimizedPanels) + "\n";
    out += "panelOrder=" + Join(g_PanelOrder) + "\n";
    AppendIntLine(out, "windowX", g_SavedWindowX);
    AppendIntLine(out, "windowY", g_SavedWindowY);
    AppendIntLine(out, "windowWidth", g_SavedWindowWidth);
    AppendIntLine(out, "windowHeight", g_SavedWindowHeight);
    AppendFlagLine(out, "windowMaximized", g_SavedMaximized);
    return out;
}

void SaveAppSettings() { WriteWholeFile(GetAppSettingsFilePath(), BuildAppSettingsText()); }

std::string BindGetAppSettings() {
    g_MainPageReady = true;
    std::string out = "{";
    const auto flag = [&out](const char* key, bool v) {
        out += '"';
        out += key;
        out += v ? "\":true," : "\":false,";
    };
    flag("alwaysOnTop", g_AlwaysOnTop);
    flag("launchOnStartup", g_LaunchOnStartup);
    flag("startMinimized", g_StartMinimized);
    flag("hotkeysEnabled", g_HotkeysEnabled);
    flag("hotkeyLock", g_HotkeyLockEnabled);
    flag("stopToolsWithMacro", g_StopToolsWithMacro);
    flag("disableAnimations", g_DisableAnimations);
    flag("showWarnings", g_ShowWarnings);
    out += "\"seenWarnings\":";
    AppendJsonArray(out, g_SeenWarningIds);
    out += ",\"minimizedPanels\":";
    AppendJsonArray(out, g_MinimizedPanels);
    out += ",\"panelOrder\":";
    AppendJsonArray(out, g_PanelOrder);
    out += '}';
    return out;
}

std::string BindSetAppSetting(const std::string& arg) {
    const std::vector<std::string> parts = SplitString(ParseJSString(arg), ',');
    if (parts.size() != 2) return "";
    const std::string& key = parts[0];
    const bool value = parts[1] == "1";
    if (key == "alwaysOnTop") {
        g_AlwaysOnTop = value;
        PlatformApplyAlwaysOnTop(value);
    } else if (key == "launchOnStartup") {
        g_LaunchOnStartup = value;
        PlatformApplyLaunchOnStartup(value);
    } else if (key == "startMinimized") {
        g_StartMinimized = value;
    } else if (key == "hotkeysEnabled") {
        g_HotkeysEnabled = value;
        InputSettingsChanged();
    } else if (key == "hotkeyLock") {
        g_HotkeyLockEnabled = value;
        g_HotkeysUnlocked = true;
        InputSettingsChanged();
    } else if (key == "stopToolsWithMacro") {
        g_StopToolsWithMacro = value;
    } else if (key == "disableAnimations") {
        g_DisableAnimations = value;
    } else if (key == "showWarnings") {
        g_ShowWarnings = value;
    } else if (key.rfind("min:", 0) == 0) {
        const std::string panel = key.substr(4);
        if (IsKnownPanelId(panel)) {
            if (value) {
                g_MinimizedPanels.insert(panel);
            } else {
                g_MinimizedPanels.erase(panel);
            }
        }
    }
    SaveAppSettings();
    return "";
}

std::string BindMarkWarningSeen(const std::string& arg) {
    const std::string id = ParseJSString(arg);
    if (!id.empty() && g_SeenWarningIds.insert(id).second) SaveAppSettings();
    return "";
}

std::string BindSetPanelOrder(const std::string& arg) {
    if (ParsePanelOrder(ParseJSString(arg), g_PanelOrder)) SaveAppSettings();
    return "";
}

namespace {

// The poll writes these two four times a second; companions read them, so they stay current, but an
// unchanged text isn't written again.
std::mutex g_OneLineFilesMutex;
std::string g_LastStatusText;
std::string g_LastMacroEventsText;

}  // namespace

void SaveTrackerStatusToFile(const std::string& text) {
    std::lock_guard<std::mutex> lock(g_OneLineFilesMutex);
    WriteFileIfChanged(GetTrackerStatusFilePath(), text, g_LastStatusText);
}
std::string LoadTrackerStatusFromFile() { return FirstLineOr(GetTrackerStatusFilePath(), kIdleTrackerStatus); }
void SaveThemeToFile(const std::string& key) { WriteWholeFile(GetThemeFilePath(), key); }
std::string LoadThemeFromFile() { return FirstLineOr(GetThemeFilePath(), "quorvane"); }
void SaveMacroEventsToFile(const std::string& text) {
    std::lock_guard<std::mutex> lock(g_OneLineFilesMutex);
    WriteFileIfChanged(GetMacroEventsFilePath(), text, g_LastMacroEventsText);
}
std::string LoadMacroEventsFromFile() { return FirstLineOr(GetMacroEventsFilePath(), "[]"); }
