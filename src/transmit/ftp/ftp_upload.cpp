#include "transmit/ftp/ftp_upload.h"

#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <vector>

#include "toolkit/paths.h"
#include "toolkit/text.h"
#include "transmit/ftp/ftp_upload_progress.h"

namespace vocarta {

namespace {

// Batches of blocks: the first is small, so that a slow link learns its pace
// before a large batch has to meet the block's time-out; the largest (64 KiB)
// stays in the processor's cache between the file's read and the socket's
// write, which costs less than larger batches.
constexpr int64_t kFirstBatchBlocks = 16;
constexpr int64_t kMaxBatchBlocks = 64;
// A batch that leaves this fast may double; one this slow halves.
constexpr long long kFastBatchMs = 20;
constexpr long long kSlowBatchMs = 1000;
// Replies that may precede the final one beyond the keep-alive replies counted.
constexpr int kExtraRepliesBeforeFinal = 4;

bool HasLineBreak(std::string_view text) {
    return text.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos;
}

}  // namespace

LResult<FtpUploadStats> FtpSession::Upload(const std::string& remoteName,
                                           const std::string& localPath, bool append,
                                           std::string* errorText) {
    FtpUpload upload(*this, remoteName, localPath, append, errorText);
    return upload.Run();
}

FtpUpload::FtpUpload(FtpSession& session, std::string remoteName, std::string localPath,
                     bool append, std::string* errorText)
    : session_(session),
      control_(session.Control()),
      remoteName_(std::move(remoteName)),
      localPath_(std::move(localPath)),
      appending_(append),
      errorText_(errorText),
      data_(session.Observer().stop) {}

LResult<FtpUploadStats> FtpUpload::Run() {
    while (step_ != Step::kDone) {
        LResult<Step> next = Dispatch();
        if (!next) {
            data_.Close(next.Error().IsCancelled() ? 0 : kFtpCloseWaitMs);
            session_.lastUpload_ = stats_;
            return next.Error();
        }
        Go(next.Value());
    }
    session_.lastUpload_ = stats_;
    return stats_;
}

LResult<FtpUpload::Step> FtpUpload::Dispatch() {
    switch (step_) {
        case Step::kOpenFile:
            return OnOpenFile();
        case Step::kRemoteSize:
            return OnRemoteSize();
        case Step::kProtect:
            return OnProtect();
        case Step::kType:
            return OnType();
        case Step::kStart:
            return OnStart();
        case Step::kRetryAsStore:
            return OnRetryAsStore();
        case Step::kTransfer:
            return OnTransfer();
        case Step::kFinish:
            return OnFinish();
        case Step::kCheckSize:
            return OnCheckSize();
        case Step::kKeepTime:
            return OnKeepTime();
        case Step::kDone:
            break;
    }
    return Step::kDone;
}

LResult<FtpReply> FtpUpload::Command(const char* verb, std::string_view argument) {
    return control_.Exchange(verb, argument, kFtpShortCommandTimeoutMs);
}

LResult<FtpUpload::Step> FtpUpload::OnOpenFile() {
    if (remoteName_.empty() || HasLineBreak(remoteName_))
        return MakeError(LErrorCode::kInvalid, "the name \"%s\" cannot be sent to an FTP server",
                         CutText(remoteName_, 80).c_str());
    session_.Status("Uploading file...");
    session_.Status(BaseName(localPath_));
    if (!file_.Open(localPath_, LFile::Mode::Read))
        return MakeError(LErrorCode::kIo, "cannot open the recording \"%s\"", localPath_.c_str());
    if (!file_.LockWait(LFile::LockKind::Shared, kFtpLocalLockWaitMs))
        return MakeError(LErrorCode::kIo, "the recording \"%s\" is locked by another program",
                         localPath_.c_str());
    struct stat info {};
    if (fstat(file_.Descriptor(), &info) != 0)
        return MakeError(LErrorCode::kIo, "cannot read the size of \"%s\"", localPath_.c_str());
    stats_.localSize = info.st_size;
    modified_ = info.st_mtime;
    return appending_ ? Step::kRemoteSize : Step::kProtect;
}

// Asked before APPE rather than once its transfer has begun: many servers
// (vsftpd among them) read no command while a transfer runs.
LResult<FtpUpload::Step> FtpUpload::OnRemoteSize() {
    auto size = session_.RemoteSize(remoteName_);
    if (size) {
        remoteSize_ = size.Value();
    } else if (size.Error().Code() == LErrorCode::kNotFound) {
        remoteSize_ = 0;
    } else if (size.Error().Code() == LErrorCode::kProtocol) {
        // What the server holds is unknown: the file goes whole rather than be
        // appended to something else.
        appending_ = false;
    } else {
        return size.Error();
    }
    return Step::kProtect;
}

LResult<FtpUpload::Step> FtpUpload::OnProtect() {
    if (LStatus protectedData = session_.ProtectDataConnections(); !protectedData)
        return protectedData.Error();
    return Step::kType;
}

LResult<FtpUpload::Step> FtpUpload::OnType() {
    auto type = Command("TYPE", "I");
    if (!type) return type.Error();
    if (!type.Value().Positive()) return session_.Refused(type.Value(), "TYPE I");
    return Step::kStart;
}

LResult<FtpReply> FtpUpload::StartTransfer(const char* verb) {
    auto data = session_.OpenPassive();
    if (!data) return data.Error();
    data_ = std::move(data.Value());
    auto reply = Command(verb, remoteName_);
    if (!reply) return reply.Error();
    if (reply.Value().code >= 300 && errorText_) *errorText_ = reply.Value().Text();
    return reply;
}

LResult<FtpUpload::Step> FtpUpload::OnStart() {
    auto reply = StartTransfer(appending_ ? "APPE" : "STOR");
    if (!reply) return reply.Error();
    if (reply.Value().Preliminary()) return Step::kTransfer;
    data_.Close(kFtpCloseWaitMs);
    if (!appending_ && reply.Value().code != 550)
        return session_.Refused(reply.Value(), "the upload (STOR)");
    return Step::kRetryAsStore;
}

LResult<FtpUpload::Step> FtpUpload::OnRetryAsStore() {
    appending_ = false;
    auto reply = StartTransfer("STOR");
    if (!reply) return reply.Error();
    if (reply.Value().Preliminary()) return Step::kTransfer;
    data_.Close(kFtpCloseWaitMs);
    return session_.Refused(reply.Value(), "the upload (STOR)");
}

LResult<FtpUpload::Step> FtpUpload::OnTransfer() {
    if (LStatus secured = session_.SecureData(data_); !secured) return secured.Error();
    stats_.appended = appending_;
    const int64_t start = appending_ ? std::min(remoteSize_, stats_.localSize) : 0;
    if (!file_.Seek(start))
        return MakeError(LErrorCode::kIo, "cannot read the recording \"%s\"", localPath_.c_str());
    stats_.startOffset = start;
    stats_.transferStarted = true;
    if (LStatus sent = SendBlocks(); !sent) return sent.Error();
    return Step::kFinish;
}

LStatus FtpUpload::SendBlocks() {
    FtpUploadProgress progress(stats_.localSize, stats_.startOffset);
    if (stats_.startOffset > 0) {
        session_.Progress(progress.Fraction());
        session_.Status(progress.StatusText(remoteName_));
    }
    std::vector<char> buffer(std::size_t(kMaxBatchBlocks * kFtpBlockSize));
    int64_t batchBlocks = kFirstBatchBlocks;
    lastKeepAlive_ = MonotonicMs();
    while (true) {
        if (session_.Observer().stop.Requested()) return StoppedError();
        const int64_t want = batchBlocks * kFtpBlockSize;
        const int64_t got = file_.Read(buffer.data(), want);
        if (got < 0) {
            Abort();
            return MakeError(LErrorCode::kIo, "cannot read the recording \"%s\"",
                             localPath_.c_str());
        }
        if (got == 0) break;
        const long long began = MonotonicMs();
        if (LStatus sent = data_.Send(buffer.data(), std::size_t(got), kFtpBlockTimeoutMs); !sent) {
            if (!sent.Error().IsCancelled()) Abort();
            return sent.Error();
        }
        stats_.bytesSent += got;
        for (int64_t b = 0; b < (got + kFtpBlockSize - 1) / kFtpBlockSize; ++b) {
            if (!progress.Block()) continue;
            session_.Progress(progress.Fraction());
            session_.Status(progress.StatusText(remoteName_));
        }
        const long long now = MonotonicMs();
        if (now - began < kFastBatchMs && batchBlocks < kMaxBatchBlocks)
            batchBlocks *= 2;
        else if (now - began > kSlowBatchMs && batchBlocks > 1)
            batchBlocks /= 2;
        if (LStatus alive = KeepAlive(now); !alive) return alive;
        if (got < want) break;
    }
    return {};
}

LStatus FtpUpload::KeepAlive(long long now) {
    if (noopSentAt_ >= 0) {
        auto reply = control_.Read(0);
        if (reply) {
            if (reply.Value().code >= 400 || reply.Value().code == 226)
                earlyFinal_ = reply.Value();
            else if (pendingReplies_ > 0)
                --pendingReplies_;
            if (pendingReplies_ == 0) noopSentAt_ = -1;
        } else if (reply.Error().Code() != LErrorCode::kTimedOut) {
            return reply.Error();
        } else if (now - noopSentAt_ >= session_.KeepAliveTiming().replyWaitMs) {
            noopSentAt_ = -1;  // its reply stays pending until the end
        }
    }
    if (now - lastKeepAlive_ > session_.KeepAliveTiming().intervalMs) {
        if (LStatus sent = control_.Send("NOOP", "", kFtpShortCommandTimeoutMs); !sent) return sent;
        ++pendingReplies_;
        noopSentAt_ = now;
        lastKeepAlive_ = now;
    }
    return {};
}

void FtpUpload::Abort() {
    data_.Close(0);
    if (!control_.Send("ABOR", "", kFtpShortCommandTimeoutMs)) return;
    for (int i = 0; i < 2; ++i) {
        auto reply = control_.Read(kFtpAbortReplyMs);
        if (!reply || reply.Value().code != 425) return;  // 426 or 226 end it
    }
}

LResult<FtpReply> FtpUpload::FinalReply() {
    if (earlyFinal_) return *earlyFinal_;
    if (pendingReplies_ == 0) return control_.Read(kFtpReplyTimeoutMs);
    const int waitMs = session_.KeepAliveTiming().pendingReplyMs;
    // Keep-alive replies may come before the transfer's own reply or after it.
    for (int read = 0; read < pendingReplies_ + kExtraRepliesBeforeFinal; ++read) {
        auto reply = control_.Read(waitMs);
        if (!reply) return reply;
        const int code = reply.Value().code;
        if (code == 226 || code == 426 || code >= 400 || read >= pendingReplies_) {
            for (int left = pendingReplies_ - read; left > 0; --left) {
                auto late = control_.Read(waitMs);
                if (!late) break;
            }
            pendingReplies_ = 0;
            return reply;
        }
    }
    return MakeError(LErrorCode::kProtocol, "the FTP server did not end the transfer");
}

LResult<FtpUpload::Step> FtpUpload::OnFinish() {
    // The server reads to the end before it answers; whether the end came in
    // good order is for its final reply to say.
    LStatus finished = data_.FinishSending(kFtpCloseWaitMs);
    if (!finished && finished.Error().IsCancelled()) return finished.Error();
    data_.Close(kFtpCloseWaitMs);
    auto reply = FinalReply();
    if (!reply) return reply.Error();
    final_ = reply.Value();
    if (final_.Positive()) return Step::kKeepTime;
    if (final_.code == 426) return Step::kCheckSize;
    if (final_.code == 550) session_.Log("Error uploading to server: " + final_.Text());
    if (errorText_) *errorText_ = final_.Text();
    return session_.Refused(final_, "the uploaded file");
}

// A transfer the server calls interrupted still counts when the whole file is
// there.
LResult<FtpUpload::Step> FtpUpload::OnCheckSize() {
    auto size = session_.RemoteSize(remoteName_);
    if (!size && size.Error().IsCancelled()) return size.Error();
    if (size && size.Value() == stats_.localSize) return Step::kKeepTime;
    if (errorText_) *errorText_ = final_.Text();
    return session_.Refused(final_, "the uploaded file");
}

LResult<FtpUpload::Step> FtpUpload::OnKeepTime() {
    if (!session_.QueryFeatures().mfmt) return Step::kDone;
    const time_t when = time_t(modified_);
    struct tm utc {};
    if (!gmtime_r(&when, &utc)) return Step::kDone;
    const std::string argument =
        StringPrintf("%04d%02d%02d%02d%02d%02d %s", utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday,
                     utc.tm_hour, utc.tm_min, utc.tm_sec, remoteName_.c_str());
    auto reply = control_.Exchange("MFMT", argument, FtpCommandTimeoutMs(argument));
    // The file is there; a time the server would not take does not undo that.
    stats_.keptTime = reply && reply.Value().Positive();
    return Step::kDone;
}

}  // namespace vocarta
