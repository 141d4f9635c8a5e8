// The update's Linux half against a local HTTPS server on 127.0.0.1 with a throw-away certificate: the
// transfer rules, every refusal of the download and staging (each leaving the install as it was and nothing
// behind), the trust check, the swap with its way back, the relaunch, and the sweep.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

#include "update/Update.h"

namespace fs = std::filesystem;

namespace {

const std::string kSource = QVN_SOURCE_DIR;
const std::string kKey = kSource + "/tests/update/test-key.pem";

std::string g_Root;    // everything of this run
std::string g_Served;  // what the server serves
std::string g_Base;    // https://127.0.0.1:PORT
pid_t g_Server = -1;

void Write(const std::string& path, const std::string& text, mode_t mode = 0644) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << text;
    chmod(path.c_str(), mode);
}

std::string Read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

int Shell(const std::string& command) { return std::system(command.c_str()); }

// Every entry below dir: a file's mode and bytes, a link's target, a folder.
std::map<std::string, std::string> Snapshot(const std::string& dir) {
    std::map<std::string, std::string> out;
    for (auto it = fs::recursive_directory_iterator(dir); it != fs::recursive_directory_iterator(); ++it) {
        const std::string rel = fs::relative(it->path(), dir).string();
        struct stat st {};
        lstat(it->path().c_str(), &st);
        if (S_ISLNK(st.st_mode))
            out[rel] = "-> " + fs::read_symlink(it->path()).string();
        else if (S_ISDIR(st.st_mode))
            out[rel] = "dir";
        else
            out[rel] = std::to_string(st.st_mode & 0777) + ":" + Read(it->path());
    }
    return out;
}

// A user-local install: the binary (here a script that says which version it is), its library with the
// usual link, its pages.
void MakeApp(const std::string& dir, const std::string& version) {
    Write(dir + "/quorvane", "#!/bin/sh\necho " + version + " > \"$(dirname \"$0\")/../relaunched\"\n", 0755);
    Write(dir + "/lib/libwebview.so.0.12", "library " + version);
    fs::create_symlink("libwebview.so.0.12", dir + "/lib/libwebview.so");
    Write(dir + "/resources/ui/index.html", "<p>" + version + "</p>");
}

// A signed archive of the app folder `dir` for `version`.
void Archive(const std::string& dir, const std::string& version, const std::string& zip) {
    ASSERT_EQ(
        Shell("python3 " + kSource + "/scripts/make-update.py archive " + kKey + " " + version + " " + dir + " " + zip),
        0);
}

// Rewrites a zip with python's zipfile: `script` gets the open output as z and may add entries.
void Zip(const std::string& zip, const std::string& script) {
    const std::string py = g_Root + "/zip.py";
    Write(py, "import zipfile, sys\nz = zipfile.ZipFile(sys.argv[1], 'w')\n" + script + "\nz.close()\n");
    ASSERT_EQ(Shell("python3 " + py + " " + zip), 0);
}

class UpdateLocalTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        char pattern[] = "/tmp/qvn-update-test-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        g_Root = pattern;
        g_Served = g_Root + "/served";
        fs::create_directories(g_Served);
        fs::create_directories(g_Root + "/tmp");
        // The download folders go here, so the test can see that none is left.
        setenv("TMPDIR", (g_Root + "/tmp").c_str(), 1);
        const std::string portFile = g_Root + "/port";
        g_Server = fork();
        if (g_Server == 0) {
            const std::string server = kSource + "/tests/update/https_server.py";
            execlp("python3", "python3", server.c_str(), g_Served.c_str(), portFile.c_str(), "170", nullptr);
            _exit(127);
        }
        for (int i = 0; i < 200 && !fs::exists(portFile); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        ASSERT_TRUE(fs::exists(portFile)) << "the test server did not start";
        g_Base = "https://127.0.0.1:" + Read(portFile);
    }
    static void TearDownTestSuite() {
        if (g_Server > 0) {
            kill(g_Server, SIGTERM);
            waitpid(g_Server, nullptr, 0);
        }
        fs::remove_all(g_Root);
    }

    void SetUp() override {
        const std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
        home = g_Root + "/" + name;
        app = home + "/Quorvane";
        MakeApp(app, "1.0.1");
        before = Snapshot(app);
        fs::create_directories(home + "/new");
        MakeApp(home + "/new", "1.0.2");
    }

    // Serves the zip under `name` and stages it from `path` (the server's route), expecting `message`.
    std::string Stage(const std::string& zip, const std::string& route, const std::string& version = "1.0.2") {
        const std::string name = fs::path(zip).filename().string() + "-" + fs::path(home).filename().string();
        fs::copy_file(zip, g_Served + "/" + name, fs::copy_options::overwrite_existing);
        UpdateManifestInfo info;
        info.tier = "pro";
        info.version = version;
        info.url = g_Base + "/" + route + "/" + name;
        info.sha256 = Sha256FileHexLower(zip);
        return DownloadAndStageUpdate(app, info, nullptr, staged);
    }

    // Nothing but the install beside it, its bytes as before, and no download folder left.
    void ExpectUntouched(const std::string& why) {
        EXPECT_EQ(Snapshot(app), before) << why;
        size_t beside = 0;
        for (const auto& e : fs::directory_iterator(home)) beside += e.path().filename().string()[0] == '.';
        EXPECT_EQ(beside, 0u) << why << ": a staging folder or old copy was left beside the app";
        EXPECT_TRUE(fs::is_empty(g_Root + "/tmp")) << why << ": a download folder was left";
        EXPECT_TRUE(staged.empty()) << why;
    }

    std::string home, app, staged;
    std::map<std::string, std::string> before;
};

TEST_F(UpdateLocalTest, TransferRules) {
    Write(g_Served + "/limit", std::string(16384, 'x'));
    Write(g_Served + "/over", std::string(16385, 'x'));
    std::string body;
    EXPECT_TRUE(HttpsGet(g_Base + "/files/limit", 16384, nullptr, nullptr, body));
    EXPECT_EQ(body.size(), 16384u);
    EXPECT_FALSE(HttpsGet(g_Base + "/files/over", 16384, nullptr, nullptr, body)) << "announced above the limit";
    EXPECT_TRUE(body.empty());
    EXPECT_TRUE(HttpsGet(g_Base + "/nolength/limit", 16384, nullptr, nullptr, body)) << "no length, within the limit";
    EXPECT_FALSE(HttpsGet(g_Base + "/nolength/over", 16384, nullptr, nullptr, body))
        << "a runaway body ends at the limit";
    EXPECT_FALSE(HttpsGet(g_Base + "/short/limit", 16384, nullptr, nullptr, body)) << "shorter than announced";
    EXPECT_FALSE(HttpsGet(g_Base + "/status/204", 16384, nullptr, nullptr, body));
    EXPECT_FALSE(HttpsGet(g_Base + "/status/404", 16384, nullptr, nullptr, body));
    EXPECT_FALSE(HttpsGet(g_Base + "/huge", UpdateCore::kArchiveMaxBytes, nullptr, nullptr, body));
    EXPECT_FALSE(HttpsGet(g_Base + "/redirect-http/limit", 16384, nullptr, nullptr, body)) << "redirect to http";
    EXPECT_TRUE(HttpsGet(g_Base + "/redirect-https/limit", 16384, nullptr, nullptr, body)) << "redirect to https";
    EXPECT_FALSE(HttpsGet("http://127.0.0.1:1/files/limit", 16384, nullptr, nullptr, body));
    EXPECT_FALSE(HttpsGet("https://127.0.0.1:1/files/limit", 16384, nullptr, nullptr, body)) << "nobody listens";
}

TEST_F(UpdateLocalTest, ProgressIsPacedAndCancelStopsTheTransfer) {
    Write(g_Served + "/slow", std::string(160 * 1024, 's'));  // 40 pieces, 50 ms apart: about 2 s
    std::vector<std::pair<uint64_t, uint64_t>> calls;
    std::vector<std::chrono::steady_clock::time_point> times;
    const UpdateProgressFn record = [&](uint64_t r, uint64_t t) {
        calls.emplace_back(r, t);
        times.push_back(std::chrono::steady_clock::now());
        return true;
    };
    std::string body;
    ASSERT_TRUE(HttpsGet(g_Base + "/slow/slow", 1 << 20, nullptr, record, body));
    ASSERT_GE(calls.size(), 3u);
    EXPECT_EQ(calls.back(), std::make_pair(uint64_t{160 * 1024}, uint64_t{160 * 1024})) << "the final call";
    for (size_t i = 1; i + 1 < times.size(); ++i)
        EXPECT_GE(times[i] - times[i - 1], std::chrono::milliseconds(99)) << "at most ten calls a second";

    int n = 0;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(HttpsGet(
        g_Base + "/slow/slow", 1 << 20, nullptr, [&](uint64_t, uint64_t) { return ++n < 3; }, body));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1500)) << "stopped early";
    EXPECT_TRUE(body.empty());
}

TEST_F(UpdateLocalTest, GoodUpdateStagesSwapsAndRelaunches) {
    Archive(home + "/new", "1.0.2", home + "/good.zip");
    std::vector<uint64_t> seen;
    UpdateManifestInfo info{"pro", "1.0.2-beta.1", g_Base + "/files/good-" + std::string("x"), "", ""};
    fs::copy_file(home + "/good.zip", g_Served + "/good-x", fs::copy_options::overwrite_existing);
    info.sha256 = Sha256FileHexLower(home + "/good.zip");
    // A beta tag in the manifest matches the three numbers of the staged version.
    ASSERT_EQ(DownloadAndStageUpdate(
                  app, info,
                  [&](uint64_t r, uint64_t) {
                      seen.push_back(r);
                      return true;
                  },
                  staged),
              "");
    ASSERT_FALSE(seen.empty());
    EXPECT_EQ(seen.back(), fs::file_size(home + "/good.zip"));
    EXPECT_EQ(fs::path(staged).filename(), "quorvane");
    EXPECT_EQ(fs::path(staged).parent_path().parent_path(), fs::path(home)) << "staged beside the app";
    EXPECT_EQ(fs::path(staged).parent_path().filename().string().rfind(StagingFolderPrefix(), 0), 0u);
    EXPECT_TRUE(fs::is_empty(g_Root + "/tmp")) << "the download folder is gone once unpacked";
    EXPECT_EQ(Snapshot(app), before) << "staging changes nothing of the install";
    EXPECT_TRUE(StagedAppIsTrusted(staged, nullptr));

    // The swap and the relaunch, from a process of its own that then ends as the app does.
    const pid_t child = fork();
    if (child == 0) {
        std::string oldCopy;
        if (!SwapInStagedUpdate(app, staged, oldCopy).empty()) _exit(1);
        SpawnRelauncher(oldCopy, app);
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    for (int i = 0; i < 100 && !fs::exists(home + "/relaunched"); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(Read(home + "/relaunched"), "1.0.2\n") << "the new version was started";
    EXPECT_EQ(Read(app + "/resources/ui/index.html"), "<p>1.0.2</p>");
    EXPECT_EQ(fs::read_symlink(app + "/lib/libwebview.so"), "libwebview.so.0.12");
    bool leftovers = true;
    for (int i = 0; i < 100 && leftovers; ++i) {
        leftovers = false;
        for (const auto& e : fs::directory_iterator(home)) leftovers |= e.path().filename().string()[0] == '.';
        if (leftovers) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_FALSE(leftovers) << "the old copy and the staging folder are gone";
}

TEST_F(UpdateLocalTest, DownloadRefusalsLeaveTheInstallAlone) {
    Archive(home + "/new", "1.0.2", home + "/good.zip");
    const std::string incomplete = "Update failed: the download did not complete. Check your connection and try again.";
    struct Case {
        std::string route;
        std::string message;
    };
    for (const Case& c : std::initializer_list<Case>{{"short", incomplete},
                                                     {"redirect-http", incomplete},
                                                     {"status/204", incomplete},
                                                     {"missing", incomplete}}) {
        EXPECT_EQ(Stage(home + "/good.zip", c.route), c.message) << c.route;
        ExpectUntouched(c.route);
    }
    UpdateManifestInfo info{"pro", "1.0.2", g_Base + "/huge", std::string(64, 'a'), ""};
    EXPECT_EQ(DownloadAndStageUpdate(app, info, nullptr, staged), incomplete);
    ExpectUntouched("oversize");

    // Cancelled mid-download: the progress function says no.
    fs::copy_file(home + "/good.zip", g_Served + "/big", fs::copy_options::overwrite_existing);
    Write(g_Served + "/big", std::string(400 * 1024, 'b'));
    info = {"pro", "1.0.2", g_Base + "/slow/big", std::string(64, 'a'), ""};
    int calls = 0;
    EXPECT_EQ(DownloadAndStageUpdate(
                  app, info, [&](uint64_t, uint64_t) { return ++calls < 2; }, staged),
              incomplete);
    ExpectUntouched("cancel");

    info = {"pro", "1.0.2", "http://quorvane.app/x.zip", std::string(64, 'a'), ""};
    EXPECT_EQ(DownloadAndStageUpdate(app, info, nullptr, staged), "Update failed: the download link was not valid.");

    // The digest that the manifest signed doesn't match.
    fs::copy_file(home + "/good.zip", g_Served + "/digest", fs::copy_options::overwrite_existing);
    info = {"pro", "1.0.2", g_Base + "/files/digest", std::string(64, 'a'), ""};
    EXPECT_EQ(DownloadAndStageUpdate(app, info, nullptr, staged),
              "Update failed: the download did not match the signed update. Nothing was changed.");
    ExpectUntouched("digest");

    // A build tree is no install.
    Write(app + "/CMakeCache.txt", "");
    EXPECT_EQ(Stage(home + "/good.zip", "files").rfind("Update failed: Quorvane can't update itself where it is.", 0),
              0u);
    fs::remove(app + "/CMakeCache.txt");
    ExpectUntouched("build tree");
}

TEST_F(UpdateLocalTest, ArchiveAndTrustRefusals) {
    const std::string unpack = "Update failed: the update could not be unpacked. Nothing was changed.";
    const std::string notThisApp = "Update failed: the update did not contain this app. Nothing was changed.";
    const std::string unsigned_ = "Update failed: the new version is not signed by Quorvane. Nothing was changed.";
    struct Case {
        const char* what;
        std::string zipScript;
        std::string message;
    };
    const std::string escape = g_Root + "/escaped";
    for (const Case& c : std::initializer_list<Case>{
             {"zip slip", "z.writestr('quorvane/../../../escaped', 'x')", unpack},
             {"absolute path", "z.writestr('" + escape + "', 'x')", unpack},
             {"link outside",
              "i = zipfile.ZipInfo('quorvane/lib/evil'); i.external_attr = 0o120777 << 16; z.writestr(i, '../../..')",
              unpack},
             {"write through a link",
              "i = zipfile.ZipInfo('quorvane/l'); i.external_attr = 0o120777 << 16; z.writestr(i, 'lib')\n"
              "z.writestr('quorvane/lib/a', 'x'); z.writestr('quorvane/l/b', 'y')",
              unpack},
             {"device file", "i = zipfile.ZipInfo('quorvane/dev'); i.external_attr = 0o020644 << 16; z.writestr(i, '')",
              unpack},
             {"not a zip", "", unpack},
             {"two top-level entries", "z.writestr('quorvane/quorvane', 'x'); z.writestr('other', 'y')", notThisApp},
             {"another name", "z.writestr('Quorvane2/quorvane', 'x')", notThisApp},
             {"link named as the app",
              "z.writestr('real/quorvane', 'x'); i = zipfile.ZipInfo('quorvane'); i.external_attr = 0o120777 << 16; "
              "z.writestr(i, 'real')",
              notThisApp},
             {"no file list", "z.writestr('quorvane/quorvane', 'x')", unsigned_}}) {
        const std::string zip = home + "/case.zip";
        if (c.zipScript.empty())
            Write(zip, "PK not really");
        else
            Zip(zip, c.zipScript);
        EXPECT_EQ(Stage(zip, "files"), c.message) << c.what;
        ExpectUntouched(c.what);
        EXPECT_FALSE(fs::exists(escape)) << c.what;
    }

    // A signed list, then the tree changed under it: a changed file, an extra file, a missing file.
    struct Tamper {
        const char* what;
        std::function<void(const std::string&)> change;
    };
    for (const Tamper& t : std::initializer_list<Tamper>{
             {"changed file", [](const std::string& d) { Write(d + "/resources/ui/index.html", "<p>evil</p>"); }},
             {"extra file", [](const std::string& d) { Write(d + "/lib/libevil.so", "evil"); }},
             {"missing file", [](const std::string& d) { fs::remove(d + "/resources/ui/index.html"); }},
             {"mode changed", [](const std::string& d) { chmod((d + "/lib/libwebview.so.0.12").c_str(), 0755); }},
             {"list edited",
              [](const std::string& d) { std::ofstream(d + "/.qvn-files", std::ios::app) << "d\tzz\n"; }}}) {
        const std::string dir = home + "/tamper";
        fs::remove_all(dir);
        fs::copy(home + "/new", dir, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
        Archive(dir, "1.0.2", home + "/signed.zip");
        t.change(dir);
        const std::string zip = home + "/tampered.zip";
        fs::remove(zip);
        ASSERT_EQ(
            Shell("cd " + dir + "/.. && mv tamper quorvane && zip -qry " + zip + " quorvane && mv quorvane tamper"), 0);
        EXPECT_EQ(Stage(zip, "files"), unsigned_) << t.what;
        ExpectUntouched(t.what);
    }

    // Signed, but for another version than the manifest announced.
    Archive(home + "/new", "1.0.3", home + "/other.zip");
    EXPECT_EQ(Stage(home + "/other.zip", "files"),
              "Update failed: the update is not the version that was announced. Nothing was changed.");
    ExpectUntouched("version");
}

TEST_F(UpdateLocalTest, SwapHasAWayBack) {
    Archive(home + "/new", "1.0.2", home + "/good.zip");
    ASSERT_EQ(Stage(home + "/good.zip", "files"), "");
    const std::string stagingDir = fs::path(staged).parent_path().string();

    // The second rename fails: the old copy goes back under the app's name.
    int calls = 0;
    std::string oldCopy;
    EXPECT_EQ(
        SwapInStagedUpdate(app, staged, oldCopy,
                           [&](const char* from, const char* to) { return ++calls == 2 ? -1 : rename(from, to); }),
        kUpdateFailedInstall);
    EXPECT_EQ(calls, 3);
    EXPECT_TRUE(oldCopy.empty());
    staged.clear();
    ExpectUntouched("second rename");

    // The first rename fails: the app was never moved.
    ASSERT_EQ(Stage(home + "/good.zip", "files"), "");
    EXPECT_EQ(SwapInStagedUpdate(app, staged, oldCopy, [](const char*, const char*) { return -1; }),
              kUpdateFailedInstall);
    staged.clear();
    ExpectUntouched("first rename");

    // A staged copy that isn't beside the app is refused, and its folder removed.
    fs::create_directories(g_Root + "/elsewhere/.app.quorvane.pro-update-x/quorvane");
    EXPECT_EQ(SwapInStagedUpdate(app, g_Root + "/elsewhere/.app.quorvane.pro-update-x/quorvane", oldCopy),
              kUpdateFailedInstall);
    EXPECT_FALSE(fs::exists(g_Root + "/elsewhere/.app.quorvane.pro-update-x"));
    ExpectUntouched("elsewhere");
    (void)stagingDir;
}

TEST_F(UpdateLocalTest, SweepTakesOnlyOurOwnFolders) {
    const std::string stale = home + "/" + StagingFolderPrefix() + "abcdefgh";
    const std::string old = home + "/" + OldCopyPrefix() + "0123456789abcdef";
    const std::string keep = home + "/precious";
    MakeApp(stale + "/quorvane", "x");
    MakeApp(old, "x");
    Write(keep + "/data", "keep");
    fs::create_symlink(keep, home + "/" + StagingFolderPrefix() + "link");
    Write(home + "/" + OldCopyPrefix() + "file", "a plain file");
    const std::string foreign = home + "/" + StagingFolderPrefix() + "foreign";
    fs::create_directories(foreign);
    const bool canChown = geteuid() == 0 && chown(foreign.c_str(), 65534, 65534) == 0;

    RemoveTree(home + "/" + OldCopyPrefix() + "file");
    EXPECT_TRUE(fs::exists(home + "/" + OldCopyPrefix() + "file")) << "RemoveTree leaves a plain file";
    SweepFolder(home, {StagingFolderPrefix(), OldCopyPrefix()});
    EXPECT_FALSE(fs::exists(stale));
    EXPECT_FALSE(fs::exists(old));
    EXPECT_TRUE(fs::is_symlink(home + "/" + StagingFolderPrefix() + "link")) << "a link is never followed";
    EXPECT_EQ(Read(keep + "/data"), "keep");
    EXPECT_TRUE(fs::exists(home + "/" + OldCopyPrefix() + "file"));
    if (canChown) {
        EXPECT_TRUE(fs::exists(foreign)) << "another user's folder stays";
    }
    EXPECT_EQ(Snapshot(app), before);
}

}  // namespace
