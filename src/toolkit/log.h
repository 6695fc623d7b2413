#pragma once
// The program's two log files in the application data folder:
//   error.log    failures of system calls and of operations, one line each, in the
//                form "Class::Operation call FAILED: <system text>";
//   vocarta.log  what the program did (commands taken, recordings finished).
// Lines carry a local time stamp. Both are safe to call from any thread.

#include <string>

namespace vocarta {

void LogError(const char* format, ...) __attribute__((format(printf, 1, 2)));
void LogEvent(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Logs "<where> <call> FAILED: <strerror(errno)>" to the error log; keeps errno.
void LogSystemFailure(const char* where, const char* call);
// The same with an explicit error number (for calls that return it).
void LogSystemFailure(const char* where, const char* call, int error);

std::string ErrorLogPath();
std::string EventLogPath();

// Also copy every line to standard error (headless mode and tests).
void SetLogEcho(bool echo);

}  // namespace vocarta
