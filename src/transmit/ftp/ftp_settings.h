#pragma once
// The FTP settings, each read at the point of use through ReadFtpSettings with
// its default here; the Transmit page stores them through the same keys.
//
//   Ftp/Server     "host" or "host:port"
//   Ftp/UserName
//   Ftp/Password   a protected value (Ftp/__Password), never in clear text;
//                  set from a script with `vocarta-defaults write-password`
//   Ftp/Directory  the folder to upload into, default "/"
//   Ftp/TlsMode    0 plain FTP, 1 TLS when the server offers it (default),
//                  2 TLS required, 3 implicit TLS (port 990 by default)
//
// Threading: any thread.

#include <string>

#include "transmit/ftp/ftp_session.h"

namespace vocarta {

namespace ftp_settings {
inline constexpr const char* kSection = "Ftp";
inline constexpr const char* kServerKey = "Server";
inline constexpr const char* kUserNameKey = "UserName";
inline constexpr const char* kPasswordKey = "Password";
inline constexpr const char* kDirectoryKey = "Directory";
inline constexpr const char* kDefaultDirectory = "/";
inline constexpr const char* kTlsModeKey = "TlsMode";
inline constexpr int kDefaultTlsMode = 1;
}  // namespace ftp_settings

struct FtpSettings {
    std::string server;
    std::string userName;
    std::string password;
    std::string directory = ftp_settings::kDefaultDirectory;
    FtpTlsMode tls = FtpTlsMode::kExplicitIfOffered;

    FtpLogin Login() const { return {server, userName, password, tls}; }
};

// The stored settings. An empty directory reads as "/".
FtpSettings ReadFtpSettings();
// Stores them (the password as a protected value); false when a write failed.
bool WriteFtpSettings(const FtpSettings& settings);

// The stored number of a mode and back; an unknown number is the default.
int FtpTlsModeNumber(FtpTlsMode mode);
FtpTlsMode FtpTlsModeFromNumber(int number);

}  // namespace vocarta
