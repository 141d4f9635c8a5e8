// The state that the whole master process shares: two records, the tool settings, the run state, the
// trigger flags and the mutexes. Everything here is a named global with static lifetime.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

// ---------------------------------------------------------------------------------------------------------
// Records

enum EventType : int32_t {
    EventMoveAbs = 0,
    EventMoveRel = 1,
    EventMouseClick = 2,
    EventKey = 3,
    EventScroll = 4,
    EventToolToggle = 5,
};

// The one record of an input event. A field that a type doesn't use is zero.
struct UnifiedEvent {
    int32_t type = EventMoveAbs;
    double time = 0.0;  // seconds from the start of the macro
    int64_t x = 0;
    int64_t y = 0;
    uint64_t mouseFlags = 0;  // Windows mouse-event flag bits of a click
    int32_t vk = 0;           // virtual key, or the tool number of a tool toggle
    bool down = false;
    int32_t scrollDelta = 0;  // wheel lines times 120

    // All eight fields equal; a NaN time never equals anything.
    friend bool operator==(const UnifiedEvent&, const UnifiedEvent&) = default;
};

struct MacroProfile {
    std::string name;
    std::string settings;  // per-profile setup text; empty means "use the defaults"
    std::vector<UnifiedEvent> events;
};

// A setting that one thread writes (the UI thread or the tap) and the workers re-read every round. It needs
// no ordering and no lock, only a whole-word load and store; a relaxed atomic gives exactly that.
template <class T>
class PlainWord {
public:
    constexpr PlainWord(T v) : value_(v) {}  // NOLINT(google-explicit-constructor)
    PlainWord& operator=(T v) {
        value_.store(v, std::memory_order_relaxed);
        return *this;
    }
    operator T() const { return value_.load(std::memory_order_relaxed); }  // NOLINT(google-explicit-constructor)

private:
    std::atomic<T> value_;
};

// ---------------------------------------------------------------------------------------------------------
// Profiles, guarded by profileMutex

extern std::mutex profileMutex;
extern std::vector<MacroProfile> profiles;
extern int32_t currentProfileIdx;
extern const char* const kDefaultProfileName;

// ---------------------------------------------------------------------------------------------------------
// Tool settings

inline constexpr int kMaxKeySpamTargets = 256;

extern PlainWord<int32_t> autoClickIntervalHours, autoClickIntervalMins, autoClickIntervalSecs, autoClickIntervalMs;
extern PlainWord<int32_t> autoClickerButtonIdx;  // 0 left, 1 right, 2 middle
extern PlainWord<int32_t> autoClickClickType;    // 0 single, 1 double
extern PlainWord<int32_t> autoClickRepeatMode;   // 0 stop after autoClickRepeatTimes
extern PlainWord<int32_t> autoClickRepeatTimes;
extern PlainWord<int32_t> autoClickLocationMode;  // 0 at the cursor, 1 at the fixed point
extern std::atomic<int32_t> autoClickFixedX, autoClickFixedY;

extern PlainWord<int32_t> keySpamIntervalHours, keySpamIntervalMins, keySpamIntervalSecs, keySpamIntervalMs;
extern PlainWord<int32_t> keySpamRepeatMode;  // 0 stop after keySpamRepeatTimes rounds
extern PlainWord<int32_t> keySpamRepeatTimes;
extern std::atomic<int32_t> vkKeySpamTarget;  // mirror of keySpamTargets[0]
extern std::atomic<int32_t> keySpamTargets[kMaxKeySpamTargets];
extern std::atomic<int32_t> keySpamTargetCount;
extern std::atomic<bool> keySpamChordMode;

extern PlainWord<bool> bRecordMouseMovement, bRecordMouseClicks, bRecordMouseScroll, bRecordKeyboard;
extern PlainWord<bool> bUseRelativeMouse;
extern PlainWord<float> fPlaybackSpeed;
extern PlainWord<bool> bLoopSequence;
extern PlainWord<int32_t> iLoopIntervalMs;

// Hotkeys: one virtual key or mouse button each.
extern std::atomic<int32_t> vkRecord, vkPlay, vkAutoClicker, vkKeySpamHotkey, vkUnlock;
extern std::atomic<bool> g_HoldModeAuto, g_HoldModeKeySpam;

inline constexpr int32_t kDefaultVkRecord = 119;         // F8
inline constexpr int32_t kDefaultVkPlay = 118;           // F7
inline constexpr int32_t kDefaultVkAutoClicker = 117;    // F6
inline constexpr int32_t kDefaultVkKeySpamHotkey = 120;  // F9
inline constexpr int32_t kDefaultVkUnlock = 121;         // F10

// ---------------------------------------------------------------------------------------------------------
// Run state and triggers

extern std::atomic<bool> isRecording, isPlaying, isAutoClicking, isKeySpamming, isPickingLocation;
extern std::atomic<int32_t> currentClickCount, currentKeySpamCount;
extern std::atomic<int32_t> currentReassign;  // 0 none, 1 rec, 2 play, 3 auto, 4 key spam hotkey, 5 target, 6 unlock
extern std::atomic<int32_t> capturedReassignKey;

extern std::atomic<bool> triggerAutoClicker, triggerAutoClickStart, triggerAutoClickStop;
extern std::atomic<bool> triggerKeySpam, triggerKeySpamStart, triggerKeySpamStop;
extern std::atomic<bool> triggerRecord, triggerRecordStart, triggerRecordStop, triggerRecordContinue;
extern std::atomic<bool> triggerUndoContinue;
extern std::atomic<bool> triggerPlay, triggerPlayStart, triggerPlayStop;

extern std::atomic<bool> g_HotkeysEnabled, g_HotkeyLockEnabled, g_HotkeysUnlocked, g_StopToolsWithMacro;

// Continue-and-undo state, guarded by profileMutex.
extern int32_t g_ContinueUndoProfile;
extern std::vector<UnifiedEvent> g_ContinueUndoBefore, g_ContinueUndoAfter;
extern unsigned long g_RecordFirstNewIdx;
extern std::atomic<int64_t> g_RecordStart;  // steady clock at the start of the recording, ns

// ---------------------------------------------------------------------------------------------------------
// Process state

// A script runner into the main page. Set on the first thread when the window exists and cleared before
// it goes; callable from any thread. Calling it while empty does nothing. The function must be quick and
// must not call back into this object.
class EvalFn {
public:
    void Set(std::function<void(const std::string&)> fn);
    void Clear();
    explicit operator bool() const;
    void operator()(const std::string& script) const;

private:
    mutable std::mutex mutex_;
    std::function<void(const std::string&)> fn_;
};

extern std::atomic<bool> g_AppRunning;
extern std::atomic<bool> g_MainPageReady;
extern std::atomic<bool> g_UpdateInstallCancel;
extern std::vector<std::thread> g_Threads;
extern std::string g_SessionStateFilePath;
extern std::atomic<void*> g_MasterWindow;  // the native window of the main page
extern EvalFn g_MasterEvalFn;
extern std::string g_UpdateManifestOverride;

// Application settings, plain: written on the first thread.
extern bool g_ShowWarnings;
extern int g_SavedWindowWidth, g_SavedWindowHeight, g_SavedWindowX, g_SavedWindowY;
extern bool g_SavedMaximized, g_HasSavedWindowPos, g_AlwaysOnTop, g_LaunchOnStartup, g_StartMinimized;
extern bool g_DisableAnimations;
extern std::set<std::string> g_SeenWarningIds, g_MinimizedPanels;
extern std::vector<std::string> g_PanelOrder;
extern std::atomic<bool> g_PanelHoverActive;
// The key of the theme in use; written by the page and by panels over IPC, so guarded by g_ThemesMutex
// once the threads run (SetCurrentTheme, CurrentTheme).
extern std::string g_CurrentTheme;

// Pop-out panels by panel id: their process ids. Guarded by g_ChildrenMutex.
extern std::map<std::string, int> g_ActiveChildProcesses;

// ---------------------------------------------------------------------------------------------------------
// Mutexes. Order: g_PendingMacroImportMutex and g_TimelineMutex before profileMutex; profileMutex before
// g_ChildrenMutex; g_ThemesMutex before g_ChildrenMutex; g_TimelineAckMutex before g_TimelineStateMutex.

extern std::mutex g_ChildrenMutex;
extern std::mutex g_UpdateUiMutex;
extern std::mutex g_PendingMacroImportMutex;
extern std::recursive_mutex g_ThemesMutex;  // recursive: Bind functions hold it across FillSkinCache
extern std::mutex g_TimelineMutex, g_TimelineStateMutex, g_TimelineAckMutex;
extern std::condition_variable g_TimelineAckCv;
extern std::mutex g_LayoutMutex;
