#pragma once
// Copying a recording into a folder so that the destination never holds a part
// of it: the copy is written to a file with no name in the destination folder
// (or, where the file system cannot make one, to a hidden temporary name next to
// the destination), flushed to the disk, and only then given its name. A file
// already under that name is replaced only by the finished copy, and only when
// it is a regular file. A copy that fails or is stopped leaves the folder as it
// was.
//
// Threading contract: any thread; `onProgress` is called on the calling thread.

#include <cstddef>
#include <functional>
#include <string>

#include "toolkit/result.h"

namespace vocarta {

struct MirrorCopyOptions {
    // Called after each block with the fraction copied; returning false stops
    // the copy (the result is then a kCancelled error).
    std::function<bool(double fraction)> onProgress;
    // Bytes per block; each block is one progress report and one chance to stop.
    std::size_t blockBytes = std::size_t(8) << 20;
    // False forces the named temporary (for file systems that cannot make an
    // unnamed file; tests use it to exercise that path).
    bool unnamedTemporary = true;
};

// Copies `source` to `folder`/`name`. Errors: kNotFound (source or folder
// missing), kNoSpace (disk full), kIo (no permission, read or write failure),
// kInvalid (source not a regular file, a folder in the way), kCancelled.
LStatus CopyIntoFolder(const std::string& source, const std::string& folder,
                       const std::string& name, const MirrorCopyOptions& options = {});

}  // namespace vocarta
