#pragma once
// The on-disk form of the duration cache: a first line naming the format, then
// one line per file: path, size, modification seconds, nanoseconds, duration in
// milliseconds (-1: the file does not decode) and format description, separated
// by tabs. A backslash, tab, line feed or carriage return inside a text is
// written as \\, \t, \n, \r. Parsing is all or nothing: a file with any line out
// of form is damaged and gives nothing, so a half-written or edited cache never
// feeds a wrong duration to the list.
//
// Threading contract: pure functions; any thread.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vocarta {

struct CachedDuration {
    std::string path;
    int64_t sizeBytes = 0;
    int64_t modifiedSeconds = 0;
    int64_t modifiedNanos = 0;
    int64_t durationMs = -1;  // -1: the file did not decode
    std::string format;

    bool operator==(const CachedDuration&) const = default;
};

inline constexpr const char* kDurationCacheHeader = "vocarta-duration-cache 1";

std::string FormatDurationCache(const std::vector<CachedDuration>& entries);
std::optional<std::vector<CachedDuration>> ParseDurationCache(std::string_view text);

}  // namespace vocarta
