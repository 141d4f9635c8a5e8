// The "--timeline" run mode: the Timeline Editor's window for the master `masterPid`.
#pragma once

#include <string>

// Runs the editor until its window closes; the exit status. A second editor brings the first forward
// and ends at once.
int RunTimelineEditorWindow(int masterPid);

// The editor's page from resourceDir/ui with its scripts and stylesheet inlined, or the missing-page
// heading.
std::string TimelineUiDocument(const std::string& resourceDir);
