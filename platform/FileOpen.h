// Files handed to the program from outside: named on the command line (a desktop's "open with"), passed on
// by a second start, or dropped on the window. They all end in one handler, installed once the window is
// up; what comes before it waits and is then delivered in one call, in its order.
#pragma once

#include <functional>
#include <string>
#include <vector>

using OpenedFilesHandler = std::function<void(const std::vector<std::string>& paths)>;

// UI thread only, both.
extern std::vector<std::string> g_EarlyOpenedPaths;
extern OpenedFilesHandler g_OnFiles;

// UI thread. Hands the paths to the handler, or keeps them for it.
void DeliverOpenedFiles(const std::vector<std::string>& paths);

// UI thread, when the window is up. Installs the handler (a second call does nothing) and schedules the kept
// paths for it on the UI thread's loop, so that they are served after start-up has finished.
void InstallFileOpenHandler(OpenedFilesHandler handler);

// Any thread: DeliverOpenedFiles on the UI thread's loop.
void OpenFilesLater(std::vector<std::string> paths);

// The file types the program opens: ".qvnmacro" and ".qvntheme", in any case.
bool HasOpenableExtension(const std::string& path);

// A command-line argument as an absolute path: a "file://" address is decoded (this host only), a relative
// path joined to `cwd`. Empty for anything that can't be a local file (another scheme, a bad escape).
std::string OpenedPathFromArgument(const std::string& arg, const std::string& cwd);

// --- Platform -------------------------------------------------------------------------------------------

// Runs fn on the UI thread's loop, later, in the order of the calls; callable from any thread.
void PlatformRunOnUiThread(std::function<void()> fn);

std::string PlatformCurrentDirectory();

// Every drop of files on the window goes to onDrop (UI thread) with all the dropped paths, whatever their
// type: no file drop reaches the page. Other drags (text) are the page's.
void PlatformInstallFileDrop(void* window, OpenedFilesHandler onDrop);

// Keeps the loaded document in the web view: every navigation away from it is refused (a link to a web
// address opens in the user's browser instead). `webview` is the web view's own widget.
void PlatformKeepPageInView(void* webview);
