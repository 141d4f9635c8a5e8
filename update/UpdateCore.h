// What to believe of an update: the signed manifest, versions, tiers, hosts, and the signed file list that
// proves a staged copy. Free of platform calls: the signature check comes in as a function, so any key can
// exercise it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// A manifest that passed EvaluateManifest.
struct UpdateManifestInfo {
    std::string tier;
    std::string version;
    std::string url;
    std::string sha256;
    std::string sig;
};

struct UpdateCheckResult {
    bool available = false;
    UpdateManifestInfo info;
    std::string currentVersion;
};

namespace UpdateCore {

// The build's identity.
inline constexpr const char* kCurrentVersion = "1.0.1";
inline constexpr const char* kTier = "pro";
inline constexpr const char* kBundleId = "app.quorvane.pro";
// The product's two hosts; installers and manifests come only from these.
inline constexpr const char* kWebHost = "quorvane.app";
inline constexpr const char* kApiHost = "api.quorvane.app";
inline constexpr const char* kBetaPrefix = "beta.";
// The archive and manifest body limits.
inline constexpr uint64_t kManifestMaxBytes = 16384;
inline constexpr uint64_t kArchiveMaxBytes = 0xC800000;
// The name of the one folder at the top of an update archive, and the signed file list inside it.
inline constexpr const char* kArchiveRoot = "quorvane";
inline constexpr const char* kFileListName = ".qvn-files";
inline constexpr const char* kFileListSigName = ".qvn-files.sig";

// "https://" + kWebHost + "/update/" + kTier + ".json".
std::string DefaultManifestUrl();

// Takes the payload and the signature's hexadecimal text.
using VerifyFn = std::function<bool(const std::string& payload, const std::string& sigHex)>;

// Believes the manifest only after all tests pass, in a fixed order (shapes, signature, then the local
// comparisons); `out` is written only on true.
bool EvaluateManifest(const VerifyFn& verify, const std::string& manifestText, const std::string& expectedTier,
                      const std::string& currentVersion, UpdateManifestInfo& out);

// The exact bytes that a manifest's signature covers.
std::string BuildManifestPayload(const std::string& tier, const std::string& version, const std::string& sha256,
                                 const std::string& url);

struct ParsedVersion {
    int64_t major = 0, minor = 0, patch = 0;
    bool hasBetaTag = false;
    int64_t betaNumber = 0;
    bool valid = false;
};
ParsedVersion ParseVersionWithTag(const std::string& text);

bool IsVersionGreater(const std::string& a, const std::string& b);
bool IsValidTierShape(const std::string& text);
bool IsValidVersionShape(const std::string& text);
bool IsValidSha256Shape(const std::string& text);
bool IsValidManifestUrlShape(const std::string& text);

// The host of an "https://" URL: from byte 8 to the first '/', '?' or '#', lowered in the C locale's way.
std::string UrlHost(const std::string& url);
// One of the two product hosts, compared whole; in a test build also the loopback test host.
bool IsAllowedInstallerHost(const std::string& url);
// "127.0.0.1:" and a port of 1 to 5 digits: the host that test builds also accept.
bool IsLoopbackTestHost(const std::string& host);

// A scanner for the one flat document of a manifest, not a JSON parser.
std::string ExtractJsonStringField(const std::string& text, const std::string& key);
bool ExtractJsonBoolField(const std::string& text, const std::string& key, bool fallback);

// Digits of either case, in pairs; odd length gives nothing, decoding stops at the first bad pair.
std::vector<unsigned char> HexDecode(const std::string& text);
std::string HexEncodeLower(const unsigned char* bytes, size_t length);
// 64 bytes of r then s as an ASN.1 DER ECDSA signature.
std::vector<unsigned char> RawSignatureToDer(const unsigned char* raw64);

// ---- The signed file list of a staged copy ----
//
// One line per entry of the tree, sorted by path, each field split by a tab:
//   "version" TAB <version>                     (first line, once)
//   "f" TAB <sha256> TAB <mode, 3 octal digits> TAB <path>
//   "d" TAB <path>
//   "l" TAB <link target> TAB <path>
// Paths are relative, '/'-separated. The signature covers "QVN-FILES-1|" and the list's bytes.
struct FileListEntry {
    char kind = 'f';  // 'f' file, 'd' directory, 'l' symbolic link
    std::string sha256;
    int mode = 0;
    std::string target;
    std::string path;
    bool operator==(const FileListEntry&) const = default;
};
struct FileList {
    std::string version;
    std::vector<FileListEntry> entries;
};

std::string BuildFileListPayload(const std::string& listText);
// Empty text on success, else why the list is not one.
std::string ParseFileList(const std::string& text, FileList& out);
// A relative path that stays inside its root: not empty, no leading '/', no "." or ".." part, no empty
// part, no control byte, no backslash, at most 4096 bytes.
bool IsSafeRelativePath(const std::string& path);
// A link target that, read from the link's own folder, stays inside the root and is relative.
bool IsLinkTargetInside(const std::string& linkPath, const std::string& target);
// The staged tree as found on disk (same form, kinds and digests filled in) against the signed list:
// empty text when they match exactly, else the first difference.
std::string CompareTreeWithList(const FileList& list, std::vector<FileListEntry> found);

}  // namespace UpdateCore
