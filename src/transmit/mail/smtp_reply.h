#pragma once
// The SMTP reply reader: bytes in as they arrive, replies out. A line ends at LF
// and keeps at most 258 characters (the rest of a longer line is dropped, never
// stored); a line shorter than 4 characters, or whose fourth character is not
// "-", is the last line of its reply, and its leading number is the reply code.
// Bytes after the end of a reply are left for the next one.
//
// Threading: a value used by one thread at a time.

#include <cstddef>
#include <string>
#include <string_view>

namespace vocarta {

inline constexpr std::size_t kSmtpReplyChunk = 512;
inline constexpr std::size_t kSmtpReplyLineMax = 258;
inline constexpr std::size_t kSmtpReplyTextMax = 259;
// A reply of more lines than this is a peer talking past the protocol.
inline constexpr int kSmtpReplyLinesMax = 1000;

struct SmtpReply {
    // The leading number of the last line; 0 when it has none.
    int code = 0;
    // What follows the first ":" of the reply, carriage returns left out, its
    // lines joined by a blank, control characters as blanks, at most 259
    // characters. Only ever a value to show: never a format or a command.
    std::string text;
    // The word "STARTTLS" occurs in one of the reply's lines.
    bool offersStartTls = false;
    int lines = 0;
};

class SmtpReplyReader {
  public:
    // Takes bytes until the reply ends (or the reader fails); returns how many it
    // used.
    std::size_t Feed(std::string_view bytes);
    bool Done() const { return done_; }
    // More than kSmtpReplyLinesMax lines.
    bool Failed() const { return failed_; }
    const SmtpReply& Reply() const { return reply_; }
    // Ready for the next reply.
    void Reset();

  private:
    void EndLine();

    SmtpReply reply_;
    std::string line_;
    bool colonSeen_ = false;
    bool done_ = false;
    bool failed_ = false;
};

// The leading number of `line` ("250 ok" 250, "x" 0).
int SmtpReplyCode(std::string_view line);

}  // namespace vocarta
