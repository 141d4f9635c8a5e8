// Download, proof, unpack and trust check of an update, beside the running install. Every path that fails
// removes its private folders and leaves the install as it was.
#include <archive.h>
#include <archive_entry.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <vector>

#include "platform/Platform.h"
#include "update/Update.h"

namespace {

constexpr const char* kCantUpdateHere =
    "Update failed: Quorvane can't update itself where it is. Install it into a folder of your own "
    "(cmake --install), open it from there, and try again.";
// An unpacked update may not grow beyond these.
constexpr uint64_t kUnpackMaxBytes = 0x40000000;
constexpr size_t kUnpackMaxEntries = 20000;

std::string ParentOf(const std::string& path) {
    const auto slash = path.rfind('/');
    if (slash == std::string::npos || slash == 0) return "";
    return path.substr(0, slash);
}

bool IsRealDirectory(const std::string& path) {
    struct stat st {};
    return lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// Makes the folders of a relative path inside root, refusing to pass through anything but a real folder.
bool MakeParents(const std::string& root, const std::string& relative) {
    size_t at = 0;
    while ((at = relative.find('/', at)) != std::string::npos) {
        const std::string dir = root + "/" + relative.substr(0, at);
        if (mkdir(dir.c_str(), 0755) != 0 && errno != EEXIST) return false;
        if (!IsRealDirectory(dir)) return false;
        ++at;
    }
    return true;
}

bool CopyEntryData(archive* a, int fd, uint64_t& total) {
    const void* buffer = nullptr;
    size_t size = 0;
    la_int64_t offset = 0;
    la_int64_t written = 0;
    while (true) {
        const int r = archive_read_data_block(a, &buffer, &size, &offset);
        if (r == ARCHIVE_EOF) return true;
        if (r != ARCHIVE_OK) return false;
        // Sparse holes are not expected in a zip; any gap means a damaged entry.
        if (offset != written) return false;
        total += size;
        if (total > kUnpackMaxBytes) return false;
        const char* p = static_cast<const char*>(buffer);
        size_t left = size;
        while (left > 0) {
            const ssize_t n = write(fd, p, left);
            if (n <= 0) return false;
            p += n;
            left -= static_cast<size_t>(n);
        }
        written += static_cast<la_int64_t>(size);
    }
}

// Unpacks a zip into dest (an empty private folder). Refuses absolute paths, "..", links that leave the
// folder, hard links, devices, fifos, and sizes or counts beyond the limits; never writes through a link.
bool UnpackZip(const std::string& zipPath, const std::string& dest) {
    archive* a = archive_read_new();
    archive_read_support_format_zip(a);
    bool ok = archive_read_open_filename(a, zipPath.c_str(), 65536) == ARCHIVE_OK;
    uint64_t total = 0;
    size_t count = 0;
    archive_entry* entry = nullptr;
    while (ok) {
        const int r = archive_read_next_header(a, &entry);
        if (r == ARCHIVE_EOF) break;
        if (r != ARCHIVE_OK || ++count > kUnpackMaxEntries) {
            ok = false;
            break;
        }
        const char* rawName = archive_entry_pathname(entry);
        std::string name = rawName ? rawName : "";
        const mode_t type = archive_entry_filetype(entry);
        if (type == AE_IFDIR)
            while (!name.empty() && name.back() == '/') name.pop_back();
        if (!UpdateCore::IsSafeRelativePath(name) || archive_entry_hardlink(entry) != nullptr ||
            !MakeParents(dest, name)) {
            ok = false;
            break;
        }
        const std::string target = dest + "/" + name;
        if (type == AE_IFDIR) {
            ok = (mkdir(target.c_str(), 0755) == 0 || errno == EEXIST) && IsRealDirectory(target);
        } else if (type == AE_IFREG) {
            if (archive_entry_size_is_set(entry) &&
                archive_entry_size(entry) > static_cast<la_int64_t>(kUnpackMaxBytes)) {
                ok = false;
                break;
            }
            const mode_t mode = (archive_entry_perm(entry) & 0100) ? 0755 : 0644;
            const int fd = open(target.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
            ok = fd >= 0 && CopyEntryData(a, fd, total) && fchmod(fd, mode) == 0;
            if (fd >= 0 && close(fd) != 0) ok = false;
        } else if (type == AE_IFLNK) {
            const char* linkTarget = archive_entry_symlink(entry);
            ok = linkTarget && UpdateCore::IsLinkTargetInside(name, linkTarget) &&
                 symlink(linkTarget, target.c_str()) == 0;
        } else {
            ok = false;  // devices, fifos, sockets
        }
    }
    archive_read_free(a);
    return ok;
}

// The names in a folder, without "." and ".."; false when it can't be listed.
bool ListFolder(const std::string& dir, std::vector<std::string>& names) {
    DIR* d = opendir(dir.c_str());
    if (!d) return false;
    while (dirent* e = readdir(d)) {
        const std::string n = e->d_name;
        if (n != "." && n != "..") names.push_back(n);
    }
    closedir(d);
    return true;
}

// Every entry below root as the file list would name it. Links are read, never followed.
bool WalkTree(const std::string& root, const std::string& relative, std::vector<UpdateCore::FileListEntry>& out) {
    std::vector<std::string> names;
    if (!ListFolder(relative.empty() ? root : root + "/" + relative, names)) return false;
    for (const std::string& n : names) {
        const std::string rel = relative.empty() ? n : relative + "/" + n;
        if (relative.empty() && (n == UpdateCore::kFileListName || n == UpdateCore::kFileListSigName)) continue;
        const std::string full = root + "/" + rel;
        struct stat st {};
        if (lstat(full.c_str(), &st) != 0) return false;
        UpdateCore::FileListEntry e;
        e.path = rel;
        if (S_ISDIR(st.st_mode)) {
            e.kind = 'd';
            out.push_back(e);
            if (!WalkTree(root, rel, out)) return false;
        } else if (S_ISREG(st.st_mode)) {
            e.kind = 'f';
            e.mode = (st.st_mode & 0100) ? 0755 : 0644;
            e.sha256 = Sha256FileHexLower(full);
            if (e.sha256.empty()) return false;
            out.push_back(e);
        } else if (S_ISLNK(st.st_mode)) {
            char buffer[4097];
            const ssize_t n = readlink(full.c_str(), buffer, sizeof buffer - 1);
            if (n <= 0) return false;
            e.kind = 'l';
            e.target.assign(buffer, static_cast<size_t>(n));
            out.push_back(e);
        } else {
            return false;
        }
    }
    return true;
}

// A small regular file read without following a link.
bool ReadSmallFile(const std::string& path, size_t limit, std::string& out) {
    const int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat st {};
    bool ok = fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && static_cast<uint64_t>(st.st_size) <= limit;
    out.clear();
    char buffer[65536];
    while (ok) {
        const ssize_t n = read(fd, buffer, sizeof buffer);
        if (n < 0) ok = false;
        if (n <= 0) break;
        out.append(buffer, static_cast<size_t>(n));
        if (out.size() > limit) ok = false;
    }
    close(fd);
    return ok;
}

}  // namespace

bool StagedAppIsTrusted(const std::string& path, std::string* version) {
    std::string list, sig;
    if (!ReadSmallFile(path + "/" + UpdateCore::kFileListName, 4 << 20, list) ||
        !ReadSmallFile(path + "/" + UpdateCore::kFileListSigName, 256, sig))
        return false;
    while (!sig.empty() && (sig.back() == '\n' || sig.back() == '\r')) sig.pop_back();
    if (!VerifyWithTrustedKeys(UpdateCore::BuildFileListPayload(list), sig)) return false;
    UpdateCore::FileList parsed;
    if (!UpdateCore::ParseFileList(list, parsed).empty()) return false;
    std::vector<UpdateCore::FileListEntry> found;
    if (!WalkTree(path, "", found)) return false;
    if (!UpdateCore::CompareTreeWithList(parsed, found).empty()) return false;
    if (version) *version = parsed.version;
    return true;
}

std::string DownloadAndStageUpdate(const std::string& appPath, const UpdateManifestInfo& info,
                                   const UpdateProgressFn& progress, std::string& stagedAppPath) {
    stagedAppPath.clear();
    if (info.url.rfind("https://", 0) != 0) return "Update failed: the download link was not valid.";
    const std::string parent = ParentOf(appPath);
    if (appPath.empty() || parent.empty()) return kCantUpdateHere;
    // A build tree is no install: swapping it would take the build with it.
    if (PlatformFileExists(appPath + "/CMakeCache.txt") || !IsRealDirectory(appPath)) return kCantUpdateHere;
    struct statvfs vfs {};
    if (statvfs(appPath.c_str(), &vfs) != 0 || (vfs.f_flag & ST_RDONLY)) return kCantUpdateHere;
    if (access(parent.c_str(), W_OK) != 0 || access(appPath.c_str(), W_OK) != 0)
        return "Update failed: your account can't change apps in " + parent +
               ". This copy of Quorvane is updated by the system's package manager.";

    std::string pattern = PlatformTempDir() + DownloadFolderPrefix() + "XXXXXXXX";
    if (!mkdtemp(pattern.data())) return "Update failed: could not create a temporary folder.";
    const std::string downloadDir = pattern;
    const std::string archivePath = downloadDir + "/update.zip";
    const int fd = open(archivePath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    std::FILE* file = fd >= 0 ? fdopen(fd, "wb") : nullptr;
    if (!file) {
        if (fd >= 0) close(fd);
        RemoveTree(downloadDir);
        return "Update failed: could not save the download.";
    }
    std::string unused;
    const bool fetched = HttpsGet(info.url, UpdateCore::kArchiveMaxBytes, file, progress, unused);
    if (std::fclose(file) != 0 || !fetched) {
        RemoveTree(downloadDir);
        return "Update failed: the download did not complete. Check your connection and try again.";
    }
    if (Sha256FileHexLower(archivePath) != info.sha256) {
        RemoveTree(downloadDir);
        return "Update failed: the download did not match the signed update. Nothing was changed.";
    }
    // Beside the app, so that the swap is a rename on one file system.
    std::string stagePattern = parent + "/" + StagingFolderPrefix() + "XXXXXXXX";
    if (!mkdtemp(stagePattern.data())) {
        RemoveTree(downloadDir);
        return kCantUpdateHere;
    }
    const std::string stagingDir = stagePattern;
    const bool unpacked = UnpackZip(archivePath, stagingDir);
    RemoveTree(downloadDir);
    if (!unpacked) {
        RemoveTree(stagingDir);
        return "Update failed: the update could not be unpacked. Nothing was changed.";
    }
    std::vector<std::string> names;
    const std::string staged = stagingDir + "/" + UpdateCore::kArchiveRoot;
    if (!ListFolder(stagingDir, names) || names.size() != 1 || names[0] != UpdateCore::kArchiveRoot ||
        !IsOwnRealDirectory(staged)) {
        RemoveTree(stagingDir);
        return "Update failed: the update did not contain this app. Nothing was changed.";
    }
    std::string stagedVersion;
    if (!StagedAppIsTrusted(staged, &stagedVersion)) {
        RemoveTree(stagingDir);
        return "Update failed: the new version is not signed by Quorvane. Nothing was changed.";
    }
    if (stagedVersion != info.version.substr(0, info.version.find('-'))) {
        RemoveTree(stagingDir);
        return "Update failed: the update is not the version that was announced. Nothing was changed.";
    }
    stagedAppPath = staged;
    return "";
}
