// The update's moving parts: the check, the download, the staged copy, the swap, and the sweep of what a
// crash leaves behind. The platform half lives in update/linux/.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>

#include "update/UpdateCore.h"

// ---- Names of the temporary folders (all derive from the bundle identifier, so a sweep touches only ours) --
std::string DownloadFolderPrefix();  // in the temporary folder
std::string StagingFolderPrefix();   // beside the app
std::string OldCopyPrefix();         // beside the app

// ---- Signatures and digests (platform) ----
struct UpdateKey;  // an imported public key; opaque
// Exactly 72 bytes beginning with "ECS1"; none when the point is not on the curve.
std::shared_ptr<UpdateKey> ImportP256PublicBlob(const unsigned char* bytes, size_t length);
// ECDSA over SHA-256 of the payload; the signature is 128 hexadecimal digits of r then s.
bool VerifyP256(const UpdateKey* key, const std::string& payload, const std::string& signatureHex);
// True when the payload is signed by a key this build trusts: the release key, and in a test build the test
// key as well.
bool VerifyWithTrustedKeys(const std::string& payload, const std::string& signatureHex);
// 64 lowercase hexadecimal digits, or empty when the file can't be opened or read.
std::string Sha256FileHexLower(const std::string& path);

// ---- HTTPS (platform) ----
// Called with the bytes received and the announced total (0 if unknown); returning false aborts.
using UpdateProgressFn = std::function<bool(uint64_t received, uint64_t total)>;
// HTTPS only, also on redirects; status 200 only; a body above maxBytes or shorter than announced fails.
// The body goes to `file` when given, else into `body`.
bool HttpsGet(const std::string& url, uint64_t maxBytes, std::FILE* file, const UpdateProgressFn& progress,
              std::string& body);

// ---- Staging, trust, swap (platform) ----
// The folder of the running install: the binary's own folder, empty if unknown.
std::string OwnAppPath();
// Downloads, proves, unpacks and checks the update beside appPath; returns "" and the staged copy's path,
// or the sentence to show. Nothing outside the private folders is touched on any path.
std::string DownloadAndStageUpdate(const std::string& appPath, const UpdateManifestInfo& info,
                                   const UpdateProgressFn& progress, std::string& stagedAppPath);
// The staged copy holds a file list signed by a trusted key that names every entry exactly; `version` gets
// the list's version.
bool StagedAppIsTrusted(const std::string& path, std::string* version);
// Swaps the staged copy in under appPath with a way back; returns "" and the old copy's path, or the
// sentence. `renameFn` is the system's rename unless a test needs another.
using RenameFn = std::function<int(const char* from, const char* to)>;
std::string SwapInStagedUpdate(const std::string& appPath, const std::string& stagedAppPath, std::string& oldCopy,
                               const RenameFn& renameFn = nullptr);
// Starts the small shell that waits for this process to end, removes the old copy and starts the new app.
void SpawnRelauncher(const std::string& oldCopy, const std::string& appPath);
// SwapInStagedUpdate on OwnAppPath(), then SpawnRelauncher. "" on success, else the sentence.
std::string InstallStagedUpdate(const std::string& stagedAppPath);

// Removes a tree only when path is a real directory (not a link) owned by us; never follows a link.
void RemoveTree(const std::string& path);
bool IsOwnRealDirectory(const std::string& path);
// At start: our own temporary folders left by a crash, in the temporary folder and beside the app.
void CleanupUpdateTempFiles();
// Sweeps one folder: entries whose name begins with one of the prefixes and that are our real directories.
void SweepFolder(const std::string& dir, const std::initializer_list<std::string>& prefixes);

// ---- The check and the page's update (portable) ----
// With currentVersion always filled in. The override is a manifest URL or a local file path.
UpdateCheckResult CheckForUpdate(const std::string& override);
// The detached thread that looks for an update once, after the page is ready, and offers it to the page.
void StartUpdateCheckThread();

// How the update thread reaches the page that started it.
struct UpdatePageHooks {
    std::function<void(const std::string& message)> resolve;  // answers the page's call with a sentence
    std::function<void(std::function<void()>)> dispatch;      // runs a function on the window's thread
    std::function<void()> terminate;                          // ends the window's loop
};
// The page's "startUpdate": starts the update thread, or answers at once when one runs already.
void StartUpdate(const UpdatePageHooks& hooks);

// Text of the self test of the update logic; true when every line passed.
bool SelfTestUpdate(const std::string& vectorsPath, std::string& report);

// The fixed sentences.
inline constexpr const char* kUpdateFailedInstall =
    "Update failed: the update could not be installed. Nothing was changed.";
