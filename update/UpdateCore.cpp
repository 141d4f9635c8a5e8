#include "update/UpdateCore.h"

#include <algorithm>
#include <cstdlib>

#include "core/Numbers.h"
#include "update/UpdateBuild.h"

namespace UpdateCore {

std::string DefaultManifestUrl() { return std::string("https://") + kWebHost + "/update/" + kTier + ".json"; }

bool EvaluateManifest(const VerifyFn& verify, const std::string& manifestText, const std::string& expectedTier,
                      const std::string& currentVersion, UpdateManifestInfo& out) {
    const std::string tier = ExtractJsonStringField(manifestText, "tier");
    const std::string version = ExtractJsonStringField(manifestText, "version");
    const std::string url = ExtractJsonStringField(manifestText, "url");
    const std::string sha256 = ExtractJsonStringField(manifestText, "sha256");
    const std::string sig = ExtractJsonStringField(manifestText, "sig");
    if (tier.empty() || version.empty() || url.empty() || sha256.empty() || sig.empty()) return false;
    // Shapes first: the payload is a joined text, and they keep its parts from running together.
    if (!IsValidTierShape(tier)) return false;
    if (!ParseVersionWithTag(version).valid) return false;
    if (!IsValidSha256Shape(sha256) || !IsValidManifestUrlShape(url)) return false;
    // The signature before anything that depends on local state, so a forged manifest reaches none of it.
    if (!verify || !verify(BuildManifestPayload(tier, version, sha256, url), sig)) return false;
    if (tier != expectedTier) return false;
    if (!IsVersionGreater(version, currentVersion)) return false;
    if (url.rfind("https://", 0) != 0) return false;
    if (!IsAllowedInstallerHost(url)) return false;
    out = UpdateManifestInfo{tier, version, url, sha256, sig};
    return true;
}

std::string BuildManifestPayload(const std::string& tier, const std::string& version, const std::string& sha256,
                                 const std::string& url) {
    return "QVN-UPDATE-1|" + tier + "|" + version + "|" + sha256 + "|" + url;
}

namespace {

bool ParseVersionGroup(const std::string& text, int64_t& value) {
    if (text.empty() || text.size() > 5) return false;
    for (char c : text)
        if (c < '0' || c > '9') return false;
    value = std::strtol(text.c_str(), nullptr, 10);
    return true;
}

}  // namespace

ParsedVersion ParseVersionWithTag(const std::string& text) {
    ParsedVersion v;
    const auto first = text.find('.');
    if (first == std::string::npos) return v;
    const auto second = text.find('.', first + 1);
    if (second == std::string::npos) return v;
    const auto hyphen = text.find('-', second + 1);
    const std::string patch =
        text.substr(second + 1, hyphen == std::string::npos ? std::string::npos : hyphen - second - 1);
    if (!ParseVersionGroup(text.substr(0, first), v.major) ||
        !ParseVersionGroup(text.substr(first + 1, second - first - 1), v.minor) || !ParseVersionGroup(patch, v.patch))
        return v;
    if (hyphen != std::string::npos) {
        const std::string tag = text.substr(hyphen + 1);
        if (tag.rfind(kBetaPrefix, 0) != 0) return v;
        if (!ParseVersionGroup(tag.substr(std::char_traits<char>::length(kBetaPrefix)), v.betaNumber)) return v;
        v.hasBetaTag = true;
    }
    v.valid = true;
    return v;
}

bool IsVersionGreater(const std::string& a, const std::string& b) {
    const ParsedVersion x = ParseVersionWithTag(a), y = ParseVersionWithTag(b);
    if (!x.valid || !y.valid) return false;
    if (x.major != y.major) return x.major > y.major;
    if (x.minor != y.minor) return x.minor > y.minor;
    if (x.patch != y.patch) return x.patch > y.patch;
    if (x.hasBetaTag != y.hasBetaTag) return !x.hasBetaTag;
    if (!x.hasBetaTag) return false;
    return x.betaNumber > y.betaNumber;
}

bool IsValidTierShape(const std::string& text) {
    static const char* const kTiers[] = {"free", "pro", "beta", "mac-free", "mac-pro", "mac-beta"};
    return std::any_of(std::begin(kTiers), std::end(kTiers), [&](const char* t) { return text == t; });
}

bool IsValidVersionShape(const std::string& text) { return ParseVersionWithTag(text).valid; }

bool IsValidSha256Shape(const std::string& text) {
    if (text.size() != 64) return false;
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); });
}

bool IsValidManifestUrlShape(const std::string& text) {
    if (text.empty()) return false;
    return std::all_of(text.begin(), text.end(), [](char c) {
        const auto b = static_cast<unsigned char>(c);
        return b >= 0x21 && b <= 0x7E && b != '|';
    });
}

std::string UrlHost(const std::string& url) {
    if (url.rfind("https://", 0) != 0) return "";
    const auto end = url.find_first_of("/?#", 8);
    std::string host = url.substr(8, end == std::string::npos ? std::string::npos : end - 8);
    for (char& c : host)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return host;
}

bool IsLoopbackTestHost(const std::string& host) {
    static const std::string kPrefix = "127.0.0.1:";
    if (host.rfind(kPrefix, 0) != 0) return false;
    const std::string port = host.substr(kPrefix.size());
    if (port.empty() || port.size() > 5) return false;
    return std::all_of(port.begin(), port.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool IsAllowedInstallerHost(const std::string& url) {
    if (url.rfind("https://", 0) != 0) return false;
    const std::string host = UrlHost(url);
    // Nothing is stripped first: a port, a user name or a trailing dot makes the comparison fail.
    if (host == kWebHost || host == kApiHost) return true;
    return UpdateIsTestBuild() && IsLoopbackTestHost(host);
}

namespace {

// Steps shared by both extractors: the position just behind the colon that follows the quoted key.
size_t FindValueStart(const std::string& text, const std::string& key) {
    const std::string quoted = "\"" + key + "\"";
    const auto at = text.find(quoted);
    if (at == std::string::npos) return std::string::npos;
    const auto colon = text.find(':', at + quoted.size());
    if (colon == std::string::npos) return std::string::npos;
    return colon + 1;
}

}  // namespace

std::string ExtractJsonStringField(const std::string& text, const std::string& key) {
    const auto start = FindValueStart(text, key);
    if (start == std::string::npos) return "";
    const auto quote = text.find('"', start);
    if (quote == std::string::npos) return "";
    std::string out;
    for (size_t i = quote + 1; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '"') break;
        if (c == '\\' && i + 1 < text.size()) {
            const char n = text[++i];
            out += n == 't' ? '\t' : n == 'r' ? '\r' : n == 'n' ? '\n' : n;
            continue;
        }
        out += c;
    }
    return out;
}

bool ExtractJsonBoolField(const std::string& text, const std::string& key, bool fallback) {
    auto at = FindValueStart(text, key);
    if (at == std::string::npos) return fallback;
    while (at < text.size() && text[at] == ' ') ++at;
    if (text.compare(at, 4, "true") == 0) return true;
    if (text.compare(at, 5, "false") == 0) return false;
    return fallback;
}

std::vector<unsigned char> HexDecode(const std::string& text) {
    std::vector<unsigned char> out;
    if (text.size() % 2 != 0) return out;
    for (size_t i = 0; i + 1 < text.size(); i += 2) {
        const int hi = HexDigitValue(text[i]), lo = HexDigitValue(text[i + 1]);
        if (hi < 0 || lo < 0) break;
        out.push_back(static_cast<unsigned char>(hi * 16 + lo));
    }
    return out;
}

std::string HexEncodeLower(const unsigned char* bytes, size_t length) {
    static const char kDigits[] = "0123456789abcdef";
    std::string out;
    out.reserve(length * 2);
    for (size_t i = 0; i < length; ++i) {
        out += kDigits[bytes[i] >> 4];
        out += kDigits[bytes[i] & 15];
    }
    return out;
}

std::vector<unsigned char> RawSignatureToDer(const unsigned char* raw64) {
    auto integer = [](const unsigned char* p) {
        std::vector<unsigned char> v(p, p + 32);
        size_t drop = 0;
        while (v.size() - drop > 1 && v[drop] == 0 && !(v[drop + 1] & 0x80)) ++drop;
        v.erase(v.begin(), v.begin() + static_cast<long>(drop));
        if (v[0] & 0x80) v.insert(v.begin(), 0);
        v.insert(v.begin(), static_cast<unsigned char>(v.size()));
        v.insert(v.begin(), 0x02);
        return v;
    };
    std::vector<unsigned char> r = integer(raw64), s = integer(raw64 + 32);
    std::vector<unsigned char> der{0x30, static_cast<unsigned char>(r.size() + s.size())};
    der.insert(der.end(), r.begin(), r.end());
    der.insert(der.end(), s.begin(), s.end());
    return der;
}

// ---- File list ----

std::string BuildFileListPayload(const std::string& listText) { return "QVN-FILES-1|" + listText; }

bool IsSafeRelativePath(const std::string& path) {
    if (path.empty() || path.size() > 4096 || path[0] == '/') return false;
    for (char c : path)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F || c == '\\') return false;
    size_t start = 0;
    while (true) {
        const auto slash = path.find('/', start);
        const std::string part = path.substr(start, slash == std::string::npos ? std::string::npos : slash - start);
        if (part.empty() || part == "." || part == "..") return false;
        if (slash == std::string::npos) return true;
        start = slash + 1;
    }
}

bool IsLinkTargetInside(const std::string& linkPath, const std::string& target) {
    if (target.empty() || target[0] == '/' || target.size() > 4096) return false;
    // Depth of the link's own folder below the root, then walk the target's parts.
    long depth = static_cast<long>(std::count(linkPath.begin(), linkPath.end(), '/'));
    size_t start = 0;
    while (true) {
        const auto slash = target.find('/', start);
        const std::string part = target.substr(start, slash == std::string::npos ? std::string::npos : slash - start);
        for (char c : part)
            if (static_cast<unsigned char>(c) < 0x20 || c == '\\') return false;
        if (part == "..") {
            if (--depth < 0) return false;
        } else if (!part.empty() && part != ".") {
            ++depth;
        }
        if (slash == std::string::npos) return true;
        start = slash + 1;
    }
}

namespace {

std::vector<std::string> SplitTabs(const std::string& line) {
    std::vector<std::string> parts;
    size_t start = 0;
    while (true) {
        const auto tab = line.find('\t', start);
        parts.push_back(line.substr(start, tab == std::string::npos ? std::string::npos : tab - start));
        if (tab == std::string::npos) return parts;
        start = tab + 1;
    }
}

}  // namespace

std::string ParseFileList(const std::string& text, FileList& out) {
    out = FileList{};
    if (text.empty() || text.back() != '\n') return "the file list does not end with a line end";
    size_t start = 0;
    int lineNo = 0;
    std::string previous;
    while (start < text.size()) {
        const auto end = text.find('\n', start);
        const std::string line = text.substr(start, end - start);
        start = end + 1;
        ++lineNo;
        const std::vector<std::string> f = SplitTabs(line);
        const std::string where = "line " + std::to_string(lineNo) + " of the file list ";
        if (lineNo == 1) {
            if (f.size() != 2 || f[0] != "version" || !IsValidVersionShape(f[1])) return where + "is not its version";
            out.version = f[1];
            continue;
        }
        FileListEntry e;
        if (f[0] == "f" && f.size() == 4) {
            const std::string& mode = f[2];
            if (!IsValidSha256Shape(f[1]) || mode.size() != 3 ||
                !std::all_of(mode.begin(), mode.end(), [](char c) { return c >= '0' && c <= '7'; }))
                return where + "is not a file entry";
            e = {'f', f[1], static_cast<int>(std::strtol(mode.c_str(), nullptr, 8)), "", f[3]};
        } else if (f[0] == "d" && f.size() == 2) {
            e = {'d', "", 0, "", f[1]};
        } else if (f[0] == "l" && f.size() == 3) {
            e = {'l', "", 0, f[1], f[2]};
            if (!IsLinkTargetInside(e.path, e.target)) return where + "links outside the app";
        } else {
            return where + "is not an entry";
        }
        if (!IsSafeRelativePath(e.path)) return where + "has a path that leaves the app";
        // Sorted and unique, so that a tree has one list and a doubled entry can't hide a file.
        if (!previous.empty() && !(previous < e.path)) return where + "is out of order";
        previous = e.path;
        out.entries.push_back(std::move(e));
    }
    return "";
}

std::string CompareTreeWithList(const FileList& list, std::vector<FileListEntry> found) {
    std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.path < b.path; });
    size_t i = 0, j = 0;
    while (i < list.entries.size() || j < found.size()) {
        if (j == found.size() || (i < list.entries.size() && list.entries[i].path < found[j].path))
            return "missing: " + list.entries[i].path;
        if (i == list.entries.size() || found[j].path < list.entries[i].path)
            return "not in the list: " + found[j].path;
        if (!(list.entries[i] == found[j])) return "changed: " + found[j].path;
        ++i;
        ++j;
    }
    return "";
}

}  // namespace UpdateCore
