// Pop-out panels: one panel of the main page in a window of its own, run by a second process of this
// executable ("--child"). The master spawns it and keeps its pid by panel id; the child shows the same
// page reduced to that panel, relays commands over the IPC socket and reads its answers from the files
// the master rewrites at each poll of the main page.
#pragma once

#include <climits>
#include <string>

// The bound popOutPanel of the main page. The argument is "title|panel id|x|y" (the last two are
// placeholders that become the cursor's place). Writes the tools' settings to panelsettings.txt, spawns
// the child with "title|id|x|y|theme" and records it under its panel id. Returns the refusal sentence when
// the socket is down; throws BindError for an id that names no panel. Main thread; takes g_ChildrenMutex.
std::string BindPopOutPanel(const std::string& arg);

// What a child's argument asks for. x and y are the window's top-left corner, or INT_MIN for a centred
// window.
struct ChildPanelRequest {
    std::string title = "Panel";
    std::string panelId;
    int x = INT_MIN;
    int y = INT_MIN;
    std::string theme = "quorvane";
};

// Reads "title|id|x|y|theme" with double quotes removed. The corner is the cursor's point less (150, 20),
// so that the cursor lands on the panel's header; fewer than 4 fields or a field that isn't a number
// centres the window.
ChildPanelRequest ParseChildPanelArg(const std::string& arg);

// The script element (and the closing body tag) that reduces the main page to one panel: the master's
// theme first, the theme select set to the theme the page resolved, every other panel hidden, the panel's
// header made the window's drag handle, and only then the page shown and the window fitted to it.
std::string ChildPanelInjectionScript(const std::string& theme, const std::string& panelId);

// The page for a child window: resourceDir/ui/index.html with the script above in place of its last
// "</body>" and its own scripts inlined; the error heading when the page is missing.
std::string ChildPanelDocument(const std::string& resourceDir, const std::string& theme, const std::string& panelId);

// The drop target of a dragged panel: the main window's last saved rectangle (g_SavedWindow*), read by the
// caller from the app settings. False when no rectangle is saved.
bool PointIsOverSavedMainWindow(int x, int y);

// A panel's queries, answered from the data folder. A file that holds no JSON object gives the same
// answer as a missing one: the idle status, and "{}" for the settings (the page polls the status, and a
// broken answer would fail each poll).
std::string PanelTrackerStatus();
std::string PanelSettings();
