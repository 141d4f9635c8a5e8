// The test's own look at the X server, apart from the program under test. Kept out of the tests' sources:
// Xlib's macros (None, Status...) clash with the test framework's names.
#pragma once

#include <string>
#include <vector>

bool OpenServerView();
void CloseServerView();

// True when the server reports no key down and no button down, on any device.
bool NothingHeld();

// The width of the screen in pixels.
int DisplayWidthOfServer();

// The keysym name on the first level of the first layout at a key code, "-" for a negative code.
std::string KeysymAt(int keycode);

// Locks the keyboard's layout group, as a layout switcher does.
void LockLayoutGroup(int group);

// A raw event as the input tap will see it: a MarkKind, the button or key code, and for a motion the
// raw values (the point of an absolute move, the deltas of a relative one).
struct RawInput {
    int kind;
    int detail;
    int x;
    int y;
};

// Starts collecting XInput 2 raw events of all master devices on a connection of its own.
bool StartRawWatch();
// The raw events reported since the last call, after the server has gone quiet for `quietMs`.
std::vector<RawInput> TakeRawEvents(int quietMs);

// A click of button 1 from the test's own XTest connection: an event the program didn't make.
void ForeignClick();

// The simulated user: input through Xvfb's own keyboard and mouse devices, which the program takes for
// hardware. The mouse has three buttons; the wheel and the side buttons come from the test's own XTest
// connection instead (foreign to the program's marks, so still the user's).
bool OpenSimulatedUser();
void UserKey(int keycode, bool down);
void UserButton(int button, bool down);
void UserMoveTo(int x, int y);
// A relative move of the user's mouse, as a hand moves it.
void UserMoveBy(int dx, int dy);
// Where the server has the pointer.
void PointerOfServer(int& x, int& y);
// Grabs the server from the test's connection (every other client's requests wait), or lets it go.
void HoldServer(bool hold);

// A small window of this process at a point, above the test window: "one of the program's own".
void ShowOwnWindow(int x, int y, int width, int height);

// A settings manager of the desktop that publishes only its double-click time, or none (ms <= 0).
void PublishDoubleClickTime(int ms);
