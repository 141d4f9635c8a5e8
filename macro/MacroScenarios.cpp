// What the scanner looks for. The first sixteen are the Windows desktop's shortcuts, judged on every
// platform: macro files also come from the Windows build, and it is the keys in the file that are judged.
// Behind them come the ways of the Linux desktops to a command line (the README has the table of
// shortcuts, desktops and levels).
#include <functional>
#include <utility>

#include "macro/MacroScan.h"

namespace MacroScan {

namespace {

constexpr int kEnter = 13, kBackspace = 8, kTab = 9, kEsc = 27, kPrintScreen = 44, kDelete = 46, kF4 = 115, kF6 = 117;
constexpr int kSpace = 32, kF1 = 112, kF2 = 113, kF3 = 114, kF12 = 123;
constexpr ModFamily Ctrl = ModFamily::Ctrl, Alt = ModFamily::Alt, Shift = ModFamily::Shift, Win = ModFamily::Win;

Step Typing() { return TypingOnce; }

using Match = std::function<SeqResult(const KeyCodes&)>;

// The steps in order, however far apart. The steps are built once, with the scenarios.
Match InOrder(std::vector<Step> steps) {
    return [steps = std::move(steps)](const KeyCodes& k) { return MatchSequence(k, steps, false, 0); };
}

// The steps in order, all within windowSec of the first.
Match Within(double windowSec, std::vector<Step> steps) {
    return
        [steps = std::move(steps), windowSec](const KeyCodes& k) { return MatchSequence(k, steps, true, windowSec); };
}

Match Repeated(Step step, int count, double windowSec) {
    return [step = std::move(step), count, windowSec](const KeyCodes& k) {
        return MatchRepeat(k, step, count, windowSec);
    };
}

SeqResult AdminApprove(const KeyCodes& keys) {
    static const Step approve = AnyOf({Combo({Ctrl, Shift}, kEnter), Combo({Alt}, 'Y')});
    static const std::vector<Step> viaRun = {Combo({Win}, 'R'), approve};
    static const std::vector<Step> viaStart = {WinTap, Typing(), approve};
    const SeqResult r = MatchSequence(keys, viaRun, false, 0);
    if (r.matched) return r;
    return MatchSequence(keys, viaStart, false, 0);
}

// A burst of eight typed keys within 5 s, then a bare Enter within 10 s of the burst's first key. Only the
// first burst counts.
SeqResult TypeAndSend(const KeyCodes& keys) {
    // The last eight typed keys, as a ring; the first time the eighth comes within 5 s of the first, that
    // is the burst. Stopping there gives what a list of every typed key would give, without building it.
    static const Step typing = Typing();
    size_t ring[8];
    size_t typed = 0;
    size_t burstFirst = 0, burstLast = 0;
    bool found = false;
    for (size_t i = 0; i < keys.size() && !found; ++i) {
        if (!typing(keys, i)) continue;
        ring[typed % 8] = i;
        ++typed;
        if (typed < 8) continue;
        const size_t first = ring[typed % 8];  // seven typed keys before this one
        if (keys.at(i) - keys.at(first) <= 5.0) {
            burstFirst = first;
            burstLast = i;
            found = true;
        }
    }
    if (!found) return {};
    const double start = keys.at(burstFirst);
    static const Step enter = Combo({}, kEnter);
    for (size_t j = burstLast + 1; j < keys.size(); ++j) {
        if (keys.at(j) - start > 10.0) return {};
        if (enter(keys, j)) return {true, start};
    }
    return {};
}

// Any key but a modifier pressed while Win is down: the catch-all under the Run and Start patterns.
SeqResult SystemKeys(const KeyCodes& keys) {
    for (size_t i = 0; i < keys.size(); ++i) {
        const uint16_t code = keys.code(i);
        if (!(code >> 8 & Step::kWinBit)) continue;
        // A number the code doesn't hold is no modifier's.
        const int vk = code & 0xFF;
        const bool modifier = vk == 16 || vk == 17 || vk == 18 || vk == 91 || vk == 92 || (vk >= 160 && vk <= 165);
        if (!modifier) return {true, keys.at(i)};
    }
    return {};
}

// Ctrl+Alt with one of F1 to F12: the X server's switch to a text console.
Step ConsoleSwitch() { return Combo({Ctrl, Alt}, kF1, kF12); }

}  // namespace

const std::vector<Scenario>& Scenarios() {
    static const std::vector<Scenario> s = {
        {"run-command", "DANGER", "Opens Run and executes",
         "Opens the Windows Run box, types something and presses Enter. This can start programs or run commands on "
         "your PC.",
         InOrder({Combo({Win}, 'R'), Typing(), Combo({}, kEnter)})},
        {"admin-approve", "DANGER", "Approves admin permission",
         "Tries to run something as administrator and may approve the permission prompt.", AdminApprove},
        {"power-menu", "DANGER", "Opens the power menu",
         "Opens the Windows power menu and picks an item such as Terminal or Task Manager.",
         InOrder({Combo({Win}, 'X'), AnyOf({Combo({}, 'I'), Combo({}, 'A'), Combo({}, 'T'), Combo({}, 'G')})})},
        {"start-launch", "DANGER", "Searches and launches", "Searches the Start menu and launches whatever it finds.",
         InOrder({WinTap, Typing(), Combo({}, kEnter)})},
        {"copy-paste-send", "DANGER", "Copies, pastes and sends",
         "Copies something, pastes it somewhere else and presses Enter. It could send private text such as "
         "passwords or messages.",
         InOrder({AnyOf({Combo({Ctrl}, 'C'), Combo({Ctrl}, 'X')}), Combo({Ctrl}, 'V'), Combo({}, kEnter)})},
        {"screenshot-paste", "DANGER", "Screenshots and pastes",
         "Takes a screenshot and pastes it somewhere. It could share what is on your screen.",
         InOrder({AnyOf({Combo({}, kPrintScreen), Combo({Shift, Win}, 'S'), Combo({Alt}, kPrintScreen)}),
                  Combo({Ctrl}, 'V')})},
        {"select-all-delete", "DANGER", "Selects all and deletes", "Selects everything and deletes it.",
         InOrder({Combo({Ctrl}, 'A'), AnyOf({Combo({}, kDelete), Combo({}, kBackspace)})})},
        {"permanent-delete", "DANGER", "Permanently deletes",
         "Permanently deletes the selection and skips the Recycle Bin.", InOrder({Combo({Shift}, kDelete)})},
        {"wipe-and-save", "DANGER", "Replaces and overwrites a file",
         "Replaces a document's contents and saves over it.",
         InOrder(
             {Combo({Ctrl}, 'A'), AnyOf({Combo({}, kDelete), Combo({}, kBackspace), Typing()}), Combo({Ctrl}, 'S')})},
        {"open-address", "CAUTION", "Opens a web address", "Types a web address and opens it.",
         Within(30, {AnyOf({Combo({Ctrl}, 'L'), Combo({}, kF6)}), Typing(), Combo({}, kEnter)})},
        {"copy-paste", "CAUTION", "Copies and pastes", "Copies something and pastes it into another place.",
         Within(60, {AnyOf({Combo({Ctrl}, 'C'), Combo({Ctrl}, 'X')}), Combo({Ctrl}, 'V')})},
        {"type-and-send", "CAUTION", "Types and presses Enter",
         "Types text and presses Enter. It could send a message or submit a form.", TypeAndSend},
        {"close-windows", "CAUTION", "Closes windows", "Closes windows or tabs. You could lose unsaved work.",
         Repeated(AnyOf({Combo({Alt}, kF4), Combo({Ctrl}, 'W')}), 2, 30)},
        {"task-manager", "CAUTION", "Opens Task Manager", "Opens Task Manager or the security screen.",
         InOrder({AnyOf({Combo({Ctrl, Shift}, kEsc), Combo({Ctrl, Alt}, kDelete)})})},
        {"switch-windows", "CAUTION", "Switches windows",
         "Switches between your open windows, so its keys and clicks may land somewhere unexpected.",
         Repeated(Combo({Alt}, kTab), 3, 10)},
        {"system-keys", "CAUTION", "Uses Windows shortcuts", "Uses Windows system shortcuts.", SystemKeys},

        // The Linux desktops.
        {"run-dialog", "DANGER", "Opens the run dialog and executes",
         "Opens the desktop's Run dialog (Alt+F2), types something and presses Enter. This can start programs or "
         "run commands on your computer.",
         InOrder({Combo({Alt}, kF2), Typing(), Combo({}, kEnter)})},
        {"terminal-command", "DANGER", "Opens a terminal and runs a command",
         "Opens a terminal (Ctrl+Alt+T), types something and presses Enter. This can run any command on your "
         "computer.",
         InOrder({Combo({Ctrl, Alt}, 'T'), Typing(), Combo({}, kEnter)})},
        {"launcher-run", "DANGER", "Opens a launcher and executes",
         "Opens a launcher (Alt+Space, Alt+F1 or Alt+F3), types something and presses Enter. Launchers such as "
         "KRunner can start programs or run commands on your computer.",
         InOrder({AnyOf({Combo({Alt}, kSpace), Combo({Alt}, kF1), Combo({Alt}, kF3)}), Typing(), Combo({}, kEnter)})},
        {"console-command", "DANGER", "Types a command at a text console",
         "Switches to a text console (Ctrl+Alt+F1 to F12), types something and presses Enter. There it can log in "
         "or run commands outside the desktop.",
         InOrder({ConsoleSwitch(), Typing(), Combo({}, kEnter)})},
        {"console-typing", "CAUTION", "Types at a text console",
         "Switches to a text console (Ctrl+Alt+F1 to F12) and types there, outside the desktop and its windows.",
         InOrder({ConsoleSwitch(), Typing()})},
        {"command-box", "CAUTION", "Opens a command box",
         "Opens the desktop's Run dialog (Alt+F2) or a terminal (Ctrl+Alt+T), where keys typed later can run "
         "commands.",
         InOrder({AnyOf({Combo({Alt}, kF2), Combo({Ctrl, Alt}, 'T')})})},
        {"end-session", "CAUTION", "Ends the desktop session",
         "Presses Ctrl+Alt+Backspace, which ends the whole desktop session where it is enabled. Every program "
         "closes without saving.",
         InOrder({Combo({Ctrl, Alt}, kBackspace)})},
    };
    return s;
}

}  // namespace MacroScan
