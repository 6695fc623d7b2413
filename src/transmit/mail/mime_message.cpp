#include "transmit/mail/mime_message.h"

#include "toolkit/text.h"

namespace vocarta {

namespace {
constexpr const char* kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr std::size_t kFlushBytes = 64 * 1024;

bool IsControl(unsigned char c) {
    return c < 32 || c == 127;
}

// Where a line longer than the limit is broken: after its last blank within the
// limit, else at the limit moved back to the start of a UTF-8 character.
std::size_t BreakPoint(std::string_view line) {
    const std::size_t blank = line.substr(0, kBodyLineMax).rfind(' ');
    if (blank != std::string_view::npos) return blank + 1;
    std::size_t at = kBodyLineMax;
    for (int back = 0; back < 3 && (static_cast<unsigned char>(line[at]) & 0xC0) == 0x80; ++back)
        --at;
    return at;
}

void AppendLine(std::string& out, std::string_view line, bool ended, MailStyle style) {
    const char* end = style == MailStyle::kSmtp ? "\r\n" : "\n";
    while (true) {
        const bool longLine = line.size() > kBodyLineMax;
        const std::string_view piece = longLine ? line.substr(0, BreakPoint(line)) : line;
        if (style == MailStyle::kSmtp && !piece.empty() && piece[0] == '.') out.push_back('.');
        out.append(piece);
        if (!longLine) break;
        out.append(end);
        line.remove_prefix(piece.size());
    }
    if (ended) out.append(end);
}
}  // namespace

std::string FormatMailDate(const std::tm& local, long westOfUtcSeconds) {
    char sign = '-';
    if (westOfUtcSeconds < 1) {
        sign = '+';
        westOfUtcSeconds = -westOfUtcSeconds;
    }
    return StringPrintf(
        "%s, %.2d %s 20%.2d %.2d:%.2d:%.2d %c%.2ld%.2ld", kDays[(local.tm_wday % 7 + 7) % 7],
        local.tm_mday, kMonths[(local.tm_mon % 12 + 12) % 12], local.tm_year % 100, local.tm_hour,
        local.tm_min, local.tm_sec, sign, westOfUtcSeconds / 3600, westOfUtcSeconds / 60 % 60);
}

std::string MailDateNow() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return FormatMailDate(local, -local.tm_gmtoff);
}

std::string EncodeHeaderText(std::string_view text, bool quoted) {
    auto special = [quoted](unsigned char c) {
        return c >= 128 || IsControl(c) || (quoted && (c == '"' || c == '\\'));
    };
    bool plain = true;
    for (char c : text) plain = plain && !special(static_cast<unsigned char>(c));
    if (plain) return std::string(text);
    std::string out = "=?utf-8?q?";
    for (char ch : text) {
        const auto c = static_cast<unsigned char>(ch);
        if (c >= 33 && c < 127 && c != '?' && c != '_' && c != '=' && c != '"' && c != '\\')
            out.push_back(ch);
        else
            out += StringPrintf("=%02X", c);
    }
    return out + "?=";
}

std::string ChooseBoundary(std::string_view body) {
    // Past the usual hundred candidates the search simply goes on: a body made
    // to hold them all still gets a boundary of its own.
    for (int n = 0;; ++n) {
        std::string boundary = StringPrintf("gc0p4Jq0M2Yt08jU534c%d", n);
        if (body.find(boundary) == std::string_view::npos) return boundary;
    }
}

const char* AttachmentContentType(std::string_view path) {
    if (EndsWithNoCase(path, ".wav")) return "audio/wav";
    if (EndsWithNoCase(path, ".mp3")) return "audio/mpeg";
    return "application/octet-stream";
}

std::string HeaderValue(std::string_view text) {
    std::string value(text);
    for (char& c : value)
        if (c == '\r' || c == '\n') c = ' ';
    return CutText(value);
}

void AppendBodyText(std::string& out, std::string_view body, MailStyle style) {
    while (!body.empty()) {
        const std::size_t end = body.find_first_of("\r\n");
        if (end == std::string_view::npos) {
            AppendLine(out, body, false, style);
            return;
        }
        AppendLine(out, body.substr(0, end), true, style);
        const bool crLf = body[end] == '\r' && end + 1 < body.size() && body[end + 1] == '\n';
        body.remove_prefix(end + (crLf ? 2 : 1));
    }
}

MimeComposer::MimeComposer(const MailRequest& request, MailStyle style, MessageOutput& output,
                           MailContext& context, ComposeTimeouts timeouts)
    : request_(request),
      style_(style),
      output_(output),
      context_(context),
      timeouts_(timeouts),
      date_(MailDateNow()) {}

std::string MimeComposer::HeaderBlock() const {
    const std::string to = HeaderValue(request_.recipients);
    const std::string from = HeaderValue(request_.sender);
    const std::string subject = EncodeHeaderText(HeaderValue(request_.subject));
    if (style_ == MailStyle::kSendmail)
        return "Mime-Version: 1.0\nFrom: " + from + "\nTo: " + to + "\nSubject: " + subject + "\n";
    return "MIME-Version: 1.0\r\nFrom: " + from + "\r\nTo: " + to + "\r\nSubject: " + subject +
           "\r\nDate: " + date_ + "\r\n" + kMailerLine;
}

LStatus MimeComposer::Compose() {
    const bool smtp = style_ == MailStyle::kSmtp;
    if (smtp) {
        context_.SetProgress(0.2);
        context_.SetStatus("Sending Message Text");
    }
    std::string text = HeaderBlock();
    std::string boundary;
    const bool attached = !request_.attachments.empty();
    if (attached) {
        boundary = ChooseBoundary(request_.body);
        text += StringPrintf("Content-Type: multipart/mixed; boundary=%s%s%s--%s%s",
                             boundary.c_str(), End(), End(), boundary.c_str(), End());
    }
    text += StringPrintf("Content-Type: text/plain; charset=\"utf-8\"%s%s", End(), End());
    AppendBodyText(text, request_.body, style_);
    if (LStatus put = Put(text, timeouts_.bodyMs); !put) return put;
    if (!attached) return Flush(timeouts_.bodyMs);
    if (smtp) {
        context_.SetProgress(0.3);
        context_.SetStatus("Sending Message Attachment(s)");
    }
    for (std::size_t i = 0; i < request_.attachments.size(); ++i)
        if (LStatus sent = SendAttachment(i, boundary); !sent) return sent;
    const std::string closing = std::string(End()) + "--" + boundary + "--" + End();
    if (LStatus put = Put(closing, timeouts_.attachmentMs); !put) return put;
    return Flush(timeouts_.attachmentMs);
}

LStatus MimeComposer::Put(std::string_view bytes, int timeoutMs) {
    buffer_.append(bytes);
    return buffer_.size() >= kFlushBytes ? Flush(timeoutMs) : LStatus();
}

LStatus MimeComposer::Flush(int timeoutMs) {
    if (buffer_.empty()) return {};
    LStatus written = output_.Write(buffer_, timeoutMs);
    buffer_.clear();
    return written;
}

}  // namespace vocarta
