#pragma once
// Free space on the file system of a folder, and the Trash of that file system,
// for the low-disk rule of the recording session. Platform files:
// disk_space_posix.cpp (statvfs, /proc/self/mountinfo) and trash_freedesktop.cpp
// (the freedesktop.org Trash: $XDG_DATA_HOME/Trash and the per-volume trashes).
//
// Threading: any thread; nothing is shared.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "toolkit/result.h"

namespace vocarta {

// Bytes an unprivileged user may still write on the file system of `folder`;
// nullopt (logged) when the system cannot tell.
//
// For tests: when VOCARTA_FREE_BYTES_FILE names a file, the figure is read from
// that file (a decimal number of bytes) at every call instead, so a test can make
// the disk "fill up" while a recording runs. A file that holds no number is
// ignored and the real figure is used.
std::optional<uint64_t> FreeDiskBytes(const std::string& folder);

// The mount point of the file system `folder` is on ("/", "/mnt/x"): the
// deepest entry of /proc/self/mountinfo that holds the folder on its device,
// else the highest parent folder on the same device. "" when `folder` cannot be
// examined.
std::string MountPointOf(const std::string& folder);

// The figures of a refused or stopped recording, for its message:
// "needs 35 MB, 1 MB free on /mnt/x" (decimal megabytes; one decimal place when
// whole ones would show the two figures alike; "free on" names the mount point
// of `folder`, or the folder itself when that is unknown).
std::string FreeSpaceShortText(const std::string& folder, uint64_t neededBytes, uint64_t freeBytes);

// What EmptyTrashFor removed.
struct TrashEmptied {
    // The trash folders emptied (each holds "files" and "info").
    std::vector<std::string> trashes;
    // Trashed items removed (entries of "files", as a file manager lists them)
    // and the bytes of the regular files among them and inside their folders.
    uint64_t items = 0;
    uint64_t bytes = 0;
    // False when something could not be removed (logged).
    bool complete = true;
};

// Empties only the trashes on the file system of `folder`, since emptying one
// elsewhere frees nothing there: the home Trash when it is on the same device,
// and the mount point's per-user trashes "$topdir/.Trash/$uid" (only when
// ".Trash" is a real folder with the sticky bit and "$uid" a real folder of ours)
// and "$topdir/.Trash-$uid" (only when it is a real folder of ours). Everything in
// their "files" and "info" folders, and the "directorysizes" cache, is deleted for
// good; symbolic links are removed, never followed. The result is logged (trashes,
// items, bytes). An error only when `folder` itself cannot be examined; no trash
// on that file system empties nothing.
LResult<TrashEmptied> EmptyTrashFor(const std::string& folder);

}  // namespace vocarta
