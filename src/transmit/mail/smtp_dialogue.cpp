#include "transmit/mail/smtp_dialogue.h"

#include "toolkit/log.h"
#include "toolkit/text.h"
#include "transmit/mail/base64.h"
#include "transmit/mail/mail_resolver.h"
#include "transmit/mail/mime_message.h"

namespace vocarta {

namespace {
class ChannelOutput final : public MessageOutput {
  public:
    explicit ChannelOutput(SmtpChannel& channel) : channel_(channel) {}
    LStatus Write(std::string_view bytes, int timeoutMs) override {
        return channel_.SendRaw(bytes, timeoutMs);
    }

  private:
    SmtpChannel& channel_;
};

bool Accepted(int code) {
    return code == 250 || code == 251;
}
}  // namespace

SmtpDialogue::SmtpDialogue(const MailRequest& request, MailContext& context, SmtpChannel& channel,
                           const SmtpPeer& peer, const SmtpOptions& options)
    : request_(request), context_(context), channel_(channel), peer_(peer), options_(options) {
    const std::string localName =
        options_.localHostName ? options_.localHostName() : LocalHostName();
    // EHLO only when there is a login to offer, as servers that know no EHLO
    // still take HELO.
    helloLine_ = (request_.userName.empty() ? "HELO " : "EHLO ") + localName;
}

SmtpDialogue::State SmtpDialogue::Step() {
    switch (state_) {
        case State::kGreeting:
            return Greeting();
        case State::kHello:
            return Hello();
        case State::kStartTls:
            return StartTls();
        case State::kTlsHello:
            return TlsHello();
        case State::kAuthLogin:
            return AuthLogin();
        case State::kAuthHelloAgain:
            return AuthHelloAgain();
        case State::kAuthLoginAgain:
            return AuthLoginAgain();
        case State::kAuthAnswer:
            return AuthAnswer();
        case State::kAuthUser:
            return AuthUser();
        case State::kAuthPassword:
            return AuthPassword();
        case State::kMailFrom:
            return MailFrom();
        case State::kRecipients:
            return Recipients();
        case State::kData:
            return Data();
        case State::kMessage:
            return Message();
        case State::kTerminator:
            return Terminator();
        case State::kQuit:
            return Quit();
        case State::kSent:
        case State::kFailed:
        case State::kCancelled:
            break;
    }
    return state_;
}

LStatus SmtpDialogue::Run() {
    while (state_ < State::kSent) {
        const State next = Step();
        state_ = stopped_ && next != State::kSent ? State::kCancelled : next;
    }
    channel_.Close();
    if (state_ == State::kCancelled) return StoppedError();
    if (state_ == State::kFailed) return *error_;
    return {};
}

SmtpReply SmtpDialogue::Ask(std::string_view prefix, std::string_view argument,
                            std::string_view suffix, SmtpReplyMode mode) {
    if (!prefix.empty()) {
        if (LStatus sent = channel_.SendCommand(prefix, argument, suffix); !sent) {
            stopped_ = stopped_ || sent.Error().IsCancelled();
            return {};
        }
    }
    auto reply = channel_.ReadReply(mode);
    if (!reply) {
        stopped_ = stopped_ || reply.Error().IsCancelled();
        if (!stopped_) LogEvent("SMTP: %s", reply.Error().Message().c_str());
        return {};
    }
    return reply.Value();
}

SmtpReply SmtpDialogue::AskHello() {
    return Ask(helloLine_, {}, "\r\n",
               request_.useTls ? SmtpReplyMode::kCapabilities : SmtpReplyMode::kPlain);
}

SmtpReply SmtpDialogue::AskBase64(const std::string& value) {
    if (LStatus sent = channel_.SendRaw(Base64Lines(value, "\r\n"), options_.timeouts.commandMs);
        !sent) {
        stopped_ = stopped_ || sent.Error().IsCancelled();
        return {};
    }
    return Ask({});
}

SmtpDialogue::State SmtpDialogue::Fail(const std::string& text) {
    // A step that failed because the send was stopped is not a failure.
    if (stopped_ || context_.ShouldStop()) return State::kCancelled;
    context_.LogError(text);
    error_ = LError(LErrorCode::kProtocol, text);
    return State::kFailed;
}

SmtpDialogue::State SmtpDialogue::Greeting() {
    context_.SetProgress(0.1);
    context_.SetStatus("Connected to server");
    const SmtpReply reply = Ask({});
    if (reply.code != 220)
        return Fail(StringPrintf("Mail server not responding: %s (%d)", request_.recipients.c_str(),
                                 reply.code));
    return State::kHello;
}

SmtpDialogue::State SmtpDialogue::Hello() {
    const SmtpReply reply = AskHello();
    if (reply.code == 504)
        return Fail(StringPrintf(
            "Mail host server error (HELO not accepted, error code 504) for destination email %s "
            "- usually this means the email address is not valid.",
            request_.recipients.c_str()));
    if (reply.code != 250)
        return Fail(StringPrintf("Mail host server error (HELO not accepted): %d emailto: %s",
                                 reply.code, request_.recipients.c_str()));
    offersStartTls_ = reply.offersStartTls;
    return request_.useTls && offersStartTls_ ? State::kStartTls : State::kAuthLogin;
}

// A STARTTLS that does not work out is not an error: the dialogue goes on
// unencrypted, and AuthLogin keeps the password back.
SmtpDialogue::State SmtpDialogue::StartTls() {
    const SmtpReply reply = Ask("STARTTLS");
    if (reply.code != 220) return State::kAuthLogin;
    if (LStatus secured = channel_.StartTls(); !secured) {
        stopped_ = stopped_ || secured.Error().IsCancelled();
        LogEvent("SMTP: %s", secured.Error().Message().c_str());
        return State::kAuthLogin;
    }
    return State::kTlsHello;
}

SmtpDialogue::State SmtpDialogue::TlsHello() {
    AskHello();
    return State::kAuthLogin;
}

SmtpDialogue::State SmtpDialogue::AuthLogin() {
    if (!peer_.configuredHost || request_.userName.empty()) return State::kMailFrom;
    if (request_.useTls && !channel_.IsTls()) {
        context_.LogError(StringPrintf(
            "The mail server \"%s\" did not start a secure connection, so the user name and "
            "password were not sent. The email is sent without logging in.",
            channel_.Socket().PeerHostName().c_str()));
        return State::kMailFrom;
    }
    authCode_ = Ask("AUTH LOGIN").code;
    return authCode_ == 503 ? State::kAuthHelloAgain : State::kAuthAnswer;
}

SmtpDialogue::State SmtpDialogue::AuthHelloAgain() {
    authCode_ = AskHello().code;
    return authCode_ == 250 ? State::kAuthLoginAgain : State::kAuthAnswer;
}

SmtpDialogue::State SmtpDialogue::AuthLoginAgain() {
    authCode_ = Ask("AUTH LOGIN").code;
    return State::kAuthAnswer;
}

SmtpDialogue::State SmtpDialogue::AuthAnswer() {
    if (authCode_ == 334) return State::kAuthUser;
    if (authCode_ == 530)
        return Fail(
            "Encryption required for requested Email server. Please check your Email Settings.");
    return State::kMailFrom;  // the server takes mail without a login
}

SmtpDialogue::State SmtpDialogue::AuthUser() {
    return AskBase64(request_.userName).code == 334 ? State::kAuthPassword : State::kMailFrom;
}

SmtpDialogue::State SmtpDialogue::AuthPassword() {
    const int code = AskBase64(request_.password).code;
    if (code == 235) return State::kMailFrom;
    return Fail(StringPrintf("Email authentication username or password not accepted (%d): %s",
                             code, request_.recipients.c_str()));
}

SmtpDialogue::State SmtpDialogue::MailFrom() {
    std::string sender = request_.sender;
    if (sender.empty()) {
        if (peer_.senderDomain.empty())
            return Fail(
                StringPrintf("Invalid email address to send to: %s", request_.recipients.c_str()));
        sender = "Vocarta@" + peer_.senderDomain;
    }
    const SmtpReply reply = Ask("MAIL FROM:<", sender, ">\r\n");
    if (reply.code != 250)
        return Fail(
            StringPrintf("Mail host server error (MAIL FROM not accepted). Please check "
                         "your Email Settings. %s - (%d - %s)",
                         request_.recipients.c_str(), reply.code, reply.text.c_str()));
    return State::kRecipients;
}

SmtpDialogue::State SmtpDialogue::Recipients() {
    for (const auto& group : request_.Groups()) {
        bool accepted = false;
        int code = 0;
        for (const std::string& address : group) {
            if (context_.ShouldStop()) {
                stopped_ = true;
                return State::kCancelled;
            }
            code = Ask("RCPT TO:<", address, ">\r\n").code;
            accepted = accepted || Accepted(code);
        }
        if (group.empty() || accepted) continue;
        if (stopped_ || context_.ShouldStop()) return State::kCancelled;
        return Fail(StringPrintf(
            "Error while trying to send email. Email address may be wrong or your SMTP server may "
            "require a username or password. Please check address again and see Email Settings. "
            "(%d): %s",
            code, request_.recipients.c_str()));
    }
    return State::kData;
}

SmtpDialogue::State SmtpDialogue::Data() {
    if (Ask("DATA").code != 354) return Fail("Mail host server error (DATA not accepted)");
    return State::kMessage;
}

SmtpDialogue::State SmtpDialogue::Message() {
    ChannelOutput output(channel_);
    MimeComposer composer(request_, MailStyle::kSmtp, output, context_, options_.compose);
    if (!options_.date.empty()) composer.SetDate(options_.date);
    LStatus sent = composer.Compose();
    if (sent) return State::kTerminator;
    if (sent.Error().IsCancelled()) {
        stopped_ = true;
        return State::kCancelled;
    }
    return Fail(StringPrintf("The email to %s could not be sent: %s", request_.recipients.c_str(),
                             sent.Error().Message().c_str()));
}

SmtpDialogue::State SmtpDialogue::Terminator() {
    const SmtpReply reply = Ask("\r\n.", {}, "\r\n");
    if (reply.code == 250) {
        context_.SetProgress(0.95);
        context_.SetStatus("Email sent");
        return State::kQuit;
    }
    if (stopped_ || context_.ShouldStop()) return State::kCancelled;
    const std::string host = channel_.Socket().PeerHostName();
    switch (reply.code) {
        case 550:
            return Fail(StringPrintf(
                "The recipient's email server does not allow email to be received in this "
                "manner.  Please use an SMTP account for sending email to this address. emailto: "
                "%s mailhost: %s error: %s",
                request_.recipients.c_str(), host.c_str(), reply.text.c_str()));
        case 552:
            return Fail("The email exceeds the size limits set for this account.");
        case 554:
            return Fail(
                "The recipient's email server rejected this email because of an unspecified "
                "reason.  Try using an SMTP account for sending email to this address.");
        default:
            return Fail(
                StringPrintf("Mail host server error (data terminator not accepted) "
                             "emailto: %s mailhost: %s error: %d",
                             request_.recipients.c_str(), host.c_str(), reply.code));
    }
}

SmtpDialogue::State SmtpDialogue::Quit() {
    Ask("QUIT");  // the mail is out: neither its answer nor a stop now changes that
    return State::kSent;
}

}  // namespace vocarta
