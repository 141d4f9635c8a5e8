// The names the Timeline Editor's page calls.
#pragma once

#include <functional>

class WebView;

// Binds the editor page's functions, in their fixed order. `close` ends the window (tlCloseWindow), after
// the page has dealt with unsaved edits. UI thread.
void BindTimelineWindow(WebView& w, std::function<void()> close);
