#pragma once
// Sending one e-mail with attachments, by the first enabled of three paths in
// this order: the desktop's mail program ("UseAppleMail"), sendmail
// ("UseSendMail"), or the own SMTP client, which talks to the configured mail
// host (587, else 25; STARTTLS and AUTH LOGIN) or straight to each recipient's
// mail exchanger.
//
// Results: Ok; kCancelled when a stop request ended the send; any other error
// is a failure whose text has also been written to the context's log (the
// caller's Failed).
//
// Threading contract: every call runs entirely on the calling send thread and
// reports through `context` there. A stop request is seen within 200 ms while
// connecting and sending.

#include <cstdint>
#include <functional>
#include <string>

#include "toolkit/result.h"
#include "transmit/mail/mail_request.h"
#include "transmit/mail/mime_message.h"
#include "transmit/mail/smtp_channel.h"

namespace vocarta {

// The protocol's figures; tests shorten the waits and move the ports.
struct SmtpOptions {
    uint16_t submissionPort = 587;  // a host given without a port
    uint16_t fallbackPort = 25;     // tried when the submission port fails
    uint16_t exchangerPort = 25;    // a recipient's mail exchanger
    int connectTimeoutMs = 60000;
    int directAttempts = 2;
    int directRetryWaitMs = 5000;
    SmtpTimeouts timeouts;
    ComposeTimeouts compose;
    // The MX look-up (LookUpMailExchanger) and the EHLO name (LocalHostName).
    std::function<std::string(const std::string& domain)> lookUpExchanger;
    std::function<std::string()> localHostName;
    // The Date header; now when empty.
    std::string date;
};

// Status "To: <recipients>", then "Preparing message"; then the path chosen by
// the "Email" settings.
LStatus SendMail(const MailRequest& request, MailContext& context);

LStatus SendBySmtp(const MailRequest& request, MailContext& context,
                   const SmtpOptions& options = {});

// Runs "sendmail -f <sender> -oi -t" (no shell: each value is one argument) and
// writes the message with LF line ends into it.
LStatus SendBySendmail(const MailRequest& request, MailContext& context);

// Opens a message in the desktop's mail program through xdg-email (recipients,
// subject, body, attachments). The user sends it there: a mail program on Linux
// cannot be told to send at once, so `sendNow` only changes which checks apply.
LStatus SendByDesktopMail(const MailRequest& request, MailContext& context, bool sendNow);

}  // namespace vocarta
