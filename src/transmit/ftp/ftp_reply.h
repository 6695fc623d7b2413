#pragma once
// The readers of what an FTP server says on its control connection, apart from
// any socket so that tests and fuzzers can feed them hostile bytes in any
// pieces: lines split from a byte stream, replies assembled from lines (one
// line, or a multi-line reply up to the line that starts with the same three
// digits and a blank), and the texts inside replies that the client acts on
// (the PASV address, the FEAT list, the PWD path, the MLST facts). Everything is
// bounded: a line over kFtpLineLimit bytes or a reply over kFtpReplyLineLimit
// lines is an error, never a growing buffer.
//
// Threading: plain values and objects, one user at a time.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vocarta {

// One reply line; servers keep theirs far shorter.
inline constexpr std::size_t kFtpLineLimit = 4096;
// Lines of one reply (a FEAT or MLST reply has a handful).
inline constexpr std::size_t kFtpReplyLineLimit = 1000;

struct FtpReply {
    int code = 0;
    // The lines as received, without their CR LF; the first starts with the code.
    std::vector<std::string> lines;

    bool Preliminary() const { return code >= 100 && code <= 199; }
    // 200 to 399: what the client counts as success.
    bool Positive() const { return code >= 200 && code <= 399; }
    // The lines joined by "\n".
    std::string Text() const;
    // The text after the code of the first line ("227 Entering..." -> "Entering...").
    std::string Message() const;
};

// Splits a byte stream into lines ended by LF (a CR before the LF is dropped).
class FtpLineSplitter {
  public:
    // Keeps the bytes; false (and Failed()) when a line grows past kFtpLineLimit.
    bool Append(std::string_view bytes);
    // The next complete line, if one has arrived.
    std::optional<std::string> NextLine();
    // Bytes received but not yet handed out as lines.
    std::size_t Pending() const { return buffer_.size() - start_; }
    bool Failed() const { return failed_; }
    void Clear();

  private:
    std::string buffer_;
    std::size_t start_ = 0;
    bool failed_ = false;
};

// Builds one reply from its lines.
class FtpReplyAssembler {
  public:
    enum class Outcome { kMore, kDone, kFailed };

    Outcome Add(std::string line);
    // The finished reply; the assembler is then ready for the next one.
    FtpReply Take();
    const std::string& Error() const { return error_; }

  private:
    FtpReply reply_;
    bool multiLine_ = false;
    std::string error_;
};

// The reply code of a line that starts a reply ("226 Done" -> 226, "211-..." ->
// 211 with `multiLine` set); nullopt for anything else.
std::optional<int> ReplyLineCode(std::string_view line, bool* multiLine = nullptr);

// The six numbers of a 227 reply: the first after the first "(", each next one
// after the next ","; nullopt when fewer than six are found.
struct FtpPassiveNumbers {
    unsigned values[6] = {};
    // "h1.h2.h3.h4" as the numbers stand (possibly not a valid address).
    std::string Host() const;
    // fifth × 256 + sixth.
    unsigned long Port() const { return values[4] * 256ul + values[5]; }
};
std::optional<FtpPassiveNumbers> ParsePassiveReply(std::string_view text);

// What FEAT offered.
struct FtpFeatures {
    bool size = false;
    bool mdtm = false;
    bool mfmt = false;
    bool mlst = false;
    bool mlstModify = false;
    bool mlstSize = false;
    bool mlstType = false;
    bool mlsd = false;
    bool utf8 = false;

    bool operator==(const FtpFeatures&) const = default;
};
// A flag for each FEAT line that contains its name (and the MLST facts marked
// with "*" on the MLST line).
FtpFeatures ParseFeatures(const std::vector<std::string>& lines);

// The path between the quotes of a 257 reply, with doubled quotes inside it made
// single; nullopt without a quoted path.
std::optional<std::string> ParsePwdReply(std::string_view text);

// The size from the facts of an MLST reply: "size=" for a file, "sizd=" for a
// folder; nullopt when neither is there or it is not a number.
std::optional<int64_t> ParseMlstSize(const FtpReply& reply);

// "213 12345" -> 12345; nullopt for anything else.
std::optional<int64_t> ParseSizeReply(const FtpReply& reply);

// A decimal number that fits in 63 bits (no sign, no blanks); nullopt otherwise.
std::optional<int64_t> ParseDecimal(std::string_view text);

}  // namespace vocarta
