#include "bridge/StatusDocuments.h"

#include "core/AppState.h"
#include "persist/Numbers.h"

namespace {

class JsonObject {
public:
    void Number(const char* key, int64_t v) {
        Key(key);
        AppendInt(text_, v);
    }
    void Float(const char* key, double v) {
        Key(key);
        AppendFloat(text_, v);
    }
    void Bool(const char* key, bool v) {
        Key(key);
        text_ += v ? "true" : "false";
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
