#include "persist/AppSettings.h"

// The settings file's reader and writer are not part of this build yet: the starting values stand.
void LoadAppSettings() {}
void SaveAppSettings() {}
