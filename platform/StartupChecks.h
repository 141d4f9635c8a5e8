// Whether this session can run the program before its main page shows: a web engine new enough for the
// pages, and global input (watching and posting the user's input everywhere). When either is missing a
// small boot page says what and why, instead of a main page whose hotkeys would be silently dead.
#pragma once

#include <functional>
#include <string>
#include <vector>

// What the session offers for global input.
struct InputAccess {
    bool display = false;    // a display server connection could be opened
    bool injection = false;  // posting input (XTest)
    bool events = false;     // watching input everywhere, also during other clients' grabs (XInput 2.2)
    bool repeats = false;    // the keyboard's auto-repeat (RECORD); optional: without it a recording has none
    bool wayland = false;    // a Wayland session: its X server sees only the input of X applications
};

// The web engine the pages are written for, at least.
inline constexpr int kWebEngineMinimum[3] = {2, 40, 0};

// True when a known version is below the minimum; an unknown one (0.0.0) lets the start go on.
bool IsWebEngineTooOld(int major, int minor, int micro);

// Everything global input needs is there (repeats are optional).
bool InputAccessUsable(const InputAccess& access);

// The boot page's mode, or "" for the main page: "update" when the engine is too old (input isn't even
// tried), else "" when inputReady() holds, else "reset" when workedBefore() holds and "permissions" when not.
std::string DecideStartPage(bool engineTooOld, const std::function<bool()>& inputReady,
                            const std::function<bool()>& workedBefore);

// Global input is ready when the session offers it and the tap starts. When it offers it, the record file
// gains the line "inputWorked=<id>" first (once; a file that can't be written is passed over): the record
// says that this install had working input once, whatever the tap does now. An empty id records nothing.
bool CheckInputReady(const InputAccess& access, const std::string& recordPath, const std::string& id,
                     const std::function<bool()>& startTap);

// Some line of the record file is exactly "inputWorked=<id>"; false for an empty id or a missing file.
bool InputWorkedBefore(const std::string& recordPath, const std::string& id);

// The boot page's text with the first "__QVN_BOOT_MODE__" replaced by the mode; "" when the text has no
// marker (which covers a missing or empty file).
std::string BootPageDocument(const std::string& text, const std::string& mode);

// The boot page's status document: {"accessibility":..,"input":..,"ready":..,"missing":[..]}. The display
// stands for "accessibility"; "input" is true when ready and otherwise says whether posting and watching are
// both there; "missing" names what is absent: "display", "xtest", "xinput", "wayland", "record".
std::string PermissionStatusJson(const InputAccess& access, bool ready);

// A variable of the toolkit's or the web engine's environment and the value it gets.
struct DrawingSetting {
    const char* name;
    const char* value;
};

// How the windows should draw on this display, as variables to set before the first window. Without
// direct rendering (an X server without DRI3: a virtual or remote display) OpenGL is Mesa's rasteriser on
// the processor, slower there than drawing on the processor directly: the web engine draws with its own
// rasteriser into one surface without its compositor, and the toolkit puts that on screen with cairo.
// Nothing with direct rendering. A variable the user has set (`isSet`) stands, and so does either
// compositing variable for the other.
std::vector<DrawingSetting> DrawingSettings(bool directRendering, const std::function<bool(const char*)>& isSet);

// --- Platform -------------------------------------------------------------------------------------------

// Probes the session afresh on each call (a short-lived connection of its own). UI thread.
InputAccess PlatformInputAccess();

// The web engine's runtime version.
void PlatformWebEngineVersion(int& major, int& minor, int& micro);

// Before the first web view of the process, while it has one thread: lets the web engine draw the way that
// is quickest on this display (see DrawingSettings).
void PlatformPrepareWebEngine();

// Opens the desktop's software updater, when it has one.
void PlatformOpenSoftwareUpdate();

// What identifies this install in the record: the executable's real path.
std::string PlatformInstallIdentifier();

// The record file in the data folder.
std::string GetInputRecordFilePath();
