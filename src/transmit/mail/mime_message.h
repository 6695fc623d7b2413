#pragma once
// The MIME message of a mail, composed once for both ways it leaves: after DATA
// on an SMTP connection (CR LF line ends, dot-stuffing, Date and X-Mailer) and
// into sendmail's standard input (LF line ends, the shorter header, every
// attachment as application/octet-stream).
//
// Threading contract: the composer runs on the send thread and reports through
// its context there; the free functions are pure.

#include <cstddef>
#include <ctime>
#include <string>
#include <string_view>

#include "toolkit/result.h"
#include "transmit/mail/mail_request.h"

namespace vocarta {

enum class MailStyle { kSmtp, kSendmail };

// Where the composed bytes go: the SMTP connection or sendmail's input.
class MessageOutput {
  public:
    virtual ~MessageOutput() = default;
    // Writes every byte within `timeoutMs`; kCancelled on a stop request.
    virtual LStatus Write(std::string_view bytes, int timeoutMs) = 0;
};

struct ComposeTimeouts {
    int bodyMs = 30000;
    int attachmentMs = 20000;
};

inline constexpr const char* kMailerLine =
    "X-Mailer: Vocarta Sound Recorder (https://www.vocarta.com)\r\n";
// Longer body lines are broken; the limit keeps well inside SMTP's 998.
inline constexpr std::size_t kBodyLineMax = 700;
// Attachment bytes per base64 line of 76 characters.
inline constexpr std::size_t kBase64LineBytes = 57;

// "Tue, 05 Mar 2024 14:07:09 +0100". The century is written as a fixed "20";
// `westOfUtcSeconds` is the zone's offset west of UTC (-3600 for UTC+1).
std::string FormatMailDate(const std::tm& local, long westOfUtcSeconds);
std::string MailDateNow();

// Pure printable 7-bit text as it is; else "=?utf-8?q?...?=" with every byte
// outside 33..126, and "?", "_" and "=", as "=XX" (so a blank is "=20"). A text
// with control characters is always encoded, and so is one with a quote or a
// backslash when `quoted` (it goes between quotes).
std::string EncodeHeaderText(std::string_view text, bool quoted = false);

// "gc0p4Jq0M2Yt08jU534c<n>" for the first n from 0 that does not occur in
// `body`.
std::string ChooseBoundary(std::string_view body);

// "audio/wav" (.wav), "audio/mpeg" (.mp3), else "application/octet-stream".
const char* AttachmentContentType(std::string_view path);

// A header value: line breaks turned into blanks (no value can add a header
// line), cut to 259 characters.
std::string HeaderValue(std::string_view text);

// Appends `body` line by line: a line ends at CR LF (a lone CR or LF counts as
// one too); a line over 700 characters is broken after its last blank within the
// first 700 (at 700, or before a character cut in two, when there is none). In
// SMTP style lines end with CR LF and a line starting with "." gets a second one.
void AppendBodyText(std::string& out, std::string_view body, MailStyle style);

class MimeComposer {
  public:
    MimeComposer(const MailRequest& request, MailStyle style, MessageOutput& output,
                 MailContext& context, ComposeTimeouts timeouts = {});

    // The Date header's value; MailDateNow() unless set.
    void SetDate(std::string date) { date_ = std::move(date); }

    // Header, text part and attachments, with progress from 0.2 to 0.9. An
    // attachment that cannot be read is kIo; a stop request kCancelled.
    LStatus Compose();

  private:
    std::string HeaderBlock() const;
    LStatus SendAttachment(std::size_t index, const std::string& boundary);
    LStatus Put(std::string_view bytes, int timeoutMs);
    LStatus Flush(int timeoutMs);
    const char* End() const { return style_ == MailStyle::kSmtp ? "\r\n" : "\n"; }

    const MailRequest& request_;
    MailStyle style_;
    MessageOutput& output_;
    MailContext& context_;
    ComposeTimeouts timeouts_;
    std::string date_;
    std::string buffer_;
};

}  // namespace vocarta
