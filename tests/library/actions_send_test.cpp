// "Send" of the recordings window against a real SMTP server (aiosmtpd): one
// recording goes as it is, several as one zip that unzips to the very files;
// the subject and body are the window's own; the temporary zip is gone
// afterwards; a failed send is logged and shown with the e-mail method's texts.

#include <fcntl.h>
#include <sys/wait.h>

#include "actions_test_support.h"
#include "library/recordings_send.h"
#include "settings/settings.h"
#include "transmit/mail/mail_settings.h"
#include "transmit/mail/mail_test_support.h"
#include "transmit/send_log.h"
#include "transmit/transmit_fakes.h"

using namespace vocarta;
using namespace vocarta::test;
namespace ms = vocarta::mail_settings;

namespace {

void UseSmtp(uint16_t port) {
    DeleteSettingTree(ms::kSection);
    SetSettingBool(ms::kSection, ms::kUseDesktopMailKey, false);
    SetSettingString(ms::kSection, ms::kMailSmtpHostKey, "127.0.0.1:" + std::to_string(port));
    SetSettingBool(ms::kSection, ms::kSendDirectKey, false);
    SetSettingString(ms::kSection, ms::kReplyToEmailKey, "me@mail.test");
}

// The zip's entries unpacked by unzip into `into`.
bool Unzip(const std::string& zip, const std::string& into) {
    const pid_t pid = fork();
    if (pid == 0) {
        const int fd = open("/dev/null", O_WRONLY);
        dup2(fd, 1);
        execl("/usr/bin/unzip", "unzip", "-q", zip.c_str(), "-d", into.c_str(), nullptr);
        _exit(127);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// TMPDIR pointed at a folder of the test's for the life of the object.
class OwnTmp {
  public:
    OwnTmp() : dir_("vocarta-send-tmp"), old_(std::getenv("TMPDIR") ?: "") {
        setenv("TMPDIR", dir_.Path().c_str(), 1);
    }
    ~OwnTmp() { setenv("TMPDIR", old_.c_str(), 1); }
    const TempDir& Dir() const { return dir_; }

  private:
    TempDir dir_;
    std::string old_;
};

}  // namespace

TEST(SendRecordings, OneAsItIsSeveralAsOneZipWithTheWindowsTexts) {
    RealSmtpServer server;
    ASSERT_TRUE(server.Started());
    UseSmtp(server.Port());
    TempDir dir("vocarta-send");
    OwnTmp tmp;
    const std::string one = dir.File("take 1.wav");
    const std::string oneBytes = MakeFile(one, 20000, '1');
    const std::string two = dir.File(AwkwardNames()[1]);
    const std::string twoBytes = MakeFile(two, 30000, '2');
    unlink(SendLogPath().c_str());

    FakeContext context;
    FakeTransmitUi ui;
    ASSERT_EQ(SendRecordingsByEmail({one}, "rcpt@mail.test", context, ui), TransmitResult::Ok)
        << (context.logged.empty() ? "" : context.logged[0]);
    ASSERT_TRUE(server.WaitFor(1));
    EXPECT_EQ(
        server.Kept(1, "subject") + "|" + server.Kept(1, "text") + "|" + server.Kept(1, "0.name"),
        "Vocarta Sound Recorder Attachment|Please see the attachment sent by Vocarta Sound "
        "Recorder.|take 1.wav");
    EXPECT_EQ(server.Kept(1, "0.part"), oneBytes);

    std::vector<std::string> statuses;
    context.onProgress = [&](double) { statuses.push_back(context.status); };
    ASSERT_EQ(SendRecordingsByEmail({one, two}, "rcpt@mail.test", context, ui), TransmitResult::Ok);
    ASSERT_TRUE(server.WaitFor(2));
    EXPECT_EQ(statuses.front(), "Compressing Files...");
    EXPECT_EQ(server.Kept(2, "0.name"), "Vocarta Recordings.zip");
    const std::string zip = dir.File("got.zip");
    WriteFile(zip, server.Kept(2, "0.part"));
    ASSERT_TRUE(Unzip(zip, dir.File("unpacked"))) << "unzip could not read the attachment";
    EXPECT_EQ(ReadFile(dir.File("unpacked/take 1.wav")) +
                  ReadFile(dir.File("unpacked/" + AwkwardNames()[1])),
              oneBytes + twoBytes);
    EXPECT_TRUE(FolderNames(tmp.Dir().Path()).empty()) << "the temporary zip was left behind";
    EXPECT_TRUE(ui.messages.empty());

    // Every recording sent has its line in the send log.
    std::vector<std::string> logged;
    for (const SendLogEntry& entry : ReadSendLog())
        logged.push_back(BaseName(entry.recording) + " " + entry.method + " " + entry.target + " " +
                         entry.result);
    EXPECT_EQ(logged, (std::vector<std::string>{"take 1.wav email rcpt@mail.test Ok",
                                                "take 1.wav email rcpt@mail.test Ok",
                                                AwkwardNames()[1] + " email rcpt@mail.test Ok"}));
}

TEST(SendRecordings, AFailedOrStoppedSendIsReportedAndLeavesNoZip) {
    TempDir dir("vocarta-send-fail");
    OwnTmp tmp;
    const std::string one = dir.File("a.wav"), two = dir.File("b.wav");
    MakeFile(one, 1000, 'a');
    MakeFile(two, 1000, 'b');
    UseSmtp(ClosedPort());

    FakeContext context;
    FakeTransmitUi ui;
    EXPECT_EQ(SendRecordingsByEmail({one, two}, "rcpt@mail.test", context, ui),
              TransmitResult::Failed);
    ASSERT_EQ(ui.messages.size(), 1u);
    EXPECT_EQ(ui.messages[0],
              Said("You have the send via email transmit option enabled. \n But the attempt to "
                   "send this recording to \"rcpt@mail.test\" \n failed.",
                   "Transmit error"));
    EXPECT_NE(std::find(context.logged.begin(), context.logged.end(),
                        "Cannot send the file \"" + two +
                            "\" to email. Please check the email settings in Options->Transmit "
                            "again."),
              context.logged.end());
    EXPECT_TRUE(FolderNames(tmp.Dir().Path()).empty());

    // A stop request while compressing ends the send before any mail.
    FakeContext stopped;
    stopped.onProgress = [&](double) { stopped.stop.Set(); };
    EXPECT_EQ(SendRecordingsByEmail({one, two}, "rcpt@mail.test", stopped, ui),
              TransmitResult::Cancelled);
    EXPECT_TRUE(FolderNames(tmp.Dir().Path()).empty() && ui.messages.size() == 1u);
}
