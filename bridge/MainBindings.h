// The names the main page calls. Each binding takes the bridge's JSON array of arguments as text and
// returns the JSON of its result ("" for none).
#pragma once

#include <functional>
#include <string>

#include "core/BindArgs.h"

class WebView;

// The script that runs at the start of every page: no context menu, alert() through the native alert,
// the pages' font mapped to a local one, and the login-start wording of this desktop.
extern const char* const kDocumentStartScript;

// Binds every page function of the main window.
void BindMainWindow(WebView& w);

// The page's alert(): the native alert with the given text, shown during the call (the main window), or
// once the call has been answered (a panel or the editor: the alert runs a loop of its own).
std::string BindShowAlert(const std::string& arg);
std::function<std::string(const std::string&)> BindShowAlertLater(WebView& w);

// Profile operations; all but BindGetProfiles do nothing while a recording runs.
std::string BindGetProfiles();
std::string BindAddProfile(const std::string& arg);
std::string BindDeleteProfile();
std::string BindSwitchProfile(const std::string& arg);
std::string BindClearProfile();

std::string BindResetHotkeys();
std::string BindRemoveKeySpamTarget(const std::string& arg);
std::string BindSetKeySpamChordMode(const std::string& arg);
std::string BindResizeWindow(const std::string& arg);
// The same for any window of ours (a pop-out panel's own).
std::string BindResizeWindowOf(void* window, const std::string& arg);
std::string BindSetTheme(const std::string& arg);
std::string BindGetSharedTheme();
std::string BindOpenLink(const std::string& arg);

// The notices posted for the user since the last call, as a JSON array of strings; each is given once.
std::string BindTakeNotices();
