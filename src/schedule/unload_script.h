#pragma once
// Unloading a job from inside the process the job started: stopping the job
// there and then would end this very process, so the stop is left to a small
// script that polls every 0.5 s until this process has gone and then runs the
// stop command. The script lies in a temporary file of mode 0770 (in
// $XDG_RUNTIME_DIR, else the cache folder), is started in a session of its own
// as "/bin/sh <script> <pid> <target>", and removes itself when done.
//
// Threading: any thread.

#include <sys/types.h>

#include <string>

#include "toolkit/result.h"

namespace vocarta {

// The script's text; `launcherName` goes into its message and `stopCommand` is
// the command line run with "$2" (e.g. "systemctl --user stop").
std::string UnloadScriptText(const std::string& launcherName, const std::string& stopCommand);

// Writes `scriptText` to a new temporary file and starts it with `pid` and
// `target`; the path is returned.
LResult<std::string> StartUnloadAfterExit(const std::string& scriptText, pid_t pid,
                                          const std::string& target);

}  // namespace vocarta
