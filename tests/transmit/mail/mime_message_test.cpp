// Message composition: the date, header words, the boundary, body lines, and
// whole messages in both styles with an attachment decoded back.

#include "transmit/mail/mime_message.h"

#include <gtest/gtest.h>

#include "mail_test_support.h"
#include "transmit/mail/base64.h"
#include "transmit/mail/recording_email.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {
class CapturedOutput final : public MessageOutput {
  public:
    LStatus Write(std::string_view bytes, int) override {
        text.append(bytes);
        return {};
    }
    std::string text;
};

std::string Body(std::string_view body, MailStyle style = MailStyle::kSmtp) {
    std::string out;
    AppendBodyText(out, body, style);
    return out;
}

}  // namespace

TEST(MimeMessageTest, DateHasAFixedCenturyAndItsZoneRule) {
    std::tm t{};
    t.tm_year = 124, t.tm_mon = 2, t.tm_mday = 5, t.tm_wday = 2;
    t.tm_hour = 14, t.tm_min = 7, t.tm_sec = 9;
    EXPECT_EQ(FormatMailDate(t, -3600), "Tue, 05 Mar 2024 14:07:09 +0100");
    EXPECT_EQ(FormatMailDate(t, 0), "Tue, 05 Mar 2024 14:07:09 +0000");
    EXPECT_EQ(FormatMailDate(t, 18000), "Tue, 05 Mar 2024 14:07:09 -0500");
    EXPECT_EQ(FormatMailDate(t, -19800), "Tue, 05 Mar 2024 14:07:09 +0530");
    t.tm_year = 99;  // 1999, written with the fixed "20"
    EXPECT_EQ(FormatMailDate(t, 0).substr(12, 4), "2099");
}

TEST(MimeMessageTest, HeaderWordsAreQEncodedOnlyWhenNeeded) {
    EXPECT_EQ(EncodeHeaderText("Café"), "=?utf-8?q?Caf=C3=A9?=");
    EXPECT_EQ(EncodeHeaderText("two words"), "two words");
    EXPECT_EQ(EncodeHeaderText("Café a?b_c=d"), "=?utf-8?q?Caf=C3=A9=20a=3Fb=5Fc=3Dd?=");
    // A line break can never start a header line of its own.
    EXPECT_EQ(EncodeHeaderText("x\r\nBcc: y"), "=?utf-8?q?x=0D=0ABcc:=20y?=");
    // Between quotes a quote is encoded.
    EXPECT_EQ(EncodeHeaderText("a\"b.wav", true), "=?utf-8?q?a=22b.wav?=");
    EXPECT_EQ(EncodeHeaderText("a\"b.wav"), "a\"b.wav");
    EXPECT_EQ(HeaderValue("a@b\r\nBcc: c@d"), "a@b  Bcc: c@d");
}

TEST(MimeMessageTest, BoundaryAvoidsTheBodyAndTypesFollowTheExtension) {
    EXPECT_EQ(ChooseBoundary("plain"), "gc0p4Jq0M2Yt08jU534c0");
    EXPECT_EQ(ChooseBoundary("x gc0p4Jq0M2Yt08jU534c0 y"), "gc0p4Jq0M2Yt08jU534c1");
    EXPECT_EQ(std::string(AttachmentContentType("/r/a.WAV")) + AttachmentContentType("a.mp3") +
                  AttachmentContentType("a.flac"),
              "audio/wavaudio/mpegapplication/octet-stream");
}

TEST(MimeMessageTest, BodyLinesAreBrokenAndDotStuffed) {
    EXPECT_EQ(Body("a\r\n.b\r\n..c\r\nd"), "a\r\n..b\r\n...c\r\nd");
    EXPECT_EQ(Body(".\r\n"), "..\r\n");  // even the first line can never end the data
    EXPECT_EQ(Body("a\nb\rc\r\n"), "a\r\nb\r\nc\r\n");
    const std::string words = std::string(690, 'w') + " ." + std::string(20, 'x');
    EXPECT_EQ(Body(words + "\r\n"),
              std::string(690, 'w') + " \r\n.." + std::string(20, 'x') + "\r\n");
    EXPECT_EQ(Body(std::string(1500, 'z')), std::string(700, 'z') + "\r\n" + std::string(700, 'z') +
                                                "\r\n" + std::string(100, 'z'));
    // No blank: the break never cuts a character in two.
    const std::string accents = "a" + [] {
        std::string s;
        for (int i = 0; i < 400; ++i) s += "é";
        return s;
    }();
    const std::string broken = Body(accents);
    ASSERT_EQ(broken.find("\r\n"), 699u);
    EXPECT_EQ(broken.substr(0, 699) + broken.substr(701), accents);
    // sendmail's lines end with LF and are not dot-stuffed.
    EXPECT_EQ(Body("a\r\n.b\r\n", MailStyle::kSendmail), "a\n.b\n");
}

TEST(MimeMessageTest, WholeMessagesInBothStyles) {
    TempDir folder("vocarta-mime");
    std::string bytes;
    for (int i = 0; i < 100000; ++i) bytes.push_back(char(i * 7 + i / 251));
    const std::string path = folder.File("Café take 1.wav");
    ASSERT_TRUE(WriteFile(path, bytes));
    MailRequest request;
    request.recipients = "a@x.test, b@x.test";
    request.sender = "me@x.test";
    request.subject = "Vocarta Sound Recorder - Emailed Recording Café take 1.wav";
    request.body = "Line one\r\n.Line two\r\n";
    request.attachments = {path};

    FakeMailContext context;
    CapturedOutput smtp;
    MimeComposer composer(request, MailStyle::kSmtp, smtp, context);
    composer.SetDate("Tue, 05 Mar 2024 14:07:09 +0100");
    ASSERT_TRUE(composer.Compose());
    const std::string name = "=?utf-8?q?Caf=C3=A9=20take=201.wav?=";
    const std::string head =
        "MIME-Version: 1.0\r\nFrom: me@x.test\r\nTo: a@x.test, b@x.test\r\n"
        "Subject: =?utf-8?q?Vocarta=20Sound=20Recorder=20-=20Emailed=20Recording=20Caf=C3=A9=20"
        "take=201.wav?=\r\nDate: Tue, 05 Mar 2024 14:07:09 +0100\r\n" +
        std::string(kMailerLine) +
        "Content-Type: multipart/mixed; boundary=gc0p4Jq0M2Yt08jU534c0\r\n\r\n"
        "--gc0p4Jq0M2Yt08jU534c0\r\nContent-Type: text/plain; charset=\"utf-8\"\r\n\r\n"
        "Line one\r\n..Line two\r\n"
        "\r\n--gc0p4Jq0M2Yt08jU534c0\r\nContent-Type: audio/wav; name=\"" +
        name +
        "\"\r\nContent-Transfer-Encoding: base64\r\nContent-Disposition: attachment; "
        "filename=\"" +
        name + "\"\r\n\r\n";
    ASSERT_EQ(smtp.text.substr(0, head.size()), head);
    const std::string tail = "\r\n--gc0p4Jq0M2Yt08jU534c0--\r\n";
    ASSERT_EQ(smtp.text.substr(smtp.text.size() - tail.size()), tail);
    const std::string encoded =
        smtp.text.substr(head.size(), smtp.text.size() - head.size() - tail.size());
    // 57 bytes to each line of 76 characters.
    EXPECT_EQ(encoded.substr(0, 78).find("\r\n"), 76u);
    EXPECT_EQ(Count(encoded, "\r\n"), (bytes.size() + 56) / 57);
    std::string joined = encoded;  // the decoding itself: smtp_real_server_test
    std::erase(joined, '\r'), std::erase(joined, '\n');
    EXPECT_EQ(joined, Base64(bytes));
    EXPECT_EQ(context.progress.front(), 0.2);  // the statuses: smtp_real_server_test

    FakeMailContext quiet;
    CapturedOutput sendmail;
    ASSERT_TRUE(MimeComposer(request, MailStyle::kSendmail, sendmail, quiet).Compose());
    EXPECT_EQ(sendmail.text.rfind("Mime-Version: 1.0\nFrom: me@x.test\nTo: a@x.test, b@x.test\n"
                                  "Subject: =?utf-8?q?",
                                  0),
              0u);
    EXPECT_EQ(sendmail.text.find("Date:"), std::string::npos);
    EXPECT_NE(sendmail.text.find("\n\nLine one\n.Line two\n\n--gc0p4Jq0M2Yt08jU534c0\n"
                                 "Content-Type: application/octet-stream; name=\"" +
                                 name + "\"\n"),
              std::string::npos);
    EXPECT_TRUE(quiet.statuses.empty());

    // A file that cannot be read fails the composition.
    request.attachments = {folder.File("missing.wav")};
    CapturedOutput none;
    LStatus failed = MimeComposer(request, MailStyle::kSmtp, none, quiet).Compose();
    EXPECT_TRUE(!failed && failed.Error().Code() == LErrorCode::kIo);
}

TEST(MimeMessageTest, TheRecordingsSubjectAndBody) {
    EXPECT_EQ(RecordingMailSubject("/home/u/Music/rec 1.mp3"),
              "Vocarta Sound Recorder - Emailed Recording rec 1.mp3");
    EXPECT_EQ(RecordingMailSubject("/x/" + std::string(400, 'n')).size(), 259u);
    const std::string body = RecordingMailBody("/home/u/Music/rec 1.mp3");
    EXPECT_EQ(body.rfind("Attached is a recording made by Vocarta Sound Recorder.\r\n\r\n"
                         "  File Name: rec 1.mp3\r\n  \r\n\r\n",
                         0),
              0u);
    const std::string end = "\r\n" + std::string(34, '-') + "\r\nVocarta Sound Recorder\r\n";
    EXPECT_EQ(body.substr(body.size() - end.size()), end);
    EXPECT_LE(RecordingMailBody("/" + std::string(3000, 'n')).size(), kMailBodyMax);
}
