#include "app/TimelineEditor.h"

#include <atomic>
#include <chrono>
#include <thread>

#include "bridge/InlineVendorScripts.h"
#include "bridge/MainBindings.h"
#include "bridge/TimelineBindings.h"
#include "bridge/ViewScripts.h"
#include "bridge/WebView.h"
#include "core/Threads.h"
#include "platform/Platform.h"
#include "platform/Window.h"
#include "themes/Themes.h"
#include "timeline/EditorProcess.h"
#include "timeline/TimelineExchange.h"

namespace {

constexpr const char* kMissingPage = "<h2>Error loading the Timeline Editor (ui/timeline.html is missing)</h2>";

void SaveTimelineWindowSize(void* window) {
    int width = 0, height = 0;
    bool zoomed = false;
    if (!PlatformGetWindowContentSize(window, width, height, zoomed)) return;
    const std::string text = FormatTimelineWindowSize(width, height, zoomed);
    if (!text.empty()) WriteTimelineFileAtomic(TimelineDataFilePath("timeline-window.txt"), text);
}

// "QVN timeline poll": hands the master's automation state to the page as it changes, and notices a
// master that has gone (within 2 s). Touches the page only through its scripts, which end with the view.
void PollThread(WebView& w, const ViewScripts& scripts, const std::atomic<bool>& running, int masterPid) {
    PlatformNameThread("QVN timeline poll");
    PlatformRaiseThreadPriority();
    const std::string statePath = TimelineDataFilePath("timeline-state.txt");
    std::string last;
    for (unsigned pass = 1; running; ++pass) {
        std::string text;
        if (ReadTimelineFile(statePath, text, 64)) {
            bool busy = false;
            const std::string script = TimelineStateScript(text, last, busy);
            if (!script.empty()) {
                g_TimelineAutomationBusy = busy;
                scripts.Run(script);
            }
        }
        if (pass % 200 == 0 && !PlatformProcessIsThisApp(masterPid)) {
            // With unsaved edits the page tells the user, who may still copy the work; without, it closes.
            if (g_TimelineDirty.exchange(false)) {
                scripts.Run(kTimelineMasterGoneScript);
            } else {
                w.terminate();
            }
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

}  // namespace

std::string TimelineUiDocument(const std::string& resourceDir) {
    const std::string folder = resourceDir + "/ui";
    const std::string page = ReadFile(folder + "/timeline.html");
    if (page.empty()) return kMissingPage;
    return InlineVendorScripts(page, folder);
}

int RunTimelineEditorWindow(int masterPid) {
    bool taken = false;
    const int lock = PlatformLockFile(TimelineDataFilePath("timeline.lock"), taken);
    if (taken) {
        if (const int other = OpenTimelineEditorPid()) PlatformActivateProcess(other);
        return 0;
    }
    const std::string pidPath = TimelineDataFilePath("timeline.pid");
    const std::string ownPid = std::to_string(PlatformProcessId());
    WriteTimelineFileAtomic(pidPath, ownPid);
    ScanCustomThemes();
    DeleteTimelineTransferFiles();
    {
        WebView w(false);
        if (!w.ok()) {
            PlatformDeleteFile(pidPath);
            PlatformCloseFile(lock);
            return 1;
        }
        void* window = w.window();
        w.set_title("Quorvane - Timeline Editor");
        w.init(kDocumentStartScript);
        std::string sizeText;
        ReadTimelineFile(TimelineDataFilePath("timeline-window.txt"), sizeText, 64);
        int width = 0, height = 0;
        bool zoomed = false;
        ParseTimelineWindowSize(sizeText, width, height, zoomed);
        w.set_size(width, height, SizeHint::None);
        w.set_size(kTimelineMinWidth, kTimelineMinHeight, SizeHint::Min);
        PlatformSetUpTimelineWindow(window, width, height, zoomed, kTimelineMinWidth, kTimelineMinHeight);
        PlatformInstallCloseGuard(window, [&w, window] {
            if (g_TimelineDirty) {
                w.eval(kTimelineCloseRequestScript);
                return false;
            }
            SaveTimelineWindowSize(window);
            return true;
        });
        PlatformInstallQuitHandler([&w] { w.terminate(); });
        BindTimelineWindow(w, [&w, window] {
            g_TimelineDirty = false;
            SaveTimelineWindowSize(window);
            w.terminate();
        });
        const ViewScripts scripts([&w](std::function<void()> task) { w.dispatch(std::move(task)); },
                                  [&w](const std::string& script) { w.eval(script); });
        PlatformInstallLifecycleHooks(
            window, [] {}, [scripts] { scripts.ViewGone(); });
        std::atomic<bool> running{true};
        std::thread poll(PollThread, std::ref(w), std::cref(scripts), std::cref(running), masterPid);
        w.set_html(TimelineUiDocument(PlatformResourceDir()));
        w.run();
        scripts.ViewGone();
        running = false;
        poll.join();
        PlatformInstallQuitHandler(nullptr);
    }
    DeleteTimelineTransferFiles();
    std::string pidText;
    if (ReadTimelineFile(pidPath, pidText, 32) && pidText == ownPid) PlatformDeleteFile(pidPath);
    PlatformCloseFile(lock);
    return 0;
}
