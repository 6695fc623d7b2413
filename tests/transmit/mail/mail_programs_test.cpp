// The two paths through other programs, each replaced by a stand-in first on
// PATH that keeps its arguments and input: sendmail and xdg-email. Hostile
// values reach them as single arguments and run nothing.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "mail_test_support.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

// A folder with a stand-in `name` that writes its arguments (NUL-separated) to
// <name>.args and its input to <name>.input, and exits with $FAKE_STATUS.
class StandIn {
  public:
    explicit StandIn(const std::string& name) : folder_("vocarta-standin"), name_(name) {
        const std::string bin = folder_.File("bin");
        mkdir(bin.c_str(), 0755);
        const std::string script = bin + "/" + name;
        WriteFile(script, "#!/bin/sh\nfor a in \"$@\"; do printf '%s\\0' \"$a\"; done > \"" +
                              folder_.File(name + ".args") + "\"\ncat > \"" +
                              folder_.File(name + ".input") + "\"\nexit ${FAKE_STATUS:-0}\n");
        chmod(script.c_str(), 0755);
        const char* path = getenv("PATH");
        oldPath_ = path ? path : "";
        setenv("PATH", (bin + ":" + oldPath_).c_str(), 1);
    }
    ~StandIn() {
        setenv("PATH", oldPath_.c_str(), 1);
        unsetenv("FAKE_STATUS");
    }
    std::vector<std::string> Args() const {
        std::vector<std::string> args;
        const std::string text = ReadFile(folder_.File(name_ + ".args"));
        for (std::size_t at = 0, end; at < text.size(); at = end + 1)
            args.push_back(text.substr(at, (end = text.find('\0', at)) - at));
        return args;
    }
    std::string Input() const { return ReadFile(folder_.File(name_ + ".input")); }
    std::string File(const std::string& name) const { return folder_.File(name); }

  private:
    TempDir folder_;
    std::string name_, oldPath_;
};

}  // namespace

TEST(MailProgramsTest, SendmailTakesHostileValuesAsPlainArgumentsAndLfLines) {
    StandIn sendmail("sendmail");
    const std::string marker = sendmail.File("PWNED");
    MailRequest request;
    request.sender = "a\"; touch " + marker + "; \"@x";
    request.recipients = "$(touch " + marker + ")@y.test, b@y.test\r\nBcc: evil@z.test";
    request.subject = "Take `touch " + marker + "`";
    request.body = "Hello\r\n.\r\nBye\r\n";
    request.attachments = {sendmail.File("take.bin")};
    WriteFile(request.attachments[0], "bytes");
    FakeMailContext context;
    LStatus sent = SendBySendmail(request, context);
    ASSERT_TRUE(sent) << sent.Error().Message();
    EXPECT_EQ(sendmail.Args(), (std::vector<std::string>{"-f", request.sender, "-oi", "-t"}));
    EXPECT_NE(access(marker.c_str(), F_OK), 0) << "a value was run as a command";
    const std::string input = sendmail.Input();
    EXPECT_EQ(input.find('\r'), std::string::npos);
    EXPECT_EQ(input.find("\nBcc:"), std::string::npos);
    EXPECT_NE(input.find("\nTo: $(touch " + marker + ")@y.test, b@y.test  Bcc: evil@z.test\n"),
              std::string::npos);
    // With -oi a lone dot is no end, so the body goes as it is.
    EXPECT_NE(input.find("\n\nHello\n.\nBye\n\n--gc0p4Jq0M2Yt08jU534c0\n"), std::string::npos);
    EXPECT_NE(input.find("\nYnl0ZXM=\n\n--gc0p4Jq0M2Yt08jU534c0--\n"), std::string::npos);
    EXPECT_EQ(context.statuses, (std::vector<std::string>{"Sending Email", request.recipients}));

    // No sender: sendmail picks the user's own address rather than the null
    // sender; a refusal by sendmail is a failure with its status.
    request.sender.clear();
    setenv("FAKE_STATUS", "75", 1);
    FakeMailContext refused;
    EXPECT_FALSE(SendBySendmail(request, refused));
    EXPECT_EQ(sendmail.Args(), (std::vector<std::string>{"-oi", "-t"}));
    EXPECT_EQ(refused.LastLogged(),
              "The \"sendmail\" tool did not accept the email (it exited with status 75).");
}

TEST(MailProgramsTest, DesktopMailProgramGetsTheMessageAndItsChecks) {
    StandIn xdgEmail("xdg-email");
    const std::string attachment = xdgEmail.File("take 1.wav");
    WriteFile(attachment, "RIFF");
    MailRequest request;
    request.recipients = "a@x.test, b@x.test";
    request.subject = "Take; $(reboot)";
    request.attachments = {attachment};
    FakeMailContext context;
    ASSERT_TRUE(SendByDesktopMail(request, context, true)) << context.LastLogged();
    EXPECT_EQ(xdgEmail.Args(),
              (std::vector<std::string>{"--utf8", "--subject", "Take; $(reboot)", "--body", " ",
                                        "--attach", attachment, "a@x.test", "b@x.test"}));

    struct Case {
        MailRequest request;
        std::string logged;
    };
    MailRequest noSubject = request, noRecipient = request, missing = request, option = request;
    noSubject.subject.clear();
    noRecipient.recipients = " , ";
    missing.attachments = {xdgEmail.File("gone.wav")};
    MailRequest noAttachment = noRecipient;
    noAttachment.attachments.clear();
    option.recipients = "--help";
    const Case cases[] = {
        {noSubject, "Subject must not be empty"},
        {noRecipient, "Email address must not be empty"},
        {missing, "The attachment \"" + xdgEmail.File("gone.wav") + "\" does not exist"},
        {noAttachment, "Email address must not be empty when we are using the send action"},
        {option, "Invalid email address to send to: --help"},
    };
    for (const Case& c : cases) {
        FakeMailContext refused;
        EXPECT_FALSE(SendByDesktopMail(c.request, refused, true));
        EXPECT_EQ(refused.LastLogged(), c.logged);
    }
    // Without sending at once, an empty list is for the user to fill in.
    FakeMailContext open;
    EXPECT_TRUE(SendByDesktopMail(noAttachment, open, false)) << open.LastLogged();

    setenv("FAKE_STATUS", "3", 1);
    FakeMailContext failed;
    EXPECT_FALSE(SendByDesktopMail(request, failed, true));
    EXPECT_EQ(failed.LastLogged(),
              "There was a problem running the script (xdg-email exited with status 3)");
}
