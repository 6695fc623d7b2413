#include "transmit/send_log.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <thread>

#include "toolkit/lfile.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

constexpr char kSeparator = '\t';
constexpr int kLockLimitMs = 5000;

std::string StateHome() {
    const char* dir = std::getenv("XDG_STATE_HOME");
    // A relative value is invalid by the base-directory rules and is ignored.
    if (dir && dir[0] == '/') return dir;
    return JoinPath(HomeDir(), ".local/state");
}

std::string Unescape(std::string_view field) {
    std::string out;
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (field[i] != '\\' || i + 1 == field.size()) {
            out += field[i];
            continue;
        }
        const char next = field[++i];
        out += next == 't' ? '\t' : next == 'n' ? '\n' : next == 'r' ? '\r' : next;
    }
    return out;
}

// The lock wait of every file several processes share (LFile::LockWait).
bool LockExclusive(int fd) {
    const std::vector<int> sleeps = LFile::LockWaitSchedule(kLockLimitMs);
    std::size_t turn = 0;
    while (true) {
        if (flock(fd, LOCK_EX | LOCK_NB) == 0) return true;
        if (errno == EINTR) continue;
        if (errno != EWOULDBLOCK || turn >= sleeps.size()) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(sleeps[turn++]));
    }
}

}  // namespace

std::string SendLogPath() {
    return JoinPath(JoinPath(StateHome(), "vocarta"), "sent.log");
}

std::string FormatSendLogLine(const SendLogEntry& e) {
    std::string line = EscapeRecordField(e.time);
    for (const std::string* field : {&e.recording, &e.method, &e.target, &e.result}) {
        line += kSeparator;
        line += EscapeRecordField(*field);
    }
    if (e.bytesSent) line += kSeparator + std::to_string(*e.bytesSent);
    return line;
}

std::optional<SendLogEntry> ParseSendLogLine(std::string_view line) {
    std::vector<std::string> fields;
    std::size_t start = 0;
    while (true) {
        const std::size_t tab = line.find(kSeparator, start);
        fields.push_back(Unescape(line.substr(start, tab - start)));
        if (tab == std::string_view::npos) break;
        start = tab + 1;
    }
    if (fields.size() != 5 && fields.size() != 6) return std::nullopt;
    SendLogEntry entry{fields[0], fields[1], fields[2], fields[3], fields[4], std::nullopt};
    if (fields.size() == 6) {
        const std::string& bytes = fields[5];
        if (bytes.empty() || bytes.size() > 18 ||
            bytes.find_first_not_of("0123456789") != std::string::npos)
            return std::nullopt;
        entry.bytesSent = std::stoll(bytes);
    }
    return entry;
}

LStatus AppendSendLog(const SendLogEntry& entry, const std::string& path) {
    SendLogEntry stamped = entry;
    if (stamped.time.empty()) stamped.time = LocalTimeText("%Y-%m-%dT%H:%M:%S%z");
    const std::string line = FormatSendLogLine(stamped) + "\n";
    MakeDirs(DirName(path));
    // Only the user reads where the recordings went.
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        LogError("AppendSendLog open FAILED: %s: %s", path.c_str(), std::strerror(errno));
        return MakeError(LErrorCode::kIo, "the send log %s cannot be opened: %s", path.c_str(),
                         std::strerror(errno));
    }
    if (!LockExclusive(fd))
        LogError("AppendSendLog: the lock on %s was not had within %d ms; going on without it",
                 path.c_str(), kLockLimitMs);
    // O_APPEND and one write keep the line whole and at the end even without
    // the lock; the lock keeps readers from seeing half of it.
    ssize_t n;
    do {
        n = write(fd, line.data(), line.size());
    } while (n < 0 && errno == EINTR);
    const int error = errno;
    close(fd);
    if (n != ssize_t(line.size())) {
        LogError("AppendSendLog write FAILED: %s: %s", path.c_str(), std::strerror(error));
        return MakeError(LErrorCode::kIo, "the send log %s cannot be written", path.c_str());
    }
    return {};
}

std::vector<SendLogEntry> ReadSendLog(const std::string& path) {
    std::vector<SendLogEntry> entries;
    std::string text;
    if (!LFile::ReadAll(path, text)) return entries;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();  // a line still being written
        if (auto entry = ParseSendLogLine(std::string_view(text).substr(start, end - start)))
            entries.push_back(std::move(*entry));
        start = end + 1;
    }
    return entries;
}

}  // namespace vocarta
