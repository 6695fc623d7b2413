// The e-mail method in the dispatcher: its question, and a send that fails
// logged with the mail client's reason and the method's own texts. (A recording
// mailed through the dispatcher to aiosmtpd: tests/app/test_send_mail_ftp.py.)

#include "transmit/email_method.h"

#include "settings/settings.h"
#include "transmit/mail/mail_settings.h"
#include "transmit/mail/mail_test_support.h"
#include "transmit/transmit_dispatcher.h"
#include "transmit_fakes.h"

using namespace vocarta;
using namespace vocarta::test;
namespace ms = vocarta::mail_settings;

TEST(EmailMethodTest, TheDispatcherAsksThenReportsAFailedSendWithItsTexts) {
    DeleteSettingTree("Settings");
    DeleteSettingTree(ms::kSection);
    TempDir dir("vocarta-email-method");
    const std::string recording = Recording(dir, "take 1.wav");
    SetSettingBool("Settings", "SendEmail", true);
    SetSettingString("Email", "To", "rcpt@mail.test");
    SetSettingBool(ms::kSection, ms::kUseDesktopMailKey, false);
    SetSettingString(ms::kSection, ms::kMailSmtpHostKey,
                     "127.0.0.1:" + std::to_string(ClosedPort()));
    SetSettingBool(ms::kSection, ms::kSendDirectKey, false);
    SetSettingString(ms::kSection, ms::kReplyToEmailKey, "me@mail.test");

    const TransmitDispatcher dispatcher = TransmitDispatcher::Default();
    FakeContext context;
    FakeTransmitUi ui;
    ui.answers = {false};
    EXPECT_EQ(dispatcher.TransmitFile({recording, 0}, context, ui), TransmitResult::Ok);
    EXPECT_EQ(ui.questions,
              (std::vector<Said>{{"You have the send via email transmit option enabled. Would you "
                                  "like to send this recording to \"rcpt@mail.test\"?",
                                  "Send via email?"}}));
    EXPECT_TRUE(context.logged.empty());

    SetSettingBool("Settings", "bPromptTransmit", false);
    EXPECT_EQ(dispatcher.TransmitFile({recording, 0}, context, ui), TransmitResult::Failed);
    ASSERT_EQ(context.logged.size(), 2u);
    EXPECT_EQ(context.logged[0].rfind("Unable to connect to mail server \"127.0.0.1:", 0), 0u);
    EXPECT_EQ(context.logged[1], "Cannot send the file \"" + recording +
                                     "\" to email. Please check the email settings in "
                                     "Options->Transmit again.");
    ASSERT_EQ(ui.messages.size(), 1u);
    EXPECT_EQ(ui.messages[0].first,
              "You have the send via email transmit option enabled. \n But the attempt to send "
              "this recording to \"rcpt@mail.test\" \n failed.");
}
