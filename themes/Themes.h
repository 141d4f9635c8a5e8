// The theme library: the valid ".qvntheme" files of the themes folder, keyed by file name less the
// extension. It loads them at start, installs, lists, deletes, hands skin data to the pages on demand, and
// rescans when the folder changes behind its back. Every process keeps its own list; the folder is the
// only shared store.
#pragma once

#include <map>
#include <string>

#include "themes/ThemeFile.h"

// The skin data of at most one theme, still in base64 as the pages receive them.
struct SkinCache {
    std::string key;
    std::map<std::string, std::string> pieces;  // piece name -> base64 text as it stands in the file
    std::string font;                           // base64, may be empty
    bool valid = false;
};

// Guarded by g_ThemesMutex (recursive: the Bind functions hold it across FillSkinCache).
extern std::map<std::string, CustomThemeDef> g_CustomThemes;
extern SkinCache g_SkinCache;

// One message waiting for the main page; empty means none. Touched on the page's thread only.
extern std::string g_PendingThemeAlert;

inline constexpr size_t kThemeExtensionLength = 9;  // ".qvntheme"

// Replaces the list from the folder. Files are read and judged without the lock; only the swap holds it.
// A bad file is left out silently, neither deleted nor moved. Empties the skin cache.
void ScanCustomThemes();

// Copies a theme file into the folder and lists it. Returns empty and the installed key in `outKey`, or one
// of three sentences for the user, changing nothing. Holds g_ThemesMutex throughout, so two installs cannot
// pick one free name. An identical file already in the folder is a no-op that succeeds; a different file of
// the same name becomes "key (2)", "key (3)", ... up to 999, after which the plain name is overwritten.
std::string InstallThemeFile(const std::string& path, std::string& outKey);

// The theme in use, and a change of it saved to the theme file. Any thread; take g_ThemesMutex.
std::string CurrentTheme();
void SetCurrentTheme(const std::string& key);

// InstallThemeFile, then makes the theme the current one, saves that and tells the panels. Returns the message.
std::string ImportThemeFromPath(const std::string& path);

// The last 9 bytes, in ASCII lower case, are ".qvntheme".
bool HasQvnThemeExtension(const std::string& name);

// Both files open and hold the same bytes.
bool FilesAreByteIdentical(const std::string& a, const std::string& b);

// Loads the skin of `key` into g_SkinCache, validating the file again in full: a file changed on disk since
// the scan never feeds unvalidated text to a page. False leaves the cache empty. Takes g_ThemesMutex.
bool FillSkinCache(const std::string& key);

// Sends every pop-out panel the themes-changed signal, under g_ChildrenMutex.
void NotifyChildWindowsThemesChanged();

// The master's reaction to a change in the themes folder, run on the watcher's thread: three rescans at
// about 0.3, 0.5 and 0.7 s (a file still being written fails one scan and passes a later one), then the
// main page is told once and the panels are signalled. Ends early when the program stops.
void OnThemesFolderChanged();

// For shut-down: wakes a running OnThemesFolderChanged and waits until it has returned.
void EndThemeRescans();

// Page bindings: the bridge's raw argument text in, the result text out.
std::string BindGetCustomThemes(const std::string& raw);       // JSON array, key order
std::string BindDeleteTheme(const std::string& raw);           // the key; always empty
std::string BindGetPendingThemeAlert(const std::string& raw);  // JSON string, delivered once
std::string BindGetSkinPiece(const std::string& raw);          // "key|piece" -> base64 JSON string or ""
std::string BindGetSkinFont(const std::string& raw);           // the key -> base64 JSON string or ""
