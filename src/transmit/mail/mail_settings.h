#pragma once
// The "Email" settings of the mail sender, each read at the point of use through
// these functions with the sender's default here. The "Email Settings" window
// opens with some defaults of its own (email_settings_form.h) on purpose.
//
// Threading: any thread.

#include <string>

namespace vocarta::mail_settings {

inline constexpr const char* kSection = "Email";
// Send through the desktop's mail program (xdg-email); the key keeps its
// historical name.
inline constexpr const char* kUseDesktopMailKey = "UseAppleMail";
inline constexpr const char* kUseSendmailKey = "UseSendMail";
inline constexpr const char* kUseSmtpHostKey = "UseSMTPHost";
inline constexpr const char* kMailSmtpHostKey = "MailSMTPHost";
inline constexpr const char* kSmtpUserNameKey = "SMTPUserName";
// A protected value (GetProtectedSetting), never stored in clear text.
inline constexpr const char* kSmtpPasswordKey = "SMTPPassword";
inline constexpr const char* kSendDirectKey = "SendDirect";
inline constexpr const char* kUseSslKey = "UseSSL";
inline constexpr const char* kReplyToEmailKey = "ReplyToEmail";
inline constexpr const char* kDefaultsSetKey = "DefaultsSet";
inline constexpr const char* kSmtpDownSendKey = "SMTPDownSend";
inline constexpr const char* kSetViewedKey = "SetViewed";

bool UseDesktopMail();  // default true
bool UseSendmail();     // default false
bool UseSmtpHost();     // default true
// "host" or "host:port"; empty unless UseSmtpHost().
std::string MailSmtpHost();
std::string SmtpUserName();
std::string SmtpPassword();
bool SendDirect();  // default true
bool UseSsl();      // default false
std::string ReplyToEmail();

}  // namespace vocarta::mail_settings
