// The user's Trash as the freedesktop.org Trash specification lays it out:
// $XDG_DATA_HOME/Trash/files holds the trashed files and folders,
// Trash/info one ".trashinfo" record for each, Trash/directorysizes a cache.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "app/session/disk_space.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"

namespace vocarta {

namespace {
// Deletes everything inside the folder open at `dirFd` (which it closes),
// depth first. Links are unlinked as themselves; no path is ever resolved
// outside the Trash.
bool EmptyFolderAt(int dirFd) {
    DIR* dir = fdopendir(dirFd);
    if (!dir) {
        LogSystemFailure("EmptyUserTrash", "fdopendir");
        close(dirFd);
        return false;
    }
    bool ok = true;
    while (dirent* entry = readdir(dir)) {
        const char* name = entry->d_name;
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
        struct stat info {};
        if (fstatat(dirFd, name, &info, AT_SYMLINK_NOFOLLOW) != 0) {
            if (errno != ENOENT) ok = false;
            continue;
        }
        if (S_ISDIR(info.st_mode)) {
            int child = openat(dirFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (child < 0 || !EmptyFolderAt(child)) {
                ok = false;
                continue;
            }
        }
        if (unlinkat(dirFd, name, S_ISDIR(info.st_mode) ? AT_REMOVEDIR : 0) != 0 &&
            errno != ENOENT) {
            LogSystemFailure("EmptyUserTrash", "unlinkat");
            ok = false;
        }
    }
    closedir(dir);
    return ok;
}

bool EmptyTrashPart(const std::string& folder) {
    int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT) return true;
        LogSystemFailure("EmptyUserTrash", "open");
        return false;
    }
    return EmptyFolderAt(fd);
}
}  // namespace

std::string UserTrashFolder() {
    return JoinPath(DataHome(), "Trash");
}

bool EmptyUserTrash() {
    const std::string trash = UserTrashFolder();
    // Files first: file managers ignore a record whose file is gone, while a file
    // left without its record would stay in the Trash unseen, taking space.
    bool ok = EmptyTrashPart(JoinPath(trash, "files"));
    ok = EmptyTrashPart(JoinPath(trash, "info")) && ok;
    const std::string sizes = JoinPath(trash, "directorysizes");
    if (unlink(sizes.c_str()) != 0 && errno != ENOENT) {
        LogSystemFailure("EmptyUserTrash", "unlink");
        ok = false;
    }
    LogEvent("Trash emptied%s: %s", ok ? "" : " in part", trash.c_str());
    return ok;
}

}  // namespace vocarta
