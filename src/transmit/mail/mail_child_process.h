#pragma once
// A helper program of the mail sender (sendmail, xdg-email), started with an
// argument vector, never through a shell, with its standard input connected to
// us when wanted. The input is a socket pair rather than a pipe, so that a
// helper that goes away is an error on write, never a SIGPIPE.
//
// Threading contract: one thread at a time. A helper still running when the
// object goes is left to run; a detached thread collects its end.

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

#include "net/stop_flag.h"
#include "toolkit/result.h"

namespace vocarta {

class MailChildProcess {
  public:
    MailChildProcess() = default;
    ~MailChildProcess();
    MailChildProcess(MailChildProcess&& other) noexcept;
    MailChildProcess& operator=(MailChildProcess&& other) = delete;
    MailChildProcess(const MailChildProcess&) = delete;

    // Starts `program` (a path) with `args` (args[0] is its name). Output goes
    // to /dev/null. kNotFound when the program cannot be run at all.
    static LResult<MailChildProcess> Start(const std::string& program,
                                           const std::vector<std::string>& args, bool withInput);

    // Writes every byte to its input within `timeoutMs`; kCancelled on a stop.
    LStatus Write(std::string_view bytes, int timeoutMs, const StopFlag& stop);
    void CloseInput();
    // Waits for its end: the exit status, kTimedOut or kCancelled (it keeps
    // running then).
    LResult<int> Wait(int timeoutMs, const StopFlag& stop);
    // Ends it (SIGTERM) and collects it.
    void Terminate();

    // "exited with status 3", "was ended by signal 9".
    static std::string DescribeStatus(int status);

  private:
    pid_t pid_ = -1;
    int input_ = -1;
};

// The first executable `name` in PATH, else the first of `fallbacks` that is
// executable; empty when none is.
std::string FindProgram(const std::string& name, const std::vector<std::string>& fallbacks = {});

}  // namespace vocarta
