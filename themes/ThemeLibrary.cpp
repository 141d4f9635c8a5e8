#include <chrono>
#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "core/AppState.h"
#include "core/BindArgs.h"
#include "persist/AppSettings.h"
#include "persist/Settings.h"
#include "platform/Platform.h"
#include "themes/ThemeWatch.h"
#include "themes/Themes.h"

std::map<std::string, CustomThemeDef> g_CustomThemes;
SkinCache g_SkinCache;
std::string g_PendingThemeAlert;

namespace {

constexpr const char* kNotAThemeFile = "Quorvane only imports .qvntheme theme files.";
constexpr const char* kBadThemeKey =
    "That theme file's name uses characters Quorvane doesn't allow in a theme key - only letters, digits, spaces, "
    "and _ - . ( ) are permitted. Rename the file and try again.";
constexpr const char* kThemeFailedValidation =
    "That theme file failed validation and was not imported - it may be corrupted, too large, or contain a value "
    "outside what a theme file is allowed to carry.";
constexpr const char* kThemeCopyFailed = "Could not copy that theme file into Quorvane's themes folder.";
constexpr const char* kThemeFolderChangedScript = "if (window.onThemeFolderChanged) window.onThemeFolderChanged();";
constexpr const char* kBuiltInTheme = "quorvane";
constexpr const char* kEmptyJsonString = "\"\"";

// A folder-change round holds this from start to end, so that shut-down can wait for it.
std::mutex g_RescanRoundMutex;
std::mutex g_RescanSleepMutex;
std::condition_variable g_RescanSleepCv;

// False when the program stopped during the sleep.
bool SleepWhileRunning(std::chrono::milliseconds duration) {
    std::unique_lock<std::mutex> lock(g_RescanSleepMutex);
    return !g_RescanSleepCv.wait_for(lock, duration, [] { return !g_AppRunning; });
}

std::string KeyOfFileName(const std::string& name) { return name.substr(0, name.size() - kThemeExtensionLength); }

// Reads up to `size` bytes; false on a read error (a directory, for one).
bool ReadChunk(std::ifstream& file, char* buf, std::streamsize size, std::streamsize& got) {
    file.read(buf, size);
    got = file.gcount();
    return !file.bad();
}

}  // namespace

bool HasQvnThemeExtension(const std::string& name) {
    static constexpr char kExtension[] = ".qvntheme";
    if (name.size() < kThemeExtensionLength) return false;
    const size_t start = name.size() - kThemeExtensionLength;
    for (size_t i = 0; i < kThemeExtensionLength; ++i) {
        char c = name[start + i];
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        if (c != kExtension[i]) return false;
    }
    return true;
}

bool FilesAreByteIdentical(const std::string& a, const std::string& b) {
    std::ifstream fa(a, std::ios::binary);
    std::ifstream fb(b, std::ios::binary);
    if (!fa.is_open() || !fb.is_open()) return false;
    // Compared chunk by chunk: the same answer as reading both whole, without holding either.
    static constexpr std::streamsize kChunk = 1 << 16;
    std::string bufA(kChunk, '\0'), bufB(kChunk, '\0');
    for (;;) {
        std::streamsize gotA = 0, gotB = 0;
        if (!ReadChunk(fa, bufA.data(), kChunk, gotA) || !ReadChunk(fb, bufB.data(), kChunk, gotB)) return false;
        if (gotA != gotB || std::memcmp(bufA.data(), bufB.data(), static_cast<size_t>(gotA)) != 0) return false;
        if (gotA < kChunk) return true;
    }
}

void ScanCustomThemes() {
    std::map<std::string, CustomThemeDef> found;
    const std::string dir = GetThemesDirPath();
    std::error_code ec;
    for (std::filesystem::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
        std::error_code typeError;
        if (it->is_directory(typeError)) continue;
        const std::string name = it->path().filename().string();
        if (name.size() < 10 || !HasQvnThemeExtension(name)) continue;
        const std::string key = KeyOfFileName(name);
        if (!IsValidThemeKeyCharset(key)) continue;
        std::string path = dir;
        path.append("/").append(name);
        CustomThemeDef def;
        if (ParseAndValidateQvnTheme(path, def)) found[key] = std::move(def);
    }
    std::lock_guard<std::recursive_mutex> lock(g_ThemesMutex);
    g_CustomThemes.swap(found);
    g_SkinCache = SkinCache{};
}

std::string InstallThemeFile(const std::string& path, std::string& outKey) {
    std::lock_guard<std::recursive_mutex> lock(g_ThemesMutex);
    if (!HasQvnThemeExtension(path)) return kNotAThemeFile;
    const size_t slash = path.find_last_of("/\\");
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    if (!IsValidThemeKeyCharset(KeyOfFileName(name))) return kBadThemeKey;
    CustomThemeDef def;
    if (!ParseAndValidateQvnTheme(path, def)) return kThemeFailedValidation;

    const std::string folder = GetThemesDirPath() + PlatformPathSeparator();
    std::string destination = folder + name;
    bool copy = true;
    if (PlatformFileExists(destination)) {
        if (FilesAreByteIdentical(path, destination)) {
            copy = false;
        } else {
            // With every numbered name taken, the plain name is overwritten: the import must not fail.
            for (int n = 2; n <= 999; ++n) {
                std::string candidate = folder + KeyOfFileName(name) + " (" + std::to_string(n) + ").qvntheme";
                if (!PlatformFileExists(candidate)) {
                    destination = std::move(candidate);
                    break;
                }
            }
        }
    }
    if (copy && !PlatformCopyFile(path, destination)) return kThemeCopyFailed;

    outKey = KeyOfFileName(destination.substr(folder.size()));
    g_CustomThemes[outKey] = std::move(def);  // its filePath is the source until the next scan
    return "";
}

std::string CurrentTheme() {
    std::lock_guard<std::recursive_mutex> lock(g_ThemesMutex);
    return g_CurrentTheme;
}

void SetCurrentTheme(const std::string& key) {
    std::lock_guard<std::recursive_mutex> lock(g_ThemesMutex);
    g_CurrentTheme = key;
    SaveThemeToFile(key);
}

std::string ImportThemeFromPath(const std::string& path) {
    std::string key;
    std::string message = InstallThemeFile(path, key);
    if (message.empty() && !key.empty()) {
        SetCurrentTheme(key);
        NotifyChildWindowsThemesChanged();
    }
    return message;
}

void NotifyChildWindowsThemesChanged() {
    std::lock_guard<std::mutex> lock(g_ChildrenMutex);
    for (const auto& [panel, pid] : g_ActiveChildProcesses) PlatformSignalThemesChanged(pid);
}

bool FillSkinCache(const std::string& key) {
    std::lock_guard<std::recursive_mutex> lock(g_ThemesMutex);
    if (g_SkinCache.valid && g_SkinCache.key == key) return true;
    g_SkinCache = SkinCache{};
    const auto found = g_CustomThemes.find(key);
    if (found == g_CustomThemes.end() || !found->second.hasSkin) return false;

    CustomThemeDef fresh;
    std::string raw;
    if (!ParseAndValidateQvnTheme(found->second.filePath, fresh, nullptr, nullptr, nullptr, &raw)) return false;
    if (!fresh.hasSkin) return false;
    std::string skinStorage, piecesStorage, valueStorage;
    const std::string_view skin = JsonReadObject(raw).Value("skin", skinStorage);
    if (skin.empty()) return false;
    const JsonObjectView skinObject = JsonReadObject(skin);
    if (skinObject.Field("template") != "1") return false;

    SkinCache cache;
    const std::string_view pieces = skinObject.Value("pieces", piecesStorage);
    if (!pieces.empty()) {
        const JsonObjectView pieceObject = JsonReadObject(pieces);
        for (const std::string& name : EnumerateJsonObjectKeys(pieces)) {
            if (FindSkinPiece(name)) cache.pieces[name] = pieceObject.Value(name, valueStorage);
        }
    }
    cache.font = skinObject.Value("font", valueStorage);
    cache.key = key;
    cache.valid = true;
    g_SkinCache = std::move(cache);
    return true;
}

std::string BindGetCustomThemes(const std::string& /*raw*/) {
    std::lock_guard<std::recursive_mutex> lock(g_ThemesMutex);
    std::string out = "[";
    for (const auto& [key, def] : g_CustomThemes) {
        if (out.size() > 1) out += ',';
        out += "{\"key\":" + JsonEscapeForBind(key);
        out += ",\"name\":" + JsonEscapeForBind(def.name);
        out += ",\"bgMain\":" + JsonEscapeForBind(def.bgMain);
        out += ",\"bgPanel\":" + JsonEscapeForBind(def.bgPanel);
        out += ",\"bgHeader\":" + JsonEscapeForBind(def.bgHeader);
        out += ",\"accent\":" + JsonEscapeForBind(def.accent);
        out += ",\"accentHover\":" + JsonEscapeForBind(def.accentHover);
        out += ",\"text\":" + JsonEscapeForBind(def.text);
        out += ",\"font\":" + JsonEscapeForBind(def.font);
        out += def.hasSkin ? ",\"hasSkin\":true}" : ",\"hasSkin\":false}";
    }
    out += ']';
    return out;
}

std::string BindDeleteTheme(const std::string& raw) {
    std::lock_guard<std::recursive_mutex> lock(g_ThemesMutex);
    const std::string key = ParseJSString(raw);
    const auto found = g_CustomThemes.find(key);
    if (found == g_CustomThemes.end()) return "";
    // Built from the key with a lower-case extension, not from the entry's path.
    PlatformDeleteFile(GetThemesDirPath() + PlatformPathSeparator() + key + ".qvntheme");
    g_CustomThemes.erase(found);
    if (g_SkinCache.key == key) g_SkinCache = SkinCache{};
    if (g_CurrentTheme == key) {
        g_CurrentTheme = kBuiltInTheme;
        SaveThemeToFile(g_CurrentTheme);
    }
    NotifyChildWindowsThemesChanged();
    return "";
}

std::string BindGetPendingThemeAlert(const std::string& /*raw*/) {
    std::string message;
    message.swap(g_PendingThemeAlert);
    return JsonEscapeForBind(message);
}

std::string BindGetSkinPiece(const std::string& raw) {
    std::lock_guard<std::recursive_mutex> lock(g_ThemesMutex);
    const std::vector<std::string> parts = SplitString(ParseJSString(raw), '|');
    if (parts.size() != 2 || !FillSkinCache(parts[0])) return kEmptyJsonString;
    const auto piece = g_SkinCache.pieces.find(parts[1]);
    if (piece == g_SkinCache.pieces.end()) return kEmptyJsonString;
    return JsonEscapeForBind(piece->second);
}

std::string BindGetSkinFont(const std::string& raw) {
    std::lock_guard<std::recursive_mutex> lock(g_ThemesMutex);
    if (!FillSkinCache(ParseJSString(raw))) return kEmptyJsonString;
    return JsonEscapeForBind(g_SkinCache.font);
}

void OnThemesFolderChanged() {
    std::lock_guard<std::mutex> round(g_RescanRoundMutex);
    using std::chrono::milliseconds;
    for (const milliseconds delay : {milliseconds(300), milliseconds(200), milliseconds(200)}) {
        if (!g_AppRunning || !SleepWhileRunning(delay)) break;
        ScanCustomThemes();
    }
    if (g_AppRunning && g_MainPageReady && g_MasterEvalFn) g_MasterEvalFn(kThemeFolderChangedScript);
    NotifyChildWindowsThemesChanged();
}

void EndThemeRescans() {
    {
        std::lock_guard<std::mutex> lock(g_RescanSleepMutex);
        g_RescanSleepCv.notify_all();
    }
    std::lock_guard<std::mutex> round(g_RescanRoundMutex);
}
