#include "net/http_parser.h"

#include <cstring>

#include "toolkit/text.h"

namespace vocarta {

namespace {

constexpr std::size_t kMaxHexDigits = 15;  // sizes up to 2^60, no overflow
constexpr std::size_t kMaxLengthDigits = 18;

bool IsTokenChar(unsigned char c) {
    return c > 0x20 && c < 0x7f && !std::strchr("\"(),/:;<=>?@[\\]{}", c);
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

std::string_view TrimSpaces(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
    return text;
}

// Takes bytes up to and including the next LF into `line`; true when the line
// is complete, with its LF (and a CR before it) removed.
bool TakeUntilLf(const char* data, std::size_t length, std::string& line, std::size_t& taken) {
    const void* lf = std::memchr(data, '\n', length);
    taken = lf ? std::size_t(static_cast<const char*>(lf) - data) + 1 : length;
    line.append(data, taken);
    if (!lf) return false;
    line.pop_back();
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return true;
}

}  // namespace

std::optional<std::string> FindHeaderField(const std::vector<HttpHeaderField>& fields,
                                           std::string_view name) {
    for (const auto& field : fields)
        if (EqualsNoCase(field.name, name)) return field.value;
    return std::nullopt;
}

void HttpHeaderParser::Fail(std::string message) {
    state_ = State::kFailed;
    error_ = std::move(message);
}

std::size_t HttpHeaderParser::Feed(const char* data, std::size_t length) {
    std::size_t used = 0;
    while (used < length && (state_ == State::kStatusLine || state_ == State::kFields)) {
        const std::size_t room = kHttpHeaderLimit - total_;
        std::size_t taken = 0;
        const bool complete = TakeUntilLf(data + used, std::min(length - used, room), line_, taken);
        used += taken;
        total_ += taken;
        if (!complete) {
            if (total_ >= kHttpHeaderLimit)
                Fail("the reply's header is longer than " + std::to_string(kHttpHeaderLimit) +
                     " bytes");
            break;
        }
        TakeLine(line_);
        line_.clear();
    }
    return used;
}

void HttpHeaderParser::TakeLine(std::string_view line) {
    ++lines_;
    if (line.find('\0') != std::string_view::npos)
        return Fail("the reply's header holds a NUL byte");
    if (state_ == State::kStatusLine) return ParseStatusLine(line);
    if (line.empty()) {
        state_ = State::kDone;
        return;
    }
    ParseField(line);
}

void HttpHeaderParser::ParseStatusLine(std::string_view line) {
    // HTTP/<major>.<minor> <3 digits>[ <reason>]
    std::string_view rest = line;
    if (rest.substr(0, 5) != "HTTP/") return Fail("the reply does not begin with HTTP");
    rest.remove_prefix(5);
    std::size_t digits = 0;
    while (digits < rest.size() && IsDigit(rest[digits])) ++digits;
    if (digits == 0 || digits > 3 || digits >= rest.size() || rest[digits] != '.')
        return Fail("the reply's status line has no valid version");
    rest.remove_prefix(digits + 1);
    digits = 0;
    while (digits < rest.size() && IsDigit(rest[digits])) ++digits;
    if (digits == 0 || digits > 3 || digits >= rest.size() || rest[digits] != ' ')
        return Fail("the reply's status line has no valid version");
    rest = rest.substr(digits);
    while (!rest.empty() && rest.front() == ' ') rest.remove_prefix(1);
    if (rest.size() < 3 || !IsDigit(rest[0]) || !IsDigit(rest[1]) || !IsDigit(rest[2]) ||
        (rest.size() > 3 && rest[3] != ' '))
        return Fail("the reply's status line has no status code");
    status_ = (rest[0] - '0') * 100 + (rest[1] - '0') * 10 + (rest[2] - '0');
    if (status_ < 100 || status_ > 599) return Fail("the reply's status code is out of range");
    reason_ = std::string(TrimSpaces(rest.substr(3)));
    state_ = State::kFields;
}

void HttpHeaderParser::ParseField(std::string_view line) {
    if (line.front() == ' ' || line.front() == '\t') {
        // A folded line continues the previous field.
        if (fields_.empty()) return Fail("the reply's header begins with a continuation line");
        const std::string_view more = TrimSpaces(line);
        if (!more.empty()) fields_.back().value += " " + std::string(more);
        return;
    }
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || colon == 0)
        return Fail("the reply's header has a line that is not a field");
    for (std::size_t i = 0; i < colon; ++i)
        if (!IsTokenChar(static_cast<unsigned char>(line[i])))
            return Fail("the reply's header has a field with an invalid name");
    fields_.push_back(
        {std::string(line.substr(0, colon)), std::string(TrimSpaces(line.substr(colon + 1)))});
}

bool HttpHeaderParser::Framing(HttpBodyFraming& framing, std::string& error) const {
    framing = HttpBodyFraming();
    if ((status_ >= 100 && status_ < 200) || status_ == 204 || status_ == 304) {
        framing.kind = HttpBodyFraming::Kind::kNone;
        return true;
    }
    std::string lastCoding;
    bool hasCoding = false;
    for (const auto& field : fields_) {
        if (!EqualsNoCase(field.name, "Transfer-Encoding")) continue;
        std::string_view codings = field.value;
        while (!codings.empty()) {
            const std::size_t comma = codings.find(',');
            const std::string_view coding = TrimSpaces(codings.substr(0, comma));
            if (!coding.empty()) {
                lastCoding = ToLowerAscii(coding);
                if (lastCoding != "identity") hasCoding = true;
            }
            codings = comma == std::string_view::npos ? "" : codings.substr(comma + 1);
        }
    }
    if (hasCoding) {
        if (lastCoding != "chunked") {
            error = "the reply uses the transfer coding \"" + lastCoding + "\"";
            return false;
        }
        framing.kind = HttpBodyFraming::Kind::kChunked;
        return true;
    }
    bool hasLength = false;
    for (const auto& field : fields_) {
        if (!EqualsNoCase(field.name, "Content-Length")) continue;
        // Repeated lengths, in one field or several, must agree.
        std::string_view values = field.value;
        do {
            const std::size_t comma = values.find(',');
            const std::string_view value = TrimSpaces(values.substr(0, comma));
            values = comma == std::string_view::npos ? "" : values.substr(comma + 1);
            uint64_t length = 0;
            bool valid = !value.empty() && value.size() <= kMaxLengthDigits;
            for (char c : value) {
                valid = valid && IsDigit(c);
                length = length * 10 + uint64_t(c - '0');
            }
            if (!valid) {
                error = "the reply's Content-Length is not a number";
                return false;
            }
            if (hasLength && length != framing.length) {
                error = "the reply gives two different Content-Lengths";
                return false;
            }
            hasLength = true;
            framing.length = length;
        } while (!values.empty());
    }
    if (hasLength) framing.kind = HttpBodyFraming::Kind::kLength;
    return true;
}

void HttpChunkedDecoder::Fail(std::string message) {
    state_ = State::kFailed;
    error_ = std::move(message);
}

std::size_t HttpChunkedDecoder::FeedLine(const char* data, std::size_t length) {
    const std::size_t limit = state_ == State::kTrailer ? kHttpHeaderLimit - trailerBytes_
                                                        : kChunkLineLimit - line_.size();
    std::size_t taken = 0;
    const bool complete = TakeUntilLf(data, std::min(length, limit), line_, taken);
    if (state_ == State::kTrailer) trailerBytes_ += taken;
    if (!complete) {
        if (taken >= limit)
            Fail(state_ == State::kTrailer ? "the chunked body's trailer is too long"
                                           : "a chunk size line is too long");
        return taken;
    }
    TakeLine(line_);
    line_.clear();
    return taken;
}

void HttpChunkedDecoder::TakeLine(std::string_view line) {
    switch (state_) {
        case State::kDataEnd:
            if (!line.empty()) return Fail("a chunk is longer than its size");
            state_ = State::kSize;
            return;
        case State::kSize: {
            std::size_t digits = 0;
            uint64_t size = 0;
            for (; digits < line.size(); ++digits) {
                const char c = line[digits];
                int value;
                if (IsDigit(c))
                    value = c - '0';
                else if (c >= 'a' && c <= 'f')
                    value = c - 'a' + 10;
                else if (c >= 'A' && c <= 'F')
                    value = c - 'A' + 10;
                else
                    break;
                if (digits == kMaxHexDigits) return Fail("a chunk size is too large");
                size = size * 16 + uint64_t(value);
            }
            const std::string_view rest = TrimSpaces(line.substr(digits));
            if (digits == 0 || (!rest.empty() && rest.front() != ';'))
                return Fail("a chunk size is not a number");
            remaining_ = size;
            state_ = size == 0 ? State::kTrailer : State::kData;
            return;
        }
        case State::kTrailer:
            if (line.empty()) state_ = State::kDone;
            return;
        default:
            return;
    }
}

}  // namespace vocarta
