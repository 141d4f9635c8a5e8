// The names a pop-out panel's page calls. They have the main window's spelling, so the page needs no
// changes: commands are relayed to the master over the IPC socket, queries are answered from the files
// the master rewrites at each poll of the main page, and the window's own names (resize, drag, close) act
// on the panel's window. UI thread.
#pragma once

#include <string>

class WebView;

// Binds every page function of a panel window.
void BindPanelWindow(WebView& w);

// Answers of the panel's queries, read from the data folder. A file that holds no JSON object gives the
// same answer as a missing one: the idle status, and "{}" for the settings.
std::string PanelTrackerStatus();
std::string PanelSettings();
