#include "transmit/ftp/ftp_settings.h"

#include "settings/settings.h"

namespace vocarta {

using namespace ftp_settings;

int FtpTlsModeNumber(FtpTlsMode mode) {
    switch (mode) {
        case FtpTlsMode::kNone:
            return 0;
        case FtpTlsMode::kExplicitIfOffered:
            return 1;
        case FtpTlsMode::kExplicitRequired:
            return 2;
        case FtpTlsMode::kImplicit:
            return 3;
    }
    return kDefaultTlsMode;
}

FtpTlsMode FtpTlsModeFromNumber(int number) {
    switch (number) {
        case 0:
            return FtpTlsMode::kNone;
        case 2:
            return FtpTlsMode::kExplicitRequired;
        case 3:
            return FtpTlsMode::kImplicit;
        default:
            return FtpTlsMode::kExplicitIfOffered;
    }
}

FtpSettings ReadFtpSettings() {
    FtpSettings s;
    s.server = GetSettingString(kSection, kServerKey);
    s.userName = GetSettingString(kSection, kUserNameKey);
    // A password typed into the preferences file by hand is still honoured.
    if (!GetProtectedSetting(kSection, kPasswordKey, "", s.password))
        s.password = GetSettingString(kSection, kPasswordKey);
    s.directory = GetSettingString(kSection, kDirectoryKey, kDefaultDirectory);
    if (s.directory.empty()) s.directory = std::string(kDefaultDirectory);
    s.tls = FtpTlsModeFromNumber(GetSettingInt(kSection, kTlsModeKey, kDefaultTlsMode));
    return s;
}

bool WriteFtpSettings(const FtpSettings& s) {
    bool ok = SetSettingString(kSection, kServerKey, s.server);
    ok = SetSettingString(kSection, kUserNameKey, s.userName) && ok;
    ok = SetProtectedSetting(kSection, kPasswordKey, s.password) && ok;
    if (SettingExists(kSection, kPasswordKey))
        ok = AppSettings().DeleteRaw(JoinSettingKey(kSection, kPasswordKey)) && ok;
    ok = SetSettingString(kSection, kDirectoryKey, s.directory) && ok;
    ok = SetSettingInt(kSection, kTlsModeKey, FtpTlsModeNumber(s.tls)) && ok;
    return ok;
}

}  // namespace vocarta
