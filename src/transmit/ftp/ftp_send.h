#pragma once
// The FTP transmit method's work for one recording: connect to the server with
// the user name and password, change to the folder, upload the file under its
// own name with progress, and close the connection on every path.
//
// An upload that stops part-way (a lost connection, a stop request) is noted
// in the FtpResumeStore; the next send of the same recording to the same place
// appends the rest from the server's size instead of starting again.
//
// A file or folder name holding CR or LF is refused before anything is sent.
//
// Threading: runs on the calling send thread, blocking until done, failed or
// stopped through `observer.stop` (a stop is seen within 200 ms); the
// observer's functions are called on that thread.

#include <cstdint>
#include <string>

#include "toolkit/result.h"
#include "transmit/ftp/ftp_resume.h"
#include "transmit/ftp/ftp_session.h"
#include "transmit/ftp/ftp_settings.h"

namespace vocarta {

struct FtpSendOutcome {
    // Ok; kCancelled on a stop request; any other code is a failure.
    LStatus status;
    std::string remoteName;
    int64_t fileSize = 0;
    // Bytes this send put on the data connection (for the send log).
    int64_t bytesSent = 0;
    // Where a resumed upload began (the server's size); 0 for a whole upload.
    int64_t resumedFrom = 0;
    bool resumed = false;
    bool keptTime = false;  // the server took the file's time (MFMT)
};

FtpSendOutcome SendFileByFtp(const std::string& recordingPath, const FtpSettings& settings,
                             const FtpObserver& observer, FtpResumeStore& resume);
// The same with the stored settings and the program's resume list.
FtpSendOutcome SendFileByFtp(const std::string& recordingPath, const FtpObserver& observer);

}  // namespace vocarta
