// The Key Spammer: up to 256 target keys pressed in turn, or together, at an interval.
#pragma once

#include <string>

// Thread body "QVN key spammer". Follows isKeySpamming; ends a run itself at a fixed repeat count (releasing
// every target) or when the list is empty. A round takes no lock and allocates nothing.
void KeySpammerThread();

// The page's "updateKeySpam" text: hours, minutes, seconds, milliseconds, repeat mode, repeat times,
// comma-separated; fields past the sixth are ignored. Applies all six and snapshots the profile's
// settings, or, with fewer fields or one that isn't a number, changes nothing and returns false.
bool ApplyKeySpamUpdate(const std::string& text, std::string* why = nullptr);

// The page's "setKeySpamChordMode": chord mode exactly when the text is "1"; snapshots the settings.
void SetKeySpamChordMode(const std::string& text);

// Appends a target when the list has room (a 257th is dropped silently), mirrors the first target into
// vkKeySpamTarget and snapshots the profile's settings. Writes the element before the count.
void AppendKeySpamTarget(int vk);

// Removes the target at index (out of range: nothing). Emptying the list stops a running Key Spammer.
void RemoveKeySpamTarget(int index);

// Sends a release for every target in the list.
void ReleaseAllKeySpamTargets();
