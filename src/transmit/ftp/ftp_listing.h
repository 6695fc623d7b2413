#pragma once
// Folder listings as servers send them on a data connection: MLSD lines (facts,
// then a blank and the name) and LIST lines in the Unix form ("-rw-r--r-- 1
// owner group 1234 Jan 10 12:34 name", with or without the group, links cut at
// " -> ") and the DOS form ("01-10-23  12:34PM  <DIR>  name", sizes with
// thousands commas). Month names are recognised in English, several European
// languages (UTF-8 or Latin-1), Cyrillic (UTF-8 or a single-byte code page),
// numeric East-Asian forms ("1月", "1월") and the compact English form that
// carries the month's last digit ("jan1", "oct0").
//
// An entry named "/", "." or "..", or whose name holds a "/", is never returned:
// a listing must not steer a later command outside the folder it came from.
//
// Threading: pure functions.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vocarta {

// A listing bigger than this is refused rather than held in memory.
inline constexpr std::size_t kFtpListingLimit = 16 * 1024 * 1024;
// Names longer than this are not real file names; such lines are skipped.
inline constexpr std::size_t kFtpNameLimit = 1024;

enum class FtpEntryType { kFile, kFolder, kLink, kOther };

struct FtpListEntry {
    std::string name;
    FtpEntryType type = FtpEntryType::kFile;
    int64_t size = -1;   // -1 when the line gives none
    std::string modify;  // MLSD "modify=" fact as sent, empty otherwise

    bool operator==(const FtpListEntry&) const = default;
};

// One line of each form; nullopt for a line that is not one (a "total 12"
// header, garbage) or names an entry that is never returned.
std::optional<FtpListEntry> ParseMlsdLine(std::string_view line);
std::optional<FtpListEntry> ParseListLine(std::string_view line);

// Every entry of a listing, in order; lines that are not entries are skipped.
std::vector<FtpListEntry> ParseListing(std::string_view data, bool mlsd);

// False for "", "/", ".", "..", a name holding "/", CR, LF or NUL, and names
// over kFtpNameLimit bytes.
bool IsListableName(std::string_view name);

// The month number (1-12) a LIST month token stands for, or 0.
int ParseListMonth(std::string_view token);

}  // namespace vocarta
