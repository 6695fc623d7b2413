// CopyIntoFolder on Linux: an O_TMPFILE file in the destination folder, filled
// with copy_file_range (read/write where the kernel cannot), fsync'ed, then
// linked in under its name (or under a temporary name and renamed over a file
// already there).

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <random>
#include <vector>

#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"
#include "transmit/mirror_copy.h"

namespace vocarta {

namespace {

class Descriptor {
  public:
    explicit Descriptor(int fd = -1) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0) close(fd_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    void Reset(int fd) {
        if (fd_ >= 0) close(fd_);
        fd_ = fd;
    }
    int Get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }

  private:
    int fd_;
};

LError SystemError(const char* what, const std::string& path, int error) {
    const LErrorCode code = error == ENOSPC || error == EDQUOT ? LErrorCode::kNoSpace
                            : error == ENOENT                  ? LErrorCode::kNotFound
                                                               : LErrorCode::kIo;
    return LError(code, StringPrintf("%s %s: %s", what, path.c_str(), std::strerror(error)));
}

std::string TemporaryName(const std::string& name) {
    static thread_local std::mt19937_64 random{std::random_device{}()};
    return StringPrintf(".%s.part-%06llx", CutText(name, 200).c_str(),
                        static_cast<unsigned long long>(random() & 0xffffff));
}

bool WriteAll(int fd, const char* data, ssize_t size) {
    while (size > 0) {
        const ssize_t n = write(fd, data, size_t(size));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        size -= n;
    }
    return true;
}

// Copies `in` to `out` from their current offsets to the end of `in`.
LStatus CopyData(int in, int out, int64_t size, const std::string& dest,
                 const MirrorCopyOptions& options) {
    const std::size_t block = std::max<std::size_t>(options.blockBytes, 4096);
    bool inKernel = true;
    std::vector<char> buffer;
    int64_t copied = 0;
    while (true) {
        ssize_t n;
        if (inKernel) {
            n = copy_file_range(in, nullptr, out, nullptr, block, 0);
            if (n < 0 && (errno == EXDEV || errno == EINVAL || errno == ENOSYS ||
                          errno == EOPNOTSUPP || errno == EBADF)) {
                inKernel = false;  // both offsets stand where the kernel left them
                continue;
            }
        } else {
            buffer.resize(block);
            n = read(in, buffer.data(), buffer.size());
            if (n > 0 && !WriteAll(out, buffer.data(), n)) n = -1;
        }
        if (n < 0) {
            if (errno == EINTR) continue;
            return SystemError("copying to", dest, errno);
        }
        if (n == 0) return {};
        // Start writing this block out now, so the fsync at the end finds little
        // left to do and the copy takes about as long as the disk needs.
        if (sync_file_range(out, copied, n, SYNC_FILE_RANGE_WRITE) != 0 && errno != ESPIPE &&
            errno != EINVAL && errno != ENOSYS)
            return SystemError("copying to", dest, errno);
        copied += n;
        const double fraction = size > 0 ? std::min(1.0, double(copied) / double(size)) : 1.0;
        if (options.onProgress && !options.onProgress(fraction))
            return MakeError(LErrorCode::kCancelled, "copying to %s stopped", dest.c_str());
    }
}

bool SameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace

LStatus CopyIntoFolder(const std::string& source, const std::string& folder,
                       const std::string& name, const MirrorCopyOptions& options) {
    if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos)
        return MakeError(LErrorCode::kInvalid, "\"%s\" cannot name a file", name.c_str());
    const std::string dest = JoinPath(folder, name);

    Descriptor in(open(source.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    if (!in) return SystemError("cannot read", source, errno);
    struct stat st;
    if (fstat(in.Get(), &st) != 0) return SystemError("cannot read", source, errno);
    if (!S_ISREG(st.st_mode))
        return MakeError(LErrorCode::kInvalid, "%s is not a regular file", source.c_str());

    Descriptor dir(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!dir) {
        if (errno == ENOENT)
            return MakeError(LErrorCode::kNotFound, "the folder %s does not exist", folder.c_str());
        if (errno == ENOTDIR)
            return MakeError(LErrorCode::kInvalid, "%s is not a folder", folder.c_str());
        return SystemError("cannot open the folder", folder, errno);
    }
    struct stat existing;
    const bool exists = fstatat(dir.Get(), name.c_str(), &existing, AT_SYMLINK_NOFOLLOW) == 0;
    if (exists && SameFile(existing, st)) return {};  // the recording already lives there
    if (exists && !S_ISREG(existing.st_mode) && !S_ISLNK(existing.st_mode))
        return MakeError(LErrorCode::kInvalid, "%s is in the way and is not a file", dest.c_str());

    const mode_t mode = st.st_mode & 0666;
    // The copy has no name until it is complete, so nothing half-written can
    // ever be seen, and a failure leaves nothing behind, whatever failed.
    const bool unnamed = options.unnamedTemporary && access("/proc/self/fd", X_OK) == 0;
    Descriptor out;
    std::string temp;
    if (unnamed) {
        out.Reset(openat(dir.Get(), ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, mode));
        if (!out && errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL)
            return SystemError("cannot write in", folder, errno);
    }
    if (!out) {
        temp = TemporaryName(name);
        out.Reset(openat(dir.Get(), temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
        if (!out) return SystemError("cannot write in", folder, errno);
    }
    auto discard = [&] {
        if (!temp.empty()) unlinkat(dir.Get(), temp.c_str(), 0);
    };

    LStatus copied = CopyData(in.Get(), out.Get(), int64_t(st.st_size), dest, options);
    if (copied) {
        // The mirror keeps the recording's time.
        const struct timespec times[2] = {st.st_atim, st.st_mtim};
        if (futimens(out.Get(), times) != 0) LogSystemFailure("CopyIntoFolder", "futimens");
        if (fsync(out.Get()) != 0) copied = SystemError("cannot flush", dest, errno);
    }
    if (!copied) {
        discard();
        return copied;
    }

    if (temp.empty()) {
        const std::string self = StringPrintf("/proc/self/fd/%d", out.Get());
        if (!exists &&
            linkat(AT_FDCWD, self.c_str(), dir.Get(), name.c_str(), AT_SYMLINK_FOLLOW) == 0) {
            fsync(dir.Get());
            return {};
        }
        if (exists || errno == EEXIST) {
            // Replacing a file: a name of our own first, then one rename over it.
            temp = TemporaryName(name);
            if (linkat(AT_FDCWD, self.c_str(), dir.Get(), temp.c_str(), AT_SYMLINK_FOLLOW) != 0) {
                const int error = errno;
                temp.clear();
                return SystemError("cannot name the copy", dest, error);
            }
        } else {
            return SystemError("cannot name the copy", dest, errno);
        }
    }
    if (renameat(dir.Get(), temp.c_str(), dir.Get(), name.c_str()) != 0) {
        const int error = errno;
        discard();
        return SystemError("cannot name the copy", dest, error);
    }
    fsync(dir.Get());
    return {};
}

}  // namespace vocarta
