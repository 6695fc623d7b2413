#pragma once
// Fixed-size text rules shared by the whole program: paths, names and setting
// values live in 260-byte buffers, so longer values are cut to 259 bytes.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace vocarta {

inline constexpr std::size_t kTextBufferSize = 260;
inline constexpr std::size_t kTextMax = kTextBufferSize - 1;

// The first `max` bytes of `text` (byte-wise, as a C buffer would cut it).
std::string CutText(std::string_view text, std::size_t max = kTextMax);

// Copies `text` cut to size - 1 bytes into `out` and terminates it.
void CopyText(char* out, std::size_t size, std::string_view text);

bool EqualsNoCase(std::string_view a, std::string_view b);
bool StartsWithNoCase(std::string_view text, std::string_view prefix);
bool EndsWithNoCase(std::string_view text, std::string_view suffix);
std::string ToLowerAscii(std::string_view text);

// The current local time in strftime's `format` (stamps in logs, file names and
// records); empty if the time cannot be had or the text exceeds 63 bytes.
std::string LocalTimeText(const char* format);

// printf into a std::string.
std::string StringPrintf(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Leading and trailing blanks (space, tab, CR, LF) removed.
std::string TrimBlanks(std::string_view text);

// A field of a tab-separated record file (send log, FTP resume notes, the
// duration cache): backslash, tab, line feed and carriage return written as
// \\, \t, \n and \r, so a field never breaks its line.
std::string EscapeRecordField(std::string_view field);
// The reverse; nullopt for a dangling or unknown escape.
std::optional<std::string> UnescapeRecordField(std::string_view field);

}  // namespace vocarta
