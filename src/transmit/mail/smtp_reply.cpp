#include "transmit/mail/smtp_reply.h"

namespace vocarta {

namespace {
constexpr std::string_view kStartTlsWord = "STARTTLS";

void AppendText(std::string& text, std::string_view piece) {
    for (char c : piece) {
        if (text.size() >= kSmtpReplyTextMax) return;
        if (c == '\r') continue;
        const auto u = static_cast<unsigned char>(c);
        text.push_back(u < 32 || u == 127 ? ' ' : c);
    }
}
}  // namespace

int SmtpReplyCode(std::string_view line) {
    int code = 0;
    for (std::size_t i = 0; i < line.size() && i < 9; ++i) {
        if (line[i] < '0' || line[i] > '9') break;
        code = code * 10 + (line[i] - '0');
    }
    return code;
}

void SmtpReplyReader::Reset() {
    *this = SmtpReplyReader();
}

std::size_t SmtpReplyReader::Feed(std::string_view bytes) {
    std::size_t used = 0;
    while (used < bytes.size() && !done_ && !failed_) {
        const char c = bytes[used++];
        if (c == '\n') {
            EndLine();
        } else if (line_.size() < kSmtpReplyLineMax) {
            line_.push_back(c);
        }
    }
    return used;
}

void SmtpReplyReader::EndLine() {
    ++reply_.lines;
    if (line_.find(kStartTlsWord) != std::string::npos) reply_.offersStartTls = true;
    const std::string_view line = line_;
    if (colonSeen_) {
        AppendText(reply_.text, " ");
        AppendText(reply_.text, line);
    } else if (const std::size_t colon = line.find(':'); colon != std::string_view::npos) {
        colonSeen_ = true;
        AppendText(reply_.text, line.substr(colon + 1));
    }
    if (line.size() < 4 || line[3] != '-') {
        reply_.code = SmtpReplyCode(line);
        while (!reply_.text.empty() && reply_.text.back() == ' ') reply_.text.pop_back();
        done_ = true;
    } else if (reply_.lines >= kSmtpReplyLinesMax) {
        failed_ = true;
    }
    line_.clear();
}

}  // namespace vocarta
