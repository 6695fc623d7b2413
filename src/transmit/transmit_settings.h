#pragma once
// The transmit settings, each read at the point of use through these functions
// with its default here; the Transmit page of the options window stores them
// through the same keys.
//
// Threading: any thread.

#include <cstdint>
#include <string>

namespace vocarta::transmit_settings {

inline constexpr const char* kSection = "Settings";
inline constexpr const char* kSendEmailKey = "SendEmail";
inline constexpr const char* kSendFtpKey = "SendFtp";
inline constexpr const char* kSendFolderKey = "SendFolder";
inline constexpr const char* kSendFolderDirKey = "SendFolderDir";
inline constexpr const char* kSendRunKey = "SendRun";
inline constexpr const char* kSendRunExeKey = "SendRunExe";
inline constexpr const char* kPromptKey = "bPromptTransmit";
inline constexpr const char* kLengthLimitKey = "RecordingLengthLimit";
inline constexpr const char* kFailCountKey = "FailCount";
inline constexpr const char* kOpenExeDirKey = "OpenExeDir";

inline constexpr const char* kEmailSection = "Email";
inline constexpr const char* kEmailToKey = "To";
inline constexpr const char* kFtpSection = "Ftp";
inline constexpr const char* kFtpServerKey = "Server";
inline constexpr const char* kFtpUserNameKey = "UserName";
// Kept as a protected value (GetProtectedSetting), never in clear text.
inline constexpr const char* kFtpPasswordKey = "Password";
inline constexpr const char* kFtpDirectoryKey = "Directory";

bool SendEmail();
std::string EmailTo();
bool SendFtp();
std::string FtpServer();
std::string FtpUserName();
std::string FtpDirectory();  // default "/"
bool SendFolder();
std::string SendFolderDir();  // default DefaultSendFolderDir()
// The mirror folder when none is set: "Vocarta Mirror" in the user's home.
std::string DefaultSendFolderDir();
bool SendRun();
std::string SendRunExe();
bool PromptTransmit();  // default true
// Recordings of this many seconds or less are not sent (default 0).
int32_t RecordingLengthLimit();
// How many start-ups may resume a queue that finishes nothing (default 1).
int32_t FailCount();
// Where the program chooser opens (default "/usr/bin").
std::string OpenExeDir();

}  // namespace vocarta::transmit_settings
