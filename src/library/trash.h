#pragma once
// Moving a recording to the desktop's Trash, from where the file manager can
// put it back. Platform file: trash_freedesktop.cpp (the freedesktop.org Trash:
// the home Trash for files on its file system, the trash at the top of the
// file's own file system for the others; a file is never copied from one file
// system to another).
//
// Threading contract: any thread; several threads and processes may trash at
// once (names in the trash are claimed with exclusive creates).

#include <string>

#include "toolkit/result.h"

namespace vocarta {

// Where a trashed item went.
struct TrashedItem {
    std::string trash;     // the trash folder (holding "files" and "info")
    std::string file;      // the item inside "files"
    std::string infoFile;  // its ".trashinfo" record
};

// Moves `path` (a file, a link as itself, or a folder) into the trash of its
// file system, with its record. Errors: kNotFound (no such file), kUnsupported
// (no usable trash on that file system: the item stays where it was), kIo.
LResult<TrashedItem> MoveToTrash(const std::string& path);

// The path as a trash record writes it: every byte but the unreserved ones and
// "/" as "%XX" (upper-case hex).
std::string TrashEncodePath(const std::string& path);

}  // namespace vocarta
