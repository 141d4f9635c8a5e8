// The master's side of the exchange with the Timeline Editor, and the transfer files both sides use.
// The editor names a request by a nonce over the socket; the macro itself travels in files of the data
// folder that are renamed into place complete. Every stale request is refused with a sentence.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "core/AppState.h"
#include "timeline/TimelineSaveDoc.h"

// The largest result file, in bytes.
inline constexpr size_t kTimelineMaxResultBytes = 0x10000;

// What the editor was last given. Guarded by g_TimelineMutex; overwritten by each export, never cleared.
struct TimelineExportState {
    std::string nonce;  // of the last export that succeeded; empty before the first
    int32_t profileIdx = 0;
    std::string profileName;           // at export time
    std::vector<UnifiedEvent> events;  // at export time, or after a save the events saved
};
extern TimelineExportState g_TimelineExport;

// "timelineExport": copies the active profile under g_TimelineMutex then profileMutex, records it in
// g_TimelineExport, and writes "timeline-load.txt" (the nonce, a line feed, the load document) outside
// the locks. An invalid nonce or no active profile: nothing at all. Runs on the IPC server's thread.
void HandleTimelineExport(const std::string& nonce);

// "applyTimelineEdit": reads and deletes "timeline-save.json", and if it is the save that `nonce` names,
// made from the last export, into a profile that is unchanged, idle and where it was, puts its events
// in that profile. Every outcome but an invalid nonce is answered in "timeline-result.txt". Lock order
// g_TimelineMutex, profileMutex. After a save, and before its answer, calls `afterSave` (the event list's
// refresh) with no lock held. Runs on the IPC server's thread.
void HandleTimelineApply(const std::string& nonce, void (*afterSave)() = nullptr);

// `name` in the folder of the macro events file (the data folder).
std::string TimelineDataFilePath(const std::string& name);

// Writes path + ".tmp", then renames it to `path`: a reader sees the whole file or none. False, with the
// temporary file removed, when a step fails.
bool WriteTimelineFileAtomic(const std::string& path, const std::string& content);

// The whole file into `content`; false when it can't be opened or read, or is larger than maxBytes.
bool ReadTimelineFile(const std::string& path, std::string& content, size_t maxBytes);

// [[type,time,x,y,flags,vk,down,wheel],...] without blanks; times as "%.15g" in the C locale, and 0 for a
// time that isn't finite.
std::string TimelineEventsToJson(const std::vector<UnifiedEvent>& events);

// Equal length and every event equal in all eight fields (a NaN time equals nothing).
bool SameTimelineEvents(const std::vector<UnifiedEvent>& a, const std::vector<UnifiedEvent>& b);
