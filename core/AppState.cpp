#include "core/AppState.h"

std::mutex profileMutex;
std::vector<MacroProfile> profiles;
int32_t currentProfileIdx = 0;
const char* const kDefaultProfileName = "Default Tracking Profile";

PlainWord<int32_t> autoClickIntervalHours = 0, autoClickIntervalMins = 0, autoClickIntervalSecs = 0;
PlainWord<int32_t> autoClickIntervalMs = 5;
PlainWord<int32_t> autoClickerButtonIdx = 0;
PlainWord<int32_t> autoClickClickType = 0;
PlainWord<int32_t> autoClickRepeatMode = 1;
PlainWord<int32_t> autoClickRepeatTimes = 10;
PlainWord<int32_t> autoClickLocationMode = 0;
std::atomic<int32_t> autoClickFixedX{0}, autoClickFixedY{0};

PlainWord<int32_t> keySpamIntervalHours = 0, keySpamIntervalMins = 0, keySpamIntervalSecs = 0;
PlainWord<int32_t> keySpamIntervalMs = 5;
PlainWord<int32_t> keySpamRepeatMode = 1;
PlainWord<int32_t> keySpamRepeatTimes = 10;
std::atomic<int32_t> vkKeySpamTarget{32};
std::atomic<int32_t> keySpamTargets[kMaxKeySpamTargets] = {32};
std::atomic<int32_t> keySpamTargetCount{1};
std::atomic<bool> keySpamChordMode{false};

PlainWord<bool> bRecordMouseMovement = true, bRecordMouseClicks = true, bRecordMouseScroll = true;
PlainWord<bool> bRecordKeyboard = true;
PlainWord<bool> bUseRelativeMouse = false;
PlainWord<float> fPlaybackSpeed = 1.0f;
PlainWord<bool> bLoopSequence = false;
PlainWord<int32_t> iLoopIntervalMs = 500;

std::atomic<int32_t> vkRecord{kDefaultVkRecord}, vkPlay{kDefaultVkPlay}, vkAutoClicker{kDefaultVkAutoClicker};
std::atomic<int32_t> vkKeySpamHotkey{kDefaultVkKeySpamHotkey}, vkUnlock{kDefaultVkUnlock};
std::atomic<bool> g_HoldModeAuto{false}, g_HoldModeKeySpam{false};

std::atomic<bool> isRecording{false}, isPlaying{false}, isAutoClicking{false}, isKeySpamming{false};
std::atomic<bool> isPickingLocation{false};
std::atomic<int32_t> currentClickCount{0}, currentKeySpamCount{0};
std::atomic<int32_t> currentReassign{0};
std::atomic<int32_t> capturedReassignKey{0};

std::atomic<bool> triggerAutoClicker{false}, triggerAutoClickStart{false}, triggerAutoClickStop{false};
std::atomic<bool> triggerKeySpam{false}, triggerKeySpamStart{false}, triggerKeySpamStop{false};
std::atomic<bool> triggerRecord{false}, triggerRecordStart{false}, triggerRecordStop{false};
std::atomic<bool> triggerRecordContinue{false}, triggerUndoContinue{false};
std::atomic<bool> triggerPlay{false}, triggerPlayStart{false}, triggerPlayStop{false};

std::atomic<bool> g_HotkeysEnabled{true}, g_HotkeyLockEnabled{true}, g_HotkeysUnlocked{true};
std::atomic<bool> g_StopToolsWithMacro{true};

int32_t g_ContinueUndoProfile = -1;
std::vector<UnifiedEvent> g_ContinueUndoBefore, g_ContinueUndoAfter;
unsigned long g_RecordFirstNewIdx = 0;
std::atomic<int64_t> g_RecordStart{0};

void EvalFn::Set(std::function<void(const std::string&)> fn) {
    std::lock_guard<std::mutex> lock(mutex_);
    fn_ = std::move(fn);
}

void EvalFn::Clear() { Set(nullptr); }

EvalFn::operator bool() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return static_cast<bool>(fn_);
}

void EvalFn::operator()(const std::string& script) const {
    // Called under the lock, so that Clear() waits for a call in flight before the window can go.
    std::lock_guard<std::mutex> lock(mutex_);
    if (fn_) fn_(script);
}

std::atomic<bool> g_AppRunning{true};
std::atomic<bool> g_MainPageReady{false};
std::atomic<bool> g_UpdateInstallCancel{false};
std::vector<std::thread> g_Threads;
std::string g_SessionStateFilePath;
std::atomic<void*> g_MasterWindow{nullptr};
EvalFn g_MasterEvalFn;
std::string g_UpdateManifestOverride;

bool g_ShowWarnings = true;
int g_SavedWindowWidth = 420, g_SavedWindowHeight = 560, g_SavedWindowX = 0, g_SavedWindowY = 0;
bool g_SavedMaximized = false, g_HasSavedWindowPos = false, g_AlwaysOnTop = false, g_LaunchOnStartup = false;
bool g_StartMinimized = false, g_DisableAnimations = false;
std::set<std::string> g_SeenWarningIds, g_MinimizedPanels;
std::vector<std::string> g_PanelOrder;
std::atomic<bool> g_PanelHoverActive{false};
std::string g_CurrentTheme = "quorvane";

std::map<std::string, int> g_ActiveChildProcesses;

std::mutex g_ChildrenMutex;
std::mutex g_UpdateUiMutex;
std::mutex g_PendingMacroImportMutex;
std::recursive_mutex g_ThemesMutex;
std::mutex g_TimelineMutex, g_TimelineStateMutex, g_TimelineAckMutex;
std::condition_variable g_TimelineAckCv;
std::mutex g_LayoutMutex;
