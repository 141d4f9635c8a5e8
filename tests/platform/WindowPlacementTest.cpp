// The window's placement rules, and the login-start entry.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <climits>
#include <cstdlib>

#include "platform/Platform.h"
#include "platform/Window.h"
#include "platform/WindowPlacement.h"
#include "platform/linux/LinuxPlatform.h"
#include "tests/fakes/Fakes.h"

namespace {

// A 1920x1080 screen with a 30-point panel on top, and a 1280x1024 one to its right.
const std::vector<ScreenArea> kScreens = {{{0, 0, 1920, 1080}, {0, 30, 1920, 1050}},
                                          {{1920, 0, 1280, 1024}, {1920, 0, 1280, 1024}}};

TEST(WindowPlacementTest, Restore) {
    const struct {
        const char* name;
        WindowRect saved;
        std::optional<WindowRect> placed;
    } cases[] = {
        {"on the second screen", {2000, 100, 420, 560}, WindowRect{2000, 100, 420, 560}},
        {"taller than the visible area: shrunk and raised", {100, 500, 420, 2000}, WindowRect{100, 30, 420, 1050}},
        {"bottom below the visible area: raised, x kept", {1700, 900, 600, 400}, WindowRect{1700, 680, 600, 400}},
        {"flush against the edge still counts", {-1, -1, 300, 300}, WindowRect{-1, -1, 300, 300}},
        {"below every screen", {100, 1100, 420, 560}, std::nullopt},
        {"no size", {100, 80, 0, 560}, std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(PlaceRestoredWindow(c.saved, kScreens), c.placed);
    }
}

TEST(WindowPlacementTest, PopOutPanel) {
    const struct {
        const char* name;
        int x, y;
        WindowRect placed;
    } cases[] = {
        {"asked for no place: centred in the first screen's visible area", INT_MIN, 200, {735, 355, 450, 400}},
        {"where asked", 500, 300, {500, 300, 450, 400}},
        {"under the top panel: moved down", 500, 10, {500, 30, 450, 400}},
        {"past the first screen's right edge, nearer the second: kept on it", 3000, 900, {2750, 624, 450, 400}},
        {"left of every screen: on the nearest", -140, 500, {0, 500, 450, 400}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(PlaceChildWindow(c.x, c.y, 450, 400, kScreens), c.placed);
    }
    EXPECT_EQ(PlaceChildWindow(INT_MIN, INT_MIN, 450, 400, {}), (WindowRect{0, 0, 450, 400}));
}

TEST(WindowPlacementTest, ClampedResize) {
    const WindowRect visible{0, 30, 1920, 1050};
    const struct {
        const char* name;
        WindowRect frame;
        int w, h;
        std::optional<WindowRect> result;
    } cases[] = {
        {"grows in place", {100, 100, 420, 590}, 500, 600, WindowRect{100, 100, 500, 630}},
        // Taller than the screen: 20 points short of the visible height, the top kept.
        {"too tall", {100, 30, 420, 590}, 420, 5000, WindowRect{100, 30, 420, 1030}},
        {"near the bottom: bottom pinned", {100, 900, 420, 200}, 420, 400, WindowRect{100, 650, 420, 430}},
        {"width isn't capped", {0, 100, 420, 590}, 4000, 100, WindowRect{0, 100, 4000, 130}},
        {"nothing for an empty size", {0, 100, 420, 590}, 0, 100, std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(ClampContentResize(c.frame, 0, 30, visible, c.w, c.h), c.result);
    }
    EXPECT_EQ(ClampContentResize({0, 0, 100, 100}, 0, 30, {0, 0, 100, 50}, 100, 100), std::nullopt);
}

TEST(LaunchAtLoginTest, WrittenOnceRemovedWhenOff) {
    TempDir tmp;
    const std::string& dir = tmp.path();
    setenv("XDG_CONFIG_HOME", dir.c_str(), 1);
    const std::string path = LinuxAutostartPath();
    EXPECT_EQ(path, dir + "/autostart/app.quorvane.pro.desktop");

    PlatformApplyLaunchOnStartup(false);  // nothing there: nothing happens
    EXPECT_FALSE(PlatformFileExists(path));
    PlatformApplyLaunchOnStartup(true);
    ASSERT_TRUE(PlatformFileExists(path));
    struct stat first {};
    stat(path.c_str(), &first);
    PlatformApplyLaunchOnStartup(true);  // the same entry: not written again
    struct stat second {};
    stat(path.c_str(), &second);
    EXPECT_EQ(first.st_ino, second.st_ino);
    EXPECT_NE(ReadFile(path).find("Exec=\""), std::string::npos);
    PlatformApplyLaunchOnStartup(false);
    EXPECT_FALSE(PlatformFileExists(path));

    EXPECT_NE(LinuxAutostartEntry("/opt/a b/$x\\y%z\"q").find("Exec=\"/opt/a b/\\\\$x\\\\\\\\y%%z\\\\\"q\"\n"),
              std::string::npos);
    unsetenv("XDG_CONFIG_HOME");
}

}  // namespace
