#include "transmit/ftp/ftp_listing.h"

#include "toolkit/text.h"
#include "transmit/ftp/ftp_reply.h"

namespace vocarta {

namespace {

struct Token {
    std::string_view text;
    std::size_t end;  // offset in the line just past the token
};

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool AllDigits(std::string_view s) {
    if (s.empty()) return false;
    for (char c : s)
        if (!IsDigit(c)) return false;
    return true;
}

// The first `max` blank-separated tokens of the line.
std::vector<Token> Tokens(std::string_view line, std::size_t max) {
    std::vector<Token> tokens;
    std::size_t i = 0;
    while (tokens.size() < max) {
        while (i < line.size() && IsBlank(line[i])) ++i;
        if (i >= line.size()) break;
        const std::size_t start = i;
        while (i < line.size() && !IsBlank(line[i])) ++i;
        tokens.push_back({line.substr(start, i - start), i});
    }
    return tokens;
}

// What follows a token, blanks skipped.
std::string_view RestAfter(std::string_view line, std::size_t end) {
    while (end < line.size() && IsBlank(line[end])) ++end;
    return line.substr(end);
}

// "10", "10." (day first forms) or "10日"/"10일" (East-Asian day marks).
bool IsDay(std::string_view s) {
    for (std::string_view mark : {std::string_view("."), std::string_view("\xE6\x97\xA5"),
                                  std::string_view("\xEC\x9D\xBC")}) {
        if (s.size() > mark.size() && s.substr(s.size() - mark.size()) == mark) {
            s.remove_suffix(mark.size());
            break;
        }
    }
    if (s.empty() || s.size() > 2 || !AllDigits(s)) return false;
    const int day = s.size() == 1 ? s[0] - '0' : (s[0] - '0') * 10 + (s[1] - '0');
    return day >= 1 && day <= 31;
}

// "12:34", "2023", "2023年".
bool IsTimeOrYear(std::string_view s) {
    if (s.size() > 3 && s.substr(s.size() - 3) == "\xE5\xB9\xB4") s.remove_suffix(3);
    if (s.size() == 4 && AllDigits(s)) return true;
    const std::size_t colon = s.find(':');
    if (colon == std::string_view::npos || colon == 0 || colon > 2) return false;
    return AllDigits(s.substr(0, colon)) && s.size() - colon - 1 == 2 &&
           AllDigits(s.substr(colon + 1));
}

bool IsIsoDate(std::string_view s) {
    return s.size() == 10 && AllDigits(s.substr(0, 4)) && s[4] == '-' &&
           AllDigits(s.substr(5, 2)) && s[7] == '-' && AllDigits(s.substr(8, 2));
}

bool IsPermissions(std::string_view s) {
    if (s.size() < 10) return false;
    if (std::string_view("-dlbcpsD").find(s[0]) == std::string_view::npos) return false;
    for (std::size_t i = 1; i < 10; ++i)
        if (std::string_view("rwxsStTlL-").find(s[i]) == std::string_view::npos) return false;
    return true;
}

FtpEntryType TypeOfMode(char c) {
    switch (c) {
        case '-':
            return FtpEntryType::kFile;
        case 'd':
            return FtpEntryType::kFolder;
        case 'l':
            return FtpEntryType::kLink;
        default:
            return FtpEntryType::kOther;
    }
}

// Where the date of a Unix line ends: the token after its last part, with
// `dateStart` set to its first token; 0 when there is none.
std::size_t FindUnixDate(const std::vector<Token>& t, std::size_t* dateStart) {
    for (std::size_t i = 2; i + 1 < t.size(); ++i) {
        if (IsIsoDate(t[i].text) && IsTimeOrYear(t[i + 1].text)) {
            *dateStart = i;
            return i + 2;
        }
        if (i + 2 >= t.size()) continue;
        const bool monthDay = ParseListMonth(t[i].text) && IsDay(t[i + 1].text);
        const bool dayMonth = IsDay(t[i].text) && ParseListMonth(t[i + 1].text);
        if ((monthDay || dayMonth) && IsTimeOrYear(t[i + 2].text)) {
            *dateStart = i;
            return i + 3;
        }
    }
    return 0;
}

std::optional<FtpListEntry> ParseUnixLine(std::string_view line) {
    const std::vector<Token> t = Tokens(line, 12);
    if (t.size() < 6 || !IsPermissions(t[0].text)) return std::nullopt;
    std::size_t dateStart = 0;
    const std::size_t after = FindUnixDate(t, &dateStart);
    if (after == 0 || after > t.size()) return std::nullopt;
    FtpListEntry entry;
    entry.type = TypeOfMode(t[0].text[0]);
    if (auto size = ParseDecimal(t[dateStart - 1].text)) entry.size = *size;
    std::string_view name = RestAfter(line, t[after - 1].end);
    if (entry.type == FtpEntryType::kLink) {
        const std::size_t arrow = name.find(" -> ");
        if (arrow != std::string_view::npos) name = name.substr(0, arrow);
    }
    entry.name = std::string(name);
    return entry;
}

bool IsDosDate(std::string_view s) {
    int groups = 0, digits = 0;
    for (char c : s) {
        if (IsDigit(c)) {
            if (++digits > 4) return false;
        } else if (c == '-' || c == '/' || c == '.') {
            if (digits == 0) return false;
            ++groups;
            digits = 0;
        } else {
            return false;
        }
    }
    return groups == 2 && digits > 0;
}

bool IsDosTime(std::string_view s) {
    if (s.size() > 2) {
        const std::string tail = ToLowerAscii(s.substr(s.size() - 2));
        if (tail == "am" || tail == "pm") s.remove_suffix(2);
    }
    return IsTimeOrYear(s) && s.find(':') != std::string_view::npos;
}

// "1,234,567" or "1234567".
std::optional<int64_t> DosSize(std::string_view s) {
    std::string digits;
    for (char c : s) {
        if (c == ',') continue;
        digits += c;
    }
    if (s.empty() || s.front() == ',' || s.back() == ',') return std::nullopt;
    return ParseDecimal(digits);
}

std::optional<FtpListEntry> ParseDosLine(std::string_view line) {
    const std::vector<Token> t = Tokens(line, 5);
    if (t.size() < 4 || !IsDosDate(t[0].text) || !IsDosTime(t[1].text)) return std::nullopt;
    std::size_t at = 2;
    const std::string marker = ToLowerAscii(t[at].text);
    if (marker == "am" || marker == "pm") ++at;
    if (at + 1 >= t.size()) return std::nullopt;
    FtpListEntry entry;
    const std::string what = ToLowerAscii(t[at].text);
    if (what == "<dir>") {
        entry.type = FtpEntryType::kFolder;
    } else if (what == "<junction>" || what == "<symlink>" || what == "<symlinkd>") {
        entry.type = FtpEntryType::kLink;
    } else if (auto size = DosSize(t[at].text)) {
        entry.size = *size;
    } else {
        return std::nullopt;
    }
    entry.name = std::string(RestAfter(line, t[at].end));
    return entry;
}

std::optional<FtpListEntry> Returned(std::optional<FtpListEntry> entry) {
    if (!entry || !IsListableName(entry->name)) return std::nullopt;
    return entry;
}

}  // namespace

bool IsListableName(std::string_view name) {
    if (name.empty() || name == "." || name == ".." || name.size() > kFtpNameLimit) return false;
    return name.find_first_of(std::string_view("/\r\n\0", 4)) == std::string_view::npos;
}

std::optional<FtpListEntry> ParseMlsdLine(std::string_view line) {
    const std::size_t blank = line.find(' ');
    if (blank == std::string_view::npos || blank == 0) return std::nullopt;
    std::string_view facts = line.substr(0, blank);
    if (facts.find('=') == std::string_view::npos) return std::nullopt;
    FtpListEntry entry;
    bool typed = false;
    std::optional<int64_t> sizd;
    while (!facts.empty()) {
        const std::size_t semi = facts.find(';');
        const std::string_view fact = facts.substr(0, semi);
        facts = semi == std::string_view::npos ? std::string_view() : facts.substr(semi + 1);
        const std::size_t eq = fact.find('=');
        if (eq == std::string_view::npos) continue;
        const std::string name = ToLowerAscii(fact.substr(0, eq));
        const std::string_view value = fact.substr(eq + 1);
        if (name == "type") {
            typed = true;
            const std::string type = ToLowerAscii(value);
            if (type == "file")
                entry.type = FtpEntryType::kFile;
            else if (type.rfind("os.", 0) == 0 || type.rfind("slink", 0) == 0)
                entry.type = FtpEntryType::kLink;
            else
                entry.type = FtpEntryType::kFolder;
        } else if (name == "size") {
            if (auto size = ParseDecimal(value)) entry.size = *size;
        } else if (name == "sizd") {
            sizd = ParseDecimal(value);
        } else if (name == "modify") {
            entry.modify = std::string(CutText(value, 32));
        }
    }
    if (!typed) entry.type = FtpEntryType::kFile;
    if (entry.size < 0 && sizd) entry.size = *sizd;
    entry.name = std::string(line.substr(blank + 1));
    return Returned(std::move(entry));
}

std::optional<FtpListEntry> ParseListLine(std::string_view line) {
    if (line.size() > kFtpNameLimit + 256) return std::nullopt;
    if (auto entry = ParseUnixLine(line)) return Returned(std::move(entry));
    return Returned(ParseDosLine(line));
}

std::vector<FtpListEntry> ParseListing(std::string_view data, bool mlsd) {
    std::vector<FtpListEntry> entries;
    while (!data.empty()) {
        const std::size_t end = data.find('\n');
        std::string_view line = data.substr(0, end);
        data = end == std::string_view::npos ? std::string_view() : data.substr(end + 1);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        auto entry = mlsd ? ParseMlsdLine(line) : ParseListLine(line);
        if (entry) entries.push_back(std::move(*entry));
    }
    return entries;
}

}  // namespace vocarta
