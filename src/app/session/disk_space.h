#pragma once
// Free space on the file system of a folder, and the user's Trash, for the
// low-disk rule of the recording session. Platform files: disk_space_posix.cpp
// (statvfs) and trash_freedesktop.cpp (the freedesktop.org Trash under
// $XDG_DATA_HOME/Trash).
//
// Threading: any thread; nothing is shared.

#include <cstdint>
#include <optional>
#include <string>

namespace vocarta {

// Bytes an unprivileged user may still write on the file system of `folder`;
// nullopt (logged) when the system cannot tell.
//
// For tests: when VOCARTA_FREE_BYTES_FILE names a file, the figure is read from
// that file (a decimal number of bytes) at every call instead, so a test can make
// the disk "fill up" while a recording runs. A file that holds no number is
// ignored and the real figure is used.
std::optional<uint64_t> FreeDiskBytes(const std::string& folder);

// The user's Trash folder: $XDG_DATA_HOME/Trash (default ~/.local/share/Trash).
std::string UserTrashFolder();

// Empties the user's Trash: everything in its "files" and "info" folders (and
// the "directorysizes" cache) is deleted for good. Symbolic links are removed,
// never followed. True when nothing was left behind (a missing Trash is empty).
bool EmptyUserTrash();

}  // namespace vocarta
