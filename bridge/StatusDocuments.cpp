#include "bridge/StatusDocuments.h"

#include <cmath>

#include "core/AppState.h"
#include "core/BindArgs.h"
#include "core/Numbers.h"
#include "engine/EventList.h"
#include "engine/Recorder.h"
#include "engine/ToolSettings.h"
#include "input/Keys.h"
#include "persist/AppSettings.h"
#include "platform/Platform.h"

namespace {

class JsonObject {
public:
    void Number(const char* key, int64_t v) {
        Key(key);
        AppendInt(text_, v);
    }
    void Float(const char* key, double v) {
        Key(key);
        AppendFloat(text_, std::isfinite(v) ? v : 0.0);  // JSON has no word for nan or inf
    }
    void Bool(const char* key, bool v) {
        Key(key);
        text_ += v ? "true" : "false";
    }
    void String(const char* key, const std::string& v) {
        Key(key);
        text_ += JsonEscapeForBind(v);
    }
    void Raw(const char* key, const std::string& json) {
        Key(key);
        text_ += json;
    }
    std::string Done() { return text_ + "}"; }

private:
    void Key(const char* key) {
        text_ += text_.size() > 1 ? ",\"" : "\"";
        text_ += key;
        text_ += "\":";
    }
    std::string text_ = "{";
};

}  // namespace

std::string BuildSettingsJson() {
    JsonObject o;
    o.Number("sh", autoClickIntervalHours);
    o.Number("sm", autoClickIntervalMins);
    o.Number("ss", autoClickIntervalSecs);
    o.Number("sms", autoClickIntervalMs);
    o.Number("sbtn", autoClickerButtonIdx);
    o.Number("stype", autoClickClickType);
    o.Number("rptMode", autoClickRepeatMode);
    o.Number("rptTimes", autoClickRepeatTimes);
    o.Number("locMode", autoClickLocationMode);
    o.Number("fixedX", autoClickFixedX);
    o.Number("fixedY", autoClickFixedY);
    o.Bool("tmv", bRecordMouseMovement);
    o.Bool("tclk", bRecordMouseClicks);
    o.Bool("tscr", bRecordMouseScroll);
    o.Bool("tkey", bRecordKeyboard);
    o.Bool("trel", bUseRelativeMouse);
    o.Float("tspd", fPlaybackSpeed);
    o.Bool("tloop", bLoopSequence);
    o.Number("tloopMs", iLoopIntervalMs);
    o.Number("ksh", keySpamIntervalHours);
    o.Number("ksm", keySpamIntervalMins);
    o.Number("kss", keySpamIntervalSecs);
    o.Number("ksms", keySpamIntervalMs);
    o.Number("ksRptMode", keySpamRepeatMode);
    o.Number("ksRptTimes", keySpamRepeatTimes);
    o.Bool("holdAuto", g_HoldModeAuto);
    o.Bool("holdKeySpam", g_HoldModeKeySpam);
    return o.Done();
}

std::string BuildTrackerStatusJson(const std::string& restore) {
    static const char* const kReassignWords[] = {"", "rec", "play", "auto", "keyspamhotkey", "keyspamtarget", "unlock"};
    JsonObject o;
    o.Raw("state", isRecording ? "\"Recording\"" : isPlaying ? "\"Playing\"" : "\"Idle\"");
    size_t count = 0;
    if (currentProfileIdx >= 0 && static_cast<size_t>(currentProfileIdx) < profiles.size()) {
        count = profiles[static_cast<size_t>(currentProfileIdx)].events.size();
    }
    o.Number("count", static_cast<int64_t>(count));
    o.Raw("restore", restore);
    o.String("hkRec", GetKeyName(vkRecord));
    o.String("hkPlay", GetKeyName(vkPlay));
    o.String("hkAuto", GetKeyName(vkAutoClicker));
    o.String("hkKeySpam", GetKeyName(vkKeySpamHotkey));
    o.String("hkUnlock", GetKeyName(vkUnlock));
    o.Bool("lockOn", g_HotkeyLockEnabled);
    o.Bool("unlocked", g_HotkeysUnlocked);
    std::string targets = "[";
    int n = keySpamTargetCount;
    if (n > kMaxKeySpamTargets) n = kMaxKeySpamTargets;
    for (int i = 0; i < n; ++i) {
        if (i > 0) targets += ',';
        targets += JsonEscapeForBind(GetKeyName(keySpamTargets[i]));
    }
    o.Raw("keySpamTargets", targets + "]");
    o.Bool("keySpamChord", keySpamChordMode);
    o.Number("ksCap", -1);
    const int reassign = currentReassign;
    o.String("reassigning", reassign >= 1 && reassign <= 6 ? kReassignWords[reassign] : "");
    o.Bool("panelHover", g_PanelHoverActive);
    o.Bool("autoClicking", isAutoClicking);
    o.Bool("keySpamming", isKeySpamming);
    o.Bool("canUndoContinue", CanUndoContinueLocked());
    // What the tools really did in their present or last run, counted as they went.
    const auto tenths = [](double perSecond) { return std::round(perSecond * 10) / 10; };
    JsonObject measured;
    measured.Number("clicks", g_SpammerMeter.presses);
    measured.Float("clicksPerSecond", tenths(g_SpammerMeter.perSecond));
    measured.Number("keyPresses", g_KeySpamMeter.presses);
    measured.Float("keyPressesPerSecond", tenths(g_KeySpamMeter.perSecond));
    o.Raw("measured", measured.Done());
    return o.Done();
}

std::string BindGetTrackerStatus() {
    std::string status;
    {
        std::lock_guard<std::mutex> profilesLock(profileMutex);
        std::string restore = "[";
        {
            std::lock_guard<std::mutex> childrenLock(g_ChildrenMutex);
            bool any = false;
            for (auto it = g_ActiveChildProcesses.begin(); it != g_ActiveChildProcesses.end();) {
                if (PlatformChildHasExited(it->second)) {
                    if (any) restore += ',';
                    restore += "\"" + it->first + "\"";
                    any = true;
                    it = g_ActiveChildProcesses.erase(it);
                } else {
                    ++it;
                }
            }
            if (any) g_PanelHoverActive = false;
        }
        restore += ']';
        status = BuildTrackerStatusJson(restore);
    }
    SaveTrackerStatusToFile(status);
    SaveMacroEventsToFile(BuildMacroEventsJson());
    return status;
}
