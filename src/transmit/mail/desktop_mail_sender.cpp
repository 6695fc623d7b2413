// SendByDesktopMail: a new message in the desktop's mail program, through the
// freedesktop.org xdg-email tool.

#include <sys/stat.h>

#include "toolkit/log.h"
#include "toolkit/text.h"
#include "transmit/mail/mail_child_process.h"
#include "transmit/mail/mail_sender.h"

namespace vocarta {

namespace {
constexpr const char* kNotFoundText =
    "The program for sending the email (xdg-email) was not found. Install the package xdg-utils "
    "or choose another send method in Email Settings.";
// xdg-email returns once the mail program has the message; some programs keep
// it until their window closes, which is then not waited for.
constexpr int kHandOverMs = 30000;

LError Failure(MailContext& context, const std::string& text,
               LErrorCode code = LErrorCode::kFailed) {
    context.LogError(text);
    return LError(code, text);
}

bool Exists(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0;
}
}  // namespace

LStatus SendByDesktopMail(const MailRequest& request, MailContext& context, bool sendNow) {
    if (request.subject.empty())
        return Failure(context, "Subject must not be empty", LErrorCode::kInvalid);
    const std::vector<std::string> recipients = SplitAddressList(request.recipients);
    if (!request.attachments.empty()) {
        if (recipients.empty())
            return Failure(context, "Email address must not be empty", LErrorCode::kInvalid);
        for (const std::string& path : request.attachments)
            if (!Exists(path))
                return Failure(context,
                               StringPrintf("The attachment \"%s\" does not exist", path.c_str()),
                               LErrorCode::kNotFound);
    } else if (sendNow && recipients.empty()) {
        return Failure(context, "Email address must not be empty when we are using the send action",
                       LErrorCode::kInvalid);
    }
    // xdg-email takes anything that starts with "-" as one of its options.
    for (const std::string& address : recipients)
        if (address[0] == '-')
            return Failure(context,
                           StringPrintf("Invalid email address to send to: %s", address.c_str()),
                           LErrorCode::kInvalid);

    const std::string program = FindProgram("xdg-email");
    if (program.empty()) return Failure(context, kNotFoundText, LErrorCode::kNotFound);
    std::vector<std::string> args = {"xdg-email", "--utf8",
                                     "--subject", request.subject,
                                     "--body",    request.body.empty() ? " " : request.body};
    for (const std::string& path : request.attachments) args.insert(args.end(), {"--attach", path});
    args.insert(args.end(), recipients.begin(), recipients.end());
    auto started = MailChildProcess::Start(program, args, false);
    if (!started) {
        LogError("SendByDesktopMail: %s", started.Error().Message().c_str());
        return Failure(context, kNotFoundText, LErrorCode::kNotFound);
    }
    MailChildProcess child = std::move(started).Value();
    auto status = child.Wait(kHandOverMs, StopFlagFor(context));
    if (!status) {
        if (status.Error().IsCancelled()) return status.Error();
        LogEvent("xdg-email is still running after %d ms; the message is taken as handed over",
                 kHandOverMs);
        return {};
    }
    if (status.Value() != 0)
        return Failure(context,
                       StringPrintf("There was a problem running the script (xdg-email %s)",
                                    MailChildProcess::DescribeStatus(status.Value()).c_str()));
    if (sendNow)
        LogEvent("The message to %s waits in the mail program to be sent",
                 request.recipients.c_str());
    return {};
}

}  // namespace vocarta
