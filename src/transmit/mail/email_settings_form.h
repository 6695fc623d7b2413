#pragma once
// The "Email Settings" window without its widgets: the values it shows when it
// opens, the mail-host box's provider list, the checks made on OK (in their
// order, with their texts and captions) and the order the values are saved in.
//
// Threading contract: any thread (the window calls it on the GUI thread).

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vocarta {

enum class EmailSendChoice {
    kDesktopMail,  // "Use the desktop mail program to send email"
    kSendmail,     // "Use sendmail unix default script"
    kDirect,       // "Send directly to other side (work as own SMTP server)"
    kSmtp,         // "Use SMTP to send email directly to the mail server"
};

struct EmailSettingsValues {
    EmailSendChoice choice = EmailSendChoice::kDirect;
    std::string host;  // "host" or "host:port"
    std::string userName;
    std::string password;
    std::string replyTo;
    bool useTls = false;
    // "If server is down, attempt to send directly".
    bool sendDirectWhenDown = false;
};

// What is stored, with the window's own defaults: the choice from
// "UseAppleMail"/"UseSendMail", else "UseSMTPHost" (default 0 here) for SMTP,
// else "SendDirect" (default 0 here) for direct sending; the server-down box
// from "SMTPDownSend". The first time (no "DefaultsSet") an empty reply address
// is taken from $EMAIL when that is a valid address, and "DefaultsSet" is set.
EmailSettingsValues ReadEmailSettingsValues();

enum class EmailSettingsField { kReplyTo, kHost, kUserName, kPassword };

struct EmailSettingsProblem {
    EmailSettingsField field;
    std::string text;
    std::string caption;
};

// The first check that fails, or nullopt.
std::optional<EmailSettingsProblem> CheckEmailSettings(const EmailSettingsValues& values);
// Saves in the fixed order SendDirect, UseAppleMail, UseSendMail, UseSMTPHost,
// MailSMTPHost, SMTPUserName, SMTPPassword (protected), ReplyToEmail, UseSSL,
// then SetViewed 1. False when a value could not be written.
bool SaveEmailSettings(const EmailSettingsValues& values);
// Checks, and saves when every check passes.
std::optional<EmailSettingsProblem> ApplyEmailSettings(const EmailSettingsValues& values);

struct MailProvider {
    const char* name;
    const char* host;  // "host:port"
};
// Well-known providers and their submission hosts.
const std::vector<MailProvider>& MailProviders();
// The host box's list: "--Most Popular--", then "<name> [<host>]" for each.
std::vector<std::string> MailHostChoices();
// What is stored for a text of the host box: the part between "[" and "]" when
// it holds a "[", else the text itself without surrounding blanks.
std::string MailHostFromChoice(std::string_view text);

}  // namespace vocarta
