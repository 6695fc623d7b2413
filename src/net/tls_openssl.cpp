// The TLS layer over OpenSSL 3. Policy: TLS 1.2 at least; the server's chain is
// verified against the system's store (which honours SSL_CERT_FILE and
// SSL_CERT_DIR) and its name against the host the caller asked for; the name is
// sent as SNI; keys and signatures below security level 2 are refused even where
// the system's configuration would allow them.

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "net/socket_address.h"
#include "net/tls_layer.h"
#include "toolkit/log.h"

namespace vocarta {

namespace {

constexpr int kMinSecurityLevel = 2;

// What the socket BIO saw, for telling a reset from a clean end.
struct SocketState {
    int fd = -1;
    int lastErrno = 0;
    bool eof = false;
};

// Reads and writes go through our own BIO so that writes use MSG_NOSIGNAL: a
// peer that went away must give EPIPE, never SIGPIPE (which would end the
// program).
int BioWrite(BIO* bio, const char* data, int length) {
    auto* state = static_cast<SocketState*>(BIO_get_data(bio));
    BIO_clear_retry_flags(bio);
    ssize_t n;
    do {
        n = send(state->fd, data, size_t(length), MSG_NOSIGNAL);
    } while (n < 0 && errno == EINTR);
    if (n >= 0) return int(n);
    if (errno == EAGAIN || errno == EWOULDBLOCK)
        BIO_set_retry_write(bio);
    else
        state->lastErrno = errno;
    return -1;
}

int BioRead(BIO* bio, char* data, int capacity) {
    auto* state = static_cast<SocketState*>(BIO_get_data(bio));
    BIO_clear_retry_flags(bio);
    ssize_t n;
    do {
        n = recv(state->fd, data, size_t(capacity), 0);
    } while (n < 0 && errno == EINTR);
    if (n > 0) return int(n);
    if (n == 0) {
        state->eof = true;
        return 0;
    }
    if (errno == EAGAIN || errno == EWOULDBLOCK)
        BIO_set_retry_read(bio);
    else
        state->lastErrno = errno;
    return -1;
}

long BioCtrl(BIO* bio, int command, long, void*) {
    switch (command) {
        case BIO_CTRL_FLUSH:
            return 1;
        case BIO_CTRL_EOF:
            return static_cast<SocketState*>(BIO_get_data(bio))->eof ? 1 : 0;
        default:
            return 0;
    }
}

int BioCreate(BIO* bio) {
    BIO_set_init(bio, 1);
    return 1;
}

BIO_METHOD* SocketBioMethod() {
    static BIO_METHOD* method = [] {
        BIO_METHOD* m = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "vocarta socket");
        if (m) {
            BIO_meth_set_write(m, BioWrite);
            BIO_meth_set_read(m, BioRead);
            BIO_meth_set_ctrl(m, BioCtrl);
            BIO_meth_set_create(m, BioCreate);
        }
        return m;
    }();
    return method;
}

std::string OpenSslErrorText() {
    unsigned long first = ERR_get_error();
    std::string text;
    if (first != 0) {
        const char* reason = ERR_reason_error_string(first);
        if (reason) {
            text = reason;
        } else {
            char buf[256];
            ERR_error_string_n(first, buf, sizeof buf);
            text = buf;
        }
    }
    ERR_clear_error();
    return text;
}

// One client context for the whole program: the system's trust store is read
// once, and FTP data connections can resume the control connection's session.
struct ClientContext {
    SSL_CTX* ctx = nullptr;
    std::string error;
};

ClientContext MakeClientContext() {
    ClientContext result;
    SSL_CTX* ctx = SSL_CTX_new(TLS_client_method());
    if (!ctx) {
        result.error = "cannot create a TLS context: " + OpenSslErrorText();
        LogError("TlsLayer SSL_CTX_new FAILED: %s", result.error.c_str());
        return result;
    }
    // Older TLS only where a TLS library cannot require 1.2; OpenSSL 3 always can,
    // so the minimum stays 1.2 and servers that speak only 1.0 or 1.1 are refused.
    for (int version : {TLS1_2_VERSION, TLS1_1_VERSION, TLS1_VERSION})
        if (SSL_CTX_set_min_proto_version(ctx, version) == 1) break;
    if (SSL_CTX_get_security_level(ctx) < kMinSecurityLevel)
        SSL_CTX_set_security_level(ctx, kMinSecurityLevel);
    if (SSL_CTX_set_default_verify_paths(ctx) != 1)
        LogError("TlsLayer SSL_CTX_set_default_verify_paths FAILED: %s",
                 OpenSslErrorText().c_str());
    SSL_CTX_set_verify(ctx, SSL_VERIFY_PEER, nullptr);
    SSL_CTX_set_mode(ctx, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    // Many servers end a connection without the TLS close notice; the protocols
    // on top carry their own lengths and end markers, so such an end counts as
    // the end of the stream, as in other clients.
    SSL_CTX_set_options(ctx, SSL_OP_IGNORE_UNEXPECTED_EOF);
    SSL_CTX_set_read_ahead(ctx, 1);
    result.ctx = ctx;
    return result;
}

const ClientContext& SharedClientContext() {
    static const ClientContext context = MakeClientContext();
    return context;
}

class OpenSslLayer final : public TlsLayer {
  public:
    explicit OpenSslLayer(SSL* ssl) : ssl_(ssl) {}
    ~OpenSslLayer() override { SSL_free(ssl_); }

    LStatus Attach(int fd, const std::string& host, const TlsLayer* resumeFrom);

    TlsIo Handshake() override {
        ERR_clear_error();
        state_.lastErrno = 0;
        int r = SSL_connect(ssl_);
        if (r == 1) return TlsIo::kDone;
        TlsIo io = Map(r);
        // A connection that ends in the middle of a handshake is a failed one.
        if (io == TlsIo::kClosed) {
            fatal_ = true;
            reason_ = "the server closed the connection during the TLS handshake";
            return TlsIo::kFailed;
        }
        return io;
    }

    TlsIo Read(void* buffer, std::size_t capacity, std::size_t* count) override {
        ERR_clear_error();
        state_.lastErrno = 0;
        *count = 0;
        if (SSL_read_ex(ssl_, buffer, capacity, count) == 1) return TlsIo::kDone;
        return Map(0);
    }

    TlsIo Write(const void* bytes, std::size_t length, std::size_t* count) override {
        ERR_clear_error();
        state_.lastErrno = 0;
        *count = 0;
        if (SSL_write_ex(ssl_, bytes, length, count) == 1) return TlsIo::kDone;
        return Map(0);
    }

    bool HasBuffered() const override { return SSL_has_pending(ssl_) == 1; }

    TlsIo Shutdown() override {
        // After a fatal error the session must not be used, not even to say goodbye.
        if (fatal_ || !SSL_is_init_finished(ssl_)) return TlsIo::kDone;
        ERR_clear_error();
        int r = SSL_shutdown(ssl_);
        if (r >= 0) return TlsIo::kDone;
        int error = SSL_get_error(ssl_, r);
        ERR_clear_error();
        if (error == SSL_ERROR_WANT_WRITE) return TlsIo::kWantWrite;
        return TlsIo::kDone;
    }

    std::string FailureReason() const override { return reason_; }

    std::string Description() const override {
        return std::string(SSL_get_version(ssl_)) + " " + SSL_get_cipher_name(ssl_);
    }

    bool SessionReused() const override { return SSL_session_reused(ssl_) == 1; }

    SSL* Handle() const { return ssl_; }

  private:
    TlsIo Map(int result) {
        const int error = SSL_get_error(ssl_, result);
        switch (error) {
            case SSL_ERROR_WANT_READ:
                return TlsIo::kWantRead;
            case SSL_ERROR_WANT_WRITE:
                return TlsIo::kWantWrite;
            case SSL_ERROR_ZERO_RETURN:
                ERR_clear_error();
                return TlsIo::kClosed;
            case SSL_ERROR_SYSCALL:
                fatal_ = true;
                if (state_.lastErrno != 0) {
                    reason_ = std::strerror(state_.lastErrno);
                    ERR_clear_error();
                    return TlsIo::kFailed;
                }
                reason_ = OpenSslErrorText();
                if (reason_.empty()) return TlsIo::kClosed;
                return TlsIo::kFailed;
            default: {
                fatal_ = true;
                const long verify = SSL_get_verify_result(ssl_);
                std::string library = OpenSslErrorText();
                reason_ = verify != X509_V_OK ? X509_verify_cert_error_string(verify) : library;
                if (reason_.empty()) reason_ = "TLS error " + std::to_string(error);
                return TlsIo::kFailed;
            }
        }
    }

    SSL* ssl_;
    SocketState state_;
    bool fatal_ = false;
    std::string reason_;
};

LStatus OpenSslLayer::Attach(int fd, const std::string& host, const TlsLayer* resumeFrom) {
    state_.fd = fd;
    BIO* bio = SocketBioMethod() ? BIO_new(SocketBioMethod()) : nullptr;
    if (!bio)
        return MakeError(LErrorCode::kTls, "cannot set up TLS: %s", OpenSslErrorText().c_str());
    BIO_set_data(bio, &state_);
    SSL_set_bio(ssl_, bio, bio);

    // A name is checked against the certificate's DNS names and sent as SNI; a
    // numeric address against its IP addresses, and never sent as SNI.
    std::string name = host;
    if (!name.empty() && name.back() == '.') name.pop_back();
    if (IsNumericHost(name)) {
        if (X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(ssl_), name.c_str()) != 1)
            return MakeError(LErrorCode::kTls, "cannot check the server as %s", name.c_str());
    } else {
        SSL_set_hostflags(ssl_, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
        if (SSL_set1_host(ssl_, name.c_str()) != 1 ||
            SSL_set_tlsext_host_name(ssl_, name.c_str()) != 1)
            return MakeError(LErrorCode::kTls, "cannot check the server as \"%s\": %s",
                             name.c_str(), OpenSslErrorText().c_str());
    }

    if (const auto* previous = dynamic_cast<const OpenSslLayer*>(resumeFrom)) {
        SSL_SESSION* session = SSL_get1_session(previous->Handle());
        if (session && SSL_SESSION_is_resumable(session)) SSL_set_session(ssl_, session);
        SSL_SESSION_free(session);
    }
    return {};
}

}  // namespace

LResult<std::unique_ptr<TlsLayer>> CreateTlsLayer(int fd, const std::string& host,
                                                  const TlsLayer* resumeFrom) {
    if (host.empty())
        return MakeError(LErrorCode::kInvalid, "no server name to check the certificate against");
    const ClientContext& context = SharedClientContext();
    if (!context.ctx) return LError(LErrorCode::kTls, context.error);
    SSL* ssl = SSL_new(context.ctx);
    if (!ssl)
        return MakeError(LErrorCode::kTls, "cannot set up TLS: %s", OpenSslErrorText().c_str());
    auto layer = std::make_unique<OpenSslLayer>(ssl);
    if (auto attached = layer->Attach(fd, host, resumeFrom); !attached) return attached.Error();
    return std::unique_ptr<TlsLayer>(std::move(layer));
}

}  // namespace vocarta
