// The trashes of the freedesktop.org Trash specification: the home Trash
// ($XDG_DATA_HOME/Trash) and, at the top of each mounted file system, the shared
// "$topdir/.Trash/$uid" and the per-user "$topdir/.Trash-$uid". Each holds
// "files" (the trashed files and folders), "info" (one ".trashinfo" record each)
// and a "directorysizes" cache.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "app/session/disk_space.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

struct Removal {
    uint64_t items = 0;
    uint64_t bytes = 0;
    bool complete = true;
};

// Deletes everything inside the folder open at `dirFd` (which it closes),
// depth first, adding the sizes of the regular files removed; with `countItems`
// each entry of this folder counts as one item. Links are unlinked as
// themselves; no path is ever resolved outside the trash.
void EmptyFolderAt(int dirFd, Removal& removal, bool countItems) {
    DIR* dir = fdopendir(dirFd);
    if (!dir) {
        LogSystemFailure("EmptyTrashFor", "fdopendir");
        close(dirFd);
        removal.complete = false;
        return;
    }
    while (dirent* entry = readdir(dir)) {
        const char* name = entry->d_name;
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
        struct stat info {};
        if (fstatat(dirFd, name, &info, AT_SYMLINK_NOFOLLOW) != 0) {
            if (errno != ENOENT) removal.complete = false;
            continue;
        }
        const bool isDir = S_ISDIR(info.st_mode);
        if (isDir) {
            int child = openat(dirFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (child < 0) {
                removal.complete = false;
                continue;
            }
            EmptyFolderAt(child, removal, false);
        }
        if (unlinkat(dirFd, name, isDir ? AT_REMOVEDIR : 0) != 0) {
            if (errno != ENOENT) {
                LogSystemFailure("EmptyTrashFor", "unlinkat");
                removal.complete = false;
            }
            continue;
        }
        if (S_ISREG(info.st_mode)) removal.bytes += uint64_t(info.st_size);
        if (countItems) ++removal.items;
    }
    closedir(dir);
}

void EmptyTrashPart(const std::string& folder, Removal& removal, bool countItems) {
    int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT) return;
        LogSystemFailure("EmptyTrashFor", "open");
        removal.complete = false;
        return;
    }
    EmptyFolderAt(fd, removal, countItems);
}

Removal EmptyTrash(const std::string& trash) {
    Removal removal;
    // Files first: file managers ignore a record whose file is gone, while a file
    // left without its record would stay in the trash unseen, taking space.
    EmptyTrashPart(JoinPath(trash, "files"), removal, true);
    Removal records;  // not counted: what the user trashed is in "files"
    EmptyTrashPart(JoinPath(trash, "info"), records, false);
    removal.complete = removal.complete && records.complete;
    const std::string sizes = JoinPath(trash, "directorysizes");
    if (unlink(sizes.c_str()) != 0 && errno != ENOENT) {
        LogSystemFailure("EmptyTrashFor", "unlink");
        removal.complete = false;
    }
    return removal;
}

// A folder of ours, not a link, on device `dev`: the only kind of per-volume
// trash that may be emptied (another user may have planted anything else).
bool IsOwnFolderOn(const std::string& path, dev_t dev) {
    struct stat info {};
    return lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == getuid() &&
           info.st_dev == dev;
}

// "$topdir/.Trash/$uid", when ".Trash" is a real folder with the sticky bit set
// (so no other user can have replaced our folder in it).
std::string SharedTrashOf(const std::string& topdir, dev_t dev) {
    const std::string shared = JoinPath(topdir, ".Trash");
    struct stat info {};
    if (lstat(shared.c_str(), &info) != 0) return "";
    if (!S_ISDIR(info.st_mode) || !(info.st_mode & S_ISVTX)) {
        LogError("EmptyTrashFor: %s is not used: not a folder with the sticky bit set",
                 shared.c_str());
        return "";
    }
    const std::string mine = JoinPath(shared, std::to_string(getuid()));
    return IsOwnFolderOn(mine, dev) ? mine : "";
}

std::vector<std::string> TrashesOn(dev_t dev, const std::string& topdir) {
    std::vector<std::string> trashes;
    struct stat home {};
    const std::string homeTrash = HomeTrashFolder();
    if (stat(homeTrash.c_str(), &home) == 0 && S_ISDIR(home.st_mode) && home.st_dev == dev)
        trashes.push_back(homeTrash);
    if (topdir.empty()) return trashes;
    const bool haveHome = !trashes.empty();
    for (const std::string& trash :
         {SharedTrashOf(topdir, dev), JoinPath(topdir, ".Trash-" + std::to_string(getuid()))}) {
        if (trash.empty() || !IsOwnFolderOn(trash, dev)) continue;
        struct stat info {};
        // The home Trash may itself lie at the top of its file system.
        if (haveHome && stat(trash.c_str(), &info) == 0 && info.st_ino == home.st_ino &&
            info.st_dev == home.st_dev)
            continue;
        trashes.push_back(trash);
    }
    return trashes;
}

}  // namespace

LResult<TrashEmptied> EmptyTrashFor(const std::string& folder) {
    struct stat info {};
    if (stat(folder.c_str(), &info) != 0)
        return MakeError(errno == ENOENT ? LErrorCode::kNotFound : LErrorCode::kIo,
                         "Cannot examine %s: %s", folder.c_str(), std::strerror(errno));
    const std::string topdir = MountPointOf(folder);
    TrashEmptied emptied;
    emptied.trashes = TrashesOn(info.st_dev, topdir);
    if (emptied.trashes.empty())
        LogEvent("No trash on the file system of %s (mounted on %s) to empty", folder.c_str(),
                 topdir.c_str());
    for (const std::string& trash : emptied.trashes) {
        const Removal removal = EmptyTrash(trash);
        emptied.items += removal.items;
        emptied.bytes += removal.bytes;
        emptied.complete = emptied.complete && removal.complete;
        LogEvent("Trash emptied%s: %s: %llu items, %llu bytes", removal.complete ? "" : " in part",
                 trash.c_str(), static_cast<unsigned long long>(removal.items),
                 static_cast<unsigned long long>(removal.bytes));
    }
    return emptied;
}

}  // namespace vocarta
