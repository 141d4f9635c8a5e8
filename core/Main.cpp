#include <cstdio>

#include "core/AppState.h"
#include "core/CommandLine.h"
#include "core/Master.h"

int main(int argc, char** argv) {
    const CommandLine cl = ParseCommandLine(argc, argv);
    g_UpdateManifestOverride = cl.manifestOverride;
    switch (cl.mode) {
        case RunMode::SelfTestUpdate:
            std::printf("SELFTEST-UPDATE: the update self test is not part of this build\n");
            return 1;
        case RunMode::SelfTest:
            std::printf("SELFTEST: the macro import self test is not part of this build\n");
            return 1;
        case RunMode::Timeline:
            std::fprintf(stderr, "Quorvane: the Timeline Editor is not part of this build\n");
            return 1;
        case RunMode::Child: std::fprintf(stderr, "Quorvane: pop-out panels are not part of this build\n"); return 1;
        case RunMode::Master: break;
    }
    return RunMaster();
}
