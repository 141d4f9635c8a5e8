// Virtual keys: the one key numbering of the whole system (Windows virtual-key numbers; mouse buttons are
// keys 1, 2, 4, 5 and 6), their display names, and the seam to the platform's key codes and layout.
#pragma once

#include <cstdint>
#include <string>

// One row of a platform's key table: a virtual key and the platform's number for that key (on X11 a
// keysym). Where two rows share a VK or a code, the first row wins in both directions.
struct KeyRow {
    int vk;
    uint32_t code;
};

// Lookups derived from a key table. forward[vk] is the code of the first row with that VK, or -1.
struct KeyLookup {
    int64_t forward[256];
};
void BuildKeyLookup(const KeyRow* rows, int count, KeyLookup& out);
// The VK of the first row with this code, or 0 when no row has it.
int FirstVkForCode(const KeyRow* rows, int count, uint32_t code);

// The display name of a key: fixed names first, then what the key prints on the current layout, then
// defaults, and "Key[n]" for anything else. Any thread.
std::string GetKeyName(int vk);

// The layout step of a name as the platform gives it: kept when every byte is printable and neither a
// double quote nor a backslash (names are pasted between quotes in JSON), otherwise empty.
std::string FilterLayoutChar(const std::string& text);

// --- Platform -------------------------------------------------------------------------------------------

// The hardware key code of `vk` on the current keymap, or -1 when the VK has no row or the keymap has no
// key for it (a mouse VK always gives -1). Any thread; lock-free.
int VkToPlatformKeyCode(int vk);

// The VK of a hardware key code on the current keymap, or 0 when it is no key of the table. Any thread.
int PlatformKeyCodeToVk(int keycode);

// What the key of `vk` prints on the current layout with no modifier, upper-cased and filtered as
// FilterLayoutChar says; empty when it prints nothing or has no key. Reads the layout cache under
// g_LayoutMutex. Any thread.
std::string PlatformLayoutCharForVk(int vk);

// Fills the key-code and layout caches and keeps them current: a thread follows keymap and layout
// changes until the app stops (its handle joins g_Threads). Called once by main, on the first thread.
void PlatformKeysWatchLayout();
// Ends that thread's wait once g_AppRunning is false; the caller then joins it.
void PlatformStopKeysWatch();
