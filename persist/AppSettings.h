// The application settings file.
#pragma once

void LoadAppSettings();
void SaveAppSettings();
