#include "toolkit/lfile.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

#include "toolkit/log.h"
#include "toolkit/paths.h"

namespace vocarta {

LFile::LFile(LFile&& other) noexcept : fd_(other.fd_), path_(std::move(other.path_)) {
    other.fd_ = -1;
}

LFile& LFile::operator=(LFile&& other) noexcept {
    if (this != &other) {
        Close();
        fd_ = other.fd_;
        path_ = std::move(other.path_);
        other.fd_ = -1;
    }
    return *this;
}

bool LFile::Open(const std::string& path, Mode mode, unsigned permissions, bool noFollow) {
    Close();
    int flags = O_CLOEXEC;
    switch (mode) {
        case Mode::Read:
            flags |= O_RDONLY;
            break;
        case Mode::ReadWrite:
            flags |= O_RDWR;
            break;
        case Mode::OpenOrCreate:
            flags |= O_RDWR | O_CREAT;
            break;
        case Mode::CreateTruncate:
            flags |= O_RDWR | O_CREAT | O_TRUNC;
            break;
        case Mode::CreateExclusive:
            flags |= O_RDWR | O_CREAT | O_EXCL;
            break;
    }
    if (noFollow) flags |= O_NOFOLLOW;
    do {
        fd_ = open(path.c_str(), flags, permissions);
    } while (fd_ < 0 && errno == EINTR);
    if (fd_ < 0) {
        // A missing file for the read modes, or a taken name for CreateExclusive, is
        // an ordinary answer, not a failure.
        bool ordinary = (errno == ENOENT && (mode == Mode::Read || mode == Mode::ReadWrite)) ||
                        (errno == EEXIST && mode == Mode::CreateExclusive);
        if (!ordinary)
            LogError("LFile::Open open FAILED: %s: %s", path.c_str(), std::strerror(errno));
        return false;
    }
    path_ = path;
    return true;
}

void LFile::Close() {
    if (fd_ >= 0) {
        if (close(fd_) != 0) LogSystemFailure("LFile::Close", "close");
        fd_ = -1;
    }
}

int64_t LFile::Read(void* buffer, int64_t size) {
    auto* p = static_cast<char*>(buffer);
    int64_t done = 0;
    while (done < size) {
        ssize_t n = read(fd_, p + done, size_t(size - done));
        if (n < 0) {
            if (errno == EINTR) continue;
            LogSystemFailure("LFile::Read", "read");
            return done > 0 ? done : -1;
        }
        if (n == 0) break;
        done += n;
    }
    return done;
}

int64_t LFile::Write(const void* buffer, int64_t size) {
    auto* p = static_cast<const char*>(buffer);
    int64_t done = 0;
    while (done < size) {
        ssize_t n = write(fd_, p + done, size_t(size - done));
        if (n < 0) {
            if (errno == EINTR) continue;
            LogSystemFailure("LFile::Write", "write");
            return done > 0 ? done : -1;
        }
        if (n == 0) break;
        done += n;
    }
    return done;
}

int64_t LFile::ReadAt(int64_t offset, void* buffer, int64_t size) {
    auto* p = static_cast<char*>(buffer);
    int64_t done = 0;
    while (done < size) {
        ssize_t n = pread(fd_, p + done, size_t(size - done), off_t(offset + done));
        if (n < 0) {
            if (errno == EINTR) continue;
            LogSystemFailure("LFile::ReadAt", "pread");
            return done > 0 ? done : -1;
        }
        if (n == 0) break;
        done += n;
    }
    return done;
}

int64_t LFile::WriteAt(int64_t offset, const void* buffer, int64_t size) {
    auto* p = static_cast<const char*>(buffer);
    int64_t done = 0;
    while (done < size) {
        ssize_t n = pwrite(fd_, p + done, size_t(size - done), off_t(offset + done));
        if (n < 0) {
            if (errno == EINTR) continue;
            LogSystemFailure("LFile::WriteAt", "pwrite");
            return done > 0 ? done : -1;
        }
        if (n == 0) break;
        done += n;
    }
    return done;
}

bool LFile::Seek(int64_t position) {
    if (lseek(fd_, off_t(position), SEEK_SET) < 0) {
        LogSystemFailure("LFile::Seek", "lseek");
        return false;
    }
    return true;
}

bool LFile::SeekToEnd() {
    if (lseek(fd_, 0, SEEK_END) < 0) {
        LogSystemFailure("LFile::SeekToEnd", "lseek");
        return false;
    }
    return true;
}

int64_t LFile::Tell() const {
    return int64_t(lseek(fd_, 0, SEEK_CUR));
}

int64_t LFile::GetFileSizeBytes64() const {
    struct stat st;
    if (fstat(fd_, &st) != 0) {
        LogSystemFailure("LFile::GetFileSizeBytes64", "fstat");
        return -1;
    }
    return int64_t(st.st_size);
}

int64_t LFile::GetFileSizeBytes64(const std::string& path) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) {
        LogError("LFile::GetFileSizeBytes64 stat FAILED: %s: %s", path.c_str(),
                 std::strerror(errno));
        return -1;
    }
    return int64_t(st.st_size);
}

bool LFile::Truncate(int64_t length) {
    if (ftruncate(fd_, off_t(length)) != 0) {
        LogSystemFailure("LFile::Truncate", "ftruncate");
        return false;
    }
    return true;
}

bool LFile::Sync() {
    if (fsync(fd_) != 0) {
        LogSystemFailure("LFile::Sync", "fsync");
        return false;
    }
    return true;
}

std::vector<int> LFile::LockWaitSchedule(int limitMs) {
    std::vector<int> sleeps;
    for (int64_t sleep = limitMs / 32 + 1; sleep < limitMs; sleep *= 2)
        sleeps.push_back(int(sleep));
    return sleeps;
}

bool LFile::LockWait(LockKind kind, int limitMs) {
    int op = (kind == LockKind::Shared ? LOCK_SH : LOCK_EX) | LOCK_NB;
    std::vector<int> sleeps = LockWaitSchedule(limitMs);
    std::size_t attempt = 0;
    while (true) {
        if (flock(fd_, op) == 0) return true;
        if (errno == EINTR) continue;  // a signal is not a turn of the schedule
        if (errno != EWOULDBLOCK) {
            LogSystemFailure("LFile::LockWait", "flock");
            return false;
        }
        if (attempt >= sleeps.size()) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(sleeps[attempt++]));
    }
}

void LFile::Unlock() {
    if (fd_ >= 0 && flock(fd_, LOCK_UN) != 0) LogSystemFailure("LFile::Unlock", "flock");
}

bool LFile::ReadAll(const std::string& path, std::string& out) {
    LFile file;
    if (!file.Open(path, Mode::Read)) return false;
    out.clear();
    char buf[65536];
    while (true) {
        int64_t n = file.Read(buf, sizeof buf);
        if (n < 0) return false;
        if (n == 0) break;
        out.append(buf, size_t(n));
    }
    return true;
}

static std::string TemporaryTemplate(const std::string& path) {
    return JoinPath(DirName(path), "." + BaseName(path) + ".XXXXXX");
}

void LFile::RemoveStaleTemporaries(const std::string& path) {
    std::string folder = DirName(path);
    std::string prefix = "." + BaseName(path) + ".";
    DIR* dir = opendir(folder.c_str());
    if (!dir) return;
    while (const dirent* entry = readdir(dir)) {
        std::string name = entry->d_name;
        if (name.size() == prefix.size() + 6 && name.compare(0, prefix.size(), prefix) == 0 &&
            unlink(JoinPath(folder, name).c_str()) != 0)
            LogSystemFailure("LFile::RemoveStaleTemporaries", "unlink");
    }
    closedir(dir);
}

bool LFile::WriteAtomically(const std::string& path, const std::string& contents,
                            unsigned permissions) {
    std::string folder = DirName(path);
    std::string tmpl = TemporaryTemplate(path);
    int fd = mkostemp(tmpl.data(), O_CLOEXEC);
    if (fd < 0) {
        LogError("LFile::WriteAtomically mkostemp FAILED: %s: %s", tmpl.c_str(),
                 std::strerror(errno));
        return false;
    }
    LFile tmp;
    tmp.fd_ = fd;
    tmp.path_ = tmpl;
    bool ok = true;
    if (fchmod(fd, permissions) != 0) {
        LogSystemFailure("LFile::WriteAtomically", "fchmod");
        ok = false;
    }
    ok = ok && tmp.Write(contents.data(), int64_t(contents.size())) == int64_t(contents.size()) &&
         tmp.Sync();
    tmp.Close();
    if (ok && rename(tmpl.c_str(), path.c_str()) != 0) {
        LogSystemFailure("LFile::WriteAtomically", "rename");
        ok = false;
    }
    if (!ok) {
        unlink(tmpl.c_str());
        return false;
    }
    // Make the rename itself durable.
    int dirFd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd >= 0) {
        fsync(dirFd);
        close(dirFd);
    }
    return true;
}

}  // namespace vocarta
