// The start-up check's page: shown instead of the main page when the session can't give global input or the
// web engine is too old, with the bindings it calls. UI thread.
#pragma once

#include <string>

class WebView;

// The page to show at start: the main page, or the boot page in the mode that DecideStartPage picks.
void LoadStartPage(WebView& w);

// resources/ui/boot.html with its mode filled in, or the missing-page message.
void LoadBootPage(WebView& w, const std::string& mode);

// The boot page's names; bound in the main window, which shows both pages.
void BindBootPage(WebView& w);
