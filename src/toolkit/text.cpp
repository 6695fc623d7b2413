#include "toolkit/text.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace vocarta {

std::string CutText(std::string_view text, std::size_t max) {
    return std::string(text.substr(0, max));
}

void CopyText(char* out, std::size_t size, std::string_view text) {
    if (size == 0) return;
    std::size_t n = text.size() < size - 1 ? text.size() : size - 1;
    std::memcpy(out, text.data(), n);
    out[n] = '\0';
}

static char LowerAscii(char c) {
    return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c;
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (LowerAscii(a[i]) != LowerAscii(b[i])) return false;
    return true;
}

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() && EqualsNoCase(text.substr(0, prefix.size()), prefix);
}

bool EndsWithNoCase(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() &&
           EqualsNoCase(text.substr(text.size() - suffix.size()), suffix);
}

std::string ToLowerAscii(std::string_view text) {
    std::string out(text);
    for (char& c : out) c = LowerAscii(c);
    return out;
}

std::string StringPrintf(const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list copy;
    va_copy(copy, args);
    int n = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    std::string out;
    if (n > 0) {
        out.resize(std::size_t(n) + 1);
        std::vsnprintf(out.data(), out.size(), format, args);
        out.resize(std::size_t(n));
    }
    va_end(args);
    return out;
}

std::string TrimBlanks(std::string_view text) {
    const char* blanks = " \t\r\n";
    std::size_t b = text.find_first_not_of(blanks);
    if (b == std::string_view::npos) return {};
    std::size_t e = text.find_last_not_of(blanks);
    return std::string(text.substr(b, e - b + 1));
}

std::string LocalTimeText(const char* format) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    char text[64];
    if (!localtime_r(&now, &local) || std::strftime(text, sizeof text, format, &local) == 0)
        return "";
    return text;
}

std::string EscapeRecordField(std::string_view field) {
    std::string out;
    out.reserve(field.size());
    for (char c : field) {
        switch (c) {
            case '\\':
                out += "\\\\";
                break;
            case '\t':
                out += "\\t";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            default:
                out += c;
        }
    }
    return out;
}

std::optional<std::string> UnescapeRecordField(std::string_view field) {
    std::string out;
    out.reserve(field.size());
    for (size_t i = 0; i < field.size(); ++i) {
        if (field[i] != '\\') {
            out += field[i];
            continue;
        }
        if (++i == field.size()) return std::nullopt;
        switch (field[i]) {
            case '\\':
                out += '\\';
                break;
            case 't':
                out += '\t';
                break;
            case 'n':
                out += '\n';
                break;
            case 'r':
                out += '\r';
                break;
            default:
                return std::nullopt;
        }
    }
    return out;
}

}  // namespace vocarta
