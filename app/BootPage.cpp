#include "app/BootPage.h"

#include "app/Master.h"
#include "bridge/WebView.h"
#include "core/AppState.h"
#include "platform/Platform.h"
#include "platform/StartupChecks.h"
#include "platform/Window.h"

namespace {

constexpr const char* kMissingBootPage = "<h2>Error loading UI</h2><p>ui/boot.html is missing from the app bundle.</p>";

bool WebEngineTooOld() {
    int major = 0, minor = 0, micro = 0;
    PlatformWebEngineVersion(major, minor, micro);
    return IsWebEngineTooOld(major, minor, micro);
}

}  // namespace

void LoadBootPage(WebView& w, const std::string& mode) {
    const std::string page = BootPageDocument(ReadFile(PlatformResourceDir() + "/ui/boot.html"), mode);
    w.set_html(page.empty() ? kMissingBootPage : page);
}

void LoadStartPage(WebView& w) {
    const std::string mode = DecideStartPage(WebEngineTooOld(), InputReady, [] {
        return InputWorkedBefore(GetInputRecordFilePath(), PlatformInstallIdentifier());
    });
    if (mode.empty()) {
        LoadMainUi(w);
    } else {
        LoadBootPage(w, mode);
    }
}

void BindBootPage(WebView& w) {
    w.bind("qvnMacPermissionStatus", [](const std::string&) {
        const InputAccess access = PlatformInputAccess();
        return PermissionStatusJson(access, InputReady());
    });
    // X11 has no permission to ask for: what is missing is the session's or the server's, and the page
    // says how to get it.
    w.bind("qvnMacRequestPermission", [](const std::string&) { return std::string(); });
    w.bind("qvnMacOpenSoftwareUpdate", [](const std::string&) {
        PlatformOpenSoftwareUpdate();
        return std::string();
    });
    w.bind("qvnMacContinue", [&w](const std::string&) {
        if (InputReady()) {
            // After this call has answered: replacing the page from inside one of its calls would lose the answer.
            w.dispatch([&w] {
                LoadMainUi(w);
                if (void* window = g_MasterWindow.load()) PlatformBringToFront(window);
            });
        }
        return std::string();
    });
}
