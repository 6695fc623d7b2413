#include "transmit/mail/recording_email.h"

#include "toolkit/text.h"
#include "transmit/mail/mail_sender.h"

namespace vocarta {

namespace {
std::string FileName(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

constexpr const char* kEditorParagraph =
    "Want to trim the silence, cut out a part or clean up the sound? Open the recording in "
    "Vocarta's companion audio editor: it reads the file as it is, lets you hear every change "
    "before you keep it, and leaves the original untouched until you save.\r\n\r\n";
}  // namespace

std::string RecordingMailSubject(const std::string& path) {
    return CutText("Vocarta Sound Recorder - Emailed Recording " + FileName(path));
}

std::string RecordingMailBody(const std::string& path) {
    std::string body =
        "Attached is a recording made by Vocarta Sound Recorder.\r\n\r\n  File Name: " +
        FileName(path) + "\r\n  \r\n\r\n";
    body += kEditorParagraph;
    body += std::string(34, '-') + "\r\n";
    body += "Vocarta Sound Recorder\r\n";
    return CutText(body, kMailBodyMax);
}

MailRequest RecordingMailRequest(const std::string& path, const std::string& recipients) {
    MailRequest request = MailRequestFromSettings();
    request.recipients = recipients;
    request.subject = RecordingMailSubject(path);
    request.body = RecordingMailBody(path);
    request.attachments = {path};
    return request;
}

LStatus SendRecordingByEmail(const std::string& path, const std::string& recipients,
                             MailContext& context) {
    return SendMail(RecordingMailRequest(path, recipients), context);
}

}  // namespace vocarta
