// Test doubles for the platform seam, and a way back to the starting state between tests.
#pragma once

#include <string>
#include <vector>

// Every call into the fake input layer, in order: "up 0" for a button, "key 32 up" / "key 32 down".
std::vector<std::string> FakeInputCalls();
void ClearFakeInputCalls();

// What the fake platform reports as the double-click interval.
extern double g_FakeDoubleClickSeconds;

// Puts every shared global back to its starting value, empties the wake events and the theme list, and
// makes one empty default profile the current one.
void ResetAppState();
