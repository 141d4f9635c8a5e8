// The data folder, the instance lock, process identity and the small file helpers, on the real system.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "platform/Platform.h"
#include "platform/linux/LinuxPlatform.h"
#include "tests/fakes/Fakes.h"

namespace {

mode_t ModeOf(const std::string& path) {
    struct stat st {};
    stat(path.c_str(), &st);
    return st.st_mode & 07777;
}

void WriteFile(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

// Runs fn in a child process and returns its exit status.
template <class Fn>
int InChild(Fn fn) {
    const pid_t pid = fork();
    if (pid == 0) _exit(fn());
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(DataDirTest, FollowsXdgDataHomeOnlyWhenAbsolute) {
    setenv("HOME", "/home/someone", 1);
    setenv("XDG_DATA_HOME", "/x/data", 1);
    EXPECT_EQ(LinuxDataDirPath(), "/x/data/Quorvane");
    setenv("XDG_DATA_HOME", "relative/data", 1);
    EXPECT_EQ(LinuxDataDirPath(), "/home/someone/.local/share/Quorvane");
    unsetenv("XDG_DATA_HOME");
    EXPECT_EQ(LinuxDataDirPath(), "/home/someone/.local/share/Quorvane");
}

TEST(DataDirTest, CreatesPrivateAndTightensALooseFolder) {
    TempDir tmp;
    const std::string fresh = tmp.path() + "/a/b/Quorvane";
    LinuxEnsurePrivateDir(fresh);
    EXPECT_EQ(ModeOf(fresh), 0700u);
    EXPECT_EQ(ModeOf(tmp.path() + "/a/b"), 0700u);

    const std::string loose = tmp.path() + "/loose";
    mkdir(loose.c_str(), 0755);
    chmod(loose.c_str(), 0755);
    LinuxEnsurePrivateDir(loose);
    EXPECT_EQ(ModeOf(loose), 0700u);
}

TEST(InstanceLockTest, OneHolderAtATime) {
    TempDir tmp;
    setenv("XDG_DATA_HOME", tmp.path().c_str(), 1);
    const std::string dir = tmp.path() + "/Quorvane";

    // A holder that crashes leaves the lock free.
    EXPECT_EQ(InChild([&] { return LockInstanceFile(dir) ? 0 : 1; }), 0);

    ASSERT_TRUE(PlatformAcquireSingleInstanceLock());
    EXPECT_TRUE(PlatformAcquireSingleInstanceLock());  // no second open, so no lock against itself
    EXPECT_EQ(ModeOf(dir + "/instance.lock") & 0777, 0600u);

    // Another process of the same user is refused while this one lives.
    EXPECT_EQ(InChild([&] { return LockInstanceFile(dir) ? 0 : 1; }), 1);

    // A lock file that can't be opened lets the program start.
    EXPECT_TRUE(LockInstanceFile("/proc/no-such-place"));
}

TEST(ProcessTest, IdentityByExecutable) {
    EXPECT_TRUE(PlatformProcessIsThisApp(getpid()));
    EXPECT_FALSE(PlatformProcessIsThisApp(0));
    EXPECT_FALSE(PlatformProcessIsThisApp(-4));
    EXPECT_FALSE(PlatformProcessIsThisApp(1 << 22));  // above the kernel's pid limit

    // A second process of the same executable counts; a process running another program doesn't.
    int pipeFd[2];
    ASSERT_EQ(pipe(pipeFd), 0);
    const pid_t same = fork();
    if (same == 0) {
        char c;
        close(pipeFd[1]);
        (void)read(pipeFd[0], &c, 1);
        _exit(0);
    }
    const pid_t other = fork();
    if (other == 0) {
        execl("/bin/sleep", "sleep", "5", static_cast<char*>(nullptr));
        _exit(127);
    }
    usleep(100000);
    EXPECT_TRUE(PlatformProcessIsThisApp(same));
    EXPECT_FALSE(PlatformProcessIsThisApp(other));
    close(pipeFd[1]);
    kill(other, SIGKILL);
    waitpid(same, nullptr, 0);
    waitpid(other, nullptr, 0);
    EXPECT_FALSE(PlatformProcessIsThisApp(same));  // gone
}

TEST(FilesTest, ReadCopyDelete) {
    TempDir tmp;
    const std::string a = tmp.path() + "/a.bin";
    const std::string bytes("x\0y\r\nz", 6);
    WriteFile(a, bytes);
    EXPECT_EQ(ReadFile(a), bytes);
    EXPECT_EQ(ReadFile(tmp.path() + "/missing"), "");
    EXPECT_EQ(ReadFile(tmp.path()), "");  // a folder reads as nothing

    const std::string b = tmp.path() + "/b.bin";
    EXPECT_TRUE(PlatformCopyFile(a, b));
    EXPECT_EQ(ReadFile(b), bytes);
    EXPECT_FALSE(PlatformCopyFile(tmp.path() + "/missing", b));
    EXPECT_EQ(ReadFile(b), bytes);                  // a failed copy leaves the target alone
    EXPECT_FALSE(PlatformCopyFile(tmp.path(), b));  // opens, then fails at the first read: still untouched
    EXPECT_EQ(ReadFile(b), bytes);
    EXPECT_TRUE(PlatformFileExists(b));
    EXPECT_TRUE(PlatformDeleteFile(b));
    EXPECT_FALSE(PlatformFileExists(b));
    EXPECT_FALSE(PlatformDeleteFile(b));

    setenv("TMPDIR", "/var/tmp", 1);
    EXPECT_EQ(PlatformTempDir(), "/var/tmp/");
    setenv("TMPDIR", "relative", 1);
    EXPECT_EQ(PlatformTempDir(), "/tmp/");
    unsetenv("TMPDIR");
    EXPECT_EQ(PlatformTempDir(), "/tmp/");
}

// Names in a folder, "." and ".." left out, sorted.
std::vector<std::string> Listing(const std::string& dir) {
    std::vector<std::string> names;
    DIR* d = opendir(dir.c_str());
    while (const dirent* e = readdir(d)) {
        if (std::string(e->d_name) != "." && std::string(e->d_name) != "..") names.emplace_back(e->d_name);
    }
    closedir(d);
    std::sort(names.begin(), names.end());
    return names;
}

TEST(FilesTest, WritesReplaceTheFileInOneStepAndKeepItsMode) {
    TempDir tmp;
    const std::string path = tmp.path() + "/settings.txt";
    ASSERT_TRUE(WriteWholeFile(path, "first"));
    chmod(path.c_str(), 0640);
    ASSERT_TRUE(WriteWholeFile(path, "second, longer"));
    EXPECT_EQ(ReadFile(path), "second, longer");
    EXPECT_EQ(ModeOf(path), 0640u);
    EXPECT_EQ(Listing(tmp.path()), std::vector<std::string>{"settings.txt"});  // no temporary file stays

    // A folder in the way of the rename: false, and nothing left behind.
    mkdir((tmp.path() + "/taken").c_str(), 0700);
    EXPECT_FALSE(WriteWholeFile(tmp.path() + "/taken", "x"));
    EXPECT_FALSE(WriteWholeFile(tmp.path() + "/missing/x.txt", "x"));
    EXPECT_EQ(Listing(tmp.path()), (std::vector<std::string>{"settings.txt", "taken"}));

    // Unchanged text isn't written again, but a file deleted meanwhile is.
    std::string last;
    ASSERT_TRUE(WriteFileIfChanged(path, "poll", last));
    WriteFile(path, "changed by hand");
    ASSERT_TRUE(WriteFileIfChanged(path, "poll", last));
    EXPECT_EQ(ReadFile(path), "changed by hand");
    ASSERT_TRUE(WriteFileIfChanged(tmp.path() + "/other.txt", "poll", last));  // same text, other file
    EXPECT_EQ(ReadFile(tmp.path() + "/other.txt"), "poll");
    unlink(path.c_str());
    ASSERT_TRUE(WriteFileIfChanged(tmp.path() + "/other.txt", "poll", last));
    unlink((tmp.path() + "/other.txt").c_str());
    ASSERT_TRUE(WriteFileIfChanged(tmp.path() + "/other.txt", "poll", last));
    EXPECT_EQ(ReadFile(tmp.path() + "/other.txt"), "poll");
}

TEST(FilesTest, SetAsideKeepsEveryEarlierCopyAndSweepTakesOnlyDeadWritersFiles) {
    TempDir tmp;
    const std::string path = tmp.path() + "/session.dat";
    WriteFile(path, "one");
    const std::string first = PlatformSetFileAside(path);
    WriteFile(path, "two");
    const std::string second = PlatformSetFileAside(path);
    ASSERT_FALSE(first.empty());
    ASSERT_FALSE(second.empty());
    EXPECT_NE(first, second);  // the same second gets a numbered name, not the first copy's
    EXPECT_EQ(first.rfind(path + ".unreadable-", 0), 0u);
    EXPECT_EQ(ReadFile(first), "one");
    EXPECT_EQ(ReadFile(second), "two");
    EXPECT_FALSE(PlatformFileExists(path));
    EXPECT_EQ(PlatformSetFileAside(path), "");

    const pid_t dead = fork();
    if (dead == 0) _exit(0);
    waitpid(dead, nullptr, 0);
    const std::string mine = "." + std::string("session.dat.") + std::to_string(getpid()) + "-3.tmp";
    const std::string theirs = ".session.dat." + std::to_string(dead) + "-1.tmp";
    WriteFile(tmp.path() + "/" + mine, "a live writer's");
    WriteFile(tmp.path() + "/" + theirs, "cut short");
    WriteFile(tmp.path() + "/.hidden.tmp", "not ours");
    PlatformRemoveStaleTempFiles(tmp.path());
    EXPECT_TRUE(PlatformFileExists(tmp.path() + "/" + mine));
    EXPECT_FALSE(PlatformFileExists(tmp.path() + "/" + theirs));
    EXPECT_TRUE(PlatformFileExists(tmp.path() + "/.hidden.tmp"));
}

}  // namespace
