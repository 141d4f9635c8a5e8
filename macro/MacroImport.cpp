#include "macro/MacroImport.h"

#include <cmath>
#include <random>

#include "core/BindArgs.h"
#include "core/Numbers.h"
#include "macro/MacroFile.h"
#include "macro/MacroScanTools.h"
#include "persist/Settings.h"
#include "platform/Dialogs.h"
#include "platform/Platform.h"
#include "themes/Themes.h"

PendingMacroImport g_PendingMacroImport;

namespace {

constexpr const char* kMcrRefused =
    ".mcr files are no longer supported. Re-export that profile as .qvnmacro from whatever version of Quorvane "
    "created it, then import that instead.";

}  // namespace

std::string McrRefusal() { return kMcrRefused; }

namespace {

std::string ErrorDocument(const std::string& message) {
    return "{\"outcome\":\"error\",\"message\":" + JsonEscapeForBind(message) + "}";
}

// A time the page can parse: a file may hold "nan" or "inf", which JSON has no word for.
void AppendJsonTime(std::string& out, double t) {
    if (!std::isfinite(t)) {
        out += '0';
        return;
    }
    AppendFloat(out, t);
}

}  // namespace

std::string GenerateRandomHexId(size_t length) {
    static std::mutex mutex;
    static std::mt19937_64 engine = [] {
        std::random_device device("/dev/urandom");
        return std::mt19937_64(device());
    }();
    static const char kDigits[] = "0123456789abcdef";
    std::uniform_int_distribution<int> digit(0, 15);
    std::lock_guard<std::mutex> lock(mutex);
    std::string id;
    for (size_t i = 0; i < length; ++i) id += kDigits[digit(engine)];
    return id;
}

std::string DedupeProfileName(const std::vector<MacroProfile>& list, const std::string& name) {
    const auto taken = [&list](const std::string& n) {
        for (const auto& p : list) {
            if (p.name == n) return true;
        }
        return false;
    };
    if (!taken(name)) return name;
    for (int i = 2; i <= 999; ++i) {
        std::string candidate = name + " (" + std::to_string(i) + ")";
        if (!taken(candidate)) return candidate;
    }
    return name;
}

void CommitMacroImport(MacroProfile profile) {
    std::lock_guard<std::mutex> lock(profileMutex);
    profile.name = DedupeProfileName(profiles, profile.name);
    if (profile.settings.empty()) {
        ResetSpammerKeySpamDefaults();
        profile.settings = SerializeProfileSettings();
    }
    profiles.push_back(std::move(profile));
    currentProfileIdx = static_cast<int32_t>(profiles.size() - 1);
}

MacroImportOutcome ScanAndStageMacroImport(MacroProfile profile) {
    MacroImportOutcome outcome;
    outcome.scan = ScanMacroProfile(profile);  // its events and the Key Spammer they start
    if (outcome.scan.matches.empty()) {
        CommitMacroImport(std::move(profile));
        outcome.imported = true;
        return outcome;
    }
    std::lock_guard<std::mutex> lock(g_PendingMacroImportMutex);
    g_PendingMacroImport.active = true;
    g_PendingMacroImport.id = GenerateRandomHexId(32);
    g_PendingMacroImport.profile = std::move(profile);
    g_PendingMacroImport.scan = outcome.scan;
    outcome.pendingId = g_PendingMacroImport.id;
    return outcome;
}

std::string PendingMacroImportToJson(const std::string& id, const MacroScanResult& scan) {
    std::string out =
        "{\"outcome\":\"pending\",\"pendingId\":\"" + id + "\",\"level\":\"" + scan.level + "\",\"matches\":[";
    bool first = true;
    for (const MacroScanMatch& m : scan.matches) {
        if (!first) out += ',';
        first = false;
        out += "{\"severity\":\"" + m.severity + "\",\"message\":" + JsonEscapeForBind(m.message) + ",\"atSec\":";
        AppendJsonTime(out, m.atSec);
        out += '}';
    }
    out += "]}";
    return out;
}

std::string ImportMacroFromPath(const std::string& path) {
    if (HasMcrExtension(path)) return ErrorDocument(kMcrRefused);
    MacroProfile profile;
    const std::string message = ParseMacroFile(path, profile);
    if (!message.empty()) return ErrorDocument(message);
    profile.name += " (Imported)";
    const MacroImportOutcome outcome = ScanAndStageMacroImport(std::move(profile));
    if (outcome.imported) return "{\"outcome\":\"imported\"}";
    return PendingMacroImportToJson(outcome.pendingId, outcome.scan);
}

std::string BindExportProfile(const std::string&) {
    MacroProfile profile;
    {
        std::lock_guard<std::mutex> lock(profileMutex);
        if (currentProfileIdx < 0 || static_cast<size_t>(currentProfileIdx) >= profiles.size()) return "";
        profile = profiles[static_cast<size_t>(currentProfileIdx)];
    }
    const std::string path = PlatformChooseSaveFile(profile.name + ".qvnmacro", "qvnmacro");
    if (!path.empty()) WriteMacroFile(path, profile);
    return "";
}

std::string BindImportProfile(const std::string&) {
    const std::string path = PlatformChooseFileToOpen("qvnmacro");
    if (path.empty()) return "{\"outcome\":\"cancelled\"}";
    return ImportMacroFromPath(path);
}

std::string BindConfirmMacroImport(const std::string& arg) {
    const std::string id = ParseJSString(arg);
    std::lock_guard<std::mutex> lock(g_PendingMacroImportMutex);
    if (!g_PendingMacroImport.active || id != g_PendingMacroImport.id) return "";
    CommitMacroImport(std::move(g_PendingMacroImport.profile));
    g_PendingMacroImport = PendingMacroImport{};
    if (g_MasterEvalFn) g_MasterEvalFn("if (window.onProfileImported) window.onProfileImported();");
    return "";
}

std::string BindCancelMacroImport(const std::string& arg) {
    const std::string id = ParseJSString(arg);
    std::lock_guard<std::mutex> lock(g_PendingMacroImportMutex);
    if (g_PendingMacroImport.active && id == g_PendingMacroImport.id) g_PendingMacroImport = PendingMacroImport{};
    return "";
}

std::string BindGetPendingMacroImport() {
    std::lock_guard<std::mutex> lock(g_PendingMacroImportMutex);
    if (!g_PendingMacroImport.active) return "{\"outcome\":\"none\"}";
    return PendingMacroImportToJson(g_PendingMacroImport.id, g_PendingMacroImport.scan);
}

void ReportMacroProblem(const std::string& message) {
    if (g_MainPageReady && g_MasterEvalFn) {
        g_MasterEvalFn("alert(" + JsonEscapeForBind(message) + ");");
    } else {
        g_PendingThemeAlert = message;
    }
}
