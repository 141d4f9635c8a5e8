// What the master does with theme and macro files opened from the desktop or dropped on its window.
#pragma once

#include <string>
#include <vector>

// UI thread. Installs themes (the last good one becomes the current theme) and brings macros in: one
// without findings becomes the current profile, one with findings waits for the page's confirmation. The
// page is told when it is up; otherwise it finds the outcome itself when it comes up. Other files are
// passed over. Brings the window to the front.
void HandleOpenedFiles(const std::vector<std::string>& paths);

// UI thread. A drop on the window: the macro and theme files go to HandleOpenedFiles; any other file is
// refused with one sentence that names it.
void HandleDroppedFiles(const std::vector<std::string>& paths);

// The sentence for dropped files the program doesn't open, naming them by file name.
std::string RefusedDropMessage(const std::vector<std::string>& names);
