// The names a pop-out panel's page calls. They have the main window's spelling, so the page needs no
// changes: commands are relayed to the master over the IPC socket, queries are answered from the files
// the master rewrites at each poll of the main page, and the window's own names (resize, drag, close) act
// on the panel's window. UI thread.
#pragma once

#include <string>

class WebView;

// Binds every page function of a panel window.
void BindPanelWindow(WebView& w);
