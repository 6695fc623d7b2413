#pragma once
// An external program started with an argument vector (never through a shell)
// from a detached worker thread, which also waits for its end; so the thread
// that asked for it can stop waiting at any time (a stop request, a time limit)
// without blocking anyone and without leaving a zombie behind. A program still
// running when nobody waits any more is left running.
//
// Threading contract: Start and WaitForEnd on the same thread; the object is
// shared with the worker thread and lives until both are done with it.

#include <memory>
#include <string>
#include <vector>

#include "toolkit/result.h"

namespace vocarta {

class LSignalObject;

class LChildProgram {
  public:
    enum class Wait { Ended, TimedOut, Stopped };

    virtual ~LChildProgram() = default;

    // Starts args[0] (looked up in PATH when it holds no "/") with the rest as
    // its arguments, standard input from /dev/null, in a session of its own.
    // An error (kNotFound for a missing program) when it cannot be started.
    static LResult<std::shared_ptr<LChildProgram>> Start(const std::vector<std::string>& args);

    // Waits until the program ends, `timeoutMs` passes (-1: no limit) or `stop`
    // (may be null) is set.
    virtual Wait WaitForEnd(int timeoutMs, const LSignalObject* stop) = 0;
    // After Ended: exit status 0.
    virtual bool Succeeded() const = 0;
    // After Ended: "exited with status 3", "was ended by signal 9 (Killed)".
    virtual std::string EndDescription() const = 0;
};

}  // namespace vocarta
