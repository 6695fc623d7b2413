#include "transmit/transmit_options.h"

#include <fcntl.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "settings/settings.h"
#include "toolkit/lfile.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "transmit/transmit_settings.h"

namespace vocarta {

namespace ts = transmit_settings;

namespace {

constexpr const char* kEmailCaption = "Invalid Email";
constexpr const char* kFtpCaption = "Invalid FTP Server";
constexpr const char* kFolderCaption = "Invalid Folder";
constexpr const char* kExeCaption = "Invalid Exe File";
constexpr int kLockLimitMs = 5000;

// The folder as the file system names it, so that "/a/b/", "/a//b" and a link
// to /a/b all compare equal to "/a/b".
std::string CanonicalFolder(const std::string& folder) {
    char resolved[PATH_MAX];
    if (realpath(folder.c_str(), resolved)) return resolved;
    std::string out = folder;
    while (out.size() > 1 && out.back() == '/') out.pop_back();
    return out;
}

std::optional<TransmitPageProblem> CheckEmail(const TransmitPageValues::Email& e) {
    if (!e.enabled) return std::nullopt;
    if (e.to.empty())
        return TransmitPageProblem{
            TransmitField::EmailTo,
            "Please enter the email of the person you want to send recordings to.", kEmailCaption};
    if (!IsValidEmailList(e.to))
        return TransmitPageProblem{TransmitField::EmailTo, "Please enter a valid email address.",
                                   kEmailCaption};
    return std::nullopt;
}

std::optional<TransmitPageProblem> CheckFtp(const TransmitPageValues::Ftp& f) {
    if (!f.enabled || (!f.server.empty() && !f.userName.empty())) return std::nullopt;
    return TransmitPageProblem{
        f.server.empty() ? TransmitField::FtpServer : TransmitField::FtpUserName,
        "FTP Server and user details are required.", kFtpCaption};
}

std::optional<TransmitPageProblem> CheckFolder(const TransmitPageValues& v,
                                               const std::string& recordFolder) {
    if (!v.sendFolder) return std::nullopt;
    auto problem = [](const char* text) {
        return TransmitPageProblem{TransmitField::SendFolderDir, text, kFolderCaption};
    };
    if (v.sendFolderDir.empty()) return problem("Please provide a folder.");
    if (!DirExists(v.sendFolderDir))
        return problem(
            "The specified folder does not exist. Please select a valid folder to transmit "
            "recordings to.");
    if (!FolderIsWritable(v.sendFolderDir))
        return problem(
            "You don't have the permission to write to the specified folder. Please select a "
            "valid folder to transmit recordings to.");
    if (!recordFolder.empty() && CanonicalFolder(v.sendFolderDir) == CanonicalFolder(recordFolder))
        return problem(
            "Selected folder is same as the Recording folder. Please select a different folder.");
    return std::nullopt;
}

std::optional<TransmitPageProblem> CheckRun(const TransmitPageValues& v) {
    if (!v.sendRun || !v.sendRunExe.empty()) return std::nullopt;
    return TransmitPageProblem{TransmitField::SendRunExe,
                               "Please enter the exe or bat file you want to run.", kExeCaption};
}

}  // namespace

FtpSettings TransmitPageValues::Ftp::Settings() const {
    FtpSettings s;
    s.server = server;
    s.userName = userName;
    s.password = password;
    s.directory = directory.empty() ? std::string(ftp_settings::kDefaultDirectory) : directory;
    s.tls = tls;
    return s;
}

bool FolderIsWritable(const std::string& folder) {
    const std::string path = JoinPath(folder, "__wt");
    LFile file;
    if (file.Open(path, LFile::Mode::CreateExclusive, 0600, /*noFollow=*/true)) {
        if (!file.LockWait(LFile::LockKind::Exclusive, kLockLimitMs))
            LogError("FolderIsWritable: the lock on %s was not had within %d ms", path.c_str(),
                     kLockLimitMs);
        file.Close();
        if (unlink(path.c_str()) != 0) LogSystemFailure("FolderIsWritable", "unlink");
        return true;
    }
    if (errno != EEXIST) return false;
    std::string temp = path + ".XXXXXX";
    const int fd = mkostemp(temp.data(), O_CLOEXEC);
    if (fd < 0) return false;
    close(fd);
    unlink(temp.c_str());
    return true;
}

TransmitPageValues ReadTransmitPageValues() {
    TransmitPageValues v;
    v.email = TransmitPageValues::Email{ts::SendEmail(), ts::EmailTo()};
    const FtpSettings ftp = ReadFtpSettings();
    v.ftp = TransmitPageValues::Ftp{ts::SendFtp(), ftp.server,    ftp.userName,
                                    ftp.password,  ftp.directory, ftp.tls};
    v.sendFolder = ts::SendFolder();
    v.sendFolderDir = ts::SendFolderDir();
    v.sendRun = ts::SendRun();
    v.sendRunExe = ts::SendRunExe();
    v.prompt = ts::PromptTransmit();
    v.lengthLimitSeconds = ts::RecordingLengthLimit();
    return v;
}

std::optional<TransmitPageProblem> ApplyTransmitPage(const TransmitPageValues& v,
                                                     const std::string& recordFolder) {
    if (v.email) {
        if (auto problem = CheckEmail(*v.email)) return problem;
        SetSettingBool(ts::kSection, ts::kSendEmailKey, v.email->enabled);
        SetSettingString(ts::kEmailSection, ts::kEmailToKey, v.email->to);
    }
    if (v.ftp) {
        if (auto problem = CheckFtp(*v.ftp)) return problem;
        SetSettingBool(ts::kSection, ts::kSendFtpKey, v.ftp->enabled);
        if (!WriteFtpSettings(v.ftp->Settings()))
            LogError("ApplyTransmitPage: the FTP settings were not all saved");
    }
    if (auto problem = CheckFolder(v, recordFolder)) return problem;
    SetSettingBool(ts::kSection, ts::kSendFolderKey, v.sendFolder);
    SetSettingString(ts::kSection, ts::kSendFolderDirKey, v.sendFolderDir);
    if (auto problem = CheckRun(v)) return problem;
    SetSettingBool(ts::kSection, ts::kSendRunKey, v.sendRun);
    SetSettingString(ts::kSection, ts::kSendRunExeKey, v.sendRunExe);
    SetSettingBool(ts::kSection, ts::kPromptKey, v.prompt);
    SetSettingInt(ts::kSection, ts::kLengthLimitKey, v.lengthLimitSeconds);
    return std::nullopt;
}

}  // namespace vocarta
