#include "engine/Recorder.h"

// The desktop's usual double-click time when no settings manager says otherwise.
double PlatformDoubleClickSeconds() { return 0.4; }
