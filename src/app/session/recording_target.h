#pragma once
// Where a take may be written. A recording goes into a regular file or into a
// name that does not exist yet; a device, a pipe, a socket or a folder (or a
// link to one) is refused. An existing recording is never overwritten without
// the user's explicit "Replace": the other answers record under the next free
// name or end the command, and nobody at the keyboard means the next free name.
//
// Threading contract: main thread (questions go to the view).

#include <string>

#include "toolkit/result.h"

namespace vocarta {

class MainDialogView;

// kInvalid (with the text to show) for a target that is not a regular file or
// a free name; true when a regular file is there already.
LResult<bool> CheckRecordingTarget(const std::string& path);

// "<base> 001<ext>", "<base> 002<ext>"... in the same folder: the first name
// that is free. (`base` is the path without its extension.)
std::string NextFreeName(const std::string& path);

struct RecordingTarget {
    std::string path;
    bool replaces = false;  // the user said "Replace" to a recording there
};

// The path a take may be written to, asking when `path` holds a recording:
// "Replace" keeps `path`, "Record as <next free name>" gives that name, "Cancel"
// ends the command (kCancelled). A refused target is shown and is kInvalid.
LResult<RecordingTarget> PrepareRecordingTarget(MainDialogView& view, const std::string& path);

// Deletes a take's file after an empty take, but only a regular file: whatever
// else is at the path now is left alone (logged).
void RemoveTakeFile(const std::string& path, const char* where);

}  // namespace vocarta
