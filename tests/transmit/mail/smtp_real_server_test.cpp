// A recording with a non-ASCII name e-mailed to aiosmtpd over STARTTLS with
// AUTH LOGIN, through the settings as the e-mail method reads them: what
// arrives is read back by Python's own MIME parser. The date, the body text and
// a recording sent by the program itself: tests/app/test_send_mail_ftp.py.

#include <gtest/gtest.h>

#include "mail_test_support.h"
#include "settings/settings.h"
#include "transmit/mail/mail_settings.h"
#include "transmit/mail/recording_email.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {
void UseSmtpSettings(const std::string& host, const std::string& password) {
    namespace ms = mail_settings;
    SetSettingBool(ms::kSection, ms::kUseDesktopMailKey, false);
    SetSettingBool(ms::kSection, ms::kUseSendmailKey, false);
    SetSettingBool(ms::kSection, ms::kUseSmtpHostKey, true);
    SetSettingString(ms::kSection, ms::kMailSmtpHostKey, host);
    SetSettingString(ms::kSection, ms::kSmtpUserNameKey, "ann");
    SetProtectedSetting(ms::kSection, ms::kSmtpPasswordKey, password);
    SetSettingBool(ms::kSection, ms::kUseSslKey, true);
    SetSettingBool(ms::kSection, ms::kSendDirectKey, false);
    SetSettingString(ms::kSection, ms::kReplyToEmailKey, "me@mail.test");
}
}  // namespace

TEST(SmtpRealServerTest, ARecordingArrivesOverStartTlsWithALogin) {
    ASSERT_FALSE(TestCertFolder().empty());
    RealSmtpServer server(
        {"--tls", TestCert("good"), TestKey("good"), "--login", "ann:pä ss:word"});
    ASSERT_TRUE(server.Started());
    TempDir folder("vocarta-mail-real");
    const std::string recording = folder.File("Café take 1.wav");
    ASSERT_TRUE(MakeTestRecording(recording)) << "sox is needed";
    UseSmtpSettings("localhost:" + std::to_string(server.Port()), "pä ss:word");

    FakeMailContext context;
    LStatus sent = SendRecordingByEmail(recording, "rcpt@mail.test", context);
    ASSERT_TRUE(sent) << sent.Error().Message() << "\n" << server.Output();
    ASSERT_TRUE(server.WaitFor(1));

    EXPECT_EQ(server.Kept(1, "meta"),
              "from=me@mail.test\nto=rcpt@mail.test\nsecure=1\nauthenticated=1\n");
    EXPECT_EQ(server.Kept(1, "subject"),
              "Vocarta Sound Recorder - Emailed Recording Café take 1.wav");
    EXPECT_EQ(server.Kept(1, "0.name"), "Café take 1.wav");
    EXPECT_EQ(server.Kept(1, "0.type"), "audio/wav");
    EXPECT_TRUE(server.Kept(1, "0.part") == ReadFile(recording)) << "the attachment differs";

    EXPECT_EQ(
        context.statuses,
        (std::vector<std::string>{"To: rcpt@mail.test", "Preparing message", "Connecting to server",
                                  "Connected to server", "Sending Message Text",
                                  "Sending Message Attachment(s)", "Email sent"}));
    ASSERT_FALSE(context.progress.empty());
    EXPECT_EQ(context.progress.front(), 0.0);
    EXPECT_EQ(context.progress.back(), 0.95);
    EXPECT_TRUE(context.logged.empty()) << context.LastLogged();
}
