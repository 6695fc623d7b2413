#pragma once
// A TCP stream socket that can be upgraded in place to TLS, with time-limited,
// stoppable connect, send and receive, and a read up to a delimiter for line
// protocols (SMTP, FTP). The socket is non-blocking underneath: every wait is a
// poll of at most 200 ms, with the owner's stop request tested before each one,
// so a call blocks only until its time-out or a stop request.
//
// Results: a failure is an LError whose message says what happened in words the
// log and the user can read; kCancelled means the call ended on a stop request,
// kTimedOut that its time-out passed, kTls a failed handshake or certificate
// check, kNetwork anything else the connection did. Failures of system calls are
// also written to the error log.
//
// Threading: a socket belongs to one thread at a time (it may be moved to
// another between calls); only its stop flag is touched by other threads.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "net/socket_address.h"
#include "net/stop_flag.h"
#include "net/wait.h"
#include "toolkit/result.h"

namespace vocarta {

class TlsLayer;

// Handshake time-out of FTP data connections; STARTTLS and AUTH TLS wait without
// a limit (kNoTimeLimit), ended only by a stop request.
inline constexpr int kDataTlsTimeoutMs = 3000;
// How long Close waits for the TLS close notice to leave.
inline constexpr int kCloseWaitMs = 1000;

class SecureSocket {
  public:
    explicit SecureSocket(StopFlag stop = {});
    ~SecureSocket();
    SecureSocket(SecureSocket&& other) noexcept;
    SecureSocket& operator=(SecureSocket&& other) noexcept;
    SecureSocket(const SecureSocket&) = delete;
    SecureSocket& operator=(const SecureSocket&) = delete;

    void SetStopFlag(StopFlag stop) { stop_ = std::move(stop); }
    const StopFlag& Stop() const { return stop_; }

    // Closes what is open, then connects to one address. The connection is
    // waited for in 200 ms slices, with at least one slice; it fails once 200 ms
    // or less of the time-out remain after a slice. The certificate of a later
    // StartTls is checked against the numeric address.
    LStatus Connect(const SocketAddress& address, int timeoutMs);
    // Each address in turn, each with the full time-out; the first that answers
    // wins. `host` is the name the certificate is checked against.
    LStatus ConnectAny(const std::string& host, const std::vector<SocketAddress>& addresses,
                       int timeoutMs);
    // Resolves a server string ("host", "host:port", "[v6]:port") and connects
    // to its addresses in turn; the look-up shares the time-out's figure.
    LStatus ConnectTo(std::string_view server, uint16_t defaultPort, int timeoutMs);
    // The name the certificate will be checked against and sent as SNI, for a
    // connection made to an address found some other way (an FTP data
    // connection to the control connection's server).
    void SetPeerHostName(std::string host) { peerHost_ = std::move(host); }

    // Starts TLS as a client over the connected socket. With `resumeFrom` (an
    // open TLS socket to the same server) its TLS session is offered for reuse.
    // A failed handshake or certificate check is kTls with the reason ("TLS
    // handshake with ftp.example.com failed: certificate has expired"); the
    // socket then stays connected without TLS, and the caller decides.
    LStatus StartTls(int timeoutMs, const SecureSocket* resumeFrom = nullptr);

    // Sends every byte.
    LStatus Send(const void* bytes, std::size_t length, int timeoutMs);
    LStatus Send(std::string_view text, int timeoutMs) {
        return Send(text.data(), text.size(), timeoutMs);
    }
    // Waits until data can be read, then reads at most `capacity` bytes (at
    // least one). The peer's end of the stream is kNetwork and sets AtEnd().
    LResult<std::size_t> Receive(void* buffer, std::size_t capacity, int timeoutMs);
    // Waits until data can be read, then reads up to and including the first
    // byte that is one of `delimiters`. A plain socket peeks and takes exactly
    // that much (or all that was waiting, when it holds no delimiter), so what
    // follows stays unread; a TLS socket reads byte by byte until a delimiter,
    // the capacity, or the end of what has arrived.
    LResult<std::size_t> ReceiveUntil(void* buffer, std::size_t capacity,
                                      std::string_view delimiters, int timeoutMs);
    // One line ended by LF, returned without its CR LF, within `timeoutMs` for
    // the whole line. A line longer than `maxLength` is an error (kProtocol)
    // unless `cutLongLines`, which keeps its first `maxLength` bytes and drops
    // the rest. An end of the stream before the LF is an error.
    LResult<std::string> ReceiveLine(std::size_t maxLength, int timeoutMs,
                                     bool cutLongLines = false);

    // Ends the sending side in order (the TLS close notice, then the TCP end)
    // and waits up to `timeoutMs` for the peer to end its side, reading and
    // dropping whatever it still sends (TLS session tickets, say). Closing a
    // socket with unread bytes resets the connection, which can cost the peer
    // the last bytes of an upload it has not read yet; after this it cannot.
    LStatus FinishSending(int timeoutMs);

    // Ends TLS with its close notice (waiting up to `waitMs` for it to leave)
    // and closes the descriptor. Safe to call on a closed socket.
    void Close(int waitMs = kCloseWaitMs);

    bool IsOpen() const { return fd_ >= 0; }
    bool IsTls() const { return tls_ != nullptr; }
    // True once a read has met the peer's orderly end of the stream.
    bool AtEnd() const { return atEnd_; }
    int Descriptor() const { return fd_; }
    const std::string& PeerHostName() const { return peerHost_; }
    const SocketAddress& PeerAddress() const { return peer_; }
    // "TLSv1.3 TLS_AES_256_GCM_SHA384", or empty without TLS.
    std::string TlsDescription() const;
    bool TlsSessionReused() const;

  private:
    LStatus ConnectOne(const SocketAddress& address, int timeoutMs);
    LStatus Wait(short events, const Deadline& deadline, const char* what);
    LResult<std::size_t> TlsReceive(void* buffer, std::size_t capacity, const Deadline& deadline);
    LResult<std::size_t> PlainReceiveUntil(char* buffer, std::size_t capacity,
                                           std::string_view delimiters, const Deadline& deadline);
    LResult<std::size_t> TlsReceiveUntil(char* buffer, std::size_t capacity,
                                         std::string_view delimiters, const Deadline& deadline);
    LError ClosedByPeer();

    int fd_ = -1;
    std::unique_ptr<TlsLayer> tls_;
    std::string peerHost_;
    SocketAddress peer_;
    StopFlag stop_;
    bool atEnd_ = false;
};

}  // namespace vocarta
