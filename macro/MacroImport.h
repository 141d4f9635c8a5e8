// Bringing a macro file in as a profile, and sending the active profile out. A macro whose scan finds
// anything waits in one slot until the page confirms it with the slot's id.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "core/AppState.h"
#include "macro/MacroScan.h"

struct PendingMacroImport {
    bool active = false;
    std::string id;  // 32 lower-case hex digits
    MacroProfile profile;
    MacroScanResult scan;
};

struct MacroImportOutcome {
    bool imported = false;  // went straight into profiles
    std::string pendingId;  // else the slot's id
    MacroScanResult scan;
};

extern PendingMacroImport g_PendingMacroImport;  // guarded by g_PendingMacroImportMutex

// The page's documents: {"outcome":"imported"|"pending"|"none"|"error"|"cancelled", ...}.
std::string ImportMacroFromPath(const std::string& path);
MacroImportOutcome ScanAndStageMacroImport(MacroProfile profile);

// Adds the profile under a free name and makes it current; a profile without settings gets the defaults,
// which also become the live setup. Takes profileMutex.
void CommitMacroImport(MacroProfile profile);

// The sentence that refuses a file of the old ".mcr" format.
std::string McrRefusal();

std::string GenerateRandomHexId(size_t length);
std::string DedupeProfileName(const std::vector<MacroProfile>& profiles, const std::string& name);
std::string PendingMacroImportToJson(const std::string& id, const MacroScanResult& scan);

// Page bindings; each takes the bridge's argument text.
std::string BindExportProfile(const std::string& arg);
std::string BindImportProfile(const std::string& arg);
std::string BindConfirmMacroImport(const std::string& arg);
std::string BindCancelMacroImport(const std::string& arg);
std::string BindGetPendingMacroImport();

// Shows a message in the main page, or keeps it for the page to collect when it isn't ready.
void ReportMacroProblem(const std::string& message);

// The parser's checks on fixtures written to `path`; appends PASS/FAIL lines to report.
bool MacroImportSelfTest(const std::string& path, std::string& report);
