#include "transmit/ftp/ftp_send.h"

#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

bool HasLineBreak(std::string_view text) {
    return text.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos;
}

// Append only onto what an interrupted upload of this very file left: a server
// copy larger than the recording is something else, and is replaced.
bool ResumeFits(FtpSession& session, const std::string& name, int64_t localSize) {
    auto remote = session.RemoteSize(name);
    return remote && remote.Value() > 0 && remote.Value() <= localSize;
}

}  // namespace

FtpSendOutcome SendFileByFtp(const std::string& recordingPath, const FtpSettings& settings,
                             const FtpObserver& observer, FtpResumeStore& resume) {
    FtpSendOutcome outcome;
    outcome.remoteName = BaseName(recordingPath);
    const std::string directory = settings.directory.empty()
                                      ? std::string(ftp_settings::kDefaultDirectory)
                                      : settings.directory;
    if (HasLineBreak(outcome.remoteName) || HasLineBreak(directory)) {
        outcome.status = MakeError(LErrorCode::kInvalid,
                                   "a file or folder name holding a line break cannot be sent "
                                   "to an FTP server");
        return outcome;
    }
    auto key = MakeFtpResumeKey(settings.server, settings.userName, directory, outcome.remoteName,
                                recordingPath);
    if (!key) {
        outcome.status = key.Error();
        return outcome;
    }
    outcome.fileSize = key.Value().localSize;

    FtpSession session(observer);
    if (LStatus connected = session.Connect(settings.Login()); !connected) {
        outcome.status = connected.Error();
        return outcome;
    }
    if (LStatus changed = session.ChangeDirectory(directory); !changed) {
        outcome.status = changed.Error();
        return outcome;
    }
    const bool append =
        resume.Has(key.Value()) && ResumeFits(session, outcome.remoteName, key.Value().localSize);
    auto uploaded = session.Upload(outcome.remoteName, recordingPath, append);
    const FtpUploadStats& stats = session.LastUploadStats();
    outcome.bytesSent = stats.bytesSent;
    outcome.resumed = stats.appended && stats.startOffset > 0;
    outcome.resumedFrom = outcome.resumed ? stats.startOffset : 0;
    outcome.keptTime = stats.keptTime;
    if (uploaded) {
        (void)resume.Forget(key.Value());
    } else {
        outcome.status = uploaded.Error();
        if (stats.transferStarted) {
            if (LStatus noted = resume.Remember(key.Value()); !noted)
                LogError("FTP resume list: %s", noted.Error().Message().c_str());
        }
    }
    session.Close();
    return outcome;
}

FtpSendOutcome SendFileByFtp(const std::string& recordingPath, const FtpObserver& observer) {
    FtpResumeStore resume;
    return SendFileByFtp(recordingPath, ReadFtpSettings(), observer, resume);
}

}  // namespace vocarta
