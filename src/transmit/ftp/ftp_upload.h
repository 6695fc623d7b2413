#pragma once
// The upload of one file over a logged-in FtpSession, as a machine of steps:
//
//   open the file (shared lock, 500 ms) -> [appending: the server's size]
//   -> PBSZ 0 / PROT P (encrypted control connection) -> TYPE I
//   -> PASV + STOR or APPE -> [retry once as STOR] -> transfer -> final reply
//   -> [426: compare the server's size] -> MFMT (when offered)
//
// The transfer reads the file in 1024-byte blocks, which is what progress
// counts; the blocks reach the socket in batches sized to the link (one block
// at a time on a slow one, 64 at a time on a fast one), each batch with the
// block's 20000 ms time-out. Every 30000 ms a NOOP goes out on the control
// connection; its reply is looked for between batches for 5000 ms and is
// otherwise counted as pending: at the end replies are read (10000 ms each)
// until the transfer's own, and the keep-alive replies a server sends after it
// (as servers that read no command during a transfer do) are read too, so that
// no stale reply answers a later command.
//
// Threading: the session's thread.

#include <cstdint>
#include <optional>
#include <string>

#include "net/secure_socket.h"
#include "toolkit/lfile.h"
#include "toolkit/result.h"
#include "transmit/ftp/ftp_session.h"

namespace vocarta {

inline constexpr int kFtpBlockTimeoutMs = 20000;
inline constexpr int kFtpAbortReplyMs = 2000;
inline constexpr int kFtpLocalLockWaitMs = 500;

class FtpUpload {
  public:
    FtpUpload(FtpSession& session, std::string remoteName, std::string localPath, bool append,
              std::string* errorText);

    LResult<FtpUploadStats> Run();

  private:
    enum class Step {
        kOpenFile,
        kRemoteSize,
        kProtect,
        kType,
        kStart,
        kRetryAsStore,
        kTransfer,
        kFinish,
        kCheckSize,
        kKeepTime,
        kDone,
    };

    LResult<Step> OnOpenFile();
    LResult<Step> OnRemoteSize();
    LResult<Step> OnProtect();
    LResult<Step> OnType();
    LResult<Step> OnStart();
    LResult<Step> OnRetryAsStore();
    LResult<Step> OnTransfer();
    LResult<Step> OnFinish();
    LResult<Step> OnCheckSize();
    LResult<Step> OnKeepTime();
    LResult<Step> Dispatch();
    void Go(Step next) { step_ = next; }

    // Opens a data connection and sends STOR or APPE; the reply, or an error.
    LResult<FtpReply> StartTransfer(const char* verb);
    LStatus SendBlocks();
    LStatus KeepAlive(long long now);
    void Abort();
    LResult<FtpReply> FinalReply();
    LResult<FtpReply> Command(const char* verb, std::string_view argument);

    FtpSession& session_;
    FtpControl& control_;
    std::string remoteName_;
    std::string localPath_;
    bool appending_;
    std::string* errorText_;
    Step step_ = Step::kOpenFile;

    LFile file_;
    int64_t modified_ = 0;    // the local file's time, seconds since 1970
    int64_t remoteSize_ = 0;  // what the server has, when appending
    SecureSocket data_;
    int pendingReplies_ = 0;              // keep-alive replies not yet read
    long long lastKeepAlive_ = 0;         // the transfer's start or the last NOOP
    long long noopSentAt_ = -1;           // while its reply is looked for between batches
    std::optional<FtpReply> earlyFinal_;  // an end reply that came during the transfer
    FtpReply final_;
    FtpUploadStats stats_;
};

}  // namespace vocarta
