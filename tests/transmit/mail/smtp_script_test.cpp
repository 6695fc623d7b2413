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

// Script steps: a reply line, and a command awaited then answered.
std::string Send(const std::string& reply) {
    return "send " + reply + "\\r\\n\n";
}
std::string On(const std::string& command, const std::string& reply) {
    return "expect " + command + "\n" + Send(reply);
}
const std::string kGreeting = Send("220 ready");
const std::string kHelo = kGreeting + On("HELO", "250 hello");
const std::string kEnvelope =
    kHelo + On("MAIL FROM:<me@mail.test>", "250 ok") + On("RCPT TO:<rcpt@mail.test>", "250 ok");
// From DATA to QUIT, the message answered with `reply`.
std::string Message(const std::string& reply = "250 queued") {
    return On("DATA", "354 go on") + "data\n" + Send(reply) + On("QUIT", "221 bye");
}
std::string Dialogue(const std::string& reply = "250 queued") {
    return kEnvelope + Message(reply);
}

MailRequest Request(const std::string& host) {
    MailRequest r;
    r.recipients = "rcpt@mail.test", r.sender = "me@mail.test", r.subject = "A test";
    r.body = "Hello\r\n", r.host = host, r.sendDirect = false;
    return r;
}

}  // namespace

TEST(SmtpScriptTest, DefaultPortFallsBackTo25ButAGivenPortIsNeverRetried) {
    ScriptedSmtpServer server(Dialogue());
    SmtpOptions options = LoopbackOptions();
    options.submissionPort = ClosedPort();
    options.fallbackPort = server.Port();
    FakeMailContext context;
    EXPECT_TRUE(SendBySmtp(Request("127.0.0.1"), context, options));
    EXPECT_NE(server.Log().find("1 QUIT"), std::string::npos) << server.Log();

    // 2525 given by the user: refused, and port 25 (here the live server) is
    // not tried behind the user's back.
    const uint16_t refused = ClosedPort();
    FakeMailContext second;
    EXPECT_FALSE(SendBySmtp(Request("127.0.0.1:" + std::to_string(refused)), second, options));
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
        {kGreeting + On("HELO", "504 no"),
         "Mail host server error (HELO not accepted, error code 504) for destination email "
         "rcpt@mail.test - usually this means the email address is not valid."},
        {kGreeting + On("HELO", "501 syntax"),
         "Mail host server error (HELO not accepted): 501 emailto: rcpt@mail.test"},
        {Send("421 busy"), "Mail server not responding: rcpt@mail.test (421)"},
        {kHelo + On("MAIL", "553 5.7.1 Sender: not yours"),
         "Mail host server error (MAIL FROM not accepted). Please check your Email Settings. "
         "rcpt@mail.test - (553 -  not yours)"},
        {kEnvelope + On("DATA", "451 later"), "Mail host server error (DATA not accepted)"},
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
        EXPECT_TRUE(!sent && !sent.Error().IsCancelled()) << c.logged;
        EXPECT_EQ(context.logged, std::vector<std::string>{c.logged});
    }
}

TEST(SmtpScriptTest, AuthLoginBranches) {
    MailRequest request = Request("");
    request.userName = "ann", request.password = "s3cret pass";
    const std::string hello = kGreeting + On("EHLO client.test", "250 hi");
    const std::string rest = On("MAIL", "250 ok") + On("RCPT", "250 ok") + Message();
    struct Case {
        std::string script;
        bool sent;
        std::string logged;  // the last line logged
    };
    const Case cases[] = {
        // 502: no login, and the mail goes out all the same.
        {hello + On("AUTH LOGIN", "502 not here") + rest, true, ""},
        {hello + On("AUTH LOGIN", "530 tls first"), false,
         "Encryption required for requested Email server. Please check your Email Settings."},
        // 503: hello again, then the login, user and password in base64.
        {hello + On("AUTH LOGIN", "503 hello first") + On("EHLO", "250 hi") +
             On("AUTH LOGIN", "334 VXNlcm5hbWU6") + On(Base64("ann"), "334 UGFzc3dvcmQ6") +
             On(Base64("s3cret pass"), "535 no"),
         false, "Email authentication username or password not accepted (535): rcpt@mail.test"},
    };
    for (const Case& c : cases) {
        ScriptedSmtpServer server(c.script);
        request.host = server.Host();
        FakeMailContext context;
        EXPECT_EQ(bool(SendBySmtp(request, context, LoopbackOptions())), c.sent) << server.Log();
        EXPECT_EQ(context.LastLogged(), c.logged);
        EXPECT_EQ(server.Log().find("UNEXPECTED"), std::string::npos) << server.Log();
    }
    // A recipient's own exchanger is never offered the password.
    ScriptedSmtpServer exchanger(hello + rest);
    request.host.clear();
    FakeMailContext context;
    EXPECT_TRUE(SendBySmtp(request, context, LoopbackOptions(exchanger.Port())));
    EXPECT_EQ(exchanger.Log().find("AUTH"), std::string::npos) << exchanger.Log();
}

TEST(SmtpScriptTest, EveryRecipientGroupNeedsAnAcceptedAddress) {
    ScriptedSmtpServer server(kHelo + On("MAIL", "250 ok") + On("RCPT TO:<a@x.test>", "550 no") +
                              On("RCPT TO:<b@x.test>", "251 will forward") +
                              On("RCPT TO:<c@x.test>", "550 no") +
                              On("RCPT TO:<d@x.test>", "553 no"));
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
    // A multi-line greeting split inside a line and inside its end, a line of
    // 600 characters, and a multi-line EHLO reply offering STARTTLS.
    ScriptedSmtpServer server(
        "send 220-mail.test\\r\\n220-second li\npause 150\nsend ne\\r\npause 150\nsend \\n\n" +
        Send("220 " + std::string(600, 'x')) +
        On("HELO", "250-one\\r\\n250-two STARTTLS\\r\\n250 x") + On("MAIL", "250 ok") +
        On("RCPT", "250 ok") + Message());
    FakeMailContext context;
    EXPECT_TRUE(SendBySmtp(Request(server.Host()), context, LoopbackOptions())) << server.Log();
    // Offered, but the user did not ask for TLS: never sent.
    EXPECT_EQ(server.Log().find("STARTTLS"), std::string::npos);
}

TEST(SmtpScriptTest, BytesAfterTheStartTlsGoAheadAreNeverTakenAsReplies) {
    ASSERT_FALSE(TestCertFolder().empty());
    MailRequest request = Request("");
    request.userName = "ann";
    request.password = "pw", request.useTls = true;
    const std::string hello =
        kGreeting + On("EHLO", "250-hi\\r\\n250 STARTTLS") + "expect STARTTLS\n";
    // In the same write as the go-ahead: thrown away, so the reply to the
    // second EHLO is the server's real one and the login goes on over TLS.
    // Arriving later, they break the handshake: the dialogue goes on in clear
    // text, and the password is not sent.
    const std::string scripts[] = {
        hello + Send("220 go ahead\\r\\n250 injected") + "tls\n" + On("EHLO", "250 AUTH LOGIN") +
            On("AUTH LOGIN", "334 VXNlcm5hbWU6") + On(Base64("ann"), "334 UGFzc3dvcmQ6") +
            On(Base64("pw"), "235 ok") + On("MAIL", "250 ok") + On("RCPT", "250 ok") + Message(),
        hello + Send("220 go ahead") + "pause 200\n" + Send("250 injected") + "tls\n"};
    for (const std::string& script : scripts) {
        const bool inSameWrite = &script == &scripts[0];
        ScriptedSmtpServer server(script, true);
        request.host = "localhost:" + std::to_string(server.Port());
        FakeMailContext context;
        EXPECT_EQ(bool(SendBySmtp(request, context, LoopbackOptions())), inSameWrite)
            << server.Log();
        if (inSameWrite) {
            EXPECT_EQ(server.Log().find("UNEXPECTED"), std::string::npos) << server.Log();
            continue;
        }
        EXPECT_EQ(context.logged.empty() ? "" : context.logged.front(),
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
        ScriptedSmtpServer server(kEnvelope + On("DATA", "354 go") + "stall 1000\n");
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
        EXPECT_TRUE(!sent && sent.Error().IsCancelled());
        // A signal wakes the wait at once; a flag is looked at every 200 ms.
        EXPECT_LE(std::chrono::duration_cast<std::chrono::milliseconds>(ended - asked).count(),
                  signal ? 200 : 260);
        EXPECT_TRUE(context.logged.empty()) << context.LastLogged();
        EXPECT_TRUE(server.WaitForLog("1 GONE"));
    }
}

TEST(SmtpScriptTest, DirectDeliveryOnceForEachRecipient) {
    ScriptedSmtpServer server(Send("220 mx") + On("HELO client.test", "250 hi") +
                              On("MAIL FROM:<Vocarta@one.test>", "250 ok") + On("RCPT", "250 ok") +
                              Message());
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
    EXPECT_TRUE(SendBySmtp(request, context, options)) << server.Log();
    EXPECT_EQ(looked, (std::vector<std::string>{"one.test", "one.test"}));
    EXPECT_NE(server.Log().find("1 RCPT TO:<a@one.test>"), std::string::npos) << server.Log();
    EXPECT_NE(server.Log().find("2 RCPT TO:<b@one.test>"), std::string::npos);

    // An address without a domain; a host that cannot be reached with direct
    // sending on, and then no exchanger either: both servers named.
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
