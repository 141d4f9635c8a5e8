// The theme library through its own files: install, dedupe, numbered copies, delete, the current theme's
// fallback, the scan, and the skin data that the pages receive.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>

#include "core/AppState.h"
#include "persist/AppSettings.h"
#include "platform/Platform.h"
#include "tests/fakes/Fakes.h"
#include "tests/themes/ThemeTexts.h"
#include "themes/Themes.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kNotATheme = "Quorvane only imports .qvntheme theme files.";
constexpr const char* kBadKey =
    "That theme file's name uses characters Quorvane doesn't allow in a theme key - only letters, digits, spaces, "
    "and _ - . ( ) are permitted. Rename the file and try again.";
constexpr const char* kInvalid =
    "That theme file failed validation and was not imported - it may be corrupted, too large, or contain a value "
    "outside what a theme file is allowed to carry.";
constexpr const char* kCopyFailed = "Could not copy that theme file into Quorvane's themes folder.";

std::atomic<int> g_ThemeSignals{0};
void CountThemeSignal(int) { ++g_ThemeSignals; }

std::vector<std::string> ThemeFolderNames() {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(GetThemesDirPath())) names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> ListedKeys() {
    std::lock_guard<std::recursive_mutex> lock(g_ThemesMutex);
    std::vector<std::string> keys;
    keys.reserve(g_CustomThemes.size());
    for (const auto& [key, def] : g_CustomThemes) keys.push_back(key);
    return keys;
}

class ThemeLibraryTest : public ::testing::Test {
protected:
    void SetUp() override {
        ResetAppState();
        fs::remove_all(GetThemesDirPath());
        fs::remove_all(source_);
        fs::create_directories(source_);
        SaveThemeToFile("quorvane");
        // This process stands in for a pop-out panel and counts the themes-changed signals it receives.
        struct sigaction sa {};
        sa.sa_handler = CountThemeSignal;
        sigaction(SIGUSR1, &sa, nullptr);
        g_ThemeSignals = 0;
        std::lock_guard<std::mutex> lock(g_ChildrenMutex);
        g_ActiveChildProcesses = {{"spammer", static_cast<int>(getpid())}};
    }
    void TearDown() override {
        std::lock_guard<std::mutex> lock(g_ChildrenMutex);
        g_ActiveChildProcesses.clear();
    }

    std::string Source(const std::string& name, const std::string& text) {
        WriteFileBytes(source_ + "/" + name, text);
        return source_ + "/" + name;
    }

    const std::string source_ = PlatformDataDir() + "/../import";
};

TEST_F(ThemeLibraryTest, TheSameFileTwiceIsOneCopyADifferentOneIsNumberedAndCurrent) {
    const std::string path = Source("Night.qvntheme", ThemeText());
    std::string key;
    EXPECT_EQ(InstallThemeFile(path, key), "");
    EXPECT_EQ(InstallThemeFile(path, key), "");
    // A file that already lies in the folder installs as itself.
    EXPECT_EQ(InstallThemeFile(GetThemesDirPath() + "/Night.qvntheme", key), "");
    EXPECT_EQ(key, "Night");
    EXPECT_EQ(ThemeFolderNames(), std::vector<std::string>{"Night.qvntheme"});

    EXPECT_EQ(ImportThemeFromPath(Source("Night.qvntheme", ThemeText("", "Second"))), "");
    EXPECT_EQ(g_CurrentTheme, "Night (2)");
    EXPECT_EQ(ImportThemeFromPath(Source("Night.qvntheme", ThemeText("", "Third"))), "");
    EXPECT_EQ(g_CurrentTheme, "Night (3)");
    EXPECT_EQ(g_ThemeSignals, 2);  // each import tells the panels
    EXPECT_EQ(ThemeFolderNames(),
              (std::vector<std::string>{"Night (2).qvntheme", "Night (3).qvntheme", "Night.qvntheme"}));
    EXPECT_EQ(ListedKeys(), (std::vector<std::string>{"Night", "Night (2)", "Night (3)"}));
    std::lock_guard<std::recursive_mutex> lock(g_ThemesMutex);
    EXPECT_EQ(g_CustomThemes.at("Night (3)").name, "Third");
}

TEST_F(ThemeLibraryTest, RefusalsChangeNothing) {
    g_CurrentTheme = "Keep";
    const std::string key64(64, 'k');
    const std::pair<std::string, std::string> refusals[] = {
        {Source("Night.json", ThemeText()), kNotATheme},
        {Source("a,b.qvntheme", ThemeText()), kBadKey},
        {Source(key64 + "k.qvntheme", ThemeText()), kBadKey},
        {Source("Broken.qvntheme", "{\"name\":\"x\"}"), kInvalid},
    };
    for (const auto& [path, message] : refusals) {
        std::string key = "untouched";
        EXPECT_EQ(InstallThemeFile(path, key), message) << path;
        EXPECT_EQ(ImportThemeFromPath(path), message) << path;
        EXPECT_EQ(key, "untouched");
    }
    EXPECT_TRUE(ThemeFolderNames().empty());
    EXPECT_TRUE(ListedKeys().empty());
    EXPECT_EQ(g_CurrentTheme, "Keep");
    EXPECT_EQ(g_ThemeSignals, 0);

    // 64 bytes of key pass; a backslash separates folders as a slash does.
    std::string key;
    EXPECT_EQ(InstallThemeFile(Source(key64 + ".qvntheme", ThemeText()), key), "");
    EXPECT_EQ(key, key64);
    EXPECT_EQ(InstallThemeFile(source_ + "/x\\" + key64 + ".qvntheme", key), kInvalid);  // no such file, right key
}

TEST_F(ThemeLibraryTest, AFailedCopyLeavesTheListAlone) {
    const std::string dir = GetThemesDirPath();
    fs::remove_all(dir);
    WriteFileBytes(dir, "a file where the folder should be");
    EXPECT_EQ(ImportThemeFromPath(Source("Night.qvntheme", ThemeText())), kCopyFailed);
    EXPECT_TRUE(ListedKeys().empty());
    EXPECT_EQ(g_CurrentTheme, "quorvane");
    // With the folder unusable, a scan lists nothing and leaves the current theme as it is.
    g_CurrentTheme = "Night";
    ScanCustomThemes();
    EXPECT_TRUE(ListedKeys().empty());
    EXPECT_EQ(g_CurrentTheme, "Night");
    fs::remove(dir);
}

TEST_F(ThemeLibraryTest, DeletingTheCurrentThemeFallsBackAndPersists) {
    EXPECT_EQ(ImportThemeFromPath(Source("Night.qvntheme", ThemeText())), "");
    EXPECT_EQ(LoadThemeFromFile(), "Night");
    g_ThemeSignals = 0;
    EXPECT_EQ(BindDeleteTheme("[\"Night\"]"), "");
    EXPECT_EQ(g_CurrentTheme, "quorvane");
    EXPECT_EQ(LoadThemeFromFile(), "quorvane");
    EXPECT_TRUE(ThemeFolderNames().empty());
    EXPECT_TRUE(ListedKeys().empty());
    EXPECT_EQ(g_ThemeSignals, 1);

    // Not current: the list and the folder lose it, the current theme stays, the panels are told anyway.
    std::string key;
    EXPECT_EQ(InstallThemeFile(Source("Dawn.qvntheme", ThemeText()), key), "");
    g_CurrentTheme = "Dusk";
    EXPECT_EQ(BindDeleteTheme("[\"Dawn\"]"), "");
    EXPECT_EQ(g_CurrentTheme, "Dusk");
    EXPECT_EQ(g_ThemeSignals, 2);

    // Unknown keys do nothing at all.
    WriteFileBytes(GetThemesDirPath() + "/Ghost.qvntheme", ThemeText());
    EXPECT_EQ(BindDeleteTheme("[\"Ghost\"]"), "");
    EXPECT_EQ(ThemeFolderNames(), std::vector<std::string>{"Ghost.qvntheme"});
    EXPECT_EQ(g_ThemeSignals, 2);
}

TEST_F(ThemeLibraryTest, ScanListsOnlyValidFilesAndLeavesTheRestInPlace) {
    const std::string dir = GetThemesDirPath();
    WriteFileBytes(dir + "/Zeta.qvntheme", ThemeText("", "Z"));
    WriteFileBytes(dir + "/Alpha.QVNTHEME", ThemeText("", "A"));
    WriteFileBytes(dir + "/Bad.qvntheme", "{\"name\":1}");
    WriteFileBytes(dir + "/a.qvntheme", ThemeText());    // 10 bytes: long enough
    WriteFileBytes(dir + "/.qvntheme", ThemeText());     // too short
    WriteFileBytes(dir + "/x,y.qvntheme", ThemeText());  // key charset
    WriteFileBytes(dir + "/Notes.txt", ThemeText());     // extension
    fs::create_directories(dir + "/Folder.qvntheme");    // a folder is never a theme
    mkfifo((dir + "/Pipe.qvntheme").c_str(), 0600);      // nor a pipe, which must not block the scan
    ScanCustomThemes();
    EXPECT_EQ(ListedKeys(), (std::vector<std::string>{"Alpha", "Zeta", "a"}));
    EXPECT_EQ(ThemeFolderNames().size(), 9u);
    {
        std::lock_guard<std::recursive_mutex> lock(g_ThemesMutex);
        EXPECT_EQ(g_CustomThemes.at("Zeta").filePath, dir + "/Zeta.qvntheme");
    }
    // The next scan replaces the list.
    fs::remove(dir + "/Zeta.qvntheme");
    ScanCustomThemes();
    EXPECT_EQ(ListedKeys(), (std::vector<std::string>{"Alpha", "a"}));
}

TEST_F(ThemeLibraryTest, CustomThemesDocument) {
    EXPECT_EQ(BindGetCustomThemes("[]"), "[]");
    WriteFileBytes(GetThemesDirPath() + "/B.qvntheme", ThemeText(SkinMembers("{" + PieceMember("radio") + "}")));
    WriteFileBytes(GetThemesDirPath() + "/A (2).qvntheme", ThemeText("", "Say \\\"hi\\\""));
    ScanCustomThemes();
    const std::string colours =
        "\"bgMain\":\"#101010\",\"bgPanel\":\"#202020\",\"bgHeader\":\"#ABC\",\"accent\":\"rgb(1, 2 ,3)\","
        "\"accentHover\":\"#abcdef\",\"text\":\"#fff\",\"font\":\"'Consolas', 'Courier New', monospace\"";
    EXPECT_EQ(BindGetCustomThemes(""), "[{\"key\":\"A (2)\",\"name\":\"Say \\\"hi\\\"\"," + colours +
                                           ",\"hasSkin\":false},{\"key\":\"B\",\"name\":\"Night\"," + colours +
                                           ",\"hasSkin\":true}]");
}

TEST_F(ThemeLibraryTest, SkinPiecesAndFontReachThePage) {
    const std::string font = Base64Encode(FontBytes(1500, 0x4F54544F));
    const std::string radio = PieceMember("radio");
    const std::string radioB64 = radio.substr(radio.find(':') + 2, radio.size() - radio.find(':') - 3);
    WriteFileBytes(GetThemesDirPath() + "/Skin.qvntheme",
                   ThemeText(SkinMembers("{" + radio + "," + PieceMember("button.on") + "}", "\"" + font + "\"")));
    WriteFileBytes(GetThemesDirPath() + "/Plain.qvntheme", ThemeText());
    WriteFileBytes(GetThemesDirPath() + "/NoFont.qvntheme", ThemeText(SkinMembers("{" + radio + "}")));
    ScanCustomThemes();

    EXPECT_EQ(BindGetSkinPiece("[\"Skin|radio\"]"), "\"" + radioB64 + "\"");
    EXPECT_EQ(BindGetSkinFont("[\"Skin\"]"), "\"" + font + "\"");
    const std::string empties[] = {"[\"Skin|radio|x\"]", "[\"Plain|radio\"]", "[\"Nobody|radio\"]", ""};
    for (const std::string& arg : empties) EXPECT_EQ(BindGetSkinPiece(arg), "\"\"") << arg;
    EXPECT_EQ(BindGetSkinFont("[\"Plain\"]"), "\"\"");
    EXPECT_EQ(BindGetSkinFont("[\"NoFont\"]"), "\"\"");

    // A piece the skin doesn't carry keeps the skin read for its theme: a file spoiled on disk after the scan
    // shows only once another theme's skin has been read, and its colours stay listed.
    EXPECT_EQ(BindGetSkinPiece("[\"Skin|field\"]"), "\"\"");
    WriteFileBytes(GetThemesDirPath() + "/Skin.qvntheme",
                   ThemeText(SkinMembers("{\"radio\":\"" + Base64Encode(PngBytes(52, 53)) + "\"}")));
    EXPECT_EQ(BindGetSkinPiece("[\"Skin|radio\"]"), "\"" + radioB64 + "\"");
    EXPECT_EQ(BindGetSkinPiece("[\"NoFont|radio\"]"), "\"" + radioB64 + "\"");
    EXPECT_EQ(BindGetSkinPiece("[\"Skin|radio\"]"), "\"\"");
    EXPECT_EQ(ListedKeys(), (std::vector<std::string>{"NoFont", "Plain", "Skin"}));

    // A deleted theme's skin, though just read, is gone with it.
    EXPECT_EQ(BindGetSkinPiece("[\"NoFont|radio\"]"), "\"" + radioB64 + "\"");
    BindDeleteTheme("[\"NoFont\"]");
    EXPECT_EQ(BindGetSkinPiece("[\"NoFont|radio\"]"), "\"\"");
}

TEST_F(ThemeLibraryTest, PendingAlertIsDeliveredOnce) {
    EXPECT_EQ(BindGetPendingThemeAlert(""), "\"\"");
    g_PendingThemeAlert = "That \"theme\" was refused.";
    EXPECT_EQ(BindGetPendingThemeAlert("[]"), "\"That \\\"theme\\\" was refused.\"");
    EXPECT_EQ(BindGetPendingThemeAlert("[]"), "\"\"");
}

TEST(ThemeFiles, IdentityIsByteForByte) {
    const std::string dir = PlatformDataDir() + "/identity";
    fs::create_directories(dir);
    std::string big(200000, 'q');
    WriteFileBytes(dir + "/a", big);
    WriteFileBytes(dir + "/b", big);
    EXPECT_TRUE(FilesAreByteIdentical(dir + "/a", dir + "/b"));
    big[150000] = 'r';
    WriteFileBytes(dir + "/b", big);
    EXPECT_FALSE(FilesAreByteIdentical(dir + "/a", dir + "/b"));
    WriteFileBytes(dir + "/b", big.substr(0, size_t{65536} * 2));  // a prefix ending on a read boundary
    EXPECT_FALSE(FilesAreByteIdentical(dir + "/a", dir + "/b"));
    EXPECT_FALSE(FilesAreByteIdentical(dir + "/a", dir + "/missing"));
    EXPECT_FALSE(FilesAreByteIdentical(dir, dir));
    fs::remove_all(dir);
}

}  // namespace
