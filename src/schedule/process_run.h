#pragma once
// Running the job launcher's tools (systemctl, crontab, the unload script) with
// an argument vector: never through a shell, so no text of a schedule is ever
// read as a command. The program is looked up on PATH; the child inherits the
// environment and gets no other descriptor of ours.
//
// Threading: any thread; each call waits for its own child only.

#include <string>
#include <vector>

#include "toolkit/result.h"

namespace vocarta {

struct ProcessOutput {
    int exitCode = -1;  // the exit status; 128 + signal when a signal ended it
    std::string out;    // standard output, cut at kMaxProcessOutput
    std::string err;    // standard error, cut the same way
    bool Succeeded() const { return exitCode == 0; }
};

inline constexpr std::size_t kMaxProcessOutput = 1 << 20;
inline constexpr int kProcessTimeLimitMs = 30000;

// Runs `argv` with `input` on its standard input and waits for it (killing it
// after `limitMs`). An error only when it could not be started or waited for;
// a child that ran and failed is a result with its exit code.
LResult<ProcessOutput> RunProcess(const std::vector<std::string>& argv,
                                  const std::string& input = {}, int limitMs = kProcessTimeLimitMs);

// Starts `argv` in a session of its own with its standard streams on /dev/null
// and does not wait: it outlives this process.
LStatus StartDetachedProcess(const std::vector<std::string>& argv);

// "a 'b c' d": an argument vector as one readable line, for logs.
std::string CommandText(const std::vector<std::string>& argv);

}  // namespace vocarta
