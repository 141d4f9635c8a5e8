#include "app/ChildMode.h"

#include <cstdio>

#include "bridge/MainBindings.h"
#include "bridge/PanelBindings.h"
#include "bridge/PopOut.h"
#include "bridge/WebView.h"
#include "platform/ChildWindow.h"
#include "platform/Platform.h"
#include "platform/Window.h"
#include "themes/Themes.h"

namespace {

constexpr int kPanelWidth = 450;
constexpr int kPanelHeight = 400;

}  // namespace

int RunChildMode(const std::string& arg) {
    PlatformPrepareChildProcess();
    const ChildPanelRequest request = ParseChildPanelArg(arg);
    ScanCustomThemes();

    WebView w(false);
    if (!w.ok()) {
        std::fprintf(stderr, "Quorvane: no window can be opened here (no usable display).\n");
        return 1;
    }
    w.set_title("Quorvane - " + request.title);
    w.init(kDocumentStartScript);
    w.set_size(kPanelWidth, kPanelHeight, SizeHint::None);
    PlatformSetUpChildWindow(w.window(), request.x, request.y, kPanelWidth, kPanelHeight);
    // One signal covers both a changed folder and a changed current theme: the page asks for both again.
    PlatformOnThemesChangedSignal([&w] {
        ScanCustomThemes();
        w.eval("if (window.onThemeFolderChanged) window.onThemeFolderChanged();");
    });
    PlatformInstallQuitHandler([&w] { w.terminate(); });
    PlatformWatchMaster([&w] { w.terminate(); });
    BindPanelWindow(w);
    w.set_html(ChildPanelDocument(PlatformResourceDir(), request.theme, request.panelId));
    w.run();
    PlatformInstallQuitHandler(nullptr);
    return 0;
}
