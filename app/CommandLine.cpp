#include "app/CommandLine.h"

#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

bool StartsWith(const char* arg, const char* prefix) { return std::strncmp(arg, prefix, std::strlen(prefix)) == 0; }

// atoi's reading, without its undefined overflow: out-of-range numbers clamp.
int ToInt(const char* text) {
    const long v = std::strtol(text, nullptr, 10);
    if (v > INT_MAX) return INT_MAX;
    if (v < INT_MIN) return INT_MIN;
    return static_cast<int>(v);
}

}  // namespace

CommandLine ParseCommandLine(int argc, const char* const* argv) {
    static const char kSelfTestUpdate[] = "--selftest-update=";
    static const char kUpdateManifest[] = "--update-manifest=";
    CommandLine cl;

    for (int i = 1; i < argc; ++i) {
        if (StartsWith(argv[i], kSelfTestUpdate)) {
            cl.mode = RunMode::SelfTestUpdate;
            cl.selfTestUpdateValue = argv[i] + std::strlen(kSelfTestUpdate);
            return cl;
        }
        if (StartsWith(argv[i], kUpdateManifest)) cl.manifestOverride = argv[i] + std::strlen(kUpdateManifest);
    }
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--selftest") == 0) {
            cl.mode = RunMode::SelfTest;
            return cl;
        }
    }
    static const char kScanMacro[] = "--scan-macro";
    for (int i = 1; i < argc; ++i) {
        if (!StartsWith(argv[i], kScanMacro)) continue;
        const char* rest = argv[i] + std::strlen(kScanMacro);
        if (*rest == '=') {
            cl.mode = RunMode::ScanMacro;
            cl.scanMacroPath = rest + 1;
            return cl;
        }
        if (*rest == '\0') {
            cl.mode = RunMode::ScanMacro;
            cl.scanMacroPath = i + 1 < argc ? argv[i + 1] : "";
            return cl;
        }
    }
    if (argc > 1 && std::strcmp(argv[1], "--timeline") == 0) {
        cl.mode = RunMode::Timeline;
        cl.timelineMasterPid = argc > 2 ? ToInt(argv[2]) : 0;
        return cl;
    }
    if (argc > 1 && std::strcmp(argv[1], "--child") == 0) {
        cl.mode = RunMode::Child;
        cl.childArg = argc > 2 ? argv[2] : "";
        return cl;
    }
    for (int i = 1; i < argc; ++i) {
        if (argv[i][0] != '-' && argv[i][0] != '\0') cl.files.emplace_back(argv[i]);
    }
    return cl;
}
