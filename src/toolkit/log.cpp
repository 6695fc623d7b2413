#include "toolkit/log.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>

#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
std::mutex g_logMutex;
bool g_echo = false;

std::string FormatV(const char* format, va_list args) {
    char buf[2048];
    std::vsnprintf(buf, sizeof buf, format, args);
    return buf;
}

void Append(const std::string& path, const std::string& text) {
    std::string line = LocalTimeText("%Y-%m-%d %H:%M:%S") + " " + text + "\n";

    std::lock_guard<std::mutex> lock(g_logMutex);
    if (g_echo) std::fwrite(line.data(), 1, line.size(), stderr);
    MakeDirs(DirName(path));
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0) return;  // nowhere left to report it
    ssize_t ignored = write(fd, line.data(), line.size());
    (void)ignored;
    close(fd);
}
}  // namespace

std::string ErrorLogPath() {
    return JoinPath(AppDataDir(), "error.log");
}
std::string EventLogPath() {
    return JoinPath(AppDataDir(), "vocarta.log");
}

void SetLogEcho(bool echo) {
    std::lock_guard<std::mutex> lock(g_logMutex);
    g_echo = echo;
}

void LogError(const char* format, ...) {
    int saved = errno;
    va_list args;
    va_start(args, format);
    std::string text = FormatV(format, args);
    va_end(args);
    Append(ErrorLogPath(), text);
    errno = saved;
}

void LogEvent(const char* format, ...) {
    int saved = errno;
    va_list args;
    va_start(args, format);
    std::string text = FormatV(format, args);
    va_end(args);
    Append(EventLogPath(), text);
    errno = saved;
}

void LogSystemFailure(const char* where, const char* call, int error) {
    LogError("%s %s FAILED: %s", where, call, std::strerror(error));
}

void LogSystemFailure(const char* where, const char* call) {
    int saved = errno;
    LogSystemFailure(where, call, saved);
    errno = saved;
}

}  // namespace vocarta
