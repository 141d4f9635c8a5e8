#include "macro/MacroScanCheck.h"

#include "core/Numbers.h"
#include "macro/MacroFile.h"
#include "macro/MacroImport.h"
#include "macro/MacroScanTools.h"

int MacroScanCheck(const std::string& path, std::string& out) {
    MacroProfile profile;
    std::string message = HasMcrExtension(path) ? McrRefusal() : ParseMacroFile(path, profile);
    if (!message.empty()) {
        out += message + "\n";
        return 3;
    }
    const MacroScanResult scan = ScanMacroProfile(profile);
    out += "level: " + scan.level + "\n";
    for (const MacroScanMatch& m : scan.matches) {
        out += m.id + " " + m.severity + " at ";
        AppendFloat(out, m.atSec);
        out += " s: " + m.message + "\n";
    }
    if (scan.level == "danger") return 2;
    return scan.level == "caution" ? 1 : 0;
}
