#include "library/recordings_send.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "library/recordings_archive.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "transmit/email_method.h"
#include "transmit/mail/mail_sender.h"
#include "transmit/send_log.h"
#include "transmit/transmit_dispatcher.h"

namespace vocarta {

namespace {

constexpr const char* kSendCaption = "Send";

// A private folder (0700) for the archive; removed with it on destruction.
class ArchiveFolder {
  public:
    ArchiveFolder() {
        const char* tmp = std::getenv("TMPDIR");
        std::string pattern = JoinPath(tmp && *tmp ? tmp : "/tmp", "vocarta-send-XXXXXX");
        if (mkdtemp(pattern.data())) path_ = pattern;
    }
    ~ArchiveFolder() {
        if (path_.empty()) return;
        unlink(Archive().c_str());
        if (rmdir(path_.c_str()) != 0) LogSystemFailure("ArchiveFolder", "rmdir");
    }
    bool Made() const { return !path_.empty(); }
    std::string Archive() const { return JoinPath(path_, kRecordingsArchiveName); }

  private:
    std::string path_;
};

TransmitResult Pack(const std::vector<std::string>& paths, const std::string& archive,
                    TransmitContext& context, TransmitUi& ui) {
    context.SetStatus(kCompressingFilesText);
    context.SetProgress(0.0);
    ArchiveOptions options;
    options.onProgress = [&context](double fraction) {
        context.SetProgress(fraction);
        return !context.ShouldStop();
    };
    LStatus packed = PackRecordings(paths, archive, options);
    if (packed) return TransmitResult::Ok;
    if (packed.Error().IsCancelled()) return TransmitResult::Cancelled;
    context.LogError(packed.Error().Message());
    ui.ShowMessage(
        "The recordings could not be compressed for sending: " + packed.Error().Message(),
        kSendCaption);
    return TransmitResult::Failed;
}

void NoteSent(const std::vector<std::string>& paths, const std::string& recipients,
              TransmitResult result) {
    for (const std::string& path : paths) {
        LStatus logged = AppendSendLog(
            {{}, path, "email", recipients, TransmitResultName(result), std::nullopt});
        if (!logged) LogError("SendRecordingsByEmail: %s", logged.Error().Message().c_str());
    }
}

}  // namespace

MailRequest AttachmentMailRequest(const std::string& attachment, const std::string& recipients) {
    MailRequest request = MailRequestFromSettings();
    request.recipients = recipients;
    request.subject = kAttachmentMailSubject;
    request.body = kAttachmentMailBody;
    request.attachments = {attachment};
    return request;
}

TransmitResult SendRecordingsByEmail(const std::vector<std::string>& paths,
                                     const std::string& recipients, TransmitContext& context,
                                     TransmitUi& ui) {
    if (paths.empty()) return TransmitResult::Ok;
    ArchiveFolder folder;
    std::string attachment = paths.front();
    if (paths.size() > 1) {
        if (!folder.Made()) {
            context.LogError(std::string("No temporary folder for the archive: ") +
                             std::strerror(errno));
            ui.ShowMessage(
                "The recordings could not be compressed for sending: no temporary "
                "folder.",
                kSendCaption);
            return TransmitResult::Failed;
        }
        attachment = folder.Archive();
        const TransmitResult packed = Pack(paths, attachment, context, ui);
        if (packed != TransmitResult::Ok) return packed;
    }
    if (context.ShouldStop()) return TransmitResult::Cancelled;

    TransmitMailContext mail(context);
    const LStatus sent = SendMail(AttachmentMailRequest(attachment, recipients), mail);
    const TransmitResult result = sent                         ? TransmitResult::Ok
                                  : sent.Error().IsCancelled() ? TransmitResult::Cancelled
                                                               : TransmitResult::Failed;
    NoteSent(paths, recipients, result);
    if (result == TransmitResult::Failed) {
        const TransmitTexts& texts = EmailTransmitMethod().Texts();
        for (const std::string& path : paths)
            context.LogError(FormatTransmitText(texts.logged, path));
        ui.ShowMessage(FormatTransmitText(texts.shown, recipients), kTransmitErrorCaption);
    }
    context.SetProgress(1.0);
    return result;
}

}  // namespace vocarta
