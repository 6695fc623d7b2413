#include "audio/trim/trim_temp_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "toolkit/log.h"
#include "toolkit/paths.h"

namespace vocarta {

namespace {
constexpr int kCreateAttempts = 8;

bool SameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// True when `path` still names the file open as `fd` (a sweeper may have
// removed the name between its creation and our lock).
bool NameMatches(int fd, const std::string& path) {
    struct stat byFd {
    }, byName{};
    return fstat(fd, &byFd) == 0 && lstat(path.c_str(), &byName) == 0 && SameFile(byFd, byName);
}

bool SyncFolder(const std::string& folder) {
    int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return false;
    bool ok = fsync(fd) == 0;
    close(fd);
    return ok;
}
}  // namespace

bool LTrimTempFile::Create(const std::string& recordingPath, std::string& error) {
    Discard();
    const std::string ext = Extension(recordingPath);
    const std::string folder = DirName(recordingPath);
    for (int attempt = 0; attempt < kCreateAttempts; ++attempt) {
        std::string name = JoinPath(folder, std::string(kTrimTempPrefix) + "XXXXXX" + ext);
        std::vector<char> buf(name.begin(), name.end());
        buf.push_back('\0');
        int fd = mkostemps(buf.data(), int(ext.size()), O_CLOEXEC);
        if (fd < 0) {
            LogSystemFailure("LTrimTempFile::Create", "mkostemps");
            error = "cannot create a temporary file in " + folder + ": " + std::strerror(errno);
            return false;
        }
        name.assign(buf.data());
        if (flock(fd, LOCK_EX | LOCK_NB) == 0 && NameMatches(fd, name)) {
            path_ = name;
            fd_ = fd;
            return true;
        }
        close(fd);  // a sweep took it in the instant before the lock; try another name
    }
    error = "cannot lock a temporary file in " + folder;
    return false;
}

bool LTrimTempFile::Replace(const std::string& target, const struct stat& original,
                            std::string& error) {
    if (fd_ < 0) {
        error = "no temporary file to put in place";
        return false;
    }
    if (fsync(fd_) != 0) {
        LogSystemFailure("LTrimTempFile::Replace", "fsync");
        error = "cannot write the trimmed file to disk: " + std::string(std::strerror(errno));
        return false;
    }
    if (fchmod(fd_, original.st_mode & 07777) != 0)
        LogSystemFailure("LTrimTempFile::Replace", "fchmod");  // keeps going: content matters most
    const struct timespec times[2] = {original.st_atim, original.st_mtim};
    if (futimens(fd_, times) != 0) LogSystemFailure("LTrimTempFile::Replace", "futimens");

    struct stat now {};
    if (stat(target.c_str(), &now) != 0 || !SameFile(now, original)) {
        error = "the recording was moved or replaced while it was being trimmed";
        return false;
    }
    if (rename(path_.c_str(), target.c_str()) != 0) {
        LogSystemFailure("LTrimTempFile::Replace", "rename");
        error = "cannot put the trimmed file in place: " + std::string(std::strerror(errno));
        return false;
    }
    if (!SyncFolder(DirName(target))) LogSystemFailure("LTrimTempFile::Replace", "fsync");
    path_.clear();
    close(fd_);
    fd_ = -1;
    return true;
}

void LTrimTempFile::Discard() {
    if (!path_.empty() && unlink(path_.c_str()) != 0 && errno != ENOENT)
        LogSystemFailure("LTrimTempFile::Discard", "unlink");
    path_.clear();
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
}

int SweepStaleTrimFiles(const std::string& folder) {
    DIR* dir = opendir(folder.c_str());
    if (!dir) {
        LogSystemFailure("SweepStaleTrimFiles", "opendir");
        return 0;
    }
    const size_t prefixLength = std::strlen(kTrimTempPrefix);
    int removed = 0;
    while (dirent* entry = readdir(dir)) {
        if (std::strncmp(entry->d_name, kTrimTempPrefix, prefixLength) != 0) continue;
        const std::string path = JoinPath(folder, entry->d_name);
        int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0) continue;
        struct stat st {};
        // Held by a running trim when the lock is refused; otherwise a leftover.
        if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && flock(fd, LOCK_EX | LOCK_NB) == 0 &&
            NameMatches(fd, path)) {
            if (unlink(path.c_str()) == 0) {
                ++removed;
                LogEvent("Removed an unfinished trimmed file: %s", path.c_str());
            } else {
                LogSystemFailure("SweepStaleTrimFiles", "unlink");
            }
        }
        close(fd);
    }
    closedir(dir);
    return removed;
}

}  // namespace vocarta
