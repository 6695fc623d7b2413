#pragma once
// The FTP control connection: the one command/reply layer that every state of
// the FTP session speaks through. A command goes out as one line; a reply is
// read line by line (bounded, see ftp_reply.h) into a whole reply, single or
// multi-line. What has arrived of a reply that has not ended is kept, so a read
// that times out (a keep-alive reply still on its way) leaves it for the next.
//
// A reply outside the protocol (no code, a line or reply over its bound) closes
// the connection: nothing after it can be trusted to answer what was asked.
//
// A command whose argument holds CR or LF is refused before anything is sent: a
// file or folder name must never smuggle a second command onto the connection.
//
// Threading: one thread at a time (the session's); only the stop flag is shared.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "net/secure_socket.h"
#include "toolkit/result.h"
#include "transmit/ftp/ftp_reply.h"

namespace vocarta {

// Time-outs of the control connection.
inline constexpr int kFtpConnectTimeoutMs = 60000;
inline constexpr int kFtpReplyTimeoutMs = 60000;
// A command line in general: this plus 1 ms per byte of the line.
inline constexpr int kFtpCommandBaseTimeoutMs = 15000;
// Single-line commands while connecting, for PASV and during an upload.
inline constexpr int kFtpShortCommandTimeoutMs = 20000;
// The TLS handshake of a control connection. Only a stop request would end an
// unlimited one, and a send thread must not hang on a server that never
// finishes its handshake.
inline constexpr int kFtpControlTlsTimeoutMs = 60000;
// Closing a connection (the TLS close notice) waits at most this long.
inline constexpr int kFtpCloseWaitMs = 10000;

// The time-out of sending `line` as a general command.
int FtpCommandTimeoutMs(std::string_view line);

class FtpControl {
  public:
    explicit FtpControl(StopFlag stop = {});

    // Connects to "host[:port]" (or "[v6]:port") with `defaultPort` when none is
    // given; anything that was open is closed first.
    LStatus Open(std::string_view server, uint16_t defaultPort, int timeoutMs);
    // TLS over the open connection. Refused when bytes beyond the last reply have
    // already arrived in clear: they would be taken as if they came encrypted.
    LStatus StartTls(int timeoutMs);

    // Sends "VERB argument\r\n" ("VERB\r\n" without an argument). The argument
    // holding CR, LF or NUL is kInvalid and nothing is sent.
    LStatus Send(std::string_view verb, std::string_view argument, int timeoutMs);
    // The next whole reply, within `timeoutMs` for all of it; 0 looks once at
    // what has arrived without waiting.
    LResult<FtpReply> Read(int timeoutMs = kFtpReplyTimeoutMs);
    // Send, then Read.
    LResult<FtpReply> Exchange(std::string_view verb, std::string_view argument, int sendTimeoutMs,
                               int replyTimeoutMs = kFtpReplyTimeoutMs);

    void Close(int waitMs = kFtpCloseWaitMs);

    bool IsOpen() const { return socket_.IsOpen(); }
    bool IsTls() const { return socket_.IsTls(); }
    SecureSocket& Socket() { return socket_; }
    const SecureSocket& Socket() const { return socket_; }
    void SetStopFlag(StopFlag stop) { socket_.SetStopFlag(std::move(stop)); }

    // The last whole reply read (code 0 before the first).
    const FtpReply& LastReply() const { return last_; }

    // Every line sent and received, for the tests' transcripts: '>' for a
    // command (a password shown as "PASS ****"), '<' for a reply line.
    void SetTrace(std::function<void(char, const std::string&)> trace) {
        trace_ = std::move(trace);
    }

  private:
    std::string ServerName() const;

    SecureSocket socket_;
    FtpLineSplitter lines_;
    FtpReplyAssembler assembler_;
    FtpReply last_;
    std::function<void(char, const std::string&)> trace_;
};

}  // namespace vocarta
