// One record of a file store list, and the text form of a record file.

#include <cstdlib>

#include "toolkit/lfile_store_list.h"
#include "toolkit/text.h"

namespace vocarta {

bool LFileStoreRecord::HasValue(std::string_view key) const {
    return values_.find(key) != values_.end();
}

std::string LFileStoreRecord::GetValue(std::string_view key, std::string_view def) const {
    auto it = values_.find(key);
    return it == values_.end() ? std::string(def) : it->second;
}

void LFileStoreRecord::SetValue(std::string_view key, std::string_view value) {
    if (key.empty() || (key == kIdKey && value.empty())) return;
    values_.insert_or_assign(std::string(key), std::string(value));
    changed_.insert_or_assign(std::string(key), true);
    modified_ = true;
}

void LFileStoreRecord::RemoveValue(std::string_view key) {
    if (key == kIdKey) return;
    auto it = values_.find(key);
    if (it != values_.end()) values_.erase(it);
    changed_.insert_or_assign(std::string(key), false);
    modified_ = true;
}

int32_t LFileStoreRecord::GetInt(std::string_view key, int32_t def) const {
    std::string text = GetValue(key);
    return text.empty() ? def : int32_t(std::strtol(text.c_str(), nullptr, 10));
}

int64_t LFileStoreRecord::GetInt64(std::string_view key, int64_t def) const {
    std::string text = GetValue(key);
    return text.empty() ? def : int64_t(std::strtoll(text.c_str(), nullptr, 10));
}

bool LFileStoreRecord::GetBool(std::string_view key, bool def) const {
    std::string text = GetValue(key);
    return text.empty() ? def : text[0] != '0';
}

void LFileStoreRecord::SetInt(std::string_view key, int32_t value) {
    SetValue(key, StringPrintf("%d", value));
}

void LFileStoreRecord::SetInt64(std::string_view key, int64_t value) {
    SetValue(key, StringPrintf("%lld", (long long)value));
}

void LFileStoreRecord::SetBool(std::string_view key, bool value) {
    SetValue(key, value ? "1" : "0");
}

namespace {

bool NeedsEscape(unsigned char c) {
    return c == '%' || c == '=' || c == '&' || c < 0x20 || c == 0x7f;
}

void AppendEscaped(std::string& out, std::string_view text) {
    static const char kHex[] = "0123456789ABCDEF";
    for (char ch : text) {
        unsigned char c = static_cast<unsigned char>(ch);
        if (NeedsEscape(c)) {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 15];
        } else {
            out += ch;
        }
    }
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

// Undoes AppendEscaped; false on a bad escape or a byte that must have been escaped.
bool Unescape(std::string_view text, std::string& out, std::string& error) {
    out.clear();
    for (std::size_t i = 0; i < text.size(); ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c == '%') {
            int hi = i + 2 < text.size() ? HexDigit(text[i + 1]) : -1;
            int lo = i + 2 < text.size() ? HexDigit(text[i + 2]) : -1;
            if (hi < 0 || lo < 0) {
                error = "bad escape";
                return false;
            }
            out += char(hi << 4 | lo);
            i += 2;
        } else if (NeedsEscape(c)) {
            error = StringPrintf("unescaped byte 0x%02x", unsigned(c));
            return false;
        } else {
            out += char(c);
        }
    }
    return true;
}

}  // namespace

std::string LFileStoreListBase::FormatRecord(const LFileStoreValues& values) {
    std::string out;
    for (const auto& [key, value] : values) {
        if (!out.empty()) out += '&';
        AppendEscaped(out, key);
        out += '=';
        AppendEscaped(out, value);
    }
    return out;
}

bool LFileStoreListBase::ParseRecord(std::string_view text, LFileStoreValues& values,
                                     std::string& error) {
    values.clear();
    // A line end added by a text editor is not part of the record.
    if (!text.empty() && text.back() == '\n') text.remove_suffix(1);
    if (!text.empty() && text.back() == '\r') text.remove_suffix(1);
    std::size_t pos = 0;
    while (pos <= text.size()) {
        std::size_t end = text.find('&', pos);
        if (end == std::string_view::npos) end = text.size();
        std::string_view pair = text.substr(pos, end - pos);
        std::size_t eq = pair.find('=');
        std::string key, value;
        if (eq == std::string_view::npos || eq == 0) {
            error = StringPrintf("pair at byte %zu has no key=value", pos);
            return false;
        }
        if (!Unescape(pair.substr(0, eq), key, error) ||
            !Unescape(pair.substr(eq + 1), value, error)) {
            error += StringPrintf(" in the pair at byte %zu", pos);
            return false;
        }
        values.insert_or_assign(std::move(key), std::move(value));
        pos = end + 1;
    }
    if (values.find(LFileStoreRecord::kIdKey) == values.end() ||
        values.find(LFileStoreRecord::kIdKey)->second.empty()) {
        error = "no ID";
        return false;
    }
    return true;
}

}  // namespace vocarta
