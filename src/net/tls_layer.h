#pragma once
// A TLS client session stacked on a connected, non-blocking stream socket. The
// socket layer owns the waiting: every call here returns at once and says what
// it needs (readable, writable) before it can go on. One implementation per
// platform, chosen by CMake: tls_openssl.cpp on Linux.
//
// Threading: one session belongs to the socket's owner thread.

#include <cstddef>
#include <memory>
#include <string>

#include "toolkit/result.h"

namespace vocarta {

enum class TlsIo {
    kDone,       // the call completed (count set where there is one)
    kWantRead,   // call again once the socket is readable
    kWantWrite,  // call again once the socket is writable
    kClosed,     // the peer ended the session (or the connection) cleanly
    kFailed,     // fatal; FailureReason() says why
};

class TlsLayer {
  public:
    virtual ~TlsLayer() = default;

    virtual TlsIo Handshake() = 0;
    virtual TlsIo Read(void* buffer, std::size_t capacity, std::size_t* count) = 0;
    virtual TlsIo Write(const void* bytes, std::size_t length, std::size_t* count) = 0;
    // Decrypted or received bytes waiting inside the session, which a poll of
    // the socket would not show.
    virtual bool HasBuffered() const = 0;
    // Sends the close notice; kDone once it is on its way.
    virtual TlsIo Shutdown() = 0;

    // Why the last call failed, in words: "certificate has expired".
    virtual std::string FailureReason() const = 0;
    // Protocol and cipher once connected: "TLSv1.3 TLS_AES_256_GCM_SHA384".
    virtual std::string Description() const = 0;
    virtual bool SessionReused() const = 0;
};

// A session over `fd` that will verify the server as `host` (a name or a
// numeric address). With `resumeFrom`, the new session offers to resume that
// one's TLS session (FTP data connections, which servers such as vsftpd require
// to reuse the control connection's session).
LResult<std::unique_ptr<TlsLayer>> CreateTlsLayer(int fd, const std::string& host,
                                                  const TlsLayer* resumeFrom);

}  // namespace vocarta
