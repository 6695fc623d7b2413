#include "transmit/send_queue_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <vector>

#include "toolkit/log.h"
#include "toolkit/paths.h"

namespace vocarta {

namespace {

constexpr const char* kQueueName = "bgsend.lst";
// Openings in a row that may find the file replaced under them before giving up.
constexpr int kOpenAttempts = 16;

int64_t FileSize(LFile& file) {
    return file.GetFileSizeBytes64();
}

bool SameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Whole records behind the header of a file of `size` bytes.
std::size_t RecordsIn(int64_t size) {
    if (size <= int64_t(kSendQueueHeaderSize)) return 0;
    return std::size_t((size - int64_t(kSendQueueHeaderSize)) / int64_t(kTransmitRecordSize));
}

}  // namespace

std::string SendQueuePath() {
    return JoinPath(AppDataDir(), kQueueName);
}

SendQueueFile::SendQueueFile(std::string path) : path_(std::move(path)) {}

LResult<LFile> SendQueueFile::OpenLocked(LFile::LockKind kind, bool create) {
    for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
        struct stat st;
        if (lstat(path_.c_str(), &st) == 0) {
            if (S_ISLNK(st.st_mode)) {
                LogError(
                    "SendQueueFile: %s is a symbolic link, not a send queue; the link is removed, "
                    "what it points to is left alone",
                    path_.c_str());
                if (unlink(path_.c_str()) != 0 && errno != ENOENT) {
                    LogSystemFailure("SendQueueFile::OpenLocked", "unlink");
                    return MakeError(LErrorCode::kInvalid, "%s is a symbolic link", path_.c_str());
                }
                continue;
            }
            if (!S_ISREG(st.st_mode)) {
                LogError(
                    "SendQueueFile: %s is not a regular file (a folder?); it is left alone and "
                    "no recording is queued or sent through it",
                    path_.c_str());
                return MakeError(LErrorCode::kInvalid, "%s is not a regular file", path_.c_str());
            }
        } else if (errno != ENOENT) {
            LogError("SendQueueFile::OpenLocked lstat FAILED: %s: %s", path_.c_str(),
                     std::strerror(errno));
            return MakeError(LErrorCode::kIo, "%s: %s", path_.c_str(), std::strerror(errno));
        } else if (!create) {
            return MakeError(LErrorCode::kNotFound, "%s does not exist", path_.c_str());
        } else {
            MakeDirs(DirName(path_));
        }

        LFile file;
        const LFile::Mode mode = create                            ? LFile::Mode::OpenOrCreate
                                 : kind == LFile::LockKind::Shared ? LFile::Mode::Read
                                                                   : LFile::Mode::ReadWrite;
        if (!file.Open(path_, mode, 0666, /*noFollow=*/true)) {
            if (errno == ENOENT && !create)
                return MakeError(LErrorCode::kNotFound, "%s does not exist", path_.c_str());
            if (errno == ENOENT || errno == ELOOP) continue;  // changed between lstat and open
            return MakeError(LErrorCode::kIo, "%s cannot be opened: %s", path_.c_str(),
                             std::strerror(errno));
        }
        struct stat opened;
        if (fstat(file.Descriptor(), &opened) != 0 || !S_ISREG(opened.st_mode))
            return MakeError(LErrorCode::kInvalid, "%s is not a regular file", path_.c_str());
        if (!file.LockWait(kind, kLockLimitMs))
            LogError("SendQueueFile: the lock on %s was not had within %d ms; going on without it",
                     path_.c_str(), kLockLimitMs);
        // Whoever deleted or replaced the file did it under the lock we now hold:
        // the file at the path is then another one, which we open in turn.
        struct stat now;
        if (stat(path_.c_str(), &now) == 0 && SameFile(now, opened)) return file;
    }
    LogError("SendQueueFile: %s kept being replaced while it was opened; given up", path_.c_str());
    return MakeError(LErrorCode::kFailed, "%s kept being replaced", path_.c_str());
}

LStatus SendQueueFile::Append(const TransmitRecord& record) {
    auto opened = OpenLocked(LFile::LockKind::Exclusive, true);
    if (!opened) return opened.Error();
    LFile& file = opened.Value();
    const int64_t size = FileSize(file);
    if (size < 0) return MakeError(LErrorCode::kIo, "%s: size unknown", path_.c_str());

    int64_t at = size;
    if (size > 0 && size < int64_t(kSendQueueHeaderSize)) {
        LogError("SendQueueFile: %s is %lld bytes long, shorter than its header; started afresh",
                 path_.c_str(), static_cast<long long>(size));
        at = 0;
    } else if (size > 0) {
        unsigned char bytes[kSendQueueHeaderSize];
        auto header =
            DecodeSendQueueHeader(bytes, std::size_t(file.ReadAt(0, bytes, sizeof bytes)));
        if (!header || !header->IsKnown()) {
            LogError(
                "SendQueueFile: %s is not a send queue of this program (version %u, record size "
                "%u); started afresh",
                path_.c_str(), header ? header->version : 0u, header ? header->recordSize : 0u);
            at = 0;
        } else if (const int64_t cut =
                       (size - int64_t(kSendQueueHeaderSize)) % int64_t(kTransmitRecordSize)) {
            LogError("SendQueueFile: %s ends in a cut record of %lld bytes, which is dropped",
                     path_.c_str(), static_cast<long long>(cut));
            at = size - cut;
        }
    }

    std::vector<unsigned char> out;
    if (at == 0) {
        const auto header = EncodeSendQueueHeader(SendQueueHeader{});
        out.insert(out.end(), header.begin(), header.end());
    }
    const auto bytes = EncodeTransmitRecord(record);
    out.insert(out.end(), bytes.begin(), bytes.end());
    if (at != size && !file.Truncate(at))
        return MakeError(LErrorCode::kIo, "%s cannot be cut back", path_.c_str());
    const int64_t written = file.WriteAt(at, out.data(), int64_t(out.size()));
    if (written != int64_t(out.size())) {
        const int error = errno;
        file.Truncate(at);
        return MakeError(error == ENOSPC ? LErrorCode::kNoSpace : LErrorCode::kIo,
                         "the record could not be added to %s: %s", path_.c_str(),
                         std::strerror(error));
    }
    return {};
}

std::optional<TransmitRecordBytes> SendQueueFile::ReadHead() {
    auto opened = OpenLocked(LFile::LockKind::Shared, false);
    if (!opened) return std::nullopt;
    unsigned char bytes[kSendQueueHeaderSize + kTransmitRecordSize];
    const int64_t n = opened.Value().ReadAt(0, bytes, sizeof bytes);
    if (n < int64_t(kSendQueueHeaderSize)) {
        if (n > 0)
            LogError("SendQueueFile: %s is %lld bytes long, shorter than its header", path_.c_str(),
                     static_cast<long long>(n));
        return std::nullopt;
    }
    auto header = DecodeSendQueueHeader(bytes, std::size_t(n));
    if (!header->IsKnown()) {
        LogError("SendQueueFile: %s has version %u and record size %u; not read", path_.c_str(),
                 header->version, header->recordSize);
        return std::nullopt;
    }
    if (n < int64_t(sizeof bytes)) {
        if (n > int64_t(kSendQueueHeaderSize))
            LogError("SendQueueFile: %s ends in a cut record; the queue ends there", path_.c_str());
        return std::nullopt;
    }
    TransmitRecordBytes head;
    std::memcpy(head.data(), bytes + kSendQueueHeaderSize, kTransmitRecordSize);
    return head;
}

bool SendQueueFile::RewriteInPlace(LFile& file, std::size_t count) {
    // Needs no new disk space: used when the temporary copy cannot be written.
    std::vector<unsigned char> rest((count - 1) * kTransmitRecordSize);
    const int64_t from = int64_t(kSendQueueHeaderSize + kTransmitRecordSize);
    if (file.ReadAt(from, rest.data(), int64_t(rest.size())) != int64_t(rest.size())) return false;
    const auto header = EncodeSendQueueHeader(SendQueueHeader{});
    return file.WriteAt(0, header.data(), int64_t(header.size())) == int64_t(header.size()) &&
           file.WriteAt(int64_t(kSendQueueHeaderSize), rest.data(), int64_t(rest.size())) ==
               int64_t(rest.size()) &&
           file.Truncate(int64_t(kSendQueueHeaderSize + rest.size()));
}

LResult<std::size_t> SendQueueFile::RemoveHead(const TransmitRecordBytes& head) {
    auto opened = OpenLocked(LFile::LockKind::Exclusive, false);
    if (!opened) {
        if (opened.Error().Code() == LErrorCode::kNotFound) return std::size_t(0);
        return opened.Error();
    }
    LFile& file = opened.Value();
    const std::size_t count = RecordsIn(FileSize(file));
    if (count >= 1) {
        TransmitRecordBytes now;
        if (file.ReadAt(int64_t(kSendQueueHeaderSize), now.data(), int64_t(now.size())) !=
                int64_t(now.size()) ||
            now != head) {
            LogError(
                "SendQueueFile: the first record of %s changed while it was sent; left as it is",
                path_.c_str());
            return count;
        }
    }
    if (count <= 1) {
        if (!file.Truncate(0))
            return MakeError(LErrorCode::kIo, "%s cannot be emptied", path_.c_str());
        return std::size_t(0);
    }

    std::string contents(kSendQueueHeaderSize + (count - 1) * kTransmitRecordSize, '\0');
    const auto header = EncodeSendQueueHeader(SendQueueHeader{});
    std::memcpy(contents.data(), header.data(), header.size());
    const int64_t rest = int64_t(contents.size() - kSendQueueHeaderSize);
    const int64_t from = int64_t(kSendQueueHeaderSize + kTransmitRecordSize);
    if (file.ReadAt(from, contents.data() + kSendQueueHeaderSize, rest) != rest)
        return MakeError(LErrorCode::kIo, "%s cannot be read", path_.c_str());
    struct stat st;
    const unsigned mode = fstat(file.Descriptor(), &st) == 0 ? unsigned(st.st_mode & 0777) : 0644u;
    // Every moment on disk is either the old queue or the new one.
    if (LFile::WriteAtomically(path_, contents, mode)) return count - 1;
    LogError(
        "SendQueueFile: %s could not be rewritten through a temporary file; rewritten in place",
        path_.c_str());
    if (RewriteInPlace(file, count)) return count - 1;
    return MakeError(LErrorCode::kIo, "the sent record could not be removed from %s",
                     path_.c_str());
}

bool SendQueueFile::DeleteIfFinished() {
    auto opened = OpenLocked(LFile::LockKind::Exclusive, false);
    if (!opened) return true;  // missing, or nothing this program can send from
    unsigned char bytes[kSendQueueHeaderSize + kTransmitRecordSize];
    const int64_t n = opened.Value().ReadAt(0, bytes, sizeof bytes);
    auto header = DecodeSendQueueHeader(bytes, n > 0 ? std::size_t(n) : 0);
    if (n == int64_t(sizeof bytes) && header && header->IsKnown()) return false;
    if (unlink(path_.c_str()) != 0 && errno != ENOENT)
        LogSystemFailure("SendQueueFile::DeleteIfFinished", "unlink");
    return true;
}

void SendQueueFile::Delete() {
    auto opened = OpenLocked(LFile::LockKind::Exclusive, false);
    if (!opened) return;
    if (unlink(path_.c_str()) != 0 && errno != ENOENT)
        LogSystemFailure("SendQueueFile::Delete", "unlink");
}

SendQueueFile::Resume SendQueueFile::ResumeAtStartUp(int failCount) {
    auto opened = OpenLocked(LFile::LockKind::Exclusive, false);
    if (!opened) return Resume::NoQueue;
    LFile& file = opened.Value();
    // A writer killed while it rewrote the queue leaves its temporary behind;
    // no writer can be at work now, since every one holds this lock.
    LFile::RemoveStaleTemporaries(path_);
    unsigned char bytes[kSendQueueHeaderSize];
    const int64_t n = file.ReadAt(0, bytes, sizeof bytes);
    auto header = DecodeSendQueueHeader(bytes, n > 0 ? std::size_t(n) : 0);
    if (header && header->IsKnown() && int(header->resumeCount) <= failCount) {
        if (header->resumeCount < UINT16_MAX) ++header->resumeCount;
        const auto out = EncodeSendQueueHeader(*header);
        if (file.WriteAt(0, out.data(), int64_t(out.size())) == int64_t(out.size())) {
            LogEvent("Send queue resumed (start-up %u since a record was last sent): %s",
                     header->resumeCount, path_.c_str());
            return Resume::Resumed;
        }
    }
    if (!header && n > 0)
        LogError("SendQueueFile: %s is shorter than its header; deleted", path_.c_str());
    else if (header && !header->IsKnown())
        LogError("SendQueueFile: %s has version %u and record size %u; deleted unsent",
                 path_.c_str(), header->version, header->recordSize);
    else if (header)
        LogError(
            "SendQueueFile: %s was resumed %u times without sending a record (FailCount %d); "
            "deleted unsent",
            path_.c_str(), header->resumeCount, failCount);
    if (unlink(path_.c_str()) != 0 && errno != ENOENT)
        LogSystemFailure("SendQueueFile::ResumeAtStartUp", "unlink");
    return Resume::Deleted;
}

std::size_t SendQueueFile::Count() {
    auto opened = OpenLocked(LFile::LockKind::Shared, false);
    return opened ? RecordsIn(FileSize(opened.Value())) : 0;
}

}  // namespace vocarta
