#include "persist/Settings.h"

#include <initializer_list>

#include "core/AppState.h"
#include "core/Limits.h"
#include "core/Numbers.h"
#include "core/Wake.h"

namespace {

void AppendField(std::string& out, int64_t v) {
    AppendInt(out, v);
    out += ',';
}

void AppendFlag(std::string& out, bool v) { out += v ? "1," : "0,"; }

bool IsOne(const std::string& field) { return field == "1"; }

// Reads fields into variables in order until one fails to parse; returns false at the failure.
class GroupReader {
public:
    explicit GroupReader(const std::vector<std::string>& fields) : f_(fields) {}

    template <class Var>
    bool Int(size_t i, Var& var) {
        int32_t v = 0;
        if (!ParseInt(f_[i], v)) return false;
        var = v;
        return true;
    }
    // A number that reads but lies outside its range is refused: the variable takes `fallback` (the
    // field's default) and reading goes on, so one bad value costs only itself.
    template <class Var>
    bool Int(size_t i, Var& var, bool (*valid)(int64_t), int32_t fallback) {
        int32_t v = 0;
        if (!ParseInt(f_[i], v)) return false;
        var = valid(v) ? v : fallback;
        return true;
    }
    bool Speed(size_t i, PlainWord<float>& var) {
        float v = 0;
        if (!ParseFloat(f_[i], v)) return false;
        var = IsValidPlaybackSpeed(v) ? v : 1.0f;
        return true;
    }
    template <class Var>
    bool Flag(size_t i, Var& var) {
        var = IsOne(f_[i]);
        return true;
    }

private:
    const std::vector<std::string>& f_;
};

void SingleTargetFallback() {
    keySpamTargets[0] = vkKeySpamTarget.load();
    keySpamTargetCount = 1;
    keySpamChordMode = false;
}

}  // namespace

std::vector<std::string> SplitString(const std::string& text, char separator) {
    std::vector<std::string> pieces;
    size_t pos = 0;
    while (pos < text.size()) {
        const size_t at = text.find(separator, pos);
        if (at == std::string::npos) {
            pieces.emplace_back(text, pos);
            break;
        }
        pieces.emplace_back(text, pos, at - pos);
        pos = at + 1;
    }
    return pieces;
}

std::string SerializeKeySpamTargetList() {
    int count = keySpamTargetCount;
    if (count > kMaxKeySpamTargets) count = kMaxKeySpamTargets;
    std::string out;
    for (int i = 0; i < count; ++i) {
        if (i > 0) out += '|';
        AppendInt(out, keySpamTargets[i]);
    }
    return out;
}

std::string SerializeSettings() {
    std::string s;
    for (int64_t v :
         std::initializer_list<int64_t>{autoClickIntervalHours, autoClickIntervalMins, autoClickIntervalSecs,
                                        autoClickIntervalMs, autoClickerButtonIdx, autoClickClickType,
                                        autoClickRepeatMode, autoClickRepeatTimes, autoClickLocationMode}) {
        AppendField(s, v);
    }
    AppendField(s, autoClickFixedX);
    AppendField(s, autoClickFixedY);
    for (bool v : std::initializer_list<bool>{bRecordMouseMovement, bRecordMouseClicks, bRecordMouseScroll,
                                              bRecordKeyboard, bUseRelativeMouse}) {
        AppendFlag(s, v);
    }
    AppendFloat(s, fPlaybackSpeed);
    s += ',';
    AppendFlag(s, bLoopSequence);
    AppendField(s, iLoopIntervalMs);
    AppendField(s, vkRecord);
    AppendField(s, vkPlay);
    AppendField(s, 0);  // a retired field, kept so that older readers still count right
    AppendField(s, vkAutoClicker);
    for (int64_t v : std::initializer_list<int64_t>{keySpamIntervalHours, keySpamIntervalMins, keySpamIntervalSecs,
                                                    keySpamIntervalMs, keySpamRepeatMode, keySpamRepeatTimes}) {
        AppendField(s, v);
    }
    AppendField(s, vkKeySpamHotkey);
    AppendField(s, vkKeySpamTarget);
    s += SerializeKeySpamTargetList();
    s += ',';
    AppendFlag(s, keySpamChordMode);
    AppendFlag(s, g_HoldModeAuto);
    AppendFlag(s, g_HoldModeKeySpam);
    AppendInt(s, vkUnlock);
    return s;
}

std::string SerializeProfileSettings() {
    std::string s;
    for (int64_t v :
         std::initializer_list<int64_t>{autoClickIntervalHours, autoClickIntervalMins, autoClickIntervalSecs,
                                        autoClickIntervalMs, autoClickerButtonIdx, autoClickClickType,
                                        autoClickRepeatMode, autoClickRepeatTimes, autoClickLocationMode}) {
        AppendField(s, v);
    }
    AppendField(s, autoClickFixedX);
    AppendField(s, autoClickFixedY);
    for (int64_t v : std::initializer_list<int64_t>{keySpamIntervalHours, keySpamIntervalMins, keySpamIntervalSecs,
                                                    keySpamIntervalMs, keySpamRepeatMode, keySpamRepeatTimes}) {
        AppendField(s, v);
    }
    AppendField(s, vkKeySpamTarget);
    s += SerializeKeySpamTargetList();
    s += ',';
    s += keySpamChordMode ? '1' : '0';
    return s;
}

void DeserializeKeySpamTargetList(const std::string& text) {
    int count = 0;
    for (const std::string& piece : SplitString(text, '|')) {
        if (count >= kMaxKeySpamTargets) break;
        int32_t vk = 0;
        if (!ParseInt(piece, vk)) continue;
        keySpamTargets[count++] = vk;
    }
    keySpamTargetCount = count;
}

namespace {

void ReadSettingsFields(const std::string& text) {
    const std::vector<std::string> f = SplitString(text, ',');
    if (f.size() < 23) return;
    GroupReader r(f);

    // Group A; field 21 is retired.
    (void)(r.Int(0, autoClickIntervalHours, IsValidIntervalPart, 0) &&
           r.Int(1, autoClickIntervalMins, IsValidIntervalPart, 0) &&
           r.Int(2, autoClickIntervalSecs, IsValidIntervalPart, 0) &&
           r.Int(3, autoClickIntervalMs, IsValidIntervalPart, 5) && r.Int(4, autoClickerButtonIdx) &&
           r.Int(5, autoClickClickType) && r.Int(6, autoClickRepeatMode) &&
           r.Int(7, autoClickRepeatTimes, IsValidRepeatTimes, 10) && r.Int(8, autoClickLocationMode) &&
           r.Int(9, autoClickFixedX) && r.Int(10, autoClickFixedY) && r.Flag(11, bRecordMouseMovement) &&
           r.Flag(12, bRecordMouseClicks) && r.Flag(13, bRecordMouseScroll) && r.Flag(14, bRecordKeyboard) &&
           r.Flag(15, bUseRelativeMouse) && r.Speed(16, fPlaybackSpeed) && r.Flag(17, bLoopSequence) &&
           r.Int(18, iLoopIntervalMs, IsValidLoopIntervalMs, 500) && r.Int(19, vkRecord) && r.Int(20, vkPlay) &&
           r.Int(22, vkAutoClicker));

    // Group B: the Key Spammer, from the 31-field shape on.
    if (f.size() >= 31) {
        (void)(r.Int(23, keySpamIntervalHours, IsValidIntervalPart, 0) &&
               r.Int(24, keySpamIntervalMins, IsValidIntervalPart, 0) &&
               r.Int(25, keySpamIntervalSecs, IsValidIntervalPart, 0) &&
               r.Int(26, keySpamIntervalMs, IsValidIntervalPart, 5) && r.Int(27, keySpamRepeatMode) &&
               r.Int(28, keySpamRepeatTimes, IsValidRepeatTimes, 10) && r.Int(29, vkKeySpamHotkey) &&
               r.Int(30, vkKeySpamTarget));
    }

    // Group C: the target list and chord mode, from the 33-field shape on; before it the one target.
    if (f.size() >= 33) {
        DeserializeKeySpamTargetList(f[31]);
        keySpamChordMode = IsOne(f[32]);
    } else {
        SingleTargetFallback();
    }
    if (f.size() < 35) return;

    // Group D: hold modes.
    g_HoldModeAuto = IsOne(f[33]);
    g_HoldModeKeySpam = IsOne(f[34]);

    // Group E: the unlock key.
    if (f.size() > 35) r.Int(35, vkUnlock);
}

}  // namespace

void DeserializeSettings(const std::string& text) {
    ReadSettingsFields(text);
    InputSettingsChanged();  // the hotkeys may have changed
}

void DeserializeProfileSettings(const std::string& text) {
    const std::vector<std::string> f = SplitString(text, ',');
    if (f.size() < 18) return;
    GroupReader r(f);
    const bool complete = r.Int(0, autoClickIntervalHours, IsValidIntervalPart, 0) &&
                          r.Int(1, autoClickIntervalMins, IsValidIntervalPart, 0) &&
                          r.Int(2, autoClickIntervalSecs, IsValidIntervalPart, 0) &&
                          r.Int(3, autoClickIntervalMs, IsValidIntervalPart, 5) && r.Int(4, autoClickerButtonIdx) &&
                          r.Int(5, autoClickClickType) && r.Int(6, autoClickRepeatMode) &&
                          r.Int(7, autoClickRepeatTimes, IsValidRepeatTimes, 10) && r.Int(8, autoClickLocationMode) &&
                          r.Int(9, autoClickFixedX) && r.Int(10, autoClickFixedY) &&
                          r.Int(11, keySpamIntervalHours, IsValidIntervalPart, 0) &&
                          r.Int(12, keySpamIntervalMins, IsValidIntervalPart, 0) &&
                          r.Int(13, keySpamIntervalSecs, IsValidIntervalPart, 0) &&
                          r.Int(14, keySpamIntervalMs, IsValidIntervalPart, 5) && r.Int(15, keySpamRepeatMode) &&
                          r.Int(16, keySpamRepeatTimes, IsValidRepeatTimes, 10) && r.Int(17, vkKeySpamTarget);
    if (!complete) return;
    if (f.size() >= 20) {
        DeserializeKeySpamTargetList(f[18]);
        keySpamChordMode = IsOne(f[19]);
    } else {
        SingleTargetFallback();
    }
}

void ResetSpammerKeySpamDefaults() {
    autoClickerButtonIdx = 0;
    autoClickIntervalHours = 0;
    autoClickIntervalMins = 0;
    autoClickIntervalSecs = 0;
    autoClickIntervalMs = 5;
    autoClickClickType = 0;
    autoClickRepeatMode = 1;
    autoClickRepeatTimes = 10;
    autoClickLocationMode = 0;
    autoClickFixedX = 0;
    autoClickFixedY = 0;
    keySpamIntervalHours = 0;
    keySpamIntervalMins = 0;
    keySpamIntervalSecs = 0;
    keySpamIntervalMs = 5;
    keySpamRepeatMode = 1;
    keySpamRepeatTimes = 10;
    vkKeySpamTarget = 32;
    keySpamTargets[0] = 32;
    keySpamTargetCount = 1;
    keySpamChordMode = false;
}
