#pragma once
// The e-mail of a finished recording: its subject and body, the request built
// from the "Email" settings, and the send. The e-mail transmit method and the
// recordings browser's e-mail action call SendRecordingByEmail.
//
// Threading contract: SendRecordingByEmail runs on the calling send thread and
// reports through `context` there; the rest are pure or read the settings.

#include <string>

#include "toolkit/result.h"
#include "transmit/mail/mail_request.h"

namespace vocarta {

inline constexpr std::size_t kMailBodyMax = 2047;

// "Vocarta Sound Recorder - Emailed Recording <file name>", at most 259
// characters.
std::string RecordingMailSubject(const std::string& path);
// The fixed lines with the file name, a word on editing the recording, a line
// of 34 "-" and the signature, each ended by CR LF; at most 2047 characters.
std::string RecordingMailBody(const std::string& path);

// To `recipients` (the "Email"/"To" list), the recording attached, the rest
// from the "Email" settings.
MailRequest RecordingMailRequest(const std::string& path, const std::string& recipients);

// Builds the request and sends it (SendMail): Ok, kCancelled on a stop request,
// else a failure already written to the context's log.
LStatus SendRecordingByEmail(const std::string& path, const std::string& recipients,
                             MailContext& context);

}  // namespace vocarta
