// The freedesktop.org Trash: the home Trash ($XDG_DATA_HOME/Trash) takes the
// files of its own file system; a file elsewhere goes to the trash at the top
// of its file system, "$topdir/.Trash/$uid" when the administrator provided a
// shared ".Trash" (a real folder with the sticky bit), else "$topdir/.Trash-$uid".
// A trash record is written before the file moves, with an exclusive create, so
// two deleters never claim the same name and a file in "files" always has its
// record.
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>

#include "library/trash.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

constexpr int kMaxNameTries = 10000;

// A folder we own, not a link, created 0700 when missing.
bool EnsureOwnFolder(const std::string& path) {
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) return false;
    struct stat info {};
    return lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == getuid();
}

bool EnsureTrash(const std::string& trash) {
    return EnsureOwnFolder(trash) && EnsureOwnFolder(JoinPath(trash, "files")) &&
           EnsureOwnFolder(JoinPath(trash, "info"));
}

// The absolute path with its folder resolved; the last component is kept as it
// is, so a link is trashed as the link.
std::string AbsoluteItemPath(const std::string& path) {
    std::string folder = DirName(path);
    char* resolved = realpath(folder.c_str(), nullptr);
    if (!resolved) return "";
    folder = resolved;
    free(resolved);
    return JoinPath(folder, BaseName(path));
}

// The top folder of the file system `folder` is on: the highest parent on the
// same device. (Bind mounts of one device are caught later by EXDEV.)
std::string TopDirOf(const std::string& folder, dev_t dev) {
    std::string path = folder;
    while (path != "/") {
        const std::string parent = DirName(path);
        struct stat above {};
        if (stat(parent.c_str(), &above) != 0 || above.st_dev != dev) break;
        path = parent;
    }
    return path;
}

// The trash to use at `topdir`, created as needed; "" when there is none we may use.
std::string TopDirTrash(const std::string& topdir) {
    const std::string uid = std::to_string(getuid());
    const std::string shared = JoinPath(topdir, ".Trash");
    struct stat info {};
    if (lstat(shared.c_str(), &info) == 0) {
        if (S_ISDIR(info.st_mode) && (info.st_mode & S_ISVTX)) {
            const std::string mine = JoinPath(shared, uid);
            if (EnsureTrash(mine)) return mine;
        }
        LogError(
            "MoveToTrash: %s is not used: not a folder with the sticky bit, or no folder "
            "of ours in it",
            shared.c_str());
    }
    const std::string own = JoinPath(topdir, ".Trash-" + uid);
    if (EnsureTrash(own)) return own;
    LogSystemFailure("MoveToTrash", ("mkdir " + own).c_str());
    return "";
}

// "name", "name.2.ext", "name.3.ext"...
std::string CandidateName(const std::string& name, int attempt) {
    if (attempt == 1) return name;
    std::string extension = Extension(name);
    if (extension.size() == name.size()) extension.clear();  // ".hidden"
    return name.substr(0, name.size() - extension.size()) + "." + std::to_string(attempt) +
           extension;
}

// Claims a name in `trash` by creating its record (O_EXCL) with `recordedPath`,
// then moves the item. EXDEV and the like come back as the errno.
LResult<TrashedItem> TrashInto(const std::string& trash, const std::string& item,
                               const std::string& recordedPath) {
    const std::string record = "[Trash Info]\nPath=" + TrashEncodePath(recordedPath) +
                               "\nDeletionDate=" + LocalTimeText("%Y-%m-%dT%H:%M:%S") + "\n";
    for (int attempt = 1; attempt <= kMaxNameTries; ++attempt) {
        const std::string name = CandidateName(BaseName(item), attempt);
        TrashedItem trashed{trash, JoinPath(JoinPath(trash, "files"), name),
                            JoinPath(JoinPath(trash, "info"), name + ".trashinfo")};
        const int fd =
            open(trashed.infoFile.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd < 0) {
            if (errno == EEXIST) continue;
            return MakeError(LErrorCode::kIo, "Cannot write %s: %s", trashed.infoFile.c_str(),
                             std::strerror(errno));
        }
        const bool written = write(fd, record.data(), record.size()) == ssize_t(record.size());
        const bool closed = close(fd) == 0;
        struct stat taken {};
        if (!written || !closed || lstat(trashed.file.c_str(), &taken) == 0) {
            const int error = errno;
            unlink(trashed.infoFile.c_str());
            if (written && closed) continue;  // a file without record holds that name
            return MakeError(LErrorCode::kIo, "Cannot write %s: %s", trashed.infoFile.c_str(),
                             std::strerror(error));
        }
        // The name was free a moment ago; never let the move replace what
        // another program put there since.
        int moved =
            renameat2(AT_FDCWD, item.c_str(), AT_FDCWD, trashed.file.c_str(), RENAME_NOREPLACE);
        if (moved != 0 && (errno == EINVAL || errno == ENOSYS))
            moved = rename(item.c_str(), trashed.file.c_str());  // no such flag here
        if (moved != 0 && errno == EEXIST) {
            unlink(trashed.infoFile.c_str());
            continue;
        }
        if (moved != 0) {
            const int error = errno;
            unlink(trashed.infoFile.c_str());
            return MakeError(error == EXDEV ? LErrorCode::kUnsupported : LErrorCode::kIo,
                             "Cannot move %s to %s: %s", item.c_str(), trash.c_str(),
                             std::strerror(error));
        }
        return trashed;
    }
    return MakeError(LErrorCode::kIo, "No free name for %s in %s", item.c_str(), trash.c_str());
}

// The path a top-folder trash records: relative to the top folder, so the
// record still holds when the file system is mounted elsewhere.
std::string RelativeTo(const std::string& topdir, const std::string& item) {
    if (topdir == "/") return item.substr(1);
    return item.substr(topdir.size() + 1);
}

}  // namespace

std::string TrashEncodePath(const std::string& path) {
    static const char* const kHex = "0123456789ABCDEF";
    std::string out;
    for (const unsigned char c : path) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                           (c >= '0' && c <= '9') || std::strchr("-_.~/!*'()", c) != nullptr;
        if (plain && c != 0) {
            out += char(c);
        } else {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 15];
        }
    }
    return out;
}

LResult<TrashedItem> MoveToTrash(const std::string& path) {
    struct stat info {};
    if (lstat(path.c_str(), &info) != 0)
        return MakeError(errno == ENOENT ? LErrorCode::kNotFound : LErrorCode::kIo,
                         "Cannot examine %s: %s", path.c_str(), std::strerror(errno));
    const std::string item = AbsoluteItemPath(path);
    if (item.empty())
        return MakeError(LErrorCode::kIo, "Cannot resolve the folder of %s: %s", path.c_str(),
                         std::strerror(errno));

    const std::string home = HomeTrashFolder();
    MakeDirs(DataHome());
    struct stat homeInfo {};
    const bool homeUsable = EnsureTrash(home) && stat(home.c_str(), &homeInfo) == 0;
    if (homeUsable && homeInfo.st_dev == info.st_dev) {
        LResult<TrashedItem> trashed = TrashInto(home, item, item);
        // One device seen through two mounts still refuses the move: the
        // top-folder trash of the file's mount takes it below.
        if (trashed || trashed.Error().Code() != LErrorCode::kUnsupported) return trashed;
    }

    const std::string topdir = TopDirOf(DirName(item), info.st_dev);
    const std::string trash = TopDirTrash(topdir);
    if (trash.empty())
        return MakeError(LErrorCode::kUnsupported,
                         "No trash can be used on the file system of %s (mounted on %s)",
                         path.c_str(), topdir.c_str());
    LResult<TrashedItem> trashed = TrashInto(trash, item, RelativeTo(topdir, item));
    if (trashed)
        LogEvent("Moved %s to the trash %s", item.c_str(), trash.c_str());
    else
        LogError("MoveToTrash: %s", trashed.Error().Message().c_str());
    return trashed;
}

}  // namespace vocarta
