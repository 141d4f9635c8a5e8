#include <cstdio>

#include "app/ChildMode.h"
#include "app/CommandLine.h"
#include "app/Master.h"
#include "app/TimelineEditor.h"
#include "core/AppState.h"
#include "macro/MacroImport.h"
#include "macro/MacroScanCheck.h"
#include "platform/Platform.h"
#include "platform/StartupChecks.h"
#include "update/Update.h"

int main(int argc, char** argv) {
    const CommandLine cl = ParseCommandLine(argc, argv);
    g_UpdateManifestOverride = cl.manifestOverride;
    switch (cl.mode) {
        case RunMode::SelfTestUpdate: {
            std::string report;
            const bool pass = SelfTestUpdate(cl.selfTestUpdateValue, report);
            std::printf("%s", report.c_str());
            std::printf(pass ? "SELFTEST-UPDATE: ALL PASS\n" : "SELFTEST-UPDATE: FAILURES ABOVE\n");
            return pass ? 0 : 1;
        }
        case RunMode::SelfTest: {
            const std::string path =
                PlatformTempDir() + "qvn-selftest-import-" + std::to_string(PlatformProcessId()) + ".qvnmacro";
            std::string report;
            const bool pass = MacroImportSelfTest(path, report);
            std::printf("%s", report.c_str());
            std::printf(pass ? "SELFTEST: ALL PASS\n" : "SELFTEST: FAILURES ABOVE\n");
            return pass ? 0 : 1;
        }
        case RunMode::ScanMacro: {
            // Before anything of the desktop: this mode runs without a display.
            std::string report;
            const int status = MacroScanCheck(cl.scanMacroPath, report);
            std::fputs(report.c_str(), stdout);
            return status;
        }
        default: break;
    }
    // What is left shows a web page.
    PlatformPrepareWebEngine();
    if (cl.mode == RunMode::Timeline) return RunTimelineEditorWindow(cl.timelineMasterPid);
    if (cl.mode == RunMode::Child) return RunChildMode(cl.childArg);
    return RunMaster(cl.files);
}
