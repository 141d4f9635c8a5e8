#include "bridge/PopOut.h"

#include <mutex>
#include <vector>

#include "bridge/InlineVendorScripts.h"
#include "bridge/Ipc.h"
#include "bridge/StatusDocuments.h"
#include "core/AppState.h"
#include "core/BindArgs.h"
#include "core/Numbers.h"
#include "input/Injection.h"
#include "persist/AppSettings.h"
#include "persist/Settings.h"
#include "platform/Platform.h"
#include "themes/Themes.h"

namespace {

constexpr const char* kIpcDown = "Pop-out panels are unavailable right now - restart Quorvane.";
constexpr const char* kChildPageMissing = "<h2>Error loading UI in child process</h2>";

// A corner far outside any screen is no place for a window; the platform keeps it on a screen anyway,
// this only keeps the arithmetic whole.
constexpr int kCornerLimit = 1 << 20;

// The page's script that reduces it to one panel; @THEME@ and @PANEL@ become JSON string literals.
constexpr const char* kInjection = R"JS(<script>
(function () {
  if (typeof applyTheme === 'function') applyTheme(@THEME@);
  var select = document.getElementById('theme-select');
  if (select) select.value = typeof currentThemeKey !== 'undefined' ? currentThemeKey : 'quorvane';
  var all = document.querySelectorAll('.panel');
  for (var i = 0; i < all.length; i++) all[i].style.display = 'none';
  var activePanel = document.getElementById(@PANEL@);
  if (activePanel) {
    activePanel.style.display = 'block';
    activePanel.style.borderRadius = '0';
    activePanel.style.boxShadow = 'none';
    activePanel.style.border = 'none';
    var header = activePanel.querySelector('.panel-header');
    if (header) {
      header.style.cursor = 'move';
      header.addEventListener('mousedown', function (e) {
        if (e.button !== 0 || (e.target.closest && e.target.closest('.panel-btn'))) return;
        e.preventDefault();
        if (window.beginWindowDrag) window.beginWindowDrag('');
      });
    }
  }
  document.body.style.padding = '0';
  var dashboard = document.getElementById('dashboard');
  if (dashboard) dashboard.style.gap = '0';
  document.body.style.visibility = 'visible';
  if (typeof resizeHostWindow === 'function') resizeHostWindow();
})();
</script></body>)JS";

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

}  // namespace

std::string BindPopOutPanel(const std::string& arg) {
    if (!PlatformIpcAvailable()) return BindMessage(kIpcDown);
    const std::vector<std::string> fields = SplitString(ParseJSString(arg), '|');
    // The id ends up in the restore list of the status document as it stands, and names the one panel
    // the child shows: only the page's own panels are taken.
    if (fields.size() >= 2 && !IsKnownPanelId(fields[1])) {
        throw BindError("popOutPanel: \"" + fields[1] + "\" is not a panel");
    }
    std::string childArg = ParseJSString(arg);
    if (fields.size() >= 4) {
        int x = 0, y = 0;
        PlatformCursorPosition(x, y);
        childArg = fields[0] + "|" + fields[1] + "|" + std::to_string(x) + "|" + std::to_string(y);
    }
    WriteWholeFile(GetPanelSettingsFilePath(), BuildSettingsJson());
    childArg += "|" + CurrentTheme();
    const int pid = PlatformSpawnChild(childArg);
    if (pid >= 1 && fields.size() >= 2) {
        std::lock_guard<std::mutex> lock(g_ChildrenMutex);
        g_ActiveChildProcesses[fields[1]] = pid;  // the same id again forgets the older window's pid
    }
    return "";
}

ChildPanelRequest ParseChildPanelArg(const std::string& arg) {
    std::string text;
    for (char c : arg) {
        if (c != '"') text += c;
    }
    const std::vector<std::string> f = SplitString(text, '|');
    ChildPanelRequest r;
    if (f.size() > 0) r.title = f[0];
    if (f.size() > 1) r.panelId = f[1];
    int32_t x = 0, y = 0;
    if (f.size() >= 4 && ParseInt(f[2], x) && ParseInt(f[3], y) && x > -kCornerLimit && x < kCornerLimit &&
        y > -kCornerLimit && y < kCornerLimit) {
        r.x = x - 150;
        r.y = y - 20;
    }
    if (f.size() > 4) r.theme = f[4];
    return r;
}

std::string ChildPanelInjectionScript(const std::string& theme, const std::string& panelId) {
    // '<' is written as \u003c so that neither argument can close the script element.
    auto literal = [](const std::string& s) {
        std::string out = JsonEscapeForBind(s);
        ReplaceAll(out, "<", "\\u003c");
        return out;
    };
    // The template's two places are filled from the template itself: an argument that happens to hold
    // the other's marker stays as it is.
    const std::string tmpl = kInjection;
    const size_t themeAt = tmpl.find("@THEME@");
    const size_t panelAt = tmpl.find("@PANEL@");
    return tmpl.substr(0, themeAt) + literal(theme) + tmpl.substr(themeAt + 7, panelAt - themeAt - 7) +
           literal(panelId) + tmpl.substr(panelAt + 7);
}

std::string ChildPanelDocument(const std::string& resourceDir, const std::string& theme, const std::string& panelId) {
    const std::string folder = resourceDir + "/ui";
    std::string page = ReadFile(folder + "/index.html");
    if (page.empty()) return kChildPageMissing;
    const std::string script = ChildPanelInjectionScript(theme, panelId);
    const size_t body = page.rfind("</body>");
    if (body == std::string::npos) {
        page += script;
    } else {
        page.replace(body, 7, script);
    }
    return InlineVendorScripts(page, folder);
}

bool PointIsOverSavedMainWindow(int x, int y) {
    if (!g_HasSavedWindowPos) return false;
    const long long left = g_SavedWindowX, top = g_SavedWindowY;
    return left <= x && x < left + g_SavedWindowWidth && top <= y && y < top + g_SavedWindowHeight;
}

std::string PanelTrackerStatus() {
    const std::string text = LoadTrackerStatusFromFile();
    return JsonReadObject(text).ok ? text : kIdleTrackerStatus;
}

std::string PanelSettings() {
    std::string text = ReadFile(GetPanelSettingsFilePath());
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    return !text.empty() && JsonReadObject(text).ok ? text : "{}";
}
