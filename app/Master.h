// The master process: start-up, the main page, and the one way out.
#pragma once

#include <string>
#include <vector>

class WebView;

// Starts the six workers in their fixed order and keeps their handles in g_Threads.
void StartThreads();

// Runs the master from start-up to exit; returns the exit status. `files` (from the command line) are
// opened once the window is up, or handed to the master that already runs, after which this process ends.
int RunMaster(const std::vector<std::string>& files);

// The text to show in the main window: the page from resourceDir/ui with its scripts inlined, or the
// missing-page message.
std::string MainUiDocument(const std::string& resourceDir);

// True when the session offers global input and the input tap runs; starts the tap when it doesn't, and
// records this install as one with working input. May be called again and again.
bool InputReady();

// Loads the main page into the window; g_MainPageReady falls until the page first asks for its settings.
void LoadMainUi(WebView& w);

// Stops everything in order. Safe to call twice and from two threads: the second call returns at once.
void ShutDown();

void CancelUpdates();

// Keeps the window's placement in the settings when it has a size.
void SaveGeometry();
