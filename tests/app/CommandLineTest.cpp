// The argument walk: which mode a command line selects, and what it keeps on the way.
#include <gtest/gtest.h>

#include <vector>

#include "app/CommandLine.h"

namespace {

CommandLine Parse(std::vector<const char*> args) {
    args.insert(args.begin(), "quorvane");
    return ParseCommandLine(static_cast<int>(args.size()), args.data());
}

TEST(CommandLineTest, Table) {
    const struct {
        std::vector<const char*> args;
        RunMode mode;
        const char* manifest;
        const char* value;  // self-test-update value or child argument
        int pid;
    } cases[] = {
        {{}, RunMode::Master, "", "", 0},
        {{"--update-manifest=x", "--selftest-update=y"}, RunMode::SelfTestUpdate, "x", "y", 0},
        {{"--selftest-update=y", "--update-manifest=x"}, RunMode::SelfTestUpdate, "", "y", 0},
        {{"--selftest-update="}, RunMode::SelfTestUpdate, "", "", 0},
        {{"x--selftest-update=y"}, RunMode::Master, "", "", 0},
        {{"--update-manifest=a", "--update-manifest=b"}, RunMode::Master, "b", "", 0},
        {{"--child", "--selftest"}, RunMode::SelfTest, "", "", 0},
        {{"--selftestx"}, RunMode::Master, "", "", 0},
        {{"--timeline"}, RunMode::Timeline, "", "", 0},
        {{"--timeline", "4321", "--update-manifest=m"}, RunMode::Timeline, "m", "", 4321},
        {{"--timeline", "99999999999"}, RunMode::Timeline, "", "", 2147483647},
        {{"x", "--timeline", "5"}, RunMode::Master, "", "", 0},
        {{"--child"}, RunMode::Child, "", "", 0},
        {{"--child", "tracker"}, RunMode::Child, "", "tracker", 0},
        {{"--child", "--scan-macro=a b.qvnmacro"}, RunMode::ScanMacro, "", "a b.qvnmacro", 0},
        {{"--scan-macro", "m.qvnmacro", "--scan-macro=n"}, RunMode::ScanMacro, "", "m.qvnmacro", 0},
        {{"--scan-macro"}, RunMode::ScanMacro, "", "", 0},
        {{"--scan-macro=m", "--selftest"}, RunMode::SelfTest, "", "", 0},
        {{"--scan-macros=m"}, RunMode::Master, "", "", 0},
    };
    for (const auto& c : cases) {
        std::string joined;
        for (const char* a : c.args) joined += std::string(a) + " ";
        SCOPED_TRACE(joined);
        const CommandLine cl = Parse(c.args);
        EXPECT_EQ(cl.mode, c.mode);
        EXPECT_EQ(cl.manifestOverride, c.manifest);
        EXPECT_EQ(cl.selfTestUpdateValue, c.mode == RunMode::SelfTestUpdate ? c.value : "");
        EXPECT_EQ(cl.childArg, c.mode == RunMode::Child ? c.value : "");
        EXPECT_EQ(cl.scanMacroPath, c.mode == RunMode::ScanMacro ? c.value : "");
        EXPECT_EQ(cl.timelineMasterPid, c.pid);
    }
}

TEST(CommandLineTest, TheMastersOtherArgumentsAreFilesToOpen) {
    EXPECT_EQ(Parse({"a.qvnmacro", "--update-manifest=m", "-x", "", "dir/b c.qvntheme", "file:///t/x.qvnmacro"}).files,
              (std::vector<std::string>{"a.qvnmacro", "dir/b c.qvntheme", "file:///t/x.qvnmacro"}));
    // Other modes open nothing: a companion's arguments are its own.
    EXPECT_TRUE(Parse({"--child", "tracker"}).files.empty());
    EXPECT_TRUE(Parse({"--timeline", "12"}).files.empty());
    EXPECT_TRUE(Parse({"a.qvnmacro", "--selftest"}).files.empty());
}

}  // namespace
