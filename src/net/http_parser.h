#pragma once
// The HTTP reply readers, apart from any socket so that they can be fed hostile
// bytes in any pieces (by the tests and the fuzzers): the status line and
// header block, and the chunked body. Both are bounded: a header block over
// kHttpHeaderLimit bytes, a chunk-size line over kChunkLineLimit, a size that
// does not fit, or anything outside the grammar is an error, never a growing
// buffer.
//
// Threading: plain objects, one user at a time.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vocarta {

inline constexpr std::size_t kHttpHeaderLimit = 64 * 1024;
inline constexpr std::size_t kChunkLineLimit = 4096;

struct HttpHeaderField {
    std::string name;
    std::string value;  // leading and trailing blanks removed
};

// The first field named `name` (compared without regard to case).
std::optional<std::string> FindHeaderField(const std::vector<HttpHeaderField>& fields,
                                           std::string_view name);

// How the body after a header block is framed.
struct HttpBodyFraming {
    enum class Kind { kNone, kLength, kChunked, kToEnd } kind = Kind::kToEnd;
    uint64_t length = 0;  // for kLength
};

class HttpHeaderParser {
  public:
    enum class State { kStatusLine, kFields, kDone, kFailed };

    // Takes bytes up to and including the blank line that ends the block and
    // returns how many it took; after kDone or kFailed it takes none.
    std::size_t Feed(const char* data, std::size_t length);
    // Ready for another block (the reply after a 100 Continue).
    void Reset() { *this = HttpHeaderParser(); }

    State GetState() const { return state_; }
    bool Done() const { return state_ == State::kDone; }
    bool Failed() const { return state_ == State::kFailed; }
    const std::string& Error() const { return error_; }
    // Complete lines read so far (the status line counts).
    std::size_t Lines() const { return lines_; }

    int Status() const { return status_; }
    const std::string& Reason() const { return reason_; }
    const std::vector<HttpHeaderField>& Fields() const { return fields_; }
    std::optional<std::string> Field(std::string_view name) const {
        return FindHeaderField(fields_, name);
    }
    // From Transfer-Encoding and Content-Length; conflicting or malformed
    // lengths and codings other than chunked are an error (false, with `error`
    // set). The client never sends HEAD, so only 1xx, 204 and 304 have no body.
    bool Framing(HttpBodyFraming& framing, std::string& error) const;

  private:
    void TakeLine(std::string_view line);
    void ParseStatusLine(std::string_view line);
    void ParseField(std::string_view line);
    void Fail(std::string message);

    State state_ = State::kStatusLine;
    std::string line_;
    std::size_t total_ = 0;
    std::size_t lines_ = 0;
    int status_ = 0;
    std::string reason_;
    std::vector<HttpHeaderField> fields_;
    std::string error_;
};

// Decodes a chunked body: size lines in hexadecimal (extensions ignored), the
// data, CR LF, and after the last chunk the trailer fields up to a blank line.
class HttpChunkedDecoder {
  public:
    enum class State { kSize, kData, kDataEnd, kTrailer, kDone, kFailed };

    // Takes bytes; each run of body data found is handed to `out` (a callable
    // taking std::string_view). Returns how many bytes were taken; stops after
    // the end of the body.
    template <class Out>
    std::size_t Feed(const char* data, std::size_t length, Out&& out) {
        std::size_t used = 0;
        while (used < length && state_ != State::kDone && state_ != State::kFailed) {
            if (state_ == State::kData) {
                const std::size_t take =
                    std::size_t(std::min<uint64_t>(remaining_, uint64_t(length - used)));
                out(std::string_view(data + used, take));
                used += take;
                remaining_ -= take;
                if (remaining_ == 0) state_ = State::kDataEnd;
            } else {
                used += FeedLine(data + used, length - used);
            }
        }
        return used;
    }

    State GetState() const { return state_; }
    bool Done() const { return state_ == State::kDone; }
    bool Failed() const { return state_ == State::kFailed; }
    const std::string& Error() const { return error_; }

  private:
    std::size_t FeedLine(const char* data, std::size_t length);
    void TakeLine(std::string_view line);
    void Fail(std::string message);

    State state_ = State::kSize;
    std::string line_;
    uint64_t remaining_ = 0;
    std::size_t trailerBytes_ = 0;
    std::string error_;
};

}  // namespace vocarta
