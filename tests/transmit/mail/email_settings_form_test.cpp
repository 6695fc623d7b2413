// The "Email Settings" checks in their order, the saving order's effects, the
// values the window opens with, and the provider list of the host box.

#include "transmit/mail/email_settings_form.h"

#include <gtest/gtest.h>

#include "settings/settings.h"
#include "transmit/mail/email_address.h"
#include "transmit/mail/mail_request.h"
#include "transmit/mail/mail_settings.h"

using namespace vocarta;
namespace ms = vocarta::mail_settings;

// The order of the SMTP checks is the window's test; here, what each other
// choice asks for.
TEST(EmailSettingsFormTest, OnlyTheChosenMethodsFieldsAreChecked) {
    EmailSettingsValues direct;
    direct.choice = EmailSendChoice::kDirect;
    EXPECT_EQ(CheckEmailSettings(direct)->field, EmailSettingsField::kReplyTo);
    direct.replyTo = "me@mail.test";
    EXPECT_FALSE(CheckEmailSettings(direct));  // no host or login needed
    EmailSettingsValues desktop;
    desktop.choice = EmailSendChoice::kDesktopMail;
    EXPECT_FALSE(CheckEmailSettings(desktop));
}

TEST(EmailSettingsFormTest, SavedValuesAreWhatTheSenderReads) {
    DeleteSettingTree(ms::kSection);
    EmailSettingsValues v;
    v.choice = EmailSendChoice::kSmtp, v.host = "Gmail [smtp.gmail.com:587]";
    v.userName = " me ", v.password = "pw", v.replyTo = "me@mail.test";
    v.useTls = v.sendDirectWhenDown = true;
    ASSERT_FALSE(ApplyEmailSettings(v));
    MailRequest request = MailRequestFromSettings();
    EXPECT_EQ(request.host + "|" + request.userName + "|" + request.password,
              "smtp.gmail.com:587|me|pw");
    EXPECT_TRUE(request.sendDirect && request.useTls);
    EXPECT_FALSE(ms::UseDesktopMail());
    EXPECT_TRUE(GetSettingBool(ms::kSection, ms::kSetViewedKey, false));
    // The password is never stored in clear text.
    EXPECT_EQ(GetSettingString(ms::kSection, ms::kSmtpPasswordKey), "");
    // The window opens with SMTP again (and its box from SMTPDownSend).
    EmailSettingsValues back = ReadEmailSettingsValues();
    EXPECT_EQ(back.choice, EmailSendChoice::kSmtp);
    EXPECT_FALSE(back.sendDirectWhenDown);

    // Direct sending: no host is used, and the window shows that choice.
    v.choice = EmailSendChoice::kDirect;
    ASSERT_FALSE(ApplyEmailSettings(v));
    request = MailRequestFromSettings();
    EXPECT_TRUE(request.host.empty() && request.sendDirect);
    EXPECT_EQ(ReadEmailSettingsValues().choice, EmailSendChoice::kDirect);
    v.choice = EmailSendChoice::kSendmail;
    ASSERT_FALSE(ApplyEmailSettings(v));
    EXPECT_TRUE(ms::UseSendmail());
    EXPECT_FALSE(ms::SendDirect());
    EXPECT_EQ(ReadEmailSettingsValues().choice, EmailSendChoice::kSendmail);
}

TEST(EmailSettingsFormTest, FirstOpeningTakesTheReplyAddressFromTheEnvironment) {
    DeleteSettingTree(ms::kSection);
    setenv("EMAIL", "user@home.test", 1);
    EXPECT_EQ(ReadEmailSettingsValues().replyTo, "user@home.test");
    // The desktop mail program is the sender's default.
    EXPECT_EQ(ReadEmailSettingsValues().choice, EmailSendChoice::kDesktopMail);
    setenv("EMAIL", "other@home.test", 1);
    EXPECT_EQ(ReadEmailSettingsValues().replyTo, "");  // only the first time
    unsetenv("EMAIL");
}

TEST(EmailSettingsFormTest, ProviderListAndAddresses) {
    // Every provider line of the box gives its host back.
    const auto choices = MailHostChoices();
    for (std::size_t i = 1; i < choices.size(); ++i)
        EXPECT_EQ(MailHostFromChoice(choices[i]), MailProviders()[i - 1].host);
    EXPECT_EQ(MailHostFromChoice(" mail.example.net:2525 "), "mail.example.net:2525");
    for (const char* good : {"a@b", "a.b+c@mail.example.net", "x_y@d-1.org"})
        EXPECT_TRUE(IsValidEmailAddress(good)) << good;
    for (const char* bad : {"", "a", "@b", "a@", "a..b@c", ".a@b", "a@-b", "a b@c", "a@b\r\nc"})
        EXPECT_FALSE(IsValidEmailAddress(bad)) << bad;
}
