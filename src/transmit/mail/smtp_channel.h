#pragma once
// The command/reply layer every SMTP step goes through: one connection, commands
// built as prefix, argument and suffix, replies read in chunks of up to 512
// bytes through the reply reader, and the switch to TLS.
//
// Threading contract: one thread at a time (the send thread); only the stop
// flag is touched by others.

#include <cstdint>
#include <string>
#include <string_view>

#include "net/secure_socket.h"
#include "toolkit/result.h"
#include "transmit/mail/smtp_reply.h"

namespace vocarta {

enum class SmtpReplyMode {
    kPlain,         // 60000 ms per read
    kCapabilities,  // 40000 ms per read; notes an offered STARTTLS
};

struct SmtpTimeouts {
    int replyMs = 60000;
    int capabilityReplyMs = 40000;
    int commandMs = 60000;
};

class SmtpChannel {
  public:
    explicit SmtpChannel(StopFlag stop, SmtpTimeouts timeouts = {});

    SecureSocket& Socket() { return socket_; }
    const StopFlag& Stop() const { return socket_.Stop(); }

    // Connects to every address of `host` in turn (each with the full time-out).
    LStatus Connect(const std::string& host, uint16_t port, int timeoutMs);

    // Sends prefix + argument + suffix, at most 259 characters: a longer line
    // loses the end of its argument, never its suffix. An argument holding a CR
    // or LF is refused (kInvalid), so no value can smuggle in a second command.
    LStatus SendCommand(std::string_view prefix, std::string_view argument = {},
                        std::string_view suffix = "\r\n");
    // Sends bytes as they are.
    LStatus SendRaw(std::string_view bytes, int timeoutMs);

    // The next reply. Bytes that arrived after it stay for the next one.
    LResult<SmtpReply> ReadReply(SmtpReplyMode mode = SmtpReplyMode::kPlain);

    // Starts TLS on the connection (no time limit; a stop request ends it).
    // Whatever arrived after the server's go-ahead is thrown away first: it came
    // before the encryption, and no one can tell who sent it.
    LStatus StartTls();
    bool IsTls() const { return socket_.IsTls(); }
    // Bytes received and not yet read as a reply.
    std::size_t Pending() const { return pending_.size(); }

    void Close() { socket_.Close(); }

  private:
    SecureSocket socket_;
    SmtpTimeouts timeouts_;
    std::string pending_;
};

}  // namespace vocarta
