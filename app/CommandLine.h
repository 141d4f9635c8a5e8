// What the command line asks this process to be.
#pragma once

#include <string>
#include <vector>

enum class RunMode { Master, SelfTestUpdate, SelfTest, ScanMacro, Timeline, Child };

struct CommandLine {
    RunMode mode = RunMode::Master;
    std::string selfTestUpdateValue;  // for SelfTestUpdate
    std::string manifestOverride;     // the last "--update-manifest=" seen before the walk ended
    int timelineMasterPid = 0;        // for Timeline
    std::string childArg;             // for Child
    std::string scanMacroPath;        // for ScanMacro
    std::vector<std::string> files;   // for Master: the arguments that aren't options, as given
};

// Two walks: the first, in order, takes "--update-manifest=VALUE" and stops at the first
// "--selftest-update=VALUE" (prefixes count only at the start of an argument); the second looks for
// "--selftest" anywhere. Then "--scan-macro=FILE" (or "--scan-macro FILE") anywhere, the first one.
// Then "--timeline [pid]" and "--child [arg]", only as the first argument.
// Otherwise the process is the master, and every argument that doesn't start with "-" is a file to open
// (what a desktop's "open with" passes); other arguments are ignored.
CommandLine ParseCommandLine(int argc, const char* const* argv);
