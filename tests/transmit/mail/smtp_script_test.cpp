// The SMTP client against a server that plays a script of replies: the ports it
// tries, each reply code a step judges, reply framing, STARTTLS with bytes
// slipped in after the go-ahead, and a stop request in the middle of a message.

#include <chrono>
#include <thread>

#include "mail_test_support.h"
#include "transmit/mail/base64.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

// The script of a server that takes one mail; `middle` replaces the part from
// HELO to the end of RCPT.
std::string Dialogue(const std::string& terminatorReply = "250 queued") {
    return "send 220 ready\\r\\n\n"
           "expect HELO\nsend 250 hello\\r\\n\n"
           "expect MAIL FROM:<me@mail.test>\nsend 250 ok\\r\\n\n"
           "expect RCPT TO:<rcpt@mail.test>\nsend 250 ok\\r\\n\n"
           "expect DATA\nsend 354 go on\\r\\n\n"
           "data\nsend " +
           terminatorReply +
           "\\r\\n\n"
           "expect QUIT\nsend 221 bye\\r\\n\n";
}

MailRequest Request(const std::string& host) {
    MailRequest r;
    r.recipients = "rcpt@mail.test";
    r.sender = "me@mail.test";
    r.subject = "A test";
    r.body = "Hello\r\n";
    r.host = host;
    r.sendDirect = false;
    return r;
}

}  // namespace

TEST(SmtpScriptTest, DefaultPortFallsBackTo25ButAGivenPortIsNeverRetried) {
    ScriptedSmtpServer server(Dialogue());
    SmtpOptions options = LoopbackOptions();
    options.submissionPort = ClosedPort();
    options.fallbackPort = server.Port();
    FakeMailContext context;
    LStatus sent = SendBySmtp(Request("127.0.0.1"), context, options);
    ASSERT_TRUE(sent) << sent.Error().Message();
    EXPECT_NE(server.Log().find("1 QUIT"), std::string::npos) << server.Log();

    // 2525 given by the user: refused, and port 25 (here the live server) is
    // not tried behind the user's back.
    const uint16_t refused = ClosedPort();
    FakeMailContext second;
    sent = SendBySmtp(Request("127.0.0.1:" + std::to_string(refused)), second, options);
    ASSERT_FALSE(sent);
    EXPECT_EQ(second.LastLogged(),
              "Unable to connect to mail server \"127.0.0.1:" + std::to_string(refused) +
                  "\" when sending an email to \"rcpt@mail.test\".");
    EXPECT_EQ(server.Log().find("2 "), std::string::npos) << server.Log();
}

TEST(SmtpScriptTest, RefusedStepsFailWithTheirTexts) {
    struct Case {
        std::string script;
        std::string logged;
    };
    const Case cases[] = {
        {"send 220 ready\\r\\n\nexpect HELO\nsend 504 no\\r\\n\n",
         "Mail host server error (HELO not accepted, error code 504) for destination email "
         "rcpt@mail.test - usually this means the email address is not valid."},
        {"send 220 ready\\r\\n\nexpect HELO\nsend 501 syntax\\r\\n\n",
         "Mail host server error (HELO not accepted): 501 emailto: rcpt@mail.test"},
        {"send 421 busy\\r\\n\n", "Mail server not responding: rcpt@mail.test (421)"},
        {"send 220 ready\\r\\n\nexpect HELO\nsend 250 hi\\r\\n\nexpect MAIL\n"
         "send 553 5.7.1 Sender: not yours\\r\\n\n",
         "Mail host server error (MAIL FROM not accepted). Please check your Email Settings. "
         "rcpt@mail.test - (553 -  not yours)"},
        {"send 220 ready\\r\\n\nexpect HELO\nsend 250 hi\\r\\n\nexpect MAIL\nsend 250 ok\\r\\n\n"
         "expect RCPT\nsend 250 ok\\r\\n\nexpect DATA\nsend 451 later\\r\\n\n",
         "Mail host server error (DATA not accepted)"},
        {Dialogue("550 5.7.1 Relay: denied here"),
         "The recipient's email server does not allow email to be received in this manner.  "
         "Please use an SMTP account for sending email to this address. emailto: rcpt@mail.test "
         "mailhost: 127.0.0.1 error:  denied here"},
        {Dialogue("552 too big"), "The email exceeds the size limits set for this account."},
        {Dialogue("554 no"),
         "The recipient's email server rejected this email because of an unspecified reason.  "
         "Try using an SMTP account for sending email to this address."},
        {Dialogue("451 try later"),
         "Mail host server error (data terminator not accepted) emailto: rcpt@mail.test "
         "mailhost: 127.0.0.1 error: 451"},
    };
    for (const Case& c : cases) {
        ScriptedSmtpServer server(c.script);
        FakeMailContext context;
        LStatus sent = SendBySmtp(Request(server.Host()), context, LoopbackOptions());
        ASSERT_FALSE(sent) << c.logged;
        EXPECT_FALSE(sent.Error().IsCancelled());
        EXPECT_EQ(context.LastLogged(), c.logged);
        EXPECT_EQ(context.logged.size(), 1u) << c.logged;
    }
}

TEST(SmtpScriptTest, AuthLoginBranches) {
    MailRequest request = Request("");
    request.userName = "ann";
    request.password = "s3cret pass";
    const std::string hello = "send 220 ready\\r\\n\nexpect EHLO client.test\nsend 250 hi\\r\\n\n";
    const std::string rest =
        "expect MAIL\nsend 250 ok\\r\\n\nexpect RCPT\nsend 250 ok\\r\\n\nexpect DATA\n"
        "send 354 go\\r\\n\ndata\nsend 250 ok\\r\\n\nexpect QUIT\nsend 221 bye\\r\\n\n";

    // 502: no login, the mail goes out all the same.
    {
        ScriptedSmtpServer server(hello + "expect AUTH LOGIN\nsend 502 not here\\r\\n\n" + rest);
        request.host = server.Host();
        FakeMailContext context;
        LStatus sent = SendBySmtp(request, context, LoopbackOptions());
        EXPECT_TRUE(sent) << server.Log();
        EXPECT_NE(server.Log().find("1 MAIL FROM"), std::string::npos);
    }
    // 530: the encryption message.
    {
        ScriptedSmtpServer server(hello + "expect AUTH LOGIN\nsend 530 tls first\\r\\n\n");
        request.host = server.Host();
        FakeMailContext context;
        EXPECT_FALSE(SendBySmtp(request, context, LoopbackOptions()));
        EXPECT_EQ(context.LastLogged(),
                  "Encryption required for requested Email server. Please check your Email "
                  "Settings.");
    }
    // 503: hello again, then the login; user and password in base64; 535 fails.
    {
        ScriptedSmtpServer server(hello +
                                  "expect AUTH LOGIN\nsend 503 hello first\\r\\n\n"
                                  "expect EHLO\nsend 250 hi\\r\\n\n"
                                  "expect AUTH LOGIN\nsend 334 VXNlcm5hbWU6\\r\\n\n"
                                  "expect " +
                                  Base64("ann") + "\nsend 334 UGFzc3dvcmQ6\\r\\n\nexpect " +
                                  Base64("s3cret pass") + "\nsend 535 no\\r\\n\n");
        request.host = server.Host();
        FakeMailContext context;
        EXPECT_FALSE(SendBySmtp(request, context, LoopbackOptions()));
        EXPECT_EQ(context.LastLogged(),
                  "Email authentication username or password not accepted (535): rcpt@mail.test");
        EXPECT_EQ(server.Log().find("UNEXPECTED"), std::string::npos) << server.Log();
    }
    // A recipient's own exchanger is never offered the password.
    {
        ScriptedSmtpServer server(hello + rest);
        MailRequest direct = request;
        direct.host.clear();
        FakeMailContext context;
        LStatus sent = SendBySmtp(direct, context, LoopbackOptions(server.Port()));
        EXPECT_TRUE(sent) << server.Log();
        EXPECT_EQ(server.Log().find("AUTH"), std::string::npos);
    }
}

TEST(SmtpScriptTest, EveryRecipientGroupNeedsAnAcceptedAddress) {
    const std::string head =
        "send 220 ready\\r\\n\nexpect HELO\nsend 250 hi\\r\\n\nexpect MAIL\nsend 250 ok\\r\\n\n";
    ScriptedSmtpServer server(head +
                              "expect RCPT TO:<a@x.test>\nsend 550 no such user\\r\\n\n"
                              "expect RCPT TO:<b@x.test>\nsend 251 will forward\\r\\n\n"
                              "expect RCPT TO:<c@x.test>\nsend 550 no\\r\\n\n"
                              "expect RCPT TO:<d@x.test>\nsend 553 no\\r\\n\n");
    MailRequest request = Request(server.Host());
    request.recipients = "a@x.test, b@x.test";
    request.recipientGroups = {{"a@x.test", "b@x.test"}, {}, {"c@x.test", "d@x.test"}};
    FakeMailContext context;
    EXPECT_FALSE(SendBySmtp(request, context, LoopbackOptions()));
    EXPECT_EQ(context.LastLogged(),
              "Error while trying to send email. Email address may be wrong or your SMTP server "
              "may require a username or password. Please check address again and see Email "
              "Settings. (553): a@x.test, b@x.test");
    EXPECT_EQ(server.Log().find("DATA"), std::string::npos);
}

TEST(SmtpScriptTest, RepliesSplitOverWritesOrLinesAndOverlongLinesAreRead) {
    // A multi-line greeting split in the middle of a line and of its end, a
    // 600-character line cut to 258, and a pipelined RCPT reply arriving with
    // the MAIL one.
    const std::string longLine(600, 'x');
    ScriptedSmtpServer server(
        "send 220-mail.test\\r\\n220-second li\npause 150\nsend ne\\r\npause 150\n"
        "send \\n220 " +
        longLine +
        "\\r\\n\n"
        "expect HELO\nsend 250-one\\r\\n250-two STARTTLS\\r\\n250 three\\r\\n\n"
        "expect MAIL\nsend 250 ok\\r\\n\n"
        "expect RCPT\nsend 250 ok\\r\\n\nexpect DATA\nsend 354 go\\r\\n\ndata\n"
        "send 250 ok\\r\\n\nexpect QUIT\nsend 221 bye\\r\\n\n");
    FakeMailContext context;
    LStatus sent = SendBySmtp(Request(server.Host()), context, LoopbackOptions());
    EXPECT_TRUE(sent) << server.Log();
    // STARTTLS offered, but the user did not ask for TLS: never sent.
    EXPECT_EQ(server.Log().find("STARTTLS"), std::string::npos);
}

TEST(SmtpScriptTest, BytesAfterTheStartTlsGoAheadAreNeverTakenAsReplies) {
    ASSERT_FALSE(TestCertFolder().empty());
    MailRequest request = Request("");
    request.host = "localhost";
    request.userName = "ann";
    request.password = "pw";
    request.useTls = true;
    const std::string hello =
        "send 220 ready\\r\\n\nexpect EHLO\nsend 250-hi\\r\\n250 STARTTLS\\r\\n\nexpect STARTTLS\n";
    // In the same write as the go-ahead: thrown away, so the reply to the
    // second EHLO is the server's real one and the login goes on over TLS.
    {
        ScriptedSmtpServer server(hello +
                                      "send 220 go ahead\\r\\n250 injected\\r\\n\ntls\n"
                                      "expect EHLO\nsend 250 AUTH LOGIN\\r\\n\n"
                                      "expect AUTH LOGIN\nsend 334 VXNlcm5hbWU6\\r\\n\n"
                                      "expect " +
                                      Base64("ann") + "\nsend 334 UGFzc3dvcmQ6\\r\\n\nexpect " +
                                      Base64("pw") + "\nsend 235 ok\\r\\n\n" +
                                      "expect MAIL\nsend 250 ok\\r\\n\nexpect RCPT\n"
                                      "send 250 ok\\r\\n\nexpect DATA\nsend 354 go\\r\\n\ndata\n"
                                      "send 250 ok\\r\\n\nexpect QUIT\nsend 221 bye\\r\\n\n",
                                  true);
        request.host = "localhost:" + std::to_string(server.Port());
        FakeMailContext context;
        LStatus sent = SendBySmtp(request, context, LoopbackOptions());
        EXPECT_TRUE(sent) << server.Log();
        EXPECT_EQ(server.Log().find("UNEXPECTED"), std::string::npos) << server.Log();
    }
    // Arriving later, they break the handshake: the dialogue goes on in clear
    // text, and the password is not sent.
    {
        ScriptedSmtpServer server(
            hello + "send 220 go ahead\\r\\n\npause 200\nsend 250 injected\\r\\n\ntls\n", true);
        request.host = "localhost:" + std::to_string(server.Port());
        FakeMailContext context;
        EXPECT_FALSE(SendBySmtp(request, context, LoopbackOptions()));
        ASSERT_FALSE(context.logged.empty());
        EXPECT_EQ(context.logged.front(),
                  "The mail server \"localhost\" did not start a secure connection, so the user "
                  "name and password were not sent. The email is sent without logging in.");
        EXPECT_EQ(server.Log().find(Base64("pw")), std::string::npos);
        EXPECT_EQ(server.Log().find("AUTH"), std::string::npos);
    }
}

TEST(SmtpScriptTest, AStopWhileSendingEndsPromptlyWithCancelled) {
    TempDir folder("vocarta-mail-stop");
    const std::string big = folder.File("big.wav");
    ASSERT_TRUE(WriteFile(big, std::string(16 << 20, 'a')));
    for (bool signal : {true, false}) {
        // The server stops reading once the message begins, so the client waits
        // in the middle of sending.
        ScriptedSmtpServer server(
            "send 220 ready\\r\\n\nexpect HELO\nsend 250 hi\\r\\n\nexpect MAIL\nsend 250 ok\\r\\n\n"
            "expect RCPT\nsend 250 ok\\r\\n\nexpect DATA\nsend 354 go\\r\\n\nstall 1000\n");
        MailRequest request = Request(server.Host());
        request.attachments = {big};
        FakeMailContext context;
        context.useSignal = signal;
        LStatus sent;
        std::chrono::steady_clock::time_point ended;
        std::thread sender([&] {
            sent = SendBySmtp(request, context, LoopbackOptions());
            ended = std::chrono::steady_clock::now();
        });
        ASSERT_TRUE(server.WaitForLog("1 DATA"));
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        const auto asked = std::chrono::steady_clock::now();
        context.stop = true;
        if (signal) context.signal.Set();
        sender.join();
        ASSERT_FALSE(sent);
        EXPECT_TRUE(sent.Error().IsCancelled()) << sent.Error().Message();
        // A signal wakes the wait at once; a flag is looked at every 200 ms.
        EXPECT_LE(std::chrono::duration_cast<std::chrono::milliseconds>(ended - asked).count(),
                  signal ? 200 : 260)
            << (signal ? "with a stop signal" : "with a stop flag");
        EXPECT_TRUE(context.logged.empty()) << context.LastLogged();
        EXPECT_TRUE(server.WaitForLog("1 GONE"));
    }
}

TEST(SmtpScriptTest, DirectDeliveryOnceForEachRecipient) {
    ScriptedSmtpServer server(
        "send 220 mx\\r\\n\nexpect HELO client.test\nsend 250 hi\\r\\n\n"
        "expect MAIL FROM:<Vocarta@one.test>\nsend 250 ok\\r\\n\nexpect RCPT\nsend 250 ok\\r\\n\n"
        "expect DATA\nsend 354 go\\r\\n\ndata\nsend 250 ok\\r\\n\nexpect QUIT\n"
        "send 221 bye\\r\\n\n");
    MailRequest request = Request("");
    request.sender.clear();
    request.recipients = "a@one.test,b@one.test";
    FakeMailContext context;
    SmtpOptions options = LoopbackOptions(server.Port());
    std::vector<std::string> looked;
    options.lookUpExchanger = [&](const std::string& domain) {
        looked.push_back(domain);
        return std::string("127.0.0.1");
    };
    LStatus sent = SendBySmtp(request, context, options);
    EXPECT_TRUE(sent) << server.Log();
    EXPECT_EQ(looked, (std::vector<std::string>{"one.test", "one.test"}));
    EXPECT_NE(server.Log().find("1 RCPT TO:<a@one.test>"), std::string::npos) << server.Log();
    EXPECT_NE(server.Log().find("2 RCPT TO:<b@one.test>"), std::string::npos) << server.Log();
    EXPECT_EQ(Count(server.Log(), "RCPT"), 2u);

    // An address without a domain, and a host that cannot be reached with
    // direct sending on: both servers named.
    FakeMailContext bad;
    request.recipients = "nobody";
    EXPECT_FALSE(SendBySmtp(request, bad, options));
    EXPECT_EQ(bad.LastLogged(), "Invalid email address to send to: nobody");
    FakeMailContext down;
    request.recipients = "a@one.test";
    request.host = "127.0.0.1:" + std::to_string(ClosedPort());
    request.sendDirect = true;
    options.exchangerPort = ClosedPort();
    EXPECT_FALSE(SendBySmtp(request, down, options));
    EXPECT_EQ(down.LastLogged(), "Unable to connect to either mail server \"" + request.host +
                                     "\" or the mail server at \"one.test\".");
}
