// The attachments of a message: each file in base64, read 57 bytes to a line of
// 76 characters, with the send's progress.

#include <algorithm>
#include <chrono>

#include "net/stop_flag.h"
#include "toolkit/lfile.h"
#include "toolkit/text.h"
#include "transmit/mail/base64.h"
#include "transmit/mail/mime_message.h"

namespace vocarta {

namespace {
// Lines per file read; the file is still encoded 57 bytes to a line.
constexpr std::size_t kLinesPerRead = 1024;
constexpr int kAttachmentLockWaitMs = 1000;
constexpr auto kProgressEvery = std::chrono::milliseconds(500);

std::string FileName(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}
}  // namespace

LStatus MimeComposer::SendAttachment(std::size_t index, const std::string& boundary) {
    const std::string& path = request_.attachments[index];
    LFile file;
    if (!file.Open(path, LFile::Mode::Read))
        return MakeError(LErrorCode::kIo, "the attachment \"%s\" cannot be read", path.c_str());
    // A writer still busy with the file gets a moment; after that it is sent as
    // it stands.
    file.LockWait(LFile::LockKind::Shared, kAttachmentLockWaitMs);
    const int64_t size = file.GetFileSizeBytes64();

    const std::string name = EncodeHeaderText(FileName(path), true);
    const char* type =
        style_ == MailStyle::kSmtp ? AttachmentContentType(path) : "application/octet-stream";
    const std::string head = StringPrintf(
        "%s--%s%sContent-Type: %s; name=\"%s\"%sContent-Transfer-Encoding: base64%s"
        "Content-Disposition: attachment; filename=\"%s\"%s%s",
        End(), boundary.c_str(), End(), type, name.c_str(), End(), End(), name.c_str(), End(),
        End());
    if (LStatus put = Put(head, timeouts_.attachmentMs); !put) return put;

    const double count = double(request_.attachments.size());
    const double start = 0.3 + double(index) * 0.6 / count;
    const double span = 0.6 / count;
    auto lastReport = std::chrono::steady_clock::now();
    std::string block(kBase64LineBytes * kLinesPerRead, '\0');
    std::string lines;
    int64_t done = 0;
    while (true) {
        if (context_.ShouldStop()) return StoppedError();
        const int64_t got = file.Read(block.data(), int64_t(block.size()));
        if (got < 0)
            return MakeError(LErrorCode::kIo, "the attachment \"%s\" cannot be read", path.c_str());
        if (got == 0) break;
        lines.clear();
        const auto* bytes = reinterpret_cast<const unsigned char*>(block.data());
        for (int64_t at = 0; at < got; at += int64_t(kBase64LineBytes)) {
            const std::size_t n =
                std::size_t(std::min<int64_t>(int64_t(kBase64LineBytes), got - at));
            AppendBase64(lines, bytes + at, n);
            lines.append(End());
        }
        if (LStatus put = Put(lines, timeouts_.attachmentMs); !put) return put;
        done += got;
        const auto now = std::chrono::steady_clock::now();
        if (size > 0 && now - lastReport >= kProgressEvery) {
            lastReport = now;
            context_.SetProgress(start + span * std::min(1.0, double(done) / double(size)));
        }
        if (got < int64_t(block.size())) break;
    }
    return {};
}

}  // namespace vocarta
