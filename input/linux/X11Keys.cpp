// The key table on X11: virtual keys to keysyms, and keysyms to the key codes of the live keymap through
// libxkbcommon. A thread follows keymap and layout changes and rebuilds the caches.
#include <X11/XF86keysym.h>
#include <X11/XKBlib.h>
#include <X11/Xlib-xcb.h>
#include <X11/Xlib.h>
#include <X11/keysym.h>
#include <poll.h>
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

#include <array>
#include <atomic>
#include <mutex>
#include <string>
#include <thread>

#include "core/AppState.h"
#include "core/Threads.h"
#include "input/Keys.h"
#include "input/linux/WakeFile.h"

namespace {

// Side-less modifiers come after their left-hand form so that a key code reads back as the left VK.
// Insert and Help are separate keys on a PC keyboard: VK 45 is Insert and VK 47 Help, both named "Help".
// VK 12 is the keypad's 5 without Num Lock (KP_Begin; its key reads back as VK 101), VK 144 Num Lock; both
// are named "Clear".
// F13 to F20 are typed only where the keymap has those keysyms (Xvfb's default keymap doesn't);
// F21 to F24 have no row, so they are names only.
constexpr KeyRow kKeys[] = {
    // Editing and modifiers
    {8, XK_BackSpace},
    {9, XK_Tab},
    {13, XK_Return},
    {160, XK_Shift_L},
    {16, XK_Shift_L},
    {161, XK_Shift_R},
    {162, XK_Control_L},
    {17, XK_Control_L},
    {163, XK_Control_R},
    {164, XK_Alt_L},
    {18, XK_Alt_L},
    {165, XK_Alt_R},
    {91, XK_Super_L},
    {92, XK_Super_R},
    {20, XK_Caps_Lock},
    {27, XK_Escape},
    {32, XK_space},
    // Navigation
    {33, XK_Prior},
    {34, XK_Next},
    {35, XK_End},
    {36, XK_Home},
    {37, XK_Left},
    {38, XK_Up},
    {39, XK_Right},
    {40, XK_Down},
    {45, XK_Insert},
    {47, XK_Help},
    {46, XK_Delete},
    {12, XK_KP_Begin},
    {144, XK_Num_Lock},
    // Digits
    {48, XK_0},
    {49, XK_1},
    {50, XK_2},
    {51, XK_3},
    {52, XK_4},
    {53, XK_5},
    {54, XK_6},
    {55, XK_7},
    {56, XK_8},
    {57, XK_9},
    // Letters
    {65, XK_a},
    {66, XK_b},
    {67, XK_c},
    {68, XK_d},
    {69, XK_e},
    {70, XK_f},
    {71, XK_g},
    {72, XK_h},
    {73, XK_i},
    {74, XK_j},
    {75, XK_k},
    {76, XK_l},
    {77, XK_m},
    {78, XK_n},
    {79, XK_o},
    {80, XK_p},
    {81, XK_q},
    {82, XK_r},
    {83, XK_s},
    {84, XK_t},
    {85, XK_u},
    {86, XK_v},
    {87, XK_w},
    {88, XK_x},
    {89, XK_y},
    {90, XK_z},
    // Keypad
    {96, XK_KP_0},
    {97, XK_KP_1},
    {98, XK_KP_2},
    {99, XK_KP_3},
    {100, XK_KP_4},
    {101, XK_KP_5},
    {102, XK_KP_6},
    {103, XK_KP_7},
    {104, XK_KP_8},
    {105, XK_KP_9},
    {106, XK_KP_Multiply},
    {107, XK_KP_Add},
    {109, XK_KP_Subtract},
    {110, XK_KP_Decimal},
    {111, XK_KP_Divide},
    // Function keys
    {112, XK_F1},
    {113, XK_F2},
    {114, XK_F3},
    {115, XK_F4},
    {116, XK_F5},
    {117, XK_F6},
    {118, XK_F7},
    {119, XK_F8},
    {120, XK_F9},
    {121, XK_F10},
    {122, XK_F11},
    {123, XK_F12},
    {124, XK_F13},
    {125, XK_F14},
    {126, XK_F15},
    {127, XK_F16},
    {128, XK_F17},
    {129, XK_F18},
    {130, XK_F19},
    {131, XK_F20},
    // Media
    {173, XF86XK_AudioMute},
    {174, XF86XK_AudioLowerVolume},
    {175, XF86XK_AudioRaiseVolume},
    // Punctuation
    {186, XK_semicolon},
    {187, XK_equal},
    {188, XK_comma},
    {189, XK_minus},
    {190, XK_period},
    {191, XK_slash},
    {192, XK_grave},
    {219, XK_bracketleft},
    {220, XK_backslash},
    {221, XK_bracketright},
    {222, XK_apostrophe},
    {226, XK_less},
};
constexpr int kKeyCount = static_cast<int>(sizeof kKeys / sizeof kKeys[0]);

const KeyLookup& Lookup() {
    static const KeyLookup lookup = [] {
        KeyLookup l{};
        BuildKeyLookup(kKeys, kKeyCount, l);
        return l;
    }();
    return lookup;
}

// Read without a lock by the injecting threads and the tap; each cell changes as a whole.
std::array<std::atomic<int32_t>, 256> g_VkKeyCode;  // -1: no key
std::array<std::atomic<int32_t>, 256> g_KeyCodeVk;  // 0: no VK
std::string g_LayoutCache[256];                     // by VK, guarded by g_LayoutMutex

xkb_keysym_t LevelZeroSym(xkb_keymap* km, xkb_keycode_t kc, xkb_layout_index_t group) {
    const xkb_keysym_t* syms = nullptr;
    if (xkb_keymap_key_get_syms_by_level(km, kc, group, 0, &syms) < 1) return XKB_KEY_NoSymbol;
    return syms[0];
}

bool KeyHasSym(xkb_keymap* km, xkb_keycode_t kc, xkb_layout_index_t group, bool anyLevel, xkb_keysym_t sym) {
    const xkb_level_index_t levels = anyLevel ? xkb_keymap_num_levels_for_key(km, kc, group) : 1;
    for (xkb_level_index_t level = 0; level < levels; ++level) {
        const xkb_keysym_t* syms = nullptr;
        const int n = xkb_keymap_key_get_syms_by_level(km, kc, group, level, &syms);
        for (int i = 0; i < n; ++i) {
            if (syms[i] == sym) return true;
        }
    }
    return false;
}

// The lowest key code that carries `sym`: on the active layout's first level, then on any of its levels,
// then on any layout (a letter VK on a Cyrillic layout still finds its key by position).
int KeyCodeForSym(xkb_keymap* km, xkb_layout_index_t group, xkb_keysym_t sym) {
    const xkb_keycode_t lo = xkb_keymap_min_keycode(km), hi = xkb_keymap_max_keycode(km);
    for (const bool anyLevel : {false, true}) {
        for (xkb_keycode_t kc = lo; kc <= hi && kc < 256; ++kc) {
            if (KeyHasSym(km, kc, group, anyLevel, sym)) return static_cast<int>(kc);
        }
    }
    const xkb_layout_index_t layouts = xkb_keymap_num_layouts(km);
    for (xkb_layout_index_t g = 0; g < layouts; ++g) {
        for (xkb_keycode_t kc = lo; kc <= hi && kc < 256; ++kc) {
            if (KeyHasSym(km, kc, g, true, sym)) return static_cast<int>(kc);
        }
    }
    return -1;
}

std::string PrintedUpper(xkb_keymap* km, xkb_keycode_t kc, xkb_layout_index_t group) {
    const xkb_keysym_t sym = LevelZeroSym(km, kc, group);
    if (sym == XKB_KEY_NoSymbol) return "";
    char utf8[32];
    const int n = xkb_keysym_to_utf8(xkb_keysym_to_upper(sym), utf8, sizeof utf8);
    if (n <= 1) return "";  // the count includes the terminating zero
    return FilterLayoutChar(std::string(utf8));
}

// The VK of a key: by its first level's keysym, else by the first of its other levels that has a row (the
// keypad's digits sit on the second level, under KP_Insert and friends). A keypad digit wins over the first
// level: the keypad's 5 is KP_Begin without Num Lock, and records as Num 5 as it does with it.
int VkOfKey(xkb_keymap* km, xkb_keycode_t kc, xkb_layout_index_t group) {
    const xkb_level_index_t levels = xkb_keymap_num_levels_for_key(km, kc, group);
    int found = 0;
    for (xkb_level_index_t level = 0; level < levels; ++level) {
        const xkb_keysym_t* syms = nullptr;
        const int n = xkb_keymap_key_get_syms_by_level(km, kc, group, level, &syms);
        for (int i = 0; i < n; ++i) {
            const int vk = FirstVkForCode(kKeys, kKeyCount, syms[i]);
            if (vk >= 96 && vk <= 105) return vk;
            if (!found) found = vk;
        }
    }
    return found;
}

// Computes every table from the keymap without the lock, then swaps the names in under it.
void RefreshKeyCaches(xkb_keymap* km, xkb_layout_index_t group) {
    const KeyLookup& lookup = Lookup();
    std::string names[256];
    int32_t vkToCode[256];
    for (int vk = 0; vk < 256; ++vk) {
        vkToCode[vk] = -1;
        if (lookup.forward[vk] < 0) continue;
        vkToCode[vk] = KeyCodeForSym(km, group, static_cast<xkb_keysym_t>(lookup.forward[vk]));
        if (vkToCode[vk] >= 0) names[vk] = PrintedUpper(km, static_cast<xkb_keycode_t>(vkToCode[vk]), group);
    }
    for (int kc = 0; kc < 256; ++kc) {
        int vk = VkOfKey(km, static_cast<xkb_keycode_t>(kc), group);
        if (vk == 0 && group != 0) vk = VkOfKey(km, static_cast<xkb_keycode_t>(kc), 0);
        g_KeyCodeVk[kc] = vk;
    }
    for (int vk = 0; vk < 256; ++vk) g_VkKeyCode[vk] = vkToCode[vk];
    std::lock_guard<std::mutex> lock(g_LayoutMutex);
    for (int vk = 0; vk < 256; ++vk) g_LayoutCache[vk].swap(names[vk]);
}

// The keymap of one connection, and the layout currently in effect on it.
struct KeymapReader {
    Display* dpy = nullptr;
    xkb_context* ctx = nullptr;
    int32_t device = -1;

    bool Open() {
        dpy = XOpenDisplay(nullptr);
        if (!dpy) return false;
        xcb_connection_t* xc = XGetXCBConnection(dpy);
        ctx = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
        if (!ctx ||
            !xkb_x11_setup_xkb_extension(xc, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                                         XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, nullptr, nullptr)) {
            Close();
            return false;
        }
        device = xkb_x11_get_core_keyboard_device_id(xc);
        return device >= 0;
    }

    void Refresh() {
        xcb_connection_t* xc = XGetXCBConnection(dpy);
        xkb_keymap* km = xkb_x11_keymap_new_from_device(ctx, xc, device, XKB_KEYMAP_COMPILE_NO_FLAGS);
        if (!km) return;
        xkb_state* state = xkb_x11_state_new_from_device(km, xc, device);
        xkb_layout_index_t group = 0;
        if (state) {
            group = xkb_state_serialize_layout(state, XKB_STATE_LAYOUT_EFFECTIVE);
            xkb_state_unref(state);
        }
        RefreshKeyCaches(km, group);
        xkb_keymap_unref(km);
    }

    void Close() {
        if (ctx) xkb_context_unref(ctx);
        if (dpy) XCloseDisplay(dpy);
        ctx = nullptr;
        dpy = nullptr;
    }
};

void FillCachesOnce() {
    static const bool filled = [] {
        for (auto& cell : g_VkKeyCode) cell = -1;
        KeymapReader reader;
        if (reader.Open()) reader.Refresh();
        reader.Close();
        return true;
    }();
    (void)filled;
}

// Signalled at the app's stop (PlatformStopKeysWatch), so that the watcher sleeps on the X connection alone.
const WakeFile& StopWake() {
    static const WakeFile file;
    return file;
}

void WatchLayout(KeymapReader reader) {
    PlatformNameThread("QVN keymap");
    // Without an event file the watcher looks for the app's end ten times a second.
    const int timeoutMs = StopWake().fd() >= 0 ? -1 : 100;
    while (g_AppRunning) {
        pollfd p[2] = {{ConnectionNumber(reader.dpy), POLLIN, 0}, {StopWake().fd(), POLLIN, 0}};
        if (!XPending(reader.dpy) && poll(p, 2, timeoutMs) <= 0) continue;
        if (p[1].revents) {
            StopWake().Drain();
            continue;
        }
        bool changed = false;
        while (XPending(reader.dpy)) {
            XEvent e;
            XNextEvent(reader.dpy, &e);
            if (e.type == MappingNotify) {
                XRefreshKeyboardMapping(&e.xmapping);
                changed = true;
            } else if (e.type != Expose) {
                changed = true;  // the Xkb notifications we selected
            }
        }
        if (changed) reader.Refresh();
    }
    reader.Close();
}

}  // namespace

int VkToPlatformKeyCode(int vk) {
    if (static_cast<unsigned>(vk) > 255) return -1;
    FillCachesOnce();
    return g_VkKeyCode[static_cast<unsigned>(vk)].load(std::memory_order_relaxed);
}

int PlatformKeyCodeToVk(int keycode) {
    if (static_cast<unsigned>(keycode) > 255) return 0;
    FillCachesOnce();
    return g_KeyCodeVk[static_cast<unsigned>(keycode)].load(std::memory_order_relaxed);
}

std::string PlatformLayoutCharForVk(int vk) {
    if (static_cast<unsigned>(vk) > 255) return "";
    FillCachesOnce();
    std::lock_guard<std::mutex> lock(g_LayoutMutex);
    return g_LayoutCache[static_cast<unsigned>(vk)];
}

void PlatformStopKeysWatch() { StopWake().Signal(); }

void PlatformKeysWatchLayout() {
    FillCachesOnce();
    KeymapReader reader;
    if (!reader.Open()) return;
    int xkbEvent = 0, xkbError = 0, major = XkbMajorVersion, minor = XkbMinorVersion, opcode = 0;
    XkbQueryExtension(reader.dpy, &opcode, &xkbEvent, &xkbError, &major, &minor);
    const unsigned long mapMask = XkbNewKeyboardNotifyMask | XkbMapNotifyMask;
    XkbSelectEvents(reader.dpy, XkbUseCoreKbd, mapMask, mapMask);
    XkbSelectEventDetails(reader.dpy, XkbUseCoreKbd, XkbStateNotify, XkbGroupStateMask, XkbGroupStateMask);
    XSync(reader.dpy, False);
    // A change between the first fill and the selection above would otherwise be missed.
    reader.Refresh();
    g_Threads.emplace_back(WatchLayout, reader);
}
