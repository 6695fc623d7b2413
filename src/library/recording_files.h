#pragma once
// Acting on finished recordings from the recordings window: saving copies of
// them elsewhere and renaming them. (Deleting is the Trash's: library/trash.h.)
//
// Saving copies each file to a hidden temporary name in the target folder and
// renames it into place only once it is complete, so a failed or interrupted
// copy never leaves half a file under the final name nor touches a file that is
// already there. A file already there is replaced only when the caller's
// OverwriteAsker says so. The free space of the target is checked before the
// first byte is written.
//
// Threading contract: any thread; the callbacks are called on the calling
// thread. Nothing here keeps state between calls.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "toolkit/result.h"

namespace vocarta {

// One file to save: where it is and the full path it is to have.
struct SaveItem {
    std::string source;
    std::string target;

    bool operator==(const SaveItem&) const = default;
};

// The answer to "Overwrite Files?" for one file whose target exists;
// `forAll` is "Repeat this action for all files".
struct OverwriteChoice {
    bool overwrite = false;
    bool forAll = false;
};
using OverwriteAsker = std::function<OverwriteChoice(const SaveItem& item)>;

// Bytes an unprivileged user may still write on the file system of `folder`;
// nullopt when the system cannot tell.
using FreeSpaceQuery = std::function<std::optional<uint64_t>(const std::string& folder)>;

// statvfs: f_bavail blocks of f_frsize bytes.
std::optional<uint64_t> FolderFreeBytes(const std::string& folder);

// Each of `sources` into `folder` under its own name.
std::vector<SaveItem> SaveItemsInto(const std::vector<std::string>& sources,
                                    const std::string& folder);

// What a save did, file by file.
struct SaveOutcome {
    std::vector<SaveItem> saved;
    // Targets that exist and were kept, as the user answered.
    std::vector<SaveItem> kept;
    // Copies that failed, with the reason; nothing was left under their target.
    std::vector<std::pair<SaveItem, LError>> failed;
    // Set when the target had too little free space: nothing was copied.
    // `shortage` lists the base names of the files the save would have written.
    bool noSpace = false;
    std::vector<std::string> shortage;
    uint64_t neededBytes = 0;
    uint64_t freeBytes = 0;

    bool Changed() const { return !saved.empty(); }
};

// The bytes the target file system must have free while `items` are copied one
// after the other: each copy exists beside the file it replaces until it is
// renamed over it, so the peak counts the file in flight whole and the earlier
// replacements by their growth only. Files that cannot be examined count 0.
uint64_t SaveNeededBytes(const std::vector<SaveItem>& items);

// 1. Asks `ask` about every item whose target exists (a target that is the
//    source itself is left alone and counts as saved); a "for all" answer is
//    taken for the rest without asking. Without an asker, existing files are
//    kept.
// 2. Checks the free space of each target folder (`freeSpace`, default
//    FolderFreeBytes) against SaveNeededBytes; too little copies nothing.
// 3. Copies the rest (CopyRecording), going on after a failure.
SaveOutcome SaveRecordings(const std::vector<SaveItem>& items, const OverwriteAsker& ask,
                           const FreeSpaceQuery& freeSpace = nullptr);

// Copies one file as described above. Without `replace`, an existing target
// gives kExists and is not touched. Errors: kNotFound, kNoSpace, kIo, kInvalid
// (not a regular file, a folder in the way), kExists.
LStatus CopyRecording(const SaveItem& item, bool replace);

// Renaming. The typed name is a name, not a path: it keeps the recording's
// folder, and the recording keeps its extension (a name typed without it, or
// with another one, gets it added), so the recordings window still lists and
// decodes the file as before. Leading and trailing blanks are dropped.
//
// The new full path, or kInvalid: an empty name ("You must type a file name."
// is the message for it), a name holding "/" or NUL, or "." and "..".
LResult<std::string> RenameTarget(const std::string& path, const std::string& typedName);

// Renames `path` to `newPath` in the same folder. Without `replace`, an
// existing `newPath` gives kExists (checked and renamed atomically); with it,
// only a regular file (or a link) is replaced. A name that differs only in case
// or is the same file renames as asked.
LStatus RenameRecording(const std::string& path, const std::string& newPath, bool replace);

// True when `a` and `b` name the same file (device and inode).
bool SameFile(const std::string& a, const std::string& b);

}  // namespace vocarta
