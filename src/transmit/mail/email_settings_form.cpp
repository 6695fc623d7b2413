#include "transmit/mail/email_settings_form.h"

#include <cstdlib>

#include "settings/settings.h"
#include "toolkit/text.h"
#include "transmit/mail/email_address.h"
#include "transmit/mail/mail_settings.h"

namespace vocarta {

namespace ms = mail_settings;

namespace {
constexpr const char* kHeading = "--Most Popular--";
}  // namespace

EmailSettingsValues ReadEmailSettingsValues() {
    EmailSettingsValues v;
    if (ms::UseDesktopMail())
        v.choice = EmailSendChoice::kDesktopMail;
    else if (ms::UseSendmail())
        v.choice = EmailSendChoice::kSendmail;
    else if (GetSettingBool(ms::kSection, ms::kUseSmtpHostKey, false))
        v.choice = EmailSendChoice::kSmtp;
    else
        v.choice = EmailSendChoice::kDirect;
    v.host = GetSettingString(ms::kSection, ms::kMailSmtpHostKey);
    v.userName = ms::SmtpUserName();
    v.password = ms::SmtpPassword();
    v.replyTo = ms::ReplyToEmail();
    v.useTls = ms::UseSsl();
    v.sendDirectWhenDown = GetSettingBool(ms::kSection, ms::kSmtpDownSendKey, false);
    if (!GetSettingBool(ms::kSection, ms::kDefaultsSetKey, false)) {
        const char* email = std::getenv("EMAIL");
        if (v.replyTo.empty() && email && IsValidEmailAddress(email)) v.replyTo = email;
        SetSettingBool(ms::kSection, ms::kDefaultsSetKey, true);
    }
    return v;
}

std::optional<EmailSettingsProblem> CheckEmailSettings(const EmailSettingsValues& v) {
    const bool smtp = v.choice == EmailSendChoice::kSmtp;
    if (smtp || v.choice == EmailSendChoice::kDirect) {
        if (TrimBlanks(v.replyTo).empty())
            return EmailSettingsProblem{
                EmailSettingsField::kReplyTo,
                "If you choose SMTP you must enter a valid reply-to address. Enter your email "
                "address.",
                "Reply Email Required"};
        if (!IsValidEmailAddress(TrimBlanks(v.replyTo)))
            return EmailSettingsProblem{EmailSettingsField::kReplyTo,
                                        "Please enter a valid reply-to email address.",
                                        "Reply Email Required"};
    }
    if (!smtp) return std::nullopt;
    if (TrimBlanks(v.host).empty())
        return EmailSettingsProblem{
            EmailSettingsField::kHost,
            "If you choose SMTP you must enter an SMTP mail host. Call your ISP if you don't know "
            "what your SMTP mail host is.",
            "Mail host required"};
    if (TrimBlanks(v.userName).empty())
        return EmailSettingsProblem{
            EmailSettingsField::kUserName,
            "If your SMTP server requires authentication, you must enter a SMTP username to "
            "connect to your server.",
            "User Name Required"};
    if (v.password.empty())
        return EmailSettingsProblem{
            EmailSettingsField::kPassword,
            "If your SMTP server requires authentication, you must enter a valid SMTP password to "
            "connect to your server.",
            "Password Required"};
    return std::nullopt;
}

bool SaveEmailSettings(const EmailSettingsValues& v) {
    const bool smtp = v.choice == EmailSendChoice::kSmtp;
    bool ok = SetSettingBool(ms::kSection, ms::kSendDirectKey,
                             smtp ? v.sendDirectWhenDown : v.choice == EmailSendChoice::kDirect);
    ok = SetSettingBool(ms::kSection, ms::kUseDesktopMailKey,
                        v.choice == EmailSendChoice::kDesktopMail) &&
         ok;
    ok =
        SetSettingBool(ms::kSection, ms::kUseSendmailKey, v.choice == EmailSendChoice::kSendmail) &&
        ok;
    ok = SetSettingBool(ms::kSection, ms::kUseSmtpHostKey, smtp) && ok;
    ok = SetSettingString(ms::kSection, ms::kMailSmtpHostKey, MailHostFromChoice(v.host)) && ok;
    ok = SetSettingString(ms::kSection, ms::kSmtpUserNameKey, TrimBlanks(v.userName)) && ok;
    ok = SetProtectedSetting(ms::kSection, ms::kSmtpPasswordKey, v.password) && ok;
    ok = SetSettingString(ms::kSection, ms::kReplyToEmailKey, TrimBlanks(v.replyTo)) && ok;
    ok = SetSettingBool(ms::kSection, ms::kUseSslKey, v.useTls) && ok;
    return SetSettingBool(ms::kSection, ms::kSetViewedKey, true) && ok;
}

std::optional<EmailSettingsProblem> ApplyEmailSettings(const EmailSettingsValues& values) {
    if (auto problem = CheckEmailSettings(values)) return problem;
    SaveEmailSettings(values);
    return std::nullopt;
}

const std::vector<MailProvider>& MailProviders() {
    static const std::vector<MailProvider> providers = {
        {"Gmail", "smtp.gmail.com:587"},
        {"Outlook.com, Hotmail", "smtp-mail.outlook.com:587"},
        {"Microsoft 365", "smtp.office365.com:587"},
        {"Yahoo Mail", "smtp.mail.yahoo.com:587"},
        {"iCloud Mail", "smtp.mail.me.com:587"},
        {"AOL Mail", "smtp.aol.com:587"},
        {"Zoho Mail", "smtp.zoho.com:587"},
        {"Fastmail", "smtp.fastmail.com:587"},
        {"GMX", "mail.gmx.com:587"},
        {"Mail.com", "smtp.mail.com:587"},
        {"Yandex Mail", "smtp.yandex.com:587"},
        {"Comcast Xfinity", "smtp.comcast.net:587"},
    };
    return providers;
}

std::vector<std::string> MailHostChoices() {
    std::vector<std::string> choices = {kHeading};
    for (const MailProvider& p : MailProviders())
        choices.push_back(std::string(p.name) + " [" + p.host + "]");
    return choices;
}

std::string MailHostFromChoice(std::string_view text) {
    const std::size_t open = text.find('[');
    if (open == std::string_view::npos) return TrimBlanks(text);
    const std::size_t close = text.find(']', open);
    return TrimBlanks(text.substr(
        open + 1, close == std::string_view::npos ? std::string_view::npos : close - open - 1));
}

}  // namespace vocarta
