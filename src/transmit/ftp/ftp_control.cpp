#include "transmit/ftp/ftp_control.h"

#include "toolkit/text.h"

namespace vocarta {

namespace {
constexpr std::size_t kReadChunk = 4096;
}  // namespace

int FtpCommandTimeoutMs(std::string_view line) {
    return kFtpCommandBaseTimeoutMs + int(std::min<std::size_t>(line.size(), 1u << 20));
}

FtpControl::FtpControl(StopFlag stop) : socket_(std::move(stop)) {}

std::string FtpControl::ServerName() const {
    return socket_.PeerHostName().empty() ? std::string("the FTP server")
                                          : "the FTP server " + socket_.PeerHostName();
}

LStatus FtpControl::Open(std::string_view server, uint16_t defaultPort, int timeoutMs) {
    Close();
    return socket_.ConnectTo(server, defaultPort, timeoutMs);
}

LStatus FtpControl::StartTls(int timeoutMs) {
    if (lines_.Pending() > 0)
        return MakeError(LErrorCode::kProtocol,
                         "%s sent more than its reply before TLS began; the connection is not "
                         "trusted",
                         ServerName().c_str());
    return socket_.StartTls(timeoutMs);
}

LStatus FtpControl::Send(std::string_view verb, std::string_view argument, int timeoutMs) {
    if (argument.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos)
        return MakeError(LErrorCode::kInvalid,
                         "the name \"%s\" holds a line break and cannot be sent to an FTP server",
                         CutText(argument, 80).c_str());
    std::string line(verb);
    if (!argument.empty() || verb == "PASS") {
        line += ' ';
        line += argument;
    }
    if (trace_) trace_('>', verb == "PASS" ? std::string("PASS ****") : line);
    line += "\r\n";
    return socket_.Send(line, timeoutMs);
}

LResult<FtpReply> FtpControl::Read(int timeoutMs) {
    const Deadline deadline(timeoutMs);
    char chunk[kReadChunk];
    while (true) {
        while (auto line = lines_.NextLine()) {
            if (trace_) trace_('<', *line);
            switch (assembler_.Add(std::move(*line))) {
                case FtpReplyAssembler::Outcome::kMore:
                    continue;
                case FtpReplyAssembler::Outcome::kDone:
                    last_ = assembler_.Take();
                    return last_;
                case FtpReplyAssembler::Outcome::kFailed: {
                    LError error(LErrorCode::kProtocol, assembler_.Error());
                    Close(0);  // what follows can no longer be told apart
                    return error;
                }
            }
        }
        if (lines_.Failed()) {
            LError error =
                MakeError(LErrorCode::kProtocol, "%s sent a reply line longer than %zu bytes",
                          ServerName().c_str(), kFtpLineLimit);
            Close(0);
            return error;
        }
        auto got = socket_.Receive(chunk, sizeof chunk,
                                   deadline.Unlimited() ? kNoTimeLimit : deadline.RemainingMs());
        if (!got) {
            if (got.Error().Code() == LErrorCode::kTimedOut)
                return MakeError(LErrorCode::kTimedOut, "%s did not reply within %d ms",
                                 ServerName().c_str(), timeoutMs);
            if (socket_.AtEnd())
                return MakeError(LErrorCode::kNetwork, "%s closed the connection",
                                 ServerName().c_str());
            return got.Error();
        }
        lines_.Append(std::string_view(chunk, got.Value()));
    }
}

LResult<FtpReply> FtpControl::Exchange(std::string_view verb, std::string_view argument,
                                       int sendTimeoutMs, int replyTimeoutMs) {
    if (LStatus sent = Send(verb, argument, sendTimeoutMs); !sent) return sent.Error();
    return Read(replyTimeoutMs);
}

void FtpControl::Close(int waitMs) {
    socket_.Close(waitMs);
    lines_.Clear();
    assembler_.Take();
}

}  // namespace vocarta
