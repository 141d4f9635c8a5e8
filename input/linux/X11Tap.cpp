// The input tap on X11. Two connections of the tap's own:
// - `raw` takes the XInput 2 raw events of every master device. It announces XI 2.2: an observer that
//   says 2.0 misses the events that come while another client holds a grab. Raw events reach us whatever
//   happens to the event itself, so every rule of the tap runs on them.
// - `grab` holds the grabs that do the swallowing. Hotkeys (and, while a key is being captured or a point
//   picked, the mouse buttons) are grabbed passively in synchronous mode on the concrete master device: the
//   device freezes on the press until we answer: an ungrab at once swallows the press
//   (the device is free again, so what follows reaches the focused window; a held key's repeats start the
//   grab anew and are swallowed one by one, its release goes on), XIReplayDevice to pass it on untouched.
//   A key capture grabs the keyboard actively. A watchdog replays a frozen device when the thread is held up.
// A grabbed press reaches us twice, as a raw event and as the grab's event, with the same server time. Only
// the raw event is judged (and only it takes the program's own marks); the grab's event waits for that
// verdict if it comes first.
//
// Raw events carry no position and no auto-repeat. The pointer is asked where it is only when a press or a
// recorded move needs the point. The repeats the server makes of a held key are seen through the RECORD
// extension on a third connection: a core key press with a later time than the raw press of a key still down.
#include <X11/XKBlib.h>
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>
#include <X11/extensions/XRes.h>
#include <X11/extensions/record.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#include "core/AppState.h"
#include "core/Hotkeys.h"
#include "core/Threads.h"
#include "core/Wake.h"
#include "input/InputTap.h"
#include "input/Keys.h"
#include "input/OwnEventMarks.h"
#include "input/linux/WakeFile.h"

namespace {

// A changed hotkey or capture wakes the tap (InputSettingsChanged); it also looks by itself this often, in
// case a change came by a way that doesn't say so.
constexpr int kSettingsCheckMs = 500;
constexpr int64_t kWatchdogNs = 100'000'000;  // a device frozen this long is replayed
constexpr int kRecentPresses = 16;
constexpr int64_t kFrozenWaitNs = 50'000'000;   // a frozen press waits this long for its raw event
constexpr int64_t kPointerRestNs = 50'000'000;  // moves this far apart count as a rest

int64_t NowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// --- X errors ----------------------------------------------------------------------------------------------
// A window can vanish between two requests of a lookup. Errors on the tap's connections are expected and
// dropped; any other connection's go to the handler that was there before.

std::array<std::atomic<Display*>, 8> g_QuietDisplays{};
std::atomic<XErrorHandler> g_PreviousErrorHandler{nullptr};

int OnXError(Display* d, XErrorEvent* e) {
    for (auto& q : g_QuietDisplays) {
        if (q.load() == d) return 0;
    }
    XErrorHandler previous = g_PreviousErrorHandler.load();
    return previous ? previous(d, e) : 0;
}

void QuietErrorsOn(Display* d) {
    static std::once_flag once;
    std::call_once(once, [] { g_PreviousErrorHandler = XSetErrorHandler(OnXError); });
    for (auto& q : g_QuietDisplays) {
        Display* expected = nullptr;
        if (q.compare_exchange_strong(expected, d)) return;
    }
}

void ForgetDisplay(Display* d) {
    for (auto& q : g_QuietDisplays) {
        Display* expected = d;
        q.compare_exchange_strong(expected, nullptr);
    }
}

// --- Buttons ------------------------------------------------------------------------------------------------

int ButtonVk(int xButton) {
    switch (xButton) {
        case 1: return 1;
        case 2: return 4;
        case 3: return 2;
        case 8: return 5;
        case 9: return 6;
        default: return 0;
    }
}

int XButtonOfVk(int vk) {
    switch (vk) {
        case 1: return 1;
        case 2: return 3;
        case 4: return 2;
        case 5: return 8;
        case 6: return 9;
        default: return 0;
    }
}

bool IsMouseVk(int vk) { return XButtonOfVk(vk) != 0; }

// --- The tap's state: its thread only, apart from the atomics ----------------------------------------------

struct Grabbed {
    int code;
    std::vector<XIGrabModifiers> modifiers;
};

// What should be grabbed, from the hotkey settings and the capture and picking state.
struct GrabPlan {
    std::vector<int> keycodes;
    std::vector<int> buttons;
    bool keyboard = false;  // a key capture: every key comes to us
    bool operator==(const GrabPlan&) const = default;
};

// A press judged from its raw event, for the grab's event of the same press (same server time) to take.
struct Judged {
    bool key = false;
    int detail = 0;
    Time time = 0;
    bool swallow = false;
    bool used = true;
};

// Written to wake the tap for a changed setting.
const WakeFile& SettingsWake() {
    static const WakeFile file;
    return file;
}

void WakeTapForSettings() { SettingsWake().Signal(); }

// A grab's press whose raw event hasn't been judged yet; the device waits, frozen.
struct Frozen {
    bool key = false;
    int detail = 0;
    Time time = 0;
    int64_t sinceNs = 0;
};

struct TapState {
    Display* raw = nullptr;
    Display* grab = nullptr;
    int xiOpcode = 0;
    int keyboardId = 3;
    int pointerId = 2;
    std::vector<int> xtestDevices;
    int stopPipe[2] = {-1, -1};

    GrabPlan plan;
    std::vector<Grabbed> keyGrabs, buttonGrabs;
    bool keyboardGrabbed = false;
    std::array<bool, 256> heldHotkeys{};  // key codes whose press was swallowed and that are still down

    std::array<Judged, kRecentPresses> judged{};
    size_t judgedNext = 0;
    std::vector<Frozen> frozen;

    // Where the pointer is, followed from the raw values of each move between reads of the real point: a
    // run of moves that arrives at once still gives each move its own point.
    // How a device's raw values move the pointer: declared by the device, or learned from a move whose real
    // point was read (XTest sends absolute points through devices that call themselves relative).
    enum class Moves { Unknown, Relative, Absolute };
    struct Axes {
        int device;
        Moves moves;
        double min[2], max[2];
        int scrollAxis = -1;  // the valuator of smooth vertical scrolling, and the size of one line on it
        double scrollIncrement = 0;
        double scrollPending = 0;
    };
    std::vector<Axes> axes;
    bool pointKnown = false;
    double point[2] = {0, 0};
    int64_t readPointAtNs = 0;  // when the pointer has rested after moves that were followed: read the real point

    // The server's own key presses, repeats among them, through RECORD.
    Display* record = nullptr;
    XRecordContext recordContext = 0;
    struct Down {
        Time time = 0;  // the raw press of a key that is down; 0 when it is up
        bool own = false;
    };
    std::array<Down, 256> keysDown{};

    // The server's clock (milliseconds) against ours: the smallest gap seen between an event's time and its
    // arrival here.
    bool offsetKnown = false;
    int64_t serverOffsetNs = 0;
};

TapState g;
std::atomic<bool> g_TapRunning{false};
std::thread g_TapThread;
std::mutex g_TapStartMutex;

// The watchdog: the tap's thread marks when it may be held up (waiting for the profile lock).
std::atomic<int64_t> g_TapBusySinceNs{0};
std::thread g_WatchdogThread;
std::mutex g_WatchdogMutex;
std::condition_variable g_WatchdogCv;
bool g_WatchdogStop = false;
// Only a recording makes the tap wait for the profile lock: without one the watchdog dozes, and the tap's
// first wait wakes it. Both sides store, then load the other's word, so at least one of them sees it.
std::atomic<bool> g_WatchdogDozing{false};

void WakeDozingWatchdog() {
    {
        std::lock_guard<std::mutex> lock(g_WatchdogMutex);
        g_WatchdogDozing = false;
    }
    g_WatchdogCv.notify_all();
}

// --- Devices ----------------------------------------------------------------------------------------------

void FindDevices() {
    int pointer = 0;
    XIGetClientPointer(g.grab, None, &pointer);
    if (pointer > 0) g.pointerId = pointer;
    g.xtestDevices.clear();
    const Atom xtestProp = XInternAtom(g.grab, "XTEST Device", True);
    int n = 0;
    XIDeviceInfo* info = XIQueryDevice(g.grab, XIAllDevices, &n);
    g.axes.clear();
    for (int i = 0; info && i < n; ++i) {
        if (info[i].deviceid == g.pointerId) g.keyboardId = info[i].attachment;
        TapState::Axes a{info[i].deviceid, TapState::Moves::Unknown, {0, 0}, {0, 0}};
        for (int c = 0; c < info[i].num_classes; ++c) {
            if (info[i].classes[c]->type == XIScrollClass) {
                const auto* sc = reinterpret_cast<const XIScrollClassInfo*>(info[i].classes[c]);
                if (sc->scroll_type == XIScrollTypeVertical) {
                    a.scrollAxis = sc->number;
                    a.scrollIncrement = sc->increment;
                }
                continue;
            }
            if (info[i].classes[c]->type != XIValuatorClass) continue;
            const auto* v = reinterpret_cast<const XIValuatorClassInfo*>(info[i].classes[c]);
            if (v->number > 1) continue;
            if (v->mode == XIModeAbsolute) a.moves = TapState::Moves::Absolute;
            a.min[v->number] = v->min;
            a.max[v->number] = v->max;
        }
        g.axes.push_back(a);
        if (xtestProp == None || (info[i].use != XISlavePointer && info[i].use != XISlaveKeyboard)) continue;
        Atom type = None;
        int format = 0;
        unsigned long items = 0, after = 0;
        unsigned char* data = nullptr;
        if (XIGetProperty(g.grab, info[i].deviceid, xtestProp, 0, 1, False, AnyPropertyType, &type, &format, &items,
                          &after, &data) == Success &&
            type != None) {
            g.xtestDevices.push_back(info[i].deviceid);
        }
        if (data) XFree(data);
    }
    if (info) XIFreeDeviceInfo(info);
}

bool IsXTestDevice(int sourceId) {
    return std::find(g.xtestDevices.begin(), g.xtestDevices.end(), sourceId) != g.xtestDevices.end();
}

// --- Grabs --------------------------------------------------------------------------------------------------

GrabPlan WantedGrabs() {
    GrabPlan p;
    std::vector<int> vks;
    if (g_HotkeysEnabled) {
        if (g_HotkeyLockEnabled) vks.push_back(vkUnlock);
        if (HotkeysLive()) {
            for (int vk : {vkRecord.load(), vkPlay.load(), vkAutoClicker.load(), vkKeySpamHotkey.load()}) {
                vks.push_back(vk);
            }
        }
    }
    const int reassign = currentReassign;
    p.keyboard = reassign != 0;
    if (isPickingLocation || (reassign != 0 && reassign != 5)) vks.insert(vks.end(), {1, 2, 4, 5, 6});
    for (int vk : vks) {
        if (IsMouseVk(vk)) {
            p.buttons.push_back(XButtonOfVk(vk));
        } else if (!p.keyboard) {
            const int code = VkToPlatformKeyCode(vk);
            if (code > 0) p.keycodes.push_back(code);
        }
    }
    for (auto* list : {&p.keycodes, &p.buttons}) {
        std::sort(list->begin(), list->end());
        list->erase(std::unique(list->begin(), list->end()), list->end());
    }
    return p;
}

// Another client may hold the same key with some modifiers: then the plain combinations of Caps Lock and
// Num Lock are grabbed one by one.
std::vector<XIGrabModifiers> GrabOne(bool key, int code) {
    unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
    XISetMask(bits, key ? XI_KeyPress : XI_ButtonPress);
    XISetMask(bits, key ? XI_KeyRelease : XI_ButtonRelease);
    XIEventMask mask{key ? g.keyboardId : g.pointerId, sizeof bits, bits};
    const Window root = DefaultRootWindow(g.grab);
    auto grab = [&](std::vector<XIGrabModifiers>& mods) {
        const int failed = key ? XIGrabKeycode(g.grab, g.keyboardId, code, root, XIGrabModeSync, XIGrabModeAsync, False,
                                               &mask, static_cast<int>(mods.size()), mods.data())
                               : XIGrabButton(g.grab, g.pointerId, code, root, None, XIGrabModeSync, XIGrabModeAsync,
                                              False, &mask, static_cast<int>(mods.size()), mods.data());
        return failed == 0;
    };
    std::vector<XIGrabModifiers> mods = {{static_cast<int>(XIAnyModifier), 0}};
    if (grab(mods)) return mods;
    mods = {{0, 0}, {LockMask, 0}, {Mod2Mask, 0}, {LockMask | Mod2Mask, 0}};
    grab(mods);
    return mods;
}

void UngrabOne(bool key, const Grabbed& grabbed) {
    auto mods = grabbed.modifiers;
    const Window root = DefaultRootWindow(g.grab);
    if (key) {
        XIUngrabKeycode(g.grab, g.keyboardId, grabbed.code, root, static_cast<int>(mods.size()), mods.data());
    } else {
        XIUngrabButton(g.grab, g.pointerId, grabbed.code, root, static_cast<int>(mods.size()), mods.data());
    }
}

void MoveGrabs(std::vector<Grabbed>& current, const std::vector<int>& wanted, bool key) {
    for (auto it = current.begin(); it != current.end();) {
        if (std::find(wanted.begin(), wanted.end(), it->code) == wanted.end()) {
            UngrabOne(key, *it);
            it = current.erase(it);
        } else {
            ++it;
        }
    }
    for (int code : wanted) {
        const bool have = std::any_of(current.begin(), current.end(), [&](const Grabbed& x) { return x.code == code; });
        if (!have) current.push_back({code, GrabOne(key, code)});
    }
}

void ApplyGrabs() {
    GrabPlan wanted = WantedGrabs();
    if (wanted == g.plan) return;
    MoveGrabs(g.keyGrabs, wanted.keycodes, true);
    MoveGrabs(g.buttonGrabs, wanted.buttons, false);
    if (wanted.keyboard && !g.keyboardGrabbed) {
        unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
        XISetMask(bits, XI_KeyPress);
        XISetMask(bits, XI_KeyRelease);
        XIEventMask mask{g.keyboardId, sizeof bits, bits};
        // Refused while another client holds the keyboard: the capture still works, the key just isn't kept.
        g.keyboardGrabbed = XIGrabDevice(g.grab, g.keyboardId, DefaultRootWindow(g.grab), CurrentTime, None,
                                         XIGrabModeAsync, XIGrabModeAsync, False, &mask) == Success;
    } else if (!wanted.keyboard && g.keyboardGrabbed) {
        XIUngrabDevice(g.grab, g.keyboardId, CurrentTime);
        g.keyboardGrabbed = false;
    }
    XFlush(g.grab);
    g.plan = std::move(wanted);
}

void ReleaseAllGrabs() {
    for (const auto& k : g.keyGrabs) UngrabOne(true, k);
    for (const auto& b : g.buttonGrabs) UngrabOne(false, b);
    g.keyGrabs.clear();
    g.buttonGrabs.clear();
    if (g.keyboardGrabbed) XIUngrabDevice(g.grab, g.keyboardId, CurrentTime);
    g.keyboardGrabbed = false;
    g.plan = GrabPlan{};
    XSync(g.grab, False);
}

// --- Judging one event ---------------------------------------------------------------------------------------

// How long ago an event with the server's time `t` happened: how much later than the quickest event it reached
// us. A jump of more than ten seconds (the 32-bit clock wrapping, a new server) starts the comparison afresh.
double AgeOf(Time t) {
    const int64_t offset = NowNs() - static_cast<int64_t>(t) * 1'000'000;
    if (!g.offsetKnown || offset < g.serverOffsetNs || offset - g.serverOffsetNs > 10'000'000'000) {
        g.offsetKnown = true;
        g.serverOffsetNs = offset;
    }
    return static_cast<double>(offset - g.serverOffsetNs) / 1e9;
}

void RecordWhileWatched(const UnifiedEvent& e) {
    g_TapBusySinceNs = NowNs();
    if (g_WatchdogDozing) WakeDozingWatchdog();
    if (const auto append = CurrentTapRecorder().append) append(e);
    g_TapBusySinceNs = 0;
}

void Finish(const TapVerdict& v) {
    if (v.record && isRecording) RecordWhileWatched(v.event);
}

bool PointerAt(double& x, double& y) {
    Window root = 0, child = 0;
    double winX = 0, winY = 0;
    XIButtonState buttons{};
    XIModifierState mods{};
    XIGroupState group{};
    const bool ok = XIQueryPointer(g.grab, g.pointerId, DefaultRootWindow(g.grab), &root, &child, &x, &y, &winX, &winY,
                                   &buttons, &mods, &group);
    free(buttons.mask);
    return ok;
}

// Reads where the pointer really is. Recorded when it differs from the followed point (an edge of the screen,
// acceleration the raw values didn't show), which is why it waits until the pointer rests: a read while moves
// are still on their way would see a later point than the move at hand.
void ReadRealPoint() {
    TapEvent e;
    e.kind = TapMove;
    e.hasPoint = PointerAt(e.x, e.y);
    g.pointKnown = e.hasPoint;
    g.point[0] = e.x;
    g.point[1] = e.y;
    Finish(HandleTapEvent(e));
}

// The point after a raw move, from its values: absolute ones scale onto the screen, relative ones add up.
// False when the device's way of moving isn't known yet.
bool FollowMove(const XIRawEvent* r, TapState::Axes* device, const double (&from)[2], double (&to)[2]) {
    const double size[2] = {double(DisplayWidth(g.grab, DefaultScreen(g.grab))),
                            double(DisplayHeight(g.grab, DefaultScreen(g.grab)))};
    const double* v = r->valuators.values;
    to[0] = from[0];
    to[1] = from[1];
    for (int axis = 0; axis < 2; ++axis) {
        if (!XIMaskIsSet(r->valuators.mask, axis)) continue;
        const double value = *v++;
        if (!device || device->moves == TapState::Moves::Unknown) return false;
        if (device->moves == TapState::Moves::Relative) {
            to[axis] += value;
        } else if (device->max[axis] > device->min[axis]) {
            to[axis] = (value - device->min[axis]) * size[axis] / (device->max[axis] - device->min[axis] + 1);
        } else {
            to[axis] = value;
        }
        to[axis] = std::clamp(to[axis], 0.0, size[axis] - 1);
    }
    return true;
}

void RecordMove(const XIRawEvent* r) {
    const auto it = std::find_if(g.axes.begin(), g.axes.end(), [&](const auto& a) { return a.device == r->sourceid; });
    TapState::Axes* device = it == g.axes.end() ? nullptr : &*it;
    double predicted[2];
    const bool followed = g.pointKnown && FollowMove(r, device, g.point, predicted);
    if (!followed) {
        // A device not known yet: its real point is read, and the move teaches how its values move it.
        const double before[2] = {g.point[0], g.point[1]};
        const bool knewBefore = g.pointKnown;
        ReadRealPoint();
        if (device && device->moves == TapState::Moves::Unknown && knewBefore && g.pointKnown) {
            double asRelative[2], asAbsolute[2];
            device->moves = TapState::Moves::Relative;
            FollowMove(r, device, before, asRelative);
            device->moves = TapState::Moves::Absolute;
            FollowMove(r, device, before, asAbsolute);
            const auto near = [](const double(&a)[2], const double(&b)[2]) {
                return std::abs(a[0] - b[0]) < 1 && std::abs(a[1] - b[1]) < 1;
            };
            const bool relative = near(asRelative, g.point), absolute = near(asAbsolute, g.point);
            device->moves = relative == absolute ? TapState::Moves::Unknown
                            : relative           ? TapState::Moves::Relative
                                                 : TapState::Moves::Absolute;
        }
        return;
    }
    g.point[0] = predicted[0];
    g.point[1] = predicted[1];
    TapEvent e;
    e.kind = TapMove;
    e.hasPoint = true;
    e.x = predicted[0];
    e.y = predicted[1];
    e.ageSeconds = AgeOf(r->time);
    Finish(HandleTapEvent(e));
    g.readPointAtNs = NowNs() + kPointerRestNs;
}

Judged* FindJudged(bool key, int detail, Time time) {
    for (auto& j : g.judged) {
        if (!j.used && j.key == key && j.detail == detail && j.time == time) return &j;
    }
    return nullptr;
}

void RememberJudged(const Judged& j) {
    g.judged[g.judgedNext] = j;
    g.judged[g.judgedNext].used = false;
    g.judgedNext = (g.judgedNext + 1) % g.judged.size();
}

// A key went down or up as the raw events tell.
void FollowKey(int keycode, bool down, Time time, bool own) {
    TapState::Down& k = g.keysDown[static_cast<unsigned>(keycode) % 256];
    k.time = down ? time : 0;
    k.own = own;
}

// Every key press the server makes goes through here. The first press of a key has the time of its raw
// press; a later time while the key is still down is a repeat, of the user's key or of one of ours.
void OnRecordedData(XPointer, XRecordInterceptData* data) {
    if (data->category == XRecordFromServer && data->data_len * 4 >= 8 && (data->data[0] & 0x7f) == KeyPress) {
        // The event's own time (the header's is when it was recorded), in our byte order.
        uint32_t time = 0;
        std::memcpy(&time, data->data + 4, sizeof time);
        const int keycode = data->data[1];
        const TapState::Down& k = g.keysDown[static_cast<unsigned>(keycode)];
        if (k.time != 0 && time != k.time && !k.own) {
            TapEvent e;
            e.kind = TapKey;
            e.vk = PlatformKeyCodeToVk(keycode);
            e.down = true;
            e.ageSeconds = AgeOf(time);
            TakeTrackerReset();
            Finish(HandleTapEvent(e));
        }
    }
    XRecordFreeData(data);
}

MarkKind RawMarkKind(int evtype) {
    switch (evtype) {
        case XI_RawKeyPress: return MarkKeyPress;
        case XI_RawKeyRelease: return MarkKeyRelease;
        case XI_RawButtonPress: return MarkButtonPress;
        case XI_RawButtonRelease: return MarkButtonRelease;
        default: return MarkMotion;
    }
}

bool IsOwn(int sourceId, MarkKind kind, int detail, int x, int y) {
    return IsXTestDevice(sourceId) && TakeOwnEventMark(kind, detail, x, y, NowNs());
}

// A key or button press or release of the user, judged by the rules.
TapVerdict JudgePress(bool key, int detail, bool down, double x, double y, Time time) {
    TapEvent e;
    e.ageSeconds = AgeOf(time);
    e.down = down;
    e.x = x;
    e.y = y;
    if (key) {
        e.kind = TapKey;
        e.vk = PlatformKeyCodeToVk(detail);
    } else if (detail == 4 || detail == 5) {
        e.kind = TapScroll;
        e.scrollLines = down ? (detail == 4 ? 1 : -1) : 0;
    } else {
        e.kind = TapButton;
        e.vk = ButtonVk(detail);
        e.hasPoint = true;
    }
    return HandleTapEvent(e);
}

// Swallowing a press is ending the grab it started: the press was delivered to us, and the device is free
// again at once, so that the keys and clicks of the tools and the user's other input reach the focused
// window while a hotkey is held. (Thawing the device first would hand what queued meanwhile to the grab.)
// A held key's repeats start the passive grab anew and are swallowed the same way (OnGrabEvent).
void Answer(bool key, bool swallow, Time time) {
    const int device = key ? g.keyboardId : g.pointerId;
    if (swallow) {
        XIUngrabDevice(g.grab, device, time);
    } else {
        XIAllowEvents(g.grab, device, XIReplayDevice, time);
    }
    XFlush(g.grab);
}

// Keeps a press's verdict for the grab's event of it, or answers that event if it is waiting already.
void Judge(const Judged& j) {
    for (auto it = g.frozen.begin(); it != g.frozen.end(); ++it) {
        if (it->key == j.key && it->detail == j.detail && it->time == j.time) {
            Answer(j.key, j.swallow, j.time);
            g.frozen.erase(it);
            return;
        }
    }
    RememberJudged(j);
}

// A frozen press whose raw event never came is let go.
void ReleaseStaleFrozen() {
    const int64_t now = NowNs();
    for (auto it = g.frozen.begin(); it != g.frozen.end();) {
        if (now - it->sinceNs < kFrozenWaitNs) {
            ++it;
            continue;
        }
        Answer(it->key, false, it->time);
        it = g.frozen.erase(it);
    }
}

// Smooth-scrolling devices report the wheel on a scroll valuator; the server's wheel buttons made from it come
// without raw events (and are skipped if they do come), so the lines are taken from the valuator.
void ScrollFromValuators(const XIRawEvent* r) {
    const auto it = std::find_if(g.axes.begin(), g.axes.end(), [&](const auto& a) { return a.device == r->sourceid; });
    if (it == g.axes.end() || it->scrollAxis < 0 || !XIMaskIsSet(r->valuators.mask, it->scrollAxis)) return;
    const double* v = r->valuators.values;
    for (int axis = 0; axis < it->scrollAxis; ++axis) {
        if (XIMaskIsSet(r->valuators.mask, axis)) ++v;
    }
    TapEvent e;
    e.kind = TapScroll;
    e.scrollLines = TakeScrollLines(it->scrollPending, *v, it->scrollIncrement);
    e.ageSeconds = AgeOf(r->time);
    if (e.scrollLines != 0) Finish(HandleTapEvent(e));
}

void OnRawEvent(const XIRawEvent* r) {
    if (r->evtype == XI_RawMotion) {
        int x = 0, y = 0;
        const double* v = r->raw_values;
        if (XIMaskIsSet(r->valuators.mask, 0)) x = static_cast<int>(*v++);
        if (XIMaskIsSet(r->valuators.mask, 1)) y = static_cast<int>(*v++);
        TakeTrackerReset();
        if (IsOwn(r->sourceid, MarkMotion, 0, x, y)) {
            g.pointKnown = false;  // we moved the pointer: the next move of the user starts from a real read
            return;
        }
        ScrollFromValuators(r);
        if (!XIMaskIsSet(r->valuators.mask, 0) && !XIMaskIsSet(r->valuators.mask, 1)) return;  // a scroll alone
        if (!isRecording || !bRecordMouseMovement) {
            g.pointKnown = false;  // outside a recording a move costs nothing more
            HandleTapEvent(TapEvent{});
            return;
        }
        RecordMove(r);
        return;
    }
    const bool key = r->evtype == XI_RawKeyPress || r->evtype == XI_RawKeyRelease;
    const bool down = r->evtype == XI_RawKeyPress || r->evtype == XI_RawButtonPress;
    if (!key && (r->flags & XIPointerEmulated)) return;
    TakeTrackerReset();
    const bool own = IsOwn(r->sourceid, RawMarkKind(r->evtype), r->detail, 0, 0);
    if (key) FollowKey(r->detail, down, r->time, own);
    if (key && !down) g.heldHotkeys[static_cast<unsigned>(r->detail) % 256] = false;
    if (own) {
        if (down) Judge({key, r->detail, r->time, false, false});
        return;
    }
    double x = 0, y = 0;
    if (!key && r->detail != 4 && r->detail != 5) PointerAt(x, y);
    const TapVerdict v = JudgePress(key, r->detail, down, x, y, r->time);
    if (key && down && v.keepsRelease) g.heldHotkeys[static_cast<unsigned>(r->detail) % 256] = true;
    if (down) Judge({key, r->detail, r->time, v.swallow, false});
    Finish(v);
}

void OnGrabEvent(const XIDeviceEvent* d) {
    const bool key = d->evtype == XI_KeyPress;
    if (!key && d->evtype != XI_ButtonPress) return;  // a swallowed press ends its grab: no release comes here
    // A key capture's active grab brings every key here, unfrozen: the raw stream judges them.
    if (key && g.keyboardGrabbed) return;
    if (key && (d->flags & XIKeyRepeat)) {
        // The server's repeat of a held key has no raw event: a swallowed hotkey's repeats are swallowed, any
        // other key's pass on.
        Answer(key, g.heldHotkeys[static_cast<unsigned>(d->detail) % 256], d->time);
        return;
    }
    // Every rule runs on the raw event of this press, which may not have been read yet.
    if (Judged* j = FindJudged(key, d->detail, d->time)) {
        j->used = true;
        Answer(key, j->swallow, d->time);
    } else {
        g.frozen.push_back({key, d->detail, d->time, NowNs()});
    }
}

void DrainOne(Display* d) {
    XEvent e;
    XNextEvent(d, &e);
    if (e.type != GenericEvent || e.xcookie.extension != g.xiOpcode || !XGetEventData(d, &e.xcookie)) return;
    const int type = e.xcookie.evtype;
    if (type == XI_HierarchyChanged) {
        // The master devices may have changed: grab anew on the current ones.
        ReleaseAllGrabs();
        FindDevices();
    } else if (type >= XI_RawKeyPress && type <= XI_RawMotion) {
        OnRawEvent(static_cast<XIRawEvent*>(e.xcookie.data));
    } else {
        OnGrabEvent(static_cast<XIDeviceEvent*>(e.xcookie.data));
    }
    XFreeEventData(d, &e.xcookie);
}

int PollTimeoutMs() {
    int ms = g.frozen.empty() ? kSettingsCheckMs : 1;
    if (g.readPointAtNs) ms = static_cast<int>(std::clamp<int64_t>((g.readPointAtNs - NowNs()) / 1'000'000 + 1, 0, ms));
    return ms;
}

void TapThreadMain() {
    PlatformNameThread("QVN input tap");
    PlatformRaiseThreadPriority();
    pollfd fds[5] = {{ConnectionNumber(g.raw), POLLIN, 0},
                     {ConnectionNumber(g.grab), POLLIN, 0},
                     {g.stopPipe[0], POLLIN, 0},
                     {g.record ? ConnectionNumber(g.record) : -1, POLLIN, 0},
                     {SettingsWake().fd(), POLLIN, 0}};
    for (;;) {
        ApplyGrabs();
        // A repeat comes before the release that ends it: the server's presses are taken first.
        if (g.record) XRecordProcessReplies(g.record);
        // Events Xlib has read already don't show on the socket: empty both queues before sleeping.
        while (XPending(g.grab) || XPending(g.raw)) {
            while (XPending(g.grab)) DrainOne(g.grab);  // frozen presses first
            if (XPending(g.raw)) DrainOne(g.raw);
        }
        ReleaseStaleFrozen();
        if (g.readPointAtNs && NowNs() >= g.readPointAtNs) {
            g.readPointAtNs = 0;
            if (isRecording && bRecordMouseMovement) ReadRealPoint();
        }
        if (poll(fds, 5, PollTimeoutMs()) < 0 && errno != EINTR) break;
        if (fds[2].revents) break;
        if (fds[4].revents) SettingsWake().Drain();
    }
    ReleaseAllGrabs();
    if (g.recordContext) {
        XRecordDisableContext(g.grab, g.recordContext);
        XRecordFreeContext(g.grab, g.recordContext);
        XSync(g.grab, False);
    }
}

// Watches the server's key presses. Without RECORD the tap works all the same, without repeats in a recording.
void StartRecordingKeyPresses() {
    int major = 0, minor = 0;
    if (!XRecordQueryVersion(g.grab, &major, &minor)) return;
    g.record = XOpenDisplay(nullptr);
    if (!g.record) return;
    QuietErrorsOn(g.record);
    XRecordRange* range = XRecordAllocRange();
    if (!range) return;
    range->device_events.first = KeyPress;
    range->device_events.last = KeyPress;
    XRecordClientSpec clients = XRecordAllClients;
    g.recordContext = XRecordCreateContext(g.grab, 0, &clients, 1, &range, 1);
    XFree(range);
    XSync(g.grab, False);
    if (g.recordContext && XRecordEnableContextAsync(g.record, g.recordContext, OnRecordedData, nullptr)) return;
    if (g.recordContext) XRecordFreeContext(g.grab, g.recordContext);
    g.recordContext = 0;
}

void WatchdogMain(Display* grab, int keyboardId, int pointerId) {
    std::unique_lock<std::mutex> lock(g_WatchdogMutex);
    int64_t answered = 0;
    for (;;) {
        g_WatchdogDozing = true;
        const bool doze = !isRecording && g_TapBusySinceNs == 0;
        if (!doze) g_WatchdogDozing = false;
        g_WatchdogCv.wait_for(lock, std::chrono::milliseconds(doze ? 1000 : 25),
                              [doze] { return g_WatchdogStop || (doze && !g_WatchdogDozing); });
        if (g_WatchdogStop) break;
        g_WatchdogDozing = false;
        const int64_t since = g_TapBusySinceNs;
        if (since == 0 || since == answered || NowNs() - since < kWatchdogNs) continue;
        // The tap's thread waits for the profile lock; a device frozen on one of our grabs meanwhile is
        // replayed (a device that isn't frozen ignores this). Xlib locks the shared connection.
        // Not under the watchdog's lock, which the tap's thread may take to wake it.
        lock.unlock();
        XIAllowEvents(grab, keyboardId, XIReplayDevice, CurrentTime);
        XIAllowEvents(grab, pointerId, XIReplayDevice, CurrentTime);
        XFlush(grab);
        lock.lock();
        answered = since;
    }
}

Display* OpenXi22(int* opcode) {
    Display* d = XOpenDisplay(nullptr);
    if (!d) return nullptr;
    int event = 0, error = 0, op = 0, major = 2, minor = 2;
    if (!XQueryExtension(d, "XInputExtension", &op, &event, &error) || XIQueryVersion(d, &major, &minor) != Success ||
        major < 2 || (major == 2 && minor < 2)) {
        XCloseDisplay(d);
        return nullptr;
    }
    if (opcode) *opcode = op;
    QuietErrorsOn(d);
    return d;
}

void CloseTapConnections() {
    for (Display** d : {&g.record, &g.raw, &g.grab}) {
        if (*d) {
            ForgetDisplay(*d);
            XCloseDisplay(*d);
        }
        *d = nullptr;
    }
    for (int& fd : g.stopPipe) {
        if (fd >= 0) close(fd);
        fd = -1;
    }
}

}  // namespace

bool PlatformStartInputTap() {
    std::lock_guard<std::mutex> lock(g_TapStartMutex);
    if (g_TapRunning) return true;
    XInitThreads();  // the watchdog answers on the tap's grab connection
    g = TapState{};
    g.raw = OpenXi22(&g.xiOpcode);
    g.grab = g.raw ? OpenXi22(nullptr) : nullptr;
    if (!g.grab || pipe2(g.stopPipe, O_CLOEXEC) != 0) {
        CloseTapConnections();
        return false;
    }
    FindDevices();
    StartRecordingKeyPresses();

    unsigned char rawBits[XIMaskLen(XI_LASTEVENT)] = {};
    for (int type : {XI_RawKeyPress, XI_RawKeyRelease, XI_RawButtonPress, XI_RawButtonRelease, XI_RawMotion}) {
        XISetMask(rawBits, type);
    }
    unsigned char hierarchyBits[XIMaskLen(XI_LASTEVENT)] = {};
    XISetMask(hierarchyBits, XI_HierarchyChanged);
    XIEventMask masks[2] = {{XIAllMasterDevices, sizeof rawBits, rawBits},
                            {XIAllDevices, sizeof hierarchyBits, hierarchyBits}};
    XISelectEvents(g.raw, DefaultRootWindow(g.raw), masks, 2);
    XSync(g.raw, False);

    {
        std::lock_guard<std::mutex> w(g_WatchdogMutex);
        g_WatchdogStop = false;
    }
    g_TapRunning = true;
    g_TapThread = std::thread(TapThreadMain);
    SetInputSettingsWaker(WakeTapForSettings);
    g_WatchdogThread = std::thread(WatchdogMain, g.grab, g.keyboardId, g.pointerId);
    return true;
}

void PlatformStopInputTap() {
    std::lock_guard<std::mutex> lock(g_TapStartMutex);
    if (!g_TapRunning.exchange(false)) return;
    SetInputSettingsWaker(nullptr);
    const char stop = 1;
    (void)!write(g.stopPipe[1], &stop, 1);
    g_TapThread.join();
    {
        std::lock_guard<std::mutex> w(g_WatchdogMutex);
        g_WatchdogStop = true;
    }
    g_WatchdogCv.notify_all();
    g_WatchdogThread.join();
    CloseTapConnections();
}

bool PlatformInputTapRunning() { return g_TapRunning; }

// --- The window at a point and its client ---------------------------------------------------------------

namespace {

bool HasWmState(Display* d, Window w) {
    static Atom wmState = XInternAtom(d, "WM_STATE", False);
    Atom type = None;
    int format = 0;
    unsigned long items = 0, after = 0;
    unsigned char* data = nullptr;
    const bool has = XGetWindowProperty(d, w, wmState, 0, 0, False, AnyPropertyType, &type, &format, &items, &after,
                                        &data) == Success &&
                     type != None;
    if (data) XFree(data);
    return has;
}

// Under a window manager the top-level window is its frame; the application's window is the descendant
// that carries WM_STATE.
Window ClientBelow(Display* d, Window w, int depth) {
    if (HasWmState(d, w)) return w;
    if (depth > 4) return None;
    Window root = 0, parent = 0, *kids = nullptr;
    unsigned n = 0;
    if (!XQueryTree(d, w, &root, &parent, &kids, &n)) return None;
    Window found = None;
    for (unsigned i = n; i-- > 0 && !found;) {
        if (HasWmState(d, kids[i])) found = kids[i];
    }
    for (unsigned i = n; i-- > 0 && !found;) found = ClientBelow(d, kids[i], depth + 1);
    if (kids) XFree(kids);
    return found;
}

int ClientPid(Display* d, Window w) {
    XResClientIdSpec spec{w, XRES_CLIENT_ID_PID_MASK};
    long n = 0;
    XResClientIdValue* values = nullptr;
    if (XResQueryClientIds(d, 1, &spec, &n, &values) != Success) return 0;
    int pid = 0;
    for (long i = 0; i < n; ++i) {
        if (XResGetClientIdType(&values[i]) == XRES_CLIENT_ID_PID) pid = XResGetClientPid(&values[i]);
    }
    XResClientIdsDestroy(n, values);
    return pid;
}

struct LookupConnection {
    Display* dpy = nullptr;
    bool tried = false;
    ~LookupConnection() {
        if (!dpy) return;
        ForgetDisplay(dpy);
        XCloseDisplay(dpy);
    }
};

}  // namespace

int PlatformWindowPidAt(int x, int y) {
    thread_local LookupConnection c;
    if (!c.tried) {
        c.tried = true;
        c.dpy = XOpenDisplay(nullptr);
        int event = 0, error = 0;
        if (c.dpy && !XResQueryExtension(c.dpy, &event, &error)) {
            XCloseDisplay(c.dpy);
            c.dpy = nullptr;
        }
        if (c.dpy) QuietErrorsOn(c.dpy);
    }
    if (!c.dpy) return 0;
    const Window root = DefaultRootWindow(c.dpy);
    Window top = None;
    int tx = 0, ty = 0;
    if (!XTranslateCoordinates(c.dpy, root, root, x, y, &tx, &ty, &top) || top == None) return 0;
    const Window client = ClientBelow(c.dpy, top, 0);
    return ClientPid(c.dpy, client != None ? client : top);
}
