// The Key Spammer: up to 256 target keys pressed in turn, or together, at an interval.
#pragma once

// Thread body "QVN key spammer".
void KeySpammerThread();

// Appends a target when the list has room (a 257th is dropped silently), mirrors the first target into
// vkKeySpamTarget and snapshots the profile's settings. Writes the element before the count.
void AppendKeySpamTarget(int vk);

// Removes the target at index (out of range: nothing). Emptying the list stops a running Key Spammer.
void RemoveKeySpamTarget(int index);

// Sends a release for every target in the list.
void ReleaseAllKeySpamTargets();
