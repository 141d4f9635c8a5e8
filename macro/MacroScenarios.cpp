// What the scanner looks for. The shortcuts are the Windows desktop's on every platform: macro files also
// come from the Windows build, and it is the keys in the file that are judged.
#include "macro/MacroScan.h"

namespace MacroScan {

namespace {

constexpr int kEnter = 13, kBackspace = 8, kTab = 9, kEsc = 27, kPrintScreen = 44, kDelete = 46, kF4 = 115, kF6 = 117;
constexpr ModFamily Ctrl = ModFamily::Ctrl, Alt = ModFamily::Alt, Shift = ModFamily::Shift, Win = ModFamily::Win;

Step Typing() { return TypingOnce; }

SeqResult Unbounded(const std::vector<KeyEv>& keys, const std::vector<Step>& steps) {
    return MatchSequence(keys, steps, false, 0);
}

SeqResult AdminApprove(const std::vector<KeyEv>& keys) {
    const Step approve = AnyOf({Combo({Ctrl, Shift}, kEnter), Combo({Alt}, 'Y')});
    const SeqResult viaRun = Unbounded(keys, {Combo({Win}, 'R'), approve});
    if (viaRun.matched) return viaRun;
    return Unbounded(keys, {WinTap, Typing(), approve});
}

// A burst of eight typed keys within 5 s, then a bare Enter within 10 s of the burst's first key. Only the
// first burst counts.
SeqResult TypeAndSend(const std::vector<KeyEv>& keys) {
    // The last eight typed keys, as a ring; the first time the eighth comes within 5 s of the first, that
    // is the burst. Stopping there gives what a list of every typed key would give, without building it.
    size_t ring[8];
    size_t typed = 0;
    size_t burstFirst = 0, burstLast = 0;
    bool found = false;
    for (size_t i = 0; i < keys.size() && !found; ++i) {
        if (!TypingOnce(*keys[i].event, keys[i].held)) continue;
        ring[typed % 8] = i;
        ++typed;
        if (typed < 8) continue;
        const size_t first = ring[typed % 8];  // seven typed keys before this one
        if (keys[i].event->time - keys[first].event->time <= 5.0) {
            burstFirst = first;
            burstLast = i;
            found = true;
        }
    }
    if (!found) return {};
    const double start = keys[burstFirst].event->time;
    const Step enter = Combo({}, kEnter);
    for (size_t j = burstLast + 1; j < keys.size(); ++j) {
        if (keys[j].event->time - start > 10.0) return {};
        if (enter(*keys[j].event, keys[j].held)) return {true, start};
    }
    return {};
}

// Any key but a modifier pressed while Win is down: the catch-all under the Run and Start patterns.
SeqResult SystemKeys(const std::vector<KeyEv>& keys) {
    for (const KeyEv& k : keys) {
        const int vk = k.event->vk;
        const bool modifier = vk == 16 || vk == 17 || vk == 18 || vk == 91 || vk == 92 || (vk >= 160 && vk <= 165);
        if (k.held.win && !modifier) return {true, k.event->time};
    }
    return {};
}

}  // namespace

const std::vector<Scenario>& Scenarios() {
    static const std::vector<Scenario> s = {
        {"run-command", "DANGER", "Opens Run and executes",
         "Opens the Windows Run box, types something and presses Enter. This can start programs or run commands on "
         "your PC.",
         [](const std::vector<KeyEv>& k) {
             return Unbounded(k, {Combo({Win}, 'R'), Typing(), Combo({}, kEnter)});
         }},
        {"admin-approve", "DANGER", "Approves admin permission",
         "Tries to run something as administrator and may approve the permission prompt.", AdminApprove},
        {"power-menu", "DANGER", "Opens the power menu",
         "Opens the Windows power menu and picks an item such as Terminal or Task Manager.",
         [](const std::vector<KeyEv>& k) {
             return Unbounded(
                 k, {Combo({Win}, 'X'), AnyOf({Combo({}, 'I'), Combo({}, 'A'), Combo({}, 'T'), Combo({}, 'G')})});
         }},
        {"start-launch", "DANGER", "Searches and launches", "Searches the Start menu and launches whatever it finds.",
         [](const std::vector<KeyEv>& k) {
             return Unbounded(k, {WinTap, Typing(), Combo({}, kEnter)});
         }},
        {"copy-paste-send", "DANGER", "Copies, pastes and sends",
         "Copies something, pastes it somewhere else and presses Enter. It could send private text such as "
         "passwords or messages.",
         [](const std::vector<KeyEv>& k) {
             return Unbounded(k,
                              {AnyOf({Combo({Ctrl}, 'C'), Combo({Ctrl}, 'X')}), Combo({Ctrl}, 'V'), Combo({}, kEnter)});
         }},
        {"screenshot-paste", "DANGER", "Screenshots and pastes",
         "Takes a screenshot and pastes it somewhere. It could share what is on your screen.",
         [](const std::vector<KeyEv>& k) {
             return Unbounded(k,
                              {AnyOf({Combo({}, kPrintScreen), Combo({Shift, Win}, 'S'), Combo({Alt}, kPrintScreen)}),
                               Combo({Ctrl}, 'V')});
         }},
        {"select-all-delete", "DANGER", "Selects all and deletes", "Selects everything and deletes it.",
         [](const std::vector<KeyEv>& k) {
             return Unbounded(k, {Combo({Ctrl}, 'A'), AnyOf({Combo({}, kDelete), Combo({}, kBackspace)})});
         }},
        {"permanent-delete", "DANGER", "Permanently deletes",
         "Permanently deletes the selection and skips the Recycle Bin.",
         [](const std::vector<KeyEv>& k) { return Unbounded(k, {Combo({Shift}, kDelete)}); }},
        {"wipe-and-save", "DANGER", "Replaces and overwrites a file",
         "Replaces a document's contents and saves over it.",
         [](const std::vector<KeyEv>& k) {
             return Unbounded(k, {Combo({Ctrl}, 'A'), AnyOf({Combo({}, kDelete), Combo({}, kBackspace), Typing()}),
                                  Combo({Ctrl}, 'S')});
         }},
        {"open-address", "CAUTION", "Opens a web address", "Types a web address and opens it.",
         [](const std::vector<KeyEv>& k) {
             return MatchSequence(k, {AnyOf({Combo({Ctrl}, 'L'), Combo({}, kF6)}), Typing(), Combo({}, kEnter)}, true,
                                  30);
         }},
        {"copy-paste", "CAUTION", "Copies and pastes", "Copies something and pastes it into another place.",
         [](const std::vector<KeyEv>& k) {
             return MatchSequence(k, {AnyOf({Combo({Ctrl}, 'C'), Combo({Ctrl}, 'X')}), Combo({Ctrl}, 'V')}, true, 60);
         }},
        {"type-and-send", "CAUTION", "Types and presses Enter",
         "Types text and presses Enter. It could send a message or submit a form.", TypeAndSend},
        {"close-windows", "CAUTION", "Closes windows", "Closes windows or tabs. You could lose unsaved work.",
         [](const std::vector<KeyEv>& k) {
             return MatchRepeat(k, AnyOf({Combo({Alt}, kF4), Combo({Ctrl}, 'W')}), 2, 30);
         }},
        {"task-manager", "CAUTION", "Opens Task Manager", "Opens Task Manager or the security screen.",
         [](const std::vector<KeyEv>& k) {
             return Unbounded(k, {AnyOf({Combo({Ctrl, Shift}, kEsc), Combo({Ctrl, Alt}, kDelete)})});
         }},
        {"switch-windows", "CAUTION", "Switches windows",
         "Switches between your open windows, so its keys and clicks may land somewhere unexpected.",
         [](const std::vector<KeyEv>& k) { return MatchRepeat(k, Combo({Alt}, kTab), 3, 10); }},
        {"system-keys", "CAUTION", "Uses Windows shortcuts", "Uses Windows system shortcuts.", SystemKeys},
    };
    return s;
}

}  // namespace MacroScan
