#pragma once
// Packing several recordings into one zip archive, for sending them as one
// attachment. Made with libzip: entries are named by the recordings' file
// names (bytes as they are; a name that is valid UTF-8 is marked so), the
// compressed formats (MP3, FLAC) are stored as they are and the others
// deflated, and archives over 4 GiB get the zip64 records by themselves.
//
// Threading contract: any thread; `onProgress` is called on the calling thread.

#include <functional>
#include <string>
#include <vector>

#include "toolkit/result.h"

namespace vocarta {

struct ArchiveOptions {
    // The fraction done, 0.0 to 1.0; returning false stops the packing (the
    // result is then kCancelled and no archive is left).
    std::function<bool(double fraction)> onProgress;
};

// Writes `archive` (which must not exist yet) holding `paths`. Two recordings
// of the same name get "name (2).ext" for the second. On any failure nothing is
// left at `archive`. Errors: kExists, kNotFound (a recording is missing), kIo,
// kNoSpace, kCancelled.
LStatus PackRecordings(const std::vector<std::string>& paths, const std::string& archive,
                       const ArchiveOptions& options = {});

// The entry names PackRecordings gives `paths`, in order.
std::vector<std::string> ArchiveEntryNames(const std::vector<std::string>& paths);

}  // namespace vocarta
