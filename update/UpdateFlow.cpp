// The update check after start-up and the update that the page starts: check afresh, download and stage,
// then swap on the window's thread. g_UpdateUiMutex is held around every call into the page from these
// threads, together with the test of g_UpdateInstallCancel, so CancelUpdates is a barrier.
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include "core/AppState.h"
#include "core/BindArgs.h"
#include "core/Threads.h"
#include "platform/Platform.h"
#include "update/Update.h"

namespace {

// True while an update started by the page runs; stays true on success and on cancel, as the process ends.
std::atomic<bool> updateInstallRunning{false};

bool PageReachable() { return !g_UpdateInstallCancel && static_cast<bool>(g_MasterEvalFn); }

void Answer(const UpdatePageHooks& hooks, const std::string& message) {
    updateInstallRunning = false;
    std::lock_guard<std::mutex> lock(g_UpdateUiMutex);
    if (PageReachable() && hooks.dispatch && hooks.resolve) {
        const auto resolve = hooks.resolve;
        hooks.dispatch([resolve, message] { resolve(message); });
    }
}

void UpdateThread(UpdatePageHooks hooks) {
    PlatformNameThread("QVN update");
    // Afresh: the offer the page shows may be old, and only a manifest that passes now is used.
    const UpdateCheckResult check = CheckForUpdate(g_UpdateManifestOverride);
    if (g_UpdateInstallCancel) return;
    if (!check.available) {
        Answer(hooks, "Update failed: the update is no longer available. Try again later.");
        return;
    }
    const UpdateProgressFn progress = [](uint64_t received, uint64_t total) {
        std::lock_guard<std::mutex> lock(g_UpdateUiMutex);
        if (!PageReachable()) return false;
        g_MasterEvalFn("if (window.onUpdateProgress) onUpdateProgress(" + std::to_string(received) + "," +
                       std::to_string(total) + ");");
        return true;
    };
    std::string staged;
    const std::string message = DownloadAndStageUpdate(OwnAppPath(), check.info, progress, staged);
    if (g_UpdateInstallCancel) return;
    if (!message.empty()) {
        Answer(hooks, message);
        return;
    }
    std::lock_guard<std::mutex> lock(g_UpdateUiMutex);
    if (g_UpdateInstallCancel) return;
    g_MasterEvalFn("if (window.onUpdateInstalling) onUpdateInstalling();");
    // The swap runs on the window's thread, with the page alive, so that a failure can still be shown.
    hooks.dispatch([hooks, staged] {
        if (g_UpdateInstallCancel) return;
        const std::string failure = InstallStagedUpdate(staged);
        if (failure.empty()) {
            hooks.terminate();
            return;
        }
        updateInstallRunning = false;
        hooks.resolve(failure);
    });
}

void CheckThread() {
    PlatformNameThread("QVN update check");
    // A grace of 5 s that ends at once on shut-down, then wait for the page.
    for (int i = 0; i < 50 && g_AppRunning; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    while (g_AppRunning && !g_MainPageReady) std::this_thread::sleep_for(std::chrono::milliseconds(500));
    if (!g_AppRunning) return;
    const UpdateCheckResult result = CheckForUpdate(g_UpdateManifestOverride);
    if (!g_AppRunning || !result.available) return;
    std::lock_guard<std::mutex> lock(g_UpdateUiMutex);
    if (PageReachable())
        g_MasterEvalFn("if (window.onUpdateAvailable) window.onUpdateAvailable(" +
                       JsonEscapeForBind(result.info.version) + "," + JsonEscapeForBind(result.currentVersion) + ");");
}

}  // namespace

std::string DownloadFolderPrefix() { return std::string("Quorvane-update-") + UpdateCore::kBundleId + "-"; }
std::string StagingFolderPrefix() { return std::string(".") + UpdateCore::kBundleId + "-update-"; }
std::string OldCopyPrefix() { return std::string(".") + UpdateCore::kBundleId + "-old-"; }

UpdateCheckResult CheckForUpdate(const std::string& override) {
    UpdateCheckResult result;
    result.currentVersion = UpdateCore::kCurrentVersion;
    std::string text;
    if (override.empty() || override.rfind("https://", 0) == 0) {
        // Shut-down doesn't wait for this thread: the fetch stops as soon as the app is ending.
        const UpdateProgressFn stillWanted = [](uint64_t, uint64_t) { return g_AppRunning && !g_UpdateInstallCancel; };
        HttpsGet(override.empty() ? UpdateCore::DefaultManifestUrl() : override, UpdateCore::kManifestMaxBytes, nullptr,
                 stillWanted, text);
    } else if (override.rfind("http://", 0) == 0) {
        return result;
    } else if (!ReadWholeFile(override, text) || text.size() > UpdateCore::kManifestMaxBytes) {
        return result;
    }
    if (text.empty()) return result;
    UpdateManifestInfo info;
    if (UpdateCore::EvaluateManifest(VerifyWithTrustedKeys, text, UpdateCore::kTier, UpdateCore::kCurrentVersion,
                                     info)) {
        result.available = true;
        result.info = info;
    }
    return result;
}

void StartUpdateCheckThread() { std::thread(CheckThread).detach(); }

void StartUpdate(const UpdatePageHooks& hooks) {
    if (updateInstallRunning.exchange(true)) {
        if (hooks.resolve) hooks.resolve("An update is already in progress.");
        return;
    }
    std::thread(UpdateThread, hooks).detach();
}
