// The Timeline Editor as a process: the files by which it is found and sized, the answers its page gets
// from the transfer files, and the master's way of opening it.
#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>

inline constexpr int kTimelineMinWidth = 640;
inline constexpr int kTimelineMinHeight = 420;

// --- Master side ----------------------------------------------------------------------------------------

// The running editor's process id from "timeline.pid", or 0 when the file is missing or names a process
// that isn't this program (a stale id reused by another process).
int OpenTimelineEditorPid();

// The binding "openTimelineEditor": brings the running editor forward, or starts one for the master
// `masterPid`. Empty text, or the BindMessage of "Couldn't open the Timeline Editor." when it can't start.
std::string OpenTimelineEditorWindow(int masterPid);

// --- Editor side ----------------------------------------------------------------------------------------

// All the editor process keeps: whether its page has unsaved edits (set by the page, read by the close
// guard and the poll thread) and the automation state the master told last.
extern std::atomic<bool> g_TimelineDirty;
extern std::atomic<bool> g_TimelineAutomationBusy;

// The window size from the text of "timeline-window.txt": two whole numbers (blanks before each), both at
// least 1 and within an int, else 1000 by 680;
// zoomed when the text holds " max" and the numbers were good.
void ParseTimelineWindowSize(const std::string& text, int& width, int& height, bool& zoomed);

// "W H" or "W H max"; empty when either side is below 1.
std::string FormatTimelineWindowSize(int width, int height, bool zoomed);

// Removes the four transfer files and their ".tmp" twins, so that nothing left from a crash is acted on.
void DeleteTimelineTransferFiles();

// {"ok":true|false,"message":"..."} without blanks.
std::string TimelineBindResult(bool ok, const std::string& message);

// "tlReadLoad": the load document behind the nonce's line as a JSON string, once (the file is removed);
// "null" for a bad nonce, no file, or a file meant for another nonce (which stays for its owner).
std::string TimelineReadLoad(const std::string& nonce);

// "tlReadResult": the master's verdict on the save `nonce` as a TimelineBindResult, once; else "null".
std::string TimelineReadResult(const std::string& nonce);

// A transfer file's text after its first line, when that line is `nonce`; false otherwise.
bool TimelineTransferTextFor(const std::string& text, const std::string& nonce, std::string& rest);

// A result file's text after its nonce line ("ok" or another status, then the message on the lines that
// follow) as a TimelineBindResult.
std::string TimelineResultFromText(const std::string& rest);

// "tlSave": `arg` is the bridge's argument array holding the save document. Checks it with the master's
// own parser, writes "timeline-save.json" and calls send("applyTimelineEdit", nonce). The result says only
// whether the request left; the verdict comes through TimelineReadResult.
std::string TimelineSaveRequest(const std::string& arg,
                                const std::function<void(const std::string&, const std::string&)>& send);

// The poll thread's reading of "timeline-state.txt": when `text` differs from `last` and reads as
// "<number> <state>", remembers it in `last`, sets `busy` and returns the script that tells the page (and
// acknowledges for a page without a handler). Otherwise empty.
std::string TimelineStateScript(const std::string& text, std::string& last, bool& busy);

inline constexpr const char* kTimelineCloseRequestScript =
    "if (window.onTimelineCloseRequested) window.onTimelineCloseRequested();";
inline constexpr const char* kTimelineMasterGoneScript =
    "if (window.onTimelineMasterGone) window.onTimelineMasterGone(); else window.tlCloseWindow('');";

// --- Platform -------------------------------------------------------------------------------------------

// Starts this executable with "--timeline" and the master's id; the new process id, or 0. A thread of
// its own waits for the child, so no zombie stays behind.
int PlatformSpawnTimelineEditor(int masterPid);

// Opens (creating, 0600, close-on-exec) and locks `path` exclusively without waiting. Returns the open
// descriptor, or -1; `taken` is true when another process holds the lock. The lock lasts while the
// descriptor is open.
int PlatformLockFile(const std::string& path, bool& taken);
void PlatformCloseFile(int fd);

// The editor's window: the content size clamped to the screen's visible area (less a title bar) and
// raised to the minimum, centred, zoomed when asked, then brought to the front.
void PlatformSetUpTimelineWindow(void* window, int width, int height, bool zoomed, int minWidth, int minHeight);

// Calls allowClose when the user closes the window; the window stays open when it answers false.
void PlatformInstallCloseGuard(void* window, std::function<bool()> allowClose);

// The content size and whether the window is maximised; false when unknown.
bool PlatformGetWindowContentSize(void* window, int& width, int& height, bool& zoomed);
