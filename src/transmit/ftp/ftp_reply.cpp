#include "transmit/ftp/ftp_reply.h"

#include <algorithm>
#include <cctype>
#include <cstdint>

#include "toolkit/text.h"

namespace vocarta {

namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// A number as sscanf's "%u" would take it after blanks, limited to nine digits
// so that it never overflows; nullopt when no digit follows.
std::optional<unsigned> NumberAt(std::string_view text, std::size_t at) {
    while (at < text.size() && (text[at] == ' ' || text[at] == '\t')) ++at;
    unsigned value = 0;
    int digits = 0;
    while (at < text.size() && IsDigit(text[at])) {
        if (++digits > 9) return std::nullopt;
        value = value * 10 + unsigned(text[at] - '0');
        ++at;
    }
    if (digits == 0) return std::nullopt;
    return value;
}

}  // namespace

std::string FtpReply::Text() const {
    std::string text;
    for (const std::string& line : lines) {
        if (!text.empty()) text += '\n';
        text += line;
    }
    return text;
}

std::string FtpReply::Message() const {
    if (lines.empty()) return {};
    const std::string& first = lines.front();
    return first.size() > 4 ? first.substr(4) : std::string();
}

bool FtpLineSplitter::Append(std::string_view bytes) {
    if (failed_) return false;
    if (start_ > 0 && start_ == buffer_.size()) {
        buffer_.clear();
        start_ = 0;
    }
    buffer_.append(bytes);
    // Only the unfinished last line counts against the limit: complete lines
    // wait to be taken.
    const std::size_t lastBreak = buffer_.rfind('\n');
    const std::size_t tailStart =
        lastBreak == std::string::npos || lastBreak < start_ ? start_ : lastBreak + 1;
    if (buffer_.size() - tailStart > kFtpLineLimit) failed_ = true;
    return !failed_;
}

std::optional<std::string> FtpLineSplitter::NextLine() {
    const std::size_t end = buffer_.find('\n', start_);
    if (end == std::string::npos) return std::nullopt;
    std::size_t length = end - start_;
    if (length > 0 && buffer_[start_ + length - 1] == '\r') --length;
    std::string line = buffer_.substr(start_, length);
    start_ = end + 1;
    if (start_ == buffer_.size()) {
        buffer_.clear();
        start_ = 0;
    } else if (start_ > 65536) {
        buffer_.erase(0, start_);
        start_ = 0;
    }
    if (line.size() > kFtpLineLimit) {
        failed_ = true;
        return std::nullopt;
    }
    return line;
}

void FtpLineSplitter::Clear() {
    buffer_.clear();
    start_ = 0;
    failed_ = false;
}

std::optional<int> ReplyLineCode(std::string_view line, bool* multiLine) {
    if (line.size() < 3 || !IsDigit(line[0]) || !IsDigit(line[1]) || !IsDigit(line[2]))
        return std::nullopt;
    if (line[0] < '1' || line[0] > '5') return std::nullopt;
    if (line.size() > 3 && line[3] != ' ' && line[3] != '-') return std::nullopt;
    if (multiLine) *multiLine = line.size() > 3 && line[3] == '-';
    return (line[0] - '0') * 100 + (line[1] - '0') * 10 + (line[2] - '0');
}

FtpReplyAssembler::Outcome FtpReplyAssembler::Add(std::string line) {
    if (reply_.lines.empty()) {
        bool multi = false;
        auto code = ReplyLineCode(line, &multi);
        if (!code) {
            error_ = "the server's reply does not start with a reply code: \"" + CutText(line, 80) +
                     "\"";
            return Outcome::kFailed;
        }
        reply_.code = *code;
        multiLine_ = multi;
        reply_.lines.push_back(std::move(line));
        return multiLine_ ? Outcome::kMore : Outcome::kDone;
    }
    if (reply_.lines.size() >= kFtpReplyLineLimit) {
        error_ = StringPrintf("the server's reply is longer than %zu lines", kFtpReplyLineLimit);
        return Outcome::kFailed;
    }
    // The reply ends at a line of the same code followed by a blank (or nothing).
    const bool last = line.size() >= 3 && line.compare(0, 3, reply_.lines.front(), 0, 3) == 0 &&
                      (line.size() == 3 || line[3] == ' ');
    reply_.lines.push_back(std::move(line));
    return last ? Outcome::kDone : Outcome::kMore;
}

FtpReply FtpReplyAssembler::Take() {
    FtpReply reply = std::move(reply_);
    reply_ = FtpReply();
    multiLine_ = false;
    error_.clear();
    return reply;
}

std::string FtpPassiveNumbers::Host() const {
    return StringPrintf("%u.%u.%u.%u", values[0], values[1], values[2], values[3]);
}

std::optional<FtpPassiveNumbers> ParsePassiveReply(std::string_view text) {
    std::size_t at = text.find('(');
    if (at == std::string_view::npos) return std::nullopt;
    FtpPassiveNumbers numbers;
    for (int i = 0; i < 6; ++i) {
        if (i > 0) {
            at = text.find(',', at);
            if (at == std::string_view::npos) return std::nullopt;
        }
        auto value = NumberAt(text, at + 1);
        if (!value) return std::nullopt;
        numbers.values[i] = *value;
        ++at;
    }
    return numbers;
}

FtpFeatures ParseFeatures(const std::vector<std::string>& lines) {
    FtpFeatures f;
    auto has = [](const std::string& line, const char* word) {
        return line.find(word) != std::string::npos;
    };
    for (const std::string& line : lines) {
        if (has(line, "SIZE")) f.size = true;
        if (has(line, "MDTM")) f.mdtm = true;
        if (has(line, "MFMT")) f.mfmt = true;
        if (has(line, "MLST")) {
            f.mlst = true;
            if (has(line, "modify*")) f.mlstModify = true;
            if (has(line, "size*")) f.mlstSize = true;
            if (has(line, "type*")) f.mlstType = true;
        }
        if (has(line, "MLSD")) f.mlsd = true;
        if (has(line, "UTF8")) f.utf8 = true;
    }
    return f;
}

std::optional<std::string> ParsePwdReply(std::string_view text) {
    const std::size_t open = text.find('"');
    if (open == std::string_view::npos) return std::nullopt;
    std::string path;
    for (std::size_t i = open + 1; i < text.size(); ++i) {
        if (text[i] != '"') {
            path += text[i];
        } else if (i + 1 < text.size() && text[i + 1] == '"') {
            path += '"';
            ++i;
        } else {
            return path;
        }
    }
    return std::nullopt;
}

std::optional<int64_t> ParseDecimal(std::string_view text) {
    if (text.empty() || text.size() > 19) return std::nullopt;
    int64_t value = 0;
    for (char c : text) {
        if (!IsDigit(c)) return std::nullopt;
        if (value > (INT64_MAX - (c - '0')) / 10) return std::nullopt;
        value = value * 10 + (c - '0');
    }
    return value;
}

std::optional<int64_t> ParseMlstSize(const FtpReply& reply) {
    for (const std::string& line : reply.lines) {
        // The facts come before the first blank: "type=file;size=12; name".
        std::string_view facts(line);
        // Some servers put the facts on the first line, after the code.
        if (ReplyLineCode(facts)) facts.remove_prefix(std::min<std::size_t>(facts.size(), 4));
        if (!facts.empty() && facts[0] == ' ') facts.remove_prefix(1);
        const std::size_t blank = facts.find(' ');
        if (blank != std::string_view::npos) facts = facts.substr(0, blank);
        while (!facts.empty()) {
            const std::size_t semi = facts.find(';');
            std::string_view fact = facts.substr(0, semi);
            facts = semi == std::string_view::npos ? std::string_view() : facts.substr(semi + 1);
            if (StartsWithNoCase(fact, "size=") || StartsWithNoCase(fact, "sizd="))
                return ParseDecimal(fact.substr(5));
        }
    }
    return std::nullopt;
}

std::optional<int64_t> ParseSizeReply(const FtpReply& reply) {
    if (reply.code != 213) return std::nullopt;
    return ParseDecimal(TrimBlanks(reply.Message()));
}

}  // namespace vocarta
