#include "app/OpenedFiles.h"

#include "core/AppState.h"
#include "core/BindArgs.h"
#include "macro/MacroFile.h"
#include "macro/MacroImport.h"
#include "platform/FileOpen.h"
#include "platform/Window.h"
#include "themes/Themes.h"

namespace {

constexpr const char* kUnreadableMacro =
    "That macro file could not be imported - it may be corrupted or from a version this build doesn't "
    "recognize. Since this is recorded work, it's worth checking the original file is intact before trying "
    "again.";
constexpr const char* kRetiredMcr =
    ".mcr files are no longer supported. Re-export that profile as .qvnmacro from whatever version of "
    "Quorvane created it, then import that instead.";

std::string FileName(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

bool PageCanBeTold() { return g_MainPageReady && static_cast<bool>(g_MasterEvalFn); }

void OpenMacro(const std::string& path) {
    MacroProfile profile;
    if (!ParseMacroFile(path, profile).empty()) {
        ReportMacroProblem(kUnreadableMacro);
        return;
    }
    const MacroImportOutcome outcome = ScanAndStageMacroImport(std::move(profile));
    if (!PageCanBeTold()) return;  // the page asks for a waiting import when it comes up
    if (outcome.imported) {
        g_MasterEvalFn("if (window.onProfileImported) window.onProfileImported();");
    } else if (!outcome.pendingId.empty()) {
        g_MasterEvalFn("if (window.onPendingMacroImport) window.onPendingMacroImport(" +
                       PendingMacroImportToJson(outcome.pendingId, outcome.scan) + ");");
    }
}

}  // namespace

void HandleOpenedFiles(const std::vector<std::string>& paths) {
    std::vector<std::pair<std::string, std::string>> rejects;  // file name, reason
    std::string appliedKey;
    bool sawTheme = false;
    for (const std::string& path : paths) {
        if (HasQvnThemeExtension(path)) {
            sawTheme = true;
            std::string key;
            const std::string error = InstallThemeFile(path, key);
            if (error.empty()) {
                appliedKey = key;
            } else {
                rejects.emplace_back(FileName(path), error);
            }
        } else if (HasQvnMacroExtension(path)) {
            OpenMacro(path);
        } else if (HasMcrExtension(path)) {
            ReportMacroProblem(kRetiredMcr);
        }
    }

    if (!appliedKey.empty()) {
        SetCurrentTheme(appliedKey);
        NotifyChildWindowsThemesChanged();
    }
    if (sawTheme) {
        if (!PageCanBeTold()) {
            // An installed theme is in the theme file already; only a refusal needs keeping.
            if (!rejects.empty()) g_PendingThemeAlert = rejects.back().second;
        } else {
            std::string json = "{\"appliedKey\":" + JsonEscapeForBind(appliedKey) + ",\"rejects\":[";
            for (size_t i = 0; i < rejects.size(); ++i) {
                if (i) json += ",";
                json += "{\"name\":" + JsonEscapeForBind(rejects[i].first) +
                        ",\"reason\":" + JsonEscapeForBind(rejects[i].second) + "}";
            }
            json += "]}";
            g_MasterEvalFn("if (window.onThemeDropInstalled) window.onThemeDropInstalled(" + json + ");");
        }
    }
    if (void* window = g_MasterWindow.load()) PlatformBringToFront(window);
}

std::string RefusedDropMessage(const std::vector<std::string>& names) {
    std::string list;
    for (size_t i = 0; i < names.size(); ++i) {
        if (i) list += i + 1 == names.size() ? " and " : ", ";
        list += "\"" + names[i] + "\"";
    }
    return "Not opened: " + list + ". Quorvane opens macro files (.qvnmacro) and theme files (.qvntheme).";
}

void HandleDroppedFiles(const std::vector<std::string>& paths) {
    std::vector<std::string> ours, refused;
    for (const std::string& path : paths) {
        if (HasOpenableExtension(path)) {
            ours.push_back(path);
        } else {
            refused.push_back(FileName(path));
        }
    }
    if (!ours.empty()) HandleOpenedFiles(ours);
    if (!refused.empty()) ReportMacroProblem(RefusedDropMessage(refused));
}
