// Macro playback.
#pragma once

// Thread body "QVN playback".
void PlaybackThread();
