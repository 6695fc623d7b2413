#include "transmit/transmit_settings.h"

#include "settings/settings.h"
#include "toolkit/paths.h"

namespace vocarta::transmit_settings {

bool SendEmail() {
    return GetSettingBool(kSection, kSendEmailKey, false);
}
std::string EmailTo() {
    return GetSettingString(kEmailSection, kEmailToKey);
}
bool SendFtp() {
    return GetSettingBool(kSection, kSendFtpKey, false);
}
std::string FtpServer() {
    return GetSettingString(kFtpSection, kFtpServerKey);
}
std::string FtpUserName() {
    return GetSettingString(kFtpSection, kFtpUserNameKey);
}
std::string FtpDirectory() {
    return GetSettingString(kFtpSection, kFtpDirectoryKey, "/");
}
bool SendFolder() {
    return GetSettingBool(kSection, kSendFolderKey, false);
}
std::string DefaultSendFolderDir() {
    return JoinPath(HomeDir(), "Vocarta Mirror");
}
std::string SendFolderDir() {
    return GetSettingString(kSection, kSendFolderDirKey, DefaultSendFolderDir());
}
bool SendRun() {
    return GetSettingBool(kSection, kSendRunKey, false);
}
std::string SendRunExe() {
    return GetSettingString(kSection, kSendRunExeKey);
}
bool PromptTransmit() {
    return GetSettingBool(kSection, kPromptKey, true);
}
int32_t RecordingLengthLimit() {
    return GetSettingInt(kSection, kLengthLimitKey, 0);
}
int32_t FailCount() {
    return GetSettingInt(kSection, kFailCountKey, 1);
}
std::string OpenExeDir() {
    return GetSettingString(kSection, kOpenExeDirKey, "/usr/bin");
}

}  // namespace vocarta::transmit_settings
