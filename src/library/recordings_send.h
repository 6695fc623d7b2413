#pragma once
// "Send" of the recordings window: the selected recordings by e-mail, through
// the e-mail transmit method's mail library and texts. Several recordings are
// first packed into one zip in a private temporary folder, which is removed
// when the send ends, whatever its result.
//
// The dispatcher's length limit ("RecordingLengthLimit") and its "Send via
// email?" question are for recordings sent on by themselves after recording;
// here the user has just chosen the files and the recipients, so neither
// applies. A failure is logged and shown with the e-mail method's own texts,
// and every recording sent gets its line in the send log, as a queued send
// does.
//
// Threading contract: SendRecordingsByEmail runs on a send thread of the
// caller's (never the GUI thread: it blocks for the whole send) and reports
// through `context` and `ui` on that thread; a stop request (context) ends the
// packing or the send with Cancelled.

#include <string>
#include <vector>

#include "transmit/mail/mail_request.h"
#include "transmit/transmit_method.h"
#include "transmit/transmit_ui.h"

namespace vocarta {

inline constexpr const char* kAttachmentMailSubject = "Vocarta Sound Recorder Attachment";
inline constexpr const char* kAttachmentMailBody =
    "Please see the attachment sent by Vocarta Sound Recorder.";
inline constexpr const char* kCompressingFilesText = "Compressing Files...";
// The attachment's name when several recordings go as one.
inline constexpr const char* kRecordingsArchiveName = "Vocarta Recordings.zip";

// To `recipients`, the fixed subject and body, `attachment`; the sender and
// the way of sending from the "Email" settings.
MailRequest AttachmentMailRequest(const std::string& attachment, const std::string& recipients);

// Sends `paths` (one as it is, several as one zip) to `recipients`. Status
// "Compressing Files..." with the packing's progress, then the mail library's
// statuses and progress. Ok; Cancelled on a stop request; Failed after the
// failure was logged (context) and shown (ui, "Transmit error"; a packing
// failure under "Send").
TransmitResult SendRecordingsByEmail(const std::vector<std::string>& paths,
                                     const std::string& recipients, TransmitContext& context,
                                     TransmitUi& ui);

}  // namespace vocarta
