// The IPC channel between real processes: this test binary is the master, and runs copies of itself as
// the companion processes (and, copied to another file, as a stranger). The master's state after the
// server has stopped is the oracle.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "bridge/Ipc.h"
#include "core/AppState.h"
#include "core/Wake.h"
#include "platform/Platform.h"
#include "tests/fakes/Fakes.h"
#include "timeline/AutomationWatch.h"

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

std::string SocketPath() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    return IpcSocketPath(PlatformDataDir(), static_cast<unsigned>(getuid()), runtime ? runtime : "");
}

double SecondsSince(Clock::time_point t) { return std::chrono::duration<double>(Clock::now() - t).count(); }

// --- The companion side, run as `test_ipc --client MODE ...` -------------------------------------------

sockaddr_un Address() {
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::strcpy(addr.sun_path, SocketPath().c_str());
    return addr;
}

int Connect() {
    const sockaddr_un addr = Address();
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (connect(fd, reinterpret_cast<const sockaddr*>(&addr), sizeof addr) != 0) return -1;
    return fd;
}

// Reads until the other side closes; false when that takes more than five seconds.
bool WaitForClose(int fd) {
    pollfd p{fd, POLLIN, 0};
    char buf[64];
    while (poll(&p, 1, 5000) == 1) {
        if (read(fd, buf, sizeof buf) <= 0) return true;
    }
    return false;
}

int RunClient(int argc, char** argv) {
    const std::string mode = argv[2];
    if (mode == "send" || mode == "send-and-stay") {  // each argument "command|payload" through the real sender
        for (int i = 3; i < argc; ++i) {
            const std::string m = argv[i];
            const size_t bar = m.find('|');
            SendIPCMessage(m.substr(0, bar), m.substr(bar + 1));
        }
        std::printf("sent\n");
        std::fflush(stdout);
        // The server checks a peer's executable when it gets to the connection: a sender that has given up
        // waiting must still be there then.
        if (mode == "send-and-stay") std::this_thread::sleep_for(std::chrono::milliseconds(1500));
        return 0;
    }
    if (mode == "raw" || mode == "silent") {  // a client that doesn't follow the sender's rules
        const int fd = Connect();
        if (fd < 0) return 2;
        std::printf("connected\n");
        std::fflush(stdout);
        const auto start = Clock::now();
        if (mode == "raw") {
            const std::string m = argv[3];
            // A server that refuses us may have closed already: the send may fail, and that is a close too.
            send(fd, m.data(), m.size(), MSG_NOSIGNAL);
            shutdown(fd, SHUT_WR);
        }
        if (!WaitForClose(fd)) return 4;
        std::printf("closed after %.3f\n", SecondsSince(start));
        return 0;
    }
    return 1;
}

// --- The master side ------------------------------------------------------------------------------------

std::string SelfExe() { return std::filesystem::read_symlink("/proc/self/exe").string(); }

struct Child {
    pid_t pid = -1;
    FILE* out = nullptr;  // the child's standard output

    std::string Line() {
        char buf[256];
        if (!out || !std::fgets(buf, sizeof buf, out)) return "";
        std::string s = buf;
        if (!s.empty() && s.back() == '\n') s.pop_back();
        return s;
    }
    int Wait() {
        int status = 0;
        waitpid(pid, &status, 0);
        if (out) std::fclose(out);
        out = nullptr;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
};

Child Spawn(const std::vector<std::string>& args, const std::string& exe = SelfExe()) {
    int pipeFds[2];
    EXPECT_EQ(pipe2(pipeFds, O_CLOEXEC), 0);  // no other child inherits this one's pipe
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], 1);
    std::vector<std::string> all = {exe, "--client"};
    all.insert(all.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& a : all) argv.push_back(a.data());
    argv.push_back(nullptr);
    Child c;
    EXPECT_EQ(posix_spawn(&c.pid, exe.c_str(), &actions, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(pipeFds[1]);
    c.out = fdopen(pipeFds[0], "r");
    return c;
}

// The same program under another file name: same user, another executable.
std::string StrangerExe() {
    const std::string path = PlatformDataDir() + "/../stranger-test-ipc";
    std::filesystem::copy_file(SelfExe(), path, std::filesystem::copy_options::overwrite_existing);
    return path;
}

class IpcTest : public ::testing::Test {
protected:
    void SetUp() override {
        ResetAppState();
        ASSERT_TRUE(PlatformStartIpcServer(HandleIpcMessage));
    }
    // Joining the server thread is what makes its work visible here: the commands came from another
    // process, which no in-process ordering covers.
    void TearDown() override { PlatformStopIpcServer(); }
};

}  // namespace

TEST_F(IpcTest, CommandsArriveInOrderAndWhole) {
    EXPECT_TRUE(PlatformIpcAvailable());
    struct stat st {};
    ASSERT_EQ(stat(SocketPath().c_str(), &st), 0);
    EXPECT_TRUE(S_ISSOCK(st.st_mode));
    EXPECT_EQ(st.st_mode & 0777, 0600u);

    {
        std::lock_guard<std::mutex> lock(profileMutex);  // the server is running
        for (int i = 0; i < 50; ++i)
            profiles[0].events.push_back(UnifiedEvent{EventMoveAbs, double(i), 0, 0, 0, 0, false, 0});
    }
    // Deleting index k after k earlier deletes leaves exactly the odd times, and only in this order.
    std::vector<std::string> args = {"send"};
    for (int k = 0; k < 25; ++k) args.push_back("deleteEvent|" + std::to_string(k));
    args.push_back("setTheme|a|b||c");
    EXPECT_EQ(Spawn(args).Wait(), 0);
    PlatformStopIpcServer();
    EXPECT_FALSE(PlatformIpcAvailable());
    ASSERT_EQ(profiles[0].events.size(), 25u);
    for (int i = 0; i < 25; ++i) EXPECT_EQ(profiles[0].events[i].time, 2 * i + 1);
    EXPECT_EQ(g_CurrentTheme, "a|b||c");
}

TEST_F(IpcTest, MessageSizeLimit) {
    const std::string at511 = "setTheme|" + std::string(502, 'x');
    const std::string at512 = "setTheme|" + std::string(503, 'y');
    EXPECT_EQ(Spawn({"send", at511, at512}).Wait(), 0);  // the sender refuses the second itself
    // A client that doesn't is cut off by the server.
    Child raw = Spawn({"raw", "setTheme|" + std::string(503, 'z')});
    EXPECT_EQ(raw.Line(), "connected");
    EXPECT_EQ(raw.Line().rfind("closed after", 0), 0u);
    EXPECT_EQ(raw.Wait(), 0);
    PlatformStopIpcServer();
    EXPECT_EQ(g_CurrentTheme, at511.substr(9));
}

TEST_F(IpcTest, SilentClientIsDroppedAfterASecondAndHoldsUpOthers) {
    Child silent = Spawn({"silent"});
    ASSERT_EQ(silent.Line(), "connected");
    const auto connected = Clock::now();
    Child sender = Spawn({"send-and-stay", "setTheme|after"});
    EXPECT_EQ(sender.Line(), "sent");
    const double senderDone = SecondsSince(connected);
    const std::string closed = silent.Line();
    EXPECT_EQ(silent.Wait(), 0);
    const double silentFor = std::stod(closed.substr(std::strlen("closed after ")));
    EXPECT_GE(silentFor, 0.9);
    EXPECT_LT(silentFor, 2.5);
    EXPECT_GE(senderDone, 0.9) << "the server serves one connection at a time";
    EXPECT_EQ(sender.Wait(), 0);
    PlatformStopIpcServer();
    EXPECT_EQ(g_CurrentTheme, "after");
}

TEST_F(IpcTest, AnotherExecutableIsRefusedBothWays) {
    const std::string stranger = StrangerExe();
    Child raw = Spawn({"raw", "setTheme|stranger"}, stranger);
    EXPECT_EQ(raw.Line(), "connected");
    EXPECT_EQ(raw.Line().rfind("closed after", 0), 0u);
    EXPECT_EQ(raw.Wait(), 0);
    // The stranger's own sender won't talk to this master either.
    EXPECT_EQ(Spawn({"send", "setTheme|stranger"}, stranger).Wait(), 0);
    PlatformStopIpcServer();
    EXPECT_EQ(g_CurrentTheme, "quorvane");

    std::filesystem::remove(stranger);
}

TEST_F(IpcTest, StaleSocketFileIsReplaced) {
    PlatformStopIpcServer();
    // What a crashed master leaves: a socket file that nobody listens on.
    const sockaddr_un addr = Address();
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&addr), sizeof addr), 0);
    close(fd);
    ASSERT_TRUE(std::filesystem::exists(SocketPath()));

    ASSERT_TRUE(PlatformStartIpcServer(HandleIpcMessage));
    EXPECT_TRUE(PlatformStartIpcServer(HandleIpcMessage)) << "a second start is a no-op";
    EXPECT_EQ(Spawn({"send", "setTheme|fresh"}).Wait(), 0);
    PlatformStopIpcServer();
    EXPECT_EQ(g_CurrentTheme, "fresh");
    EXPECT_FALSE(std::filesystem::exists(SocketPath())) << "the file goes with the server";
}

TEST(IpcMessageTest, SplitRoutingAndRefusals) {
    ResetAppState();
    HandleIpcMessage("reassignKey|unlock");
    EXPECT_EQ(currentReassign, 0) << "the unlock key can't be captured from another process";
    EXPECT_TRUE(g_SignalWake.signalled.exchange(false));
    HandleIpcMessage("reassignKey|keyspamtarget");
    EXPECT_EQ(currentReassign, 5);

    g_TimelineAckedSeq = 0;
    for (const char* m : {"timelineAck|7", "timelineAck|3", "timelineAck|12345678901", "timelineAck|9x"})
        HandleIpcMessage(m);
    EXPECT_EQ(g_TimelineAckedSeq, 7);

    for (const std::string& m :
         std::vector<std::string>{"setTheme", "|setTheme", "settheme|x", "setTheme|" + std::string(503, 'x')})
        HandleIpcMessage(m);
    EXPECT_EQ(g_CurrentTheme, "quorvane");
    HandleIpcMessage("setTheme|");
    EXPECT_EQ(g_CurrentTheme, "");

    EXPECT_EQ(IpcSocketPath(std::string(94, 'd'), 1000, "/run/user/1000"), std::string(94, 'd') + "/ipc.sock");
    const std::string moved = IpcSocketPath(std::string(95, 'd'), 1000, "/run/user/1000");
    EXPECT_EQ(moved.rfind("/run/user/1000/qvn-1000-", 0), 0u);
    EXPECT_EQ(moved, IpcSocketPath(std::string(95, 'd'), 1000, "/run/user/1000"));
    EXPECT_NE(moved, IpcSocketPath(std::string(96, 'd'), 1000, "/run/user/1000"));
    // No private runtime folder: no socket at all rather than one in a shared folder.
    EXPECT_EQ(IpcSocketPath(std::string(95, 'd'), 1000, ""), "");
}

int main(int argc, char** argv) {
    if (argc >= 3 && std::strcmp(argv[1], "--client") == 0) return RunClient(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
