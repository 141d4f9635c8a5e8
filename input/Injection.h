// Posting mouse and key events as if they came from the user. Every call is safe from any thread.
#pragma once

// Lifts mouse button `index` (0 left, 1 right, 2 middle) when this program holds it down.
void PlatformMouseButtonUp(int index);

// Presses or releases the key of virtual key `vk`; a key with no key code on this keyboard is dropped.
void PlatformKeyVk(int vk, bool down);
