// The test's own look at the X server, apart from the program under test. Kept out of the tests' sources:
// Xlib's macros (None, Status...) clash with the test framework's names.
#pragma once

#include <string>

bool OpenServerView();
void CloseServerView();

// True when the server reports no key down and no button down, on any device.
bool NothingHeld();

// The keysym name on the first level of the first layout at a key code, "-" for a negative code.
std::string KeysymAt(int keycode);

// Locks the keyboard's layout group, as a layout switcher does.
void LockLayoutGroup(int group);
