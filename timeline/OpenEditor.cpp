// Apart from the rest of the editor's process logic: only the master's window binds it, and it reaches the
// desktop (raising a window), which the programs without a window don't link.
#include "core/BindArgs.h"
#include "platform/Platform.h"
#include "timeline/EditorProcess.h"

std::string OpenTimelineEditorWindow(int masterPid) {
    if (const int pid = OpenTimelineEditorPid()) {
        PlatformActivateProcess(pid);
        return "";
    }
    if (PlatformSpawnTimelineEditor(masterPid) == 0) return BindMessage("Couldn't open the Timeline Editor.");
    return "";
}
