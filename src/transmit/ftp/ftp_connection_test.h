#pragma once
// The "FTP Connection Test" of the Transmit page: seven steps against the
// server the page names, each adding its lines to a report that the "FTP
// Connection Test Results" window shows.
//
//   1 the server's name resolves        5 the folder lists (passive connection)
//   2 the log-in is taken                6 a file "_ftptest" holding "Test" uploads
//   3 the folder can be entered (if set) 7 and is deleted again
//   4 the current folder is known
//
// A failure of steps 1 to 3 ends the test. Beside the report's fixed texts each
// failed step keeps the reason in words ("530 Login incorrect.").
//
// Threading: RunFtpConnectionTest blocks the calling thread (never the GUI
// thread: a window runs it on a worker) until done or stopped through
// `observer.stop`; the observer's functions are called on that thread.

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "net/stop_flag.h"
#include "transmit/ftp/ftp_settings.h"

namespace vocarta {

inline constexpr const char* kFtpTestTitle = "Testing FTP...";
inline constexpr const char* kFtpTestResultsTitle = "FTP Connection Test Results";
inline constexpr const char* kFtpTestFileName = "_ftptest";
inline constexpr const char* kFtpTestFileContent = "Test";

enum class FtpTestStep {
    kServer,
    kLogon,
    kDirectory,
    kCurrentDirectory,
    kListing,
    kUpload,
    kDelete
};
inline constexpr int kFtpTestStepCount = 7;

enum class FtpTestState { kNotRun, kRunning, kPassed, kFailed, kSkipped };

struct FtpTestLine {
    FtpTestStep step;
    std::string text;  // as the test adds it, line break included where it has one
};

struct FtpTestReport {
    std::vector<FtpTestLine> lines;
    std::array<FtpTestState, kFtpTestStepCount> states{};
    std::array<std::string, kFtpTestStepCount> reasons;  // why a step failed
    bool stopped = false;

    FtpTestState State(FtpTestStep step) const { return states[int(step)]; }
    // Every step that ran passed.
    bool Passed() const;
    // The lines, one a line, without their own CR LF.
    std::string Text() const;
};

// The status text shown while a step runs ("Logon...").
const char* FtpTestStepStatus(FtpTestStep step);
// A short name for the window's list of steps ("Log on").
const char* FtpTestStepName(FtpTestStep step);

struct FtpTestObserver {
    StopFlag stop;
    std::function<void(double)> progress;
    std::function<void(const std::string&)> title;
    std::function<void(const std::string&)> status;
    // After each change of the report (a line added, a step's state).
    std::function<void(const FtpTestReport&)> changed;
};

FtpTestReport RunFtpConnectionTest(const FtpSettings& settings, const FtpTestObserver& observer);

}  // namespace vocarta
