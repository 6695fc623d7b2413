#pragma once
// The SMTP dialogue on a connected channel, from the greeting to QUIT, as an
// explicit state machine: one function per state, each sending its command and
// judging the reply, and Run the one place where the state changes.
//
// Threading contract: runs on the send thread; see mail_sender.h.

#include <optional>
#include <string>

#include "toolkit/result.h"
#include "transmit/mail/mail_request.h"
#include "transmit/mail/mail_sender.h"
#include "transmit/mail/smtp_channel.h"

namespace vocarta {

// What the connection step found out.
struct SmtpPeer {
    // Connected to the configured mail host (not a recipient's exchanger): only
    // then is the user name and password offered.
    bool configuredHost = false;
    // For a sender made up when none is set: "Vocarta@<domain>".
    std::string senderDomain;
};

class SmtpDialogue {
  public:
    SmtpDialogue(const MailRequest& request, MailContext& context, SmtpChannel& channel,
                 const SmtpPeer& peer, const SmtpOptions& options);

    LStatus Run();

  private:
    enum class State {
        kGreeting,
        kHello,
        kStartTls,
        kTlsHello,
        kAuthLogin,
        kAuthHelloAgain,
        kAuthLoginAgain,
        kAuthAnswer,
        kAuthUser,
        kAuthPassword,
        kMailFrom,
        kRecipients,
        kData,
        kMessage,
        kTerminator,
        kQuit,
        // Final states.
        kSent,
        kFailed,
        kCancelled,
    };

    // Runs the step of the current state and gives the next state.
    State Step();
    State Greeting();
    State Hello();
    State StartTls();
    State TlsHello();
    State AuthLogin();
    State AuthHelloAgain();
    State AuthLoginAgain();
    State AuthAnswer();
    State AuthUser();
    State AuthPassword();
    State MailFrom();
    State Recipients();
    State Data();
    State Message();
    State Terminator();
    State Quit();

    // Sends a command (unless `prefix` is empty) and reads the reply. A
    // connection that fails gives code 0, so that each step reports it with its
    // own text; a stop request is noted and ends the dialogue after the step.
    SmtpReply Ask(std::string_view prefix, std::string_view argument = {},
                  std::string_view suffix = "\r\n", SmtpReplyMode mode = SmtpReplyMode::kPlain);
    SmtpReply AskHello();
    // A base64 value in lines of at most 76 characters, then its reply.
    SmtpReply AskBase64(const std::string& value);
    // Logs `text` and keeps it as the result.
    State Fail(const std::string& text);

    const MailRequest& request_;
    MailContext& context_;
    SmtpChannel& channel_;
    SmtpPeer peer_;
    const SmtpOptions& options_;
    std::string helloLine_;
    State state_ = State::kGreeting;
    bool stopped_ = false;
    bool offersStartTls_ = false;
    int authCode_ = 0;
    std::optional<LError> error_;
};

}  // namespace vocarta
