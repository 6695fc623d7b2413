#pragma once
// An FTP client session: one control connection, logged in, with passive data
// connections for uploads and listings. Logging in is an explicit state machine
// (connect, greeting, AUTH TLS, USER, PASS), one function per state and one
// place that changes state; every state speaks through the shared command/reply
// layer FtpControl. The upload has its own machine (ftp_upload.cpp).
//
// TLS: explicit (AUTH TLS) or implicit; once the control connection is
// encrypted every data connection is too, resuming the control connection's TLS
// session (servers such as vsftpd refuse a data connection that does not).
//
// A passive address that differs from the control connection's server (a
// private address behind NAT, or a server pointing the client elsewhere) is
// replaced by the server's own address with the port the reply gave.
//
// Results: LStatus/LResult; a stop request seen during any wait is kCancelled,
// a refused command kProtocol with the server's reply in the message.
//
// Threading: one thread at a time uses a session (the send thread, or the
// connection test's worker); only the observer's stop flag is touched by other
// threads, and the observer's functions are called on the session's thread.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "net/stop_flag.h"
#include "toolkit/result.h"
#include "transmit/ftp/ftp_control.h"
#include "transmit/ftp/ftp_listing.h"
#include "transmit/ftp/ftp_reply.h"

namespace vocarta {

inline constexpr uint16_t kFtpPort = 21;
inline constexpr uint16_t kFtpImplicitTlsPort = 990;
inline constexpr int kFtpDataConnectTimeoutMs = 20000;
// The text logged when a server refuses protected data connections.
inline constexpr const char* kFtpProtRefusedText =
    "This FTP server does not support the required protected mode data transfers for SSL "
    "connections.";

// How the session asks for TLS.
enum class FtpTlsMode {
    kNone,               // plain FTP
    kExplicitIfOffered,  // AUTH TLS; a server that refuses it is used in clear
    kExplicitRequired,   // AUTH TLS; a refusal ends the log-in before the password
    kImplicit,           // TLS from the first byte (port 990 by default)
};

// What the session reports to, and is stopped by. Unset functions are skipped;
// `log` defaults to the program's error log.
struct FtpObserver {
    StopFlag stop;
    std::function<void(double)> progress;
    std::function<void(const std::string&)> status;
    std::function<void(const std::string&)> log;
};

struct FtpLogin {
    std::string server;  // "host", "host:port", "[v6]:port"
    std::string user;
    std::string password;
    FtpTlsMode tls = FtpTlsMode::kNone;
};

// What an upload did, on success and on failure alike.
struct FtpUploadStats {
    int64_t localSize = 0;
    int64_t startOffset = 0;  // where the local file was read from (appending)
    int64_t bytesSent = 0;    // put on the data connection by this upload
    bool appended = false;    // the transfer ran as APPE
    bool transferStarted = false;
    bool keptTime = false;  // MFMT set the remote time
};

// The upload's keep-alive timing, kept apart so that a test can see a keep-alive
// without waiting half a minute.
struct FtpKeepAliveTiming {
    int intervalMs = 30000;      // a NOOP once this long has passed without one
    int replyWaitMs = 5000;      // how long its reply is looked for
    int pendingReplyMs = 10000;  // each pending reply at the end of the transfer
};

enum class FtpState { kClosed, kConnecting, kGreeting, kAuthTls, kUser, kPass, kReady };
const char* FtpStateName(FtpState state);

class FtpSession {
  public:
    explicit FtpSession(FtpObserver observer = {});
    ~FtpSession();
    FtpSession(const FtpSession&) = delete;
    FtpSession& operator=(const FtpSession&) = delete;

    // Closes what was open, connects (60000 ms), reads the greeting (200 to 399),
    // asks for TLS as `login.tls` says, then USER (230 logs in at once, 530
    // refuses) and PASS.
    LStatus Connect(const FtpLogin& login);
    // "CWD dir": 200 to 399.
    LStatus ChangeDirectory(const std::string& dir);
    // "PWD": the path between the quotes of the reply.
    LResult<std::string> PrintDirectory();
    // "DELE name".
    LStatus Delete(const std::string& name);
    // The server's size of `name`: MLST, else SIZE (after TYPE I), else a
    // listing. kNotFound when the server has no such file.
    LResult<int64_t> RemoteSize(const std::string& name);
    // The entries of `dir` (the current folder when empty): MLSD when offered,
    // else LIST, after "OPTS UTF8 ON" (when offered) and "TYPE A".
    LResult<std::vector<FtpListEntry>> List(const std::string& dir = {});
    // FEAT, once per connection; a failed FEAT leaves only SIZE assumed.
    const FtpFeatures& QueryFeatures();
    // Uploads the local file as `remoteName` (STOR, or APPE from the server's
    // size when `append`); see ftp_upload.cpp for the steps. The reply text of
    // a refused STOR/APPE (300 or more) goes into `errorText` when given.
    LResult<FtpUploadStats> Upload(const std::string& remoteName, const std::string& localPath,
                                   bool append, std::string* errorText = nullptr);
    // What the last Upload did, also after a failure.
    const FtpUploadStats& LastUploadStats() const { return lastUpload_; }
    // Sends QUIT when logged in (not waiting long for its reply) and closes.
    void Close();

    void SetKeepAliveTiming(const FtpKeepAliveTiming& timing) { keepAlive_ = timing; }
    const FtpKeepAliveTiming& KeepAliveTiming() const { return keepAlive_; }

    FtpState State() const { return state_; }
    bool IsEncrypted() const { return control_.IsTls(); }
    const FtpReply& LastReply() const { return control_.LastReply(); }
    FtpControl& Control() { return control_; }
    const FtpObserver& Observer() const { return observer_; }

    // Used by the upload and the listing.
    // Sends PASV, reads the address and connects a data socket to it (20000 ms).
    LResult<SecureSocket> OpenPassive();
    // Whether the last OpenPassive failed (its reply, its address or its
    // connection), as the connection test reports it.
    bool LastPassiveFailed() const { return passiveFailed_; }
    // On an encrypted control connection, "PBSZ 0" and "PROT P" (a refusal with
    // 534 logs kFtpProtRefusedText); nothing in clear.
    LStatus ProtectDataConnections();
    // TLS on a data connection, resuming the control connection's session; a
    // no-op on a clear control connection.
    LStatus SecureData(SecureSocket& data);
    void Status(const std::string& text) const;
    void Progress(double fraction) const;
    void Log(const std::string& text) const;

  private:
    // The log-in machine: one function per state, each naming the next state.
    LStatus RunLogin();
    LResult<FtpState> OnConnecting();
    LResult<FtpState> OnGreeting();
    LResult<FtpState> OnAuthTls();
    LResult<FtpState> OnUser();
    LResult<FtpState> OnPass();
    void Go(FtpState next);

    LResult<FtpReply> Command(std::string_view verb, std::string_view argument,
                              int replyTimeoutMs = kFtpReplyTimeoutMs);
    LError Refused(const FtpReply& reply, const char* what) const;
    LResult<std::string> ReadData(SecureSocket& data, std::size_t limit);
    LResult<int64_t> SizeFromListing(const std::string& name);

    FtpObserver observer_;
    FtpControl control_;
    FtpLogin login_;
    FtpState state_ = FtpState::kClosed;
    FtpFeatures features_;
    bool featuresAsked_ = false;
    bool passiveFailed_ = false;
    FtpUploadStats lastUpload_;
    FtpKeepAliveTiming keepAlive_;

    friend class FtpUpload;
};

}  // namespace vocarta
