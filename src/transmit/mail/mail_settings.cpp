#include "transmit/mail/mail_settings.h"

#include "settings/settings.h"

namespace vocarta::mail_settings {

bool UseDesktopMail() {
    return GetSettingBool(kSection, kUseDesktopMailKey, true);
}

bool UseSendmail() {
    return GetSettingBool(kSection, kUseSendmailKey, false);
}

bool UseSmtpHost() {
    return GetSettingBool(kSection, kUseSmtpHostKey, true);
}

std::string MailSmtpHost() {
    return UseSmtpHost() ? GetSettingString(kSection, kMailSmtpHostKey) : std::string();
}

std::string SmtpUserName() {
    return GetSettingString(kSection, kSmtpUserNameKey);
}

std::string SmtpPassword() {
    std::string password;
    GetProtectedSetting(kSection, kSmtpPasswordKey, "", password);
    return password;
}

bool SendDirect() {
    return GetSettingBool(kSection, kSendDirectKey, true);
}

bool UseSsl() {
    return GetSettingBool(kSection, kUseSslKey, false);
}

std::string ReplyToEmail() {
    return GetSettingString(kSection, kReplyToEmailKey);
}

}  // namespace vocarta::mail_settings
