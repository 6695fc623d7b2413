#include "transmit/mail/smtp_channel.h"

#include "net/socket_address.h"
#include "toolkit/log.h"
#include "toolkit/text.h"

namespace vocarta {

SmtpChannel::SmtpChannel(StopFlag stop, SmtpTimeouts timeouts)
    : socket_(std::move(stop)), timeouts_(timeouts) {}

LStatus SmtpChannel::Connect(const std::string& host, uint16_t port, int timeoutMs) {
    pending_.clear();
    auto addresses = ResolveHost(host, port, timeoutMs, socket_.Stop());
    if (!addresses) return addresses.Error();
    return socket_.ConnectAny(host, addresses.Value(), timeoutMs);
}

LStatus SmtpChannel::SendCommand(std::string_view prefix, std::string_view argument,
                                 std::string_view suffix) {
    if (argument.find_first_of("\r\n") != std::string_view::npos)
        return LError(LErrorCode::kInvalid, "a command argument holds a line break");
    std::string line(prefix);
    const std::size_t room =
        kTextMax > line.size() + suffix.size() ? kTextMax - line.size() - suffix.size() : 0;
    line.append(argument.substr(0, room));
    line.append(suffix);
    return socket_.Send(CutText(line), timeouts_.commandMs);
}

LStatus SmtpChannel::SendRaw(std::string_view bytes, int timeoutMs) {
    return socket_.Send(bytes, timeoutMs);
}

LResult<SmtpReply> SmtpChannel::ReadReply(SmtpReplyMode mode) {
    const int timeoutMs =
        mode == SmtpReplyMode::kCapabilities ? timeouts_.capabilityReplyMs : timeouts_.replyMs;
    SmtpReplyReader reader;
    char chunk[kSmtpReplyChunk];
    while (true) {
        if (pending_.empty()) {
            auto got = socket_.Receive(chunk, sizeof chunk, timeoutMs);
            if (!got) return got.Error();
            pending_.assign(chunk, got.Value());
        }
        pending_.erase(0, reader.Feed(pending_));
        if (reader.Failed())
            return MakeError(LErrorCode::kProtocol, "%s sent a reply of more than %d lines",
                             socket_.PeerHostName().c_str(), kSmtpReplyLinesMax);
        if (reader.Done()) {
            SmtpReply reply = reader.Reply();
            if (mode != SmtpReplyMode::kCapabilities) reply.offersStartTls = false;
            return reply;
        }
    }
}

LStatus SmtpChannel::StartTls() {
    if (!pending_.empty()) {
        LogError("SmtpChannel::StartTls: %zu bytes from %s after the go-ahead were discarded",
                 pending_.size(), socket_.PeerHostName().c_str());
        pending_.clear();
    }
    return socket_.StartTls(kNoTimeLimit);
}

}  // namespace vocarta
