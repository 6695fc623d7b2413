#include "net/secure_socket.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "net/tls_layer.h"
#include "toolkit/log.h"

namespace vocarta {

namespace {
constexpr int kSocketBufferBytes = 262144;
constexpr std::size_t kLineChunk = 512;

LError NotOpen() {
    return LError(LErrorCode::kNetwork, "the connection is not open");
}
}  // namespace

SecureSocket::SecureSocket(StopFlag stop) : stop_(std::move(stop)) {}

SecureSocket::~SecureSocket() {
    Close();
}

SecureSocket::SecureSocket(SecureSocket&& other) noexcept {
    *this = std::move(other);
}

SecureSocket& SecureSocket::operator=(SecureSocket&& other) noexcept {
    if (this == &other) return *this;
    Close();
    fd_ = other.fd_;
    tls_ = std::move(other.tls_);
    peerHost_ = std::move(other.peerHost_);
    peer_ = other.peer_;
    stop_ = std::move(other.stop_);
    atEnd_ = other.atEnd_;
    other.fd_ = -1;
    other.atEnd_ = false;
    return *this;
}

LStatus SecureSocket::Connect(const SocketAddress& address, int timeoutMs) {
    LStatus connected = ConnectOne(address, timeoutMs);
    if (connected) peerHost_ = address.Host();
    return connected;
}

LStatus SecureSocket::ConnectAny(const std::string& host,
                                 const std::vector<SocketAddress>& addresses, int timeoutMs) {
    if (addresses.empty())
        return MakeError(LErrorCode::kNotFound, "the server \"%s\" has no address", host.c_str());
    LStatus last;
    for (const SocketAddress& address : addresses) {
        last = ConnectOne(address, timeoutMs);
        if (last) {
            peerHost_ = host;
            return last;
        }
        if (last.Error().IsCancelled()) break;
    }
    return last;
}

LStatus SecureSocket::ConnectTo(std::string_view server, uint16_t defaultPort, int timeoutMs) {
    auto name = ParseServerName(server, defaultPort);
    if (!name) return name.Error();
    auto addresses = ResolveHost(name.Value().host, name.Value().port, timeoutMs, stop_);
    if (!addresses) return addresses.Error();
    return ConnectAny(name.Value().host, addresses.Value(), timeoutMs);
}

LStatus SecureSocket::ConnectOne(const SocketAddress& address, int timeoutMs) {
    Close();
    atEnd_ = false;
    if (stop_.Requested()) return StoppedError();
    const int fd = socket(address.Family(), SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        const int error = errno;
        LogSystemFailure("SecureSocket::Connect", "socket", error);
        return MakeError(LErrorCode::kNetwork, "cannot create a socket: %s", std::strerror(error));
    }
    fd_ = fd;
    peer_ = address;
    const int size = kSocketBufferBytes;
    if (setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof size) != 0 ||
        setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size) != 0)
        LogError("setsockopt() failed: %s", std::strerror(errno));
    // Commands and requests go out whole, in one send each; waiting for more to
    // fill a segment would only delay them.
    const int one = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);

    int error = 0;
    if (connect(fd, address.Raw(), address.Length()) == 0) return {};
    if (errno != EINPROGRESS) {
        error = errno;
    } else {
        const long long start = MonotonicMs();
        pollfd fds[2] = {{fd, POLLOUT, 0}, {stop_.Descriptor(), POLLIN, 0}};
        const nfds_t count = fds[1].fd >= 0 ? 2 : 1;
        while (true) {
            if (stop_.Requested()) {
                Close();
                return StoppedError();
            }
            const int ready = poll(fds, count, kWaitSliceMs);
            if (ready < 0 && errno == EINTR) continue;
            if (ready < 0) {
                error = errno;
                LogSystemFailure("SecureSocket::Connect", "poll", error);
                break;
            }
            if (fds[0].revents != 0) {
                socklen_t length = sizeof error;
                if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) != 0) error = errno;
                if (error == 0) return {};
                break;
            }
            // At least one slice; then give up once no full slice is left.
            if (timeoutMs >= 0 && timeoutMs - (MonotonicMs() - start) <= kWaitSliceMs) {
                Close();
                LogError("SecureSocket::Connect connect FAILED: timed out after %d ms (%s)",
                         timeoutMs, address.ToString().c_str());
                return MakeError(LErrorCode::kTimedOut,
                                 "connecting to %s timed out (no answer within %d ms)",
                                 address.ToString().c_str(), timeoutMs);
            }
        }
    }
    Close();
    LogError("SecureSocket::Connect connect FAILED: %s (%s)", std::strerror(error),
             address.ToString().c_str());
    return MakeError(LErrorCode::kNetwork, "cannot connect to %s: %s", address.ToString().c_str(),
                     std::strerror(error));
}

LStatus SecureSocket::StartTls(int timeoutMs, const SecureSocket* resumeFrom) {
    if (!IsOpen()) return NotOpen();
    if (tls_) return MakeError(LErrorCode::kInvalid, "TLS has already started on this connection");
    auto created = CreateTlsLayer(
        fd_, peerHost_, resumeFrom && resumeFrom->tls_ ? resumeFrom->tls_.get() : nullptr);
    if (!created) {
        LogError("SecureSocket::StartTls CreateTlsLayer FAILED: %s",
                 created.Error().Message().c_str());
        return created.Error();
    }
    std::unique_ptr<TlsLayer> layer = std::move(created).Value();
    const Deadline deadline(timeoutMs);
    while (true) {
        if (stop_.Requested()) return StoppedError();
        const TlsIo io = layer->Handshake();
        if (io == TlsIo::kDone) {
            tls_ = std::move(layer);
            return {};
        }
        if (io == TlsIo::kWantRead || io == TlsIo::kWantWrite) {
            LStatus ready =
                Wait(io == TlsIo::kWantRead ? POLLIN : POLLOUT, deadline, "the TLS handshake with");
            if (!ready) return ready;
            continue;
        }
        const std::string reason = layer->FailureReason();
        LogError("SecureSocket::StartTls SSL_connect FAILED: %s (%s, %s)", reason.c_str(),
                 peerHost_.c_str(), peer_.ToString().c_str());
        return MakeError(LErrorCode::kTls, "TLS handshake with %s failed: %s", peerHost_.c_str(),
                         reason.c_str());
    }
}

LStatus SecureSocket::Wait(short events, const Deadline& deadline, const char* what) {
    switch (WaitForDescriptor(fd_, events, deadline, stop_)) {
        case WaitOutcome::kReady:
            return {};
        case WaitOutcome::kStopped:
            return StoppedError();
        case WaitOutcome::kTimedOut:
            return MakeError(LErrorCode::kTimedOut, "%s %s timed out", what, peerHost_.c_str());
        case WaitOutcome::kFailed:
            break;
    }
    const int error = errno;
    LogSystemFailure("SecureSocket::Wait", "poll", error);
    return MakeError(LErrorCode::kNetwork, "waiting for %s failed: %s", peerHost_.c_str(),
                     std::strerror(error));
}

LError SecureSocket::ClosedByPeer() {
    atEnd_ = true;
    return MakeError(LErrorCode::kNetwork, "%s closed the connection", peerHost_.c_str());
}

LStatus SecureSocket::Send(const void* bytes, std::size_t length, int timeoutMs) {
    if (!IsOpen()) return NotOpen();
    const char* p = static_cast<const char*>(bytes);
    const Deadline deadline(timeoutMs);
    while (length > 0) {
        if (stop_.Requested()) return StoppedError();
        if (tls_) {
            std::size_t sent = 0;
            const TlsIo io = tls_->Write(p, length, &sent);
            if (io == TlsIo::kDone) {
                p += sent;
                length -= sent;
            } else if (io == TlsIo::kWantRead || io == TlsIo::kWantWrite) {
                if (LStatus ready =
                        Wait(io == TlsIo::kWantRead ? POLLIN : POLLOUT, deadline, "sending to");
                    !ready)
                    return ready;
            } else {
                const std::string reason =
                    io == TlsIo::kClosed ? "closed by the peer" : tls_->FailureReason();
                LogError("ProcessSend(LIPSocketTCP) SSLWrite FAILED: %s", reason.c_str());
                return MakeError(LErrorCode::kNetwork, "sending to %s failed: %s",
                                 peerHost_.c_str(), reason.c_str());
            }
            continue;
        }
        const ssize_t sent = send(fd_, p, length, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent > 0) {
            p += sent;
            length -= std::size_t(sent);
        } else if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            if (LStatus ready = Wait(POLLOUT, deadline, "sending to"); !ready) return ready;
        } else if (sent < 0 && errno != EINTR) {
            const int error = errno;
            LogError("ProcessSend(LIPSocketTCP) send FAILED: %s", std::strerror(error));
            return MakeError(LErrorCode::kNetwork, "sending to %s failed: %s", peerHost_.c_str(),
                             std::strerror(error));
        }
    }
    return {};
}

LResult<std::size_t> SecureSocket::Receive(void* buffer, std::size_t capacity, int timeoutMs) {
    if (!IsOpen()) return NotOpen();
    if (capacity == 0) return MakeError(LErrorCode::kInvalid, "no room to receive into");
    const Deadline deadline(timeoutMs);
    if (tls_) return TlsReceive(buffer, capacity, deadline);
    while (true) {
        if (stop_.Requested()) return StoppedError();
        const ssize_t got = recv(fd_, buffer, capacity, MSG_DONTWAIT);
        if (got > 0) return std::size_t(got);
        if (got == 0) return ClosedByPeer();
        if (errno == EAGAIN || errno == EWOULDBLOCK) {
            if (LStatus ready = Wait(POLLIN, deadline, "receiving from"); !ready)
                return ready.Error();
        } else if (errno != EINTR) {
            const int error = errno;
            LogError("ProcessRecv(LIPSocketTCP) recv error: %s", std::strerror(error));
            return MakeError(LErrorCode::kNetwork, "receiving from %s failed: %s",
                             peerHost_.c_str(), std::strerror(error));
        }
    }
}

LResult<std::size_t> SecureSocket::TlsReceive(void* buffer, std::size_t capacity,
                                              const Deadline& deadline) {
    while (true) {
        if (stop_.Requested()) return StoppedError();
        std::size_t got = 0;
        const TlsIo io = tls_->Read(buffer, capacity, &got);
        if (io == TlsIo::kDone) return got;
        if (io == TlsIo::kClosed) return ClosedByPeer();
        if (io == TlsIo::kFailed) {
            LogError("ProcessRecv(LIPSocketTCP) SSLRead error: %s", tls_->FailureReason().c_str());
            return MakeError(LErrorCode::kNetwork, "receiving from %s failed: %s",
                             peerHost_.c_str(), tls_->FailureReason().c_str());
        }
        if (LStatus ready =
                Wait(io == TlsIo::kWantRead ? POLLIN : POLLOUT, deadline, "receiving from");
            !ready)
            return ready.Error();
    }
}

LResult<std::size_t> SecureSocket::ReceiveUntil(void* buffer, std::size_t capacity,
                                                std::string_view delimiters, int timeoutMs) {
    if (!IsOpen()) return NotOpen();
    if (capacity == 0) return MakeError(LErrorCode::kInvalid, "no room to receive into");
    const Deadline deadline(timeoutMs);
    char* out = static_cast<char*>(buffer);
    if (tls_) return TlsReceiveUntil(out, capacity, delimiters, deadline);
    return PlainReceiveUntil(out, capacity, delimiters, deadline);
}

LResult<std::size_t> SecureSocket::PlainReceiveUntil(char* buffer, std::size_t capacity,
                                                     std::string_view delimiters,
                                                     const Deadline& deadline) {
    while (true) {
        if (stop_.Requested()) return StoppedError();
        const ssize_t peeked = recv(fd_, buffer, capacity, MSG_PEEK | MSG_DONTWAIT);
        if (peeked > 0) {
            const std::string_view waiting(buffer, std::size_t(peeked));
            const std::size_t at = waiting.find_first_of(delimiters);
            const std::size_t take = at == std::string_view::npos ? waiting.size() : at + 1;
            ssize_t got;
            do {
                got = recv(fd_, buffer, take, MSG_DONTWAIT);
            } while (got < 0 && errno == EINTR);
            if (got > 0) return std::size_t(got);
        } else if (peeked == 0) {
            return ClosedByPeer();
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            if (LStatus ready = Wait(POLLIN, deadline, "receiving from"); !ready)
                return ready.Error();
            continue;
        } else if (errno == EINTR) {
            continue;
        }
        const int error = errno;
        LogError("ProcessRecvToCharacter(LIPSocketTCP) recv error: %s", std::strerror(error));
        return MakeError(LErrorCode::kNetwork, "receiving from %s failed: %s", peerHost_.c_str(),
                         std::strerror(error));
    }
}

LResult<std::size_t> SecureSocket::TlsReceiveUntil(char* buffer, std::size_t capacity,
                                                   std::string_view delimiters,
                                                   const Deadline& deadline) {
    std::size_t count = 0;
    while (count < capacity) {
        if (stop_.Requested()) return count > 0 ? LResult<std::size_t>(count) : StoppedError();
        std::size_t got = 0;
        const TlsIo io = tls_->Read(buffer + count, 1, &got);
        if (io == TlsIo::kDone) {
            count += got;
            if (got == 1 && delimiters.find(buffer[count - 1]) != std::string_view::npos) break;
            continue;
        }
        if (count > 0) break;  // a would-block or the end: hand over what came so far
        if (io == TlsIo::kClosed) return ClosedByPeer();
        if (io == TlsIo::kFailed) {
            LogError("ProcessRecvToCharacter(LIPSocketTCP) SSLRead error: %s",
                     tls_->FailureReason().c_str());
            return MakeError(LErrorCode::kNetwork, "receiving from %s failed: %s",
                             peerHost_.c_str(), tls_->FailureReason().c_str());
        }
        if (LStatus ready =
                Wait(io == TlsIo::kWantRead ? POLLIN : POLLOUT, deadline, "receiving from");
            !ready)
            return ready.Error();
    }
    return count;
}

LResult<std::string> SecureSocket::ReceiveLine(std::size_t maxLength, int timeoutMs,
                                               bool cutLongLines) {
    const Deadline deadline(timeoutMs);
    std::string line;
    bool cut = false;
    char chunk[kLineChunk];
    while (true) {
        const int left = deadline.Unlimited() ? kNoTimeLimit : deadline.RemainingMs();
        auto got = ReceiveUntil(chunk, sizeof chunk, "\n", left);
        if (!got) {
            if (AtEnd() && (!line.empty() || cut))
                return MakeError(LErrorCode::kProtocol, "%s ended the connection within a line",
                                 peerHost_.c_str());
            return got.Error();
        }
        const std::string_view piece(chunk, got.Value());
        const bool ended = piece.back() == '\n';
        if (!cut) line.append(piece);
        std::size_t length = line.size();
        if (ended && length > 0 && line[length - 1] == '\n') --length;
        if (length > 0 && line[length - 1] == '\r') --length;  // a CR whose LF may follow
        if (!cut && length > maxLength) {
            if (!cutLongLines)
                return MakeError(LErrorCode::kProtocol, "%s sent a line longer than %zu bytes",
                                 peerHost_.c_str(), maxLength);
            line.resize(maxLength);
            cut = true;
        }
        if (ended) {
            if (!cut) line.resize(length);
            return line;
        }
    }
}

LStatus SecureSocket::FinishSending(int timeoutMs) {
    if (!IsOpen()) return NotOpen();
    const Deadline deadline(timeoutMs);
    if (tls_) {
        while (tls_->Shutdown() == TlsIo::kWantWrite)
            if (LStatus ready = Wait(POLLOUT, deadline, "ending the connection to"); !ready)
                return ready;
    }
    if (shutdown(fd_, SHUT_WR) != 0) {
        const int error = errno;
        LogSystemFailure("SecureSocket::FinishSending", "shutdown", error);
        return MakeError(LErrorCode::kNetwork, "ending the connection to %s failed: %s",
                         peerHost_.c_str(), std::strerror(error));
    }
    char sink[4096];
    while (true) {
        auto got = Receive(sink, sizeof sink, deadline.RemainingMs());
        if (!got) return AtEnd() ? LStatus() : LStatus(got.Error());
    }
}

void SecureSocket::Close(int waitMs) {
    if (tls_ && fd_ >= 0) {
        const Deadline deadline(waitMs);
        while (tls_->Shutdown() == TlsIo::kWantWrite &&
               WaitForDescriptor(fd_, POLLOUT, deadline, StopFlag()) == WaitOutcome::kReady) {
        }
    }
    tls_.reset();
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
}

std::string SecureSocket::TlsDescription() const {
    return tls_ ? tls_->Description() : std::string();
}

bool SecureSocket::TlsSessionReused() const {
    return tls_ && tls_->SessionReused();
}

}  // namespace vocarta
