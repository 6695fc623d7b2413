#pragma once
// The send log: one line for every transmit method run, so that a user can see
// later what was delivered where. It lives in $XDG_STATE_HOME/vocarta/sent.log
// (default ~/.local/state/vocarta/sent.log); the recordings browser reads it.
//
// A line holds five fields separated by tabs: local time (ISO 8601 with the
// zone offset), recording path, method ("email", "ftp", "folder", "run"),
// target, result ("Ok", "Failed", "Cancelled"); a sixth, the bytes the method
// put on the wire in this run (decimal), follows when the method counts them
// (FTP; a resumed upload counts only what it sent). Lines of five fields read
// as before. A backslash, tab, line feed or carriage return inside a field is
// written as \\, \t, \n, \r, so a file name holding any of them still takes
// exactly one line.
//
// Threading contract: any thread. Several processes may append at once: each
// line goes out in one write to a file opened for appending, under an exclusive
// lock, so lines never mix.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "toolkit/result.h"

namespace vocarta {

struct SendLogEntry {
    std::string time;  // filled in by AppendSendLog when empty
    std::string recording;
    std::string method;
    std::string target;
    std::string result;
    std::optional<int64_t> bytesSent;  // unset: the method does not count them

    bool operator==(const SendLogEntry&) const = default;
};

std::string SendLogPath();

LStatus AppendSendLog(const SendLogEntry& entry, const std::string& path = SendLogPath());

// The line without its line feed, and back; nullopt for a line that is not five
// fields, or six with a whole number of bytes last.
std::string FormatSendLogLine(const SendLogEntry& entry);
std::optional<SendLogEntry> ParseSendLogLine(std::string_view line);

// Every well-formed line of the log, oldest first (an empty list when there is
// no log yet).
std::vector<SendLogEntry> ReadSendLog(const std::string& path = SendLogPath());

}  // namespace vocarta
