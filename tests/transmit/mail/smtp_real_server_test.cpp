// A recording e-mailed to aiosmtpd over STARTTLS with AUTH LOGIN, through the
// settings as the e-mail method reads them: what arrives is read back by
// Python's own MIME parser.

#include <gtest/gtest.h>

#include <regex>

#include "mail_test_support.h"
#include "settings/settings.h"
#include "transmit/mail/mail_settings.h"
#include "transmit/mail/recording_email.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {
std::string Unix(std::string text) {
    std::string out;
    for (char c : text)
        if (c != '\r') out.push_back(c);
    return out;
}

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
    EXPECT_EQ(Unix(server.Kept(1, "text")), Unix(RecordingMailBody(recording)));
    EXPECT_EQ(server.Kept(1, "0.name"), "Café take 1.wav");
    EXPECT_EQ(server.Kept(1, "0.type"), "audio/wav");
    const std::string original = ReadFile(recording);
    ASSERT_GT(original.size(), 300000u);
    EXPECT_TRUE(server.Kept(1, "0.part") == original) << "the attachment differs";

    const std::string raw = server.Kept(1, "eml");
    EXPECT_NE(raw.find("name=\"=?utf-8?q?Caf=C3=A9=20take=201.wav?=\""), std::string::npos);
    EXPECT_NE(raw.find("X-Mailer: Vocarta Sound Recorder"), std::string::npos);
    std::smatch date;
    ASSERT_TRUE(std::regex_search(raw, date, std::regex("\r\nDate: ([^\r]*)\r\n")));
    EXPECT_TRUE(std::regex_match(
        date[1].str(), std::regex("(Mon|Tue|Wed|Thu|Fri|Sat|Sun), \\d\\d "
                                  "[A-Z][a-z][a-z] 20\\d\\d \\d\\d:\\d\\d:\\d\\d [+-]\\d{4}")))
        << date[1];

    EXPECT_EQ(
        context.statuses,
        (std::vector<std::string>{"To: rcpt@mail.test", "Preparing message", "Connecting to server",
                                  "Connected to server", "Sending Message Text",
                                  "Sending Message Attachment(s)", "Email sent"}));
    ASSERT_FALSE(context.progress.empty());
    EXPECT_EQ(context.progress.front(), 0.0);
    EXPECT_EQ(context.progress.back(), 0.95);
    EXPECT_TRUE(context.logged.empty()) << context.LastLogged();

    // A wrong password is refused with its text, and nothing is kept.
    UseSmtpSettings("localhost:" + std::to_string(server.Port()), "wrong");
    FakeMailContext refused;
    EXPECT_FALSE(SendRecordingByEmail(recording, "rcpt@mail.test", refused));
    EXPECT_EQ(refused.LastLogged(),
              "Email authentication username or password not accepted (535): rcpt@mail.test");
    EXPECT_FALSE(server.Has(2));
}
