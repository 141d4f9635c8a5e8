// The platform half of the theme library: watching the folder and telling the panels.
#pragma once

#include <functional>
#include <string>

// Watches the folder `path` for entries created, deleted, renamed, moved or finished writing. `callback`
// runs on a thread of the watcher's own and may sleep there; events that arrive while it runs are merged
// into one further call. A watch lives as long as the process. When the folder can't be watched there is
// no watcher and no message.
void PlatformWatchDirectory(const std::string& path, std::function<void()> callback);

// Tells the pop-out panel process `pid` that themes changed (SIGUSR1 on Linux).
void PlatformSignalThemesChanged(int pid);
