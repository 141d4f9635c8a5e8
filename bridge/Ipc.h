// The local socket between the master and its companion processes (pop-out panels, the Timeline
// Editor). One short connection per command, one way: "command|payload", at most 511 bytes, ended by the
// end of the stream. Only a process of the same user running the same executable file is heard, and a
// sender talks only to such a server. Answers travel through files of the data folder.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// A message of this many bytes or more is refused by the sender and dropped by the server.
inline constexpr size_t kIpcMessageLimit = 512;

// The socket's path for a data folder and a user: dataDir + "/ipc.sock" when shorter than 104 bytes (the
// smallest socket address of the platforms we build for), else "<runtimeDir>/qvn-<uid>-<hash of dataDir>.sock"
// in the user's private runtime folder (never a shared one, where another user could take the name first);
// empty when there is no such folder or even that path is too long. Every process of one build computes the
// same path.
std::string IpcSocketPath(const std::string& dataDir, unsigned uid, const std::string& runtimeDir);

// One received message: split at the first "|" (the payload may hold more), "timelineAck" to the
// editor's acknowledgement, anything else to HandleIpcCommand. Without a "|", or at the size limit or
// above, it is dropped. Runs on the server's thread.
void HandleIpcMessage(std::string_view message);

// The master's dispatcher: the commands of the panels and the editor, with the bound names of the main
// page and plain-text payloads. Unknown commands are ignored; "unlock" is not accepted for reassignKey.
// Runs on the server's thread; it takes profileMutex (and g_TimelineMutex first) where a command needs it.
void HandleIpcCommand(const std::string& command, const std::string& payload);

// --- Platform -------------------------------------------------------------------------------------------

// Master only, once at start-up: removes a socket file left by a crash, binds the socket with mode 0600
// and starts the server thread, which hands each message from a peer that is us to `handler`
// (HandleIpcMessage in the app) and closes the connection after it returns. One connection at a time.
// True when it runs (also when it already did).
bool PlatformStartIpcServer(void (*handler)(std::string_view message));

// Ends the server thread (within 200 ms plus a command in progress) and removes the socket file. From
// ShutDown; a second call does nothing.
void PlatformStopIpcServer();

// Whether the server is up: pop-out panels need it.
bool PlatformIpcAvailable();

// Companion processes: sends one message and returns once the master has handled it (the connection
// closes), or after about a second. Loses the message silently when it is too long, when no master
// listens, or when the listener isn't this program.
void SendIPCMessage(const std::string& command, const std::string& payload);
