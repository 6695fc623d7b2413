// SendBySendmail: the message into the system's sendmail program.

#include "toolkit/log.h"
#include "toolkit/text.h"
#include "transmit/mail/mail_child_process.h"
#include "transmit/mail/mail_sender.h"
#include "transmit/mail/mime_message.h"

namespace vocarta {

namespace {
constexpr const char* kCannotRunText =
    "Unable to run the unix \"sendmail\" tool to send the email. We suggest you try selecting the "
    "SMTP email option using Email Settings.";
// sendmail queues the mail and returns; this is long enough for a slow disk.
constexpr int kSendmailEndMs = 120000;
constexpr int kSendmailWriteMs = 60000;

class ChildOutput final : public MessageOutput {
  public:
    ChildOutput(MailChildProcess& child, const StopFlag& stop) : child_(child), stop_(stop) {}
    LStatus Write(std::string_view bytes, int timeoutMs) override {
        return child_.Write(bytes, timeoutMs, stop_);
    }

  private:
    MailChildProcess& child_;
    const StopFlag& stop_;
};

LError Failure(MailContext& context, const std::string& text) {
    context.LogError(text);
    return LError(LErrorCode::kFailed, text);
}
}  // namespace

LStatus SendBySendmail(const MailRequest& request, MailContext& context) {
    context.SetStatus("Sending Email");
    context.SetStatus(request.recipients);
    const std::string program =
        FindProgram("sendmail", {"/usr/sbin/sendmail", "/usr/lib/sendmail"});
    if (program.empty()) return Failure(context, kCannotRunText);
    // Without a sender sendmail takes the user's own address; "-f" with an
    // empty one would ask for the null sender of bounce messages instead.
    std::vector<std::string> args = {"sendmail"};
    if (!request.sender.empty()) args.insert(args.end(), {"-f", request.sender});
    args.insert(args.end(), {"-oi", "-t"});
    auto started = MailChildProcess::Start(program, args, true);
    if (!started) {
        LogError("SendBySendmail: %s", started.Error().Message().c_str());
        return Failure(context, kCannotRunText);
    }
    MailChildProcess child = std::move(started).Value();
    const StopFlag stop = StopFlagFor(context);

    ChildOutput output(child, stop);
    ComposeTimeouts timeouts{kSendmailWriteMs, kSendmailWriteMs};
    LStatus written =
        MimeComposer(request, MailStyle::kSendmail, output, context, timeouts).Compose();
    if (!written) {
        child.Terminate();  // a message cut short must not go out
        if (written.Error().IsCancelled()) return written;
        return Failure(context, StringPrintf("The \"sendmail\" tool did not take the email: %s",
                                             written.Error().Message().c_str()));
    }
    child.CloseInput();
    auto status = child.Wait(kSendmailEndMs, stop);
    if (!status) {
        if (status.Error().IsCancelled()) return status.Error();
        return Failure(context, StringPrintf("The \"sendmail\" tool did not finish: %s",
                                             status.Error().Message().c_str()));
    }
    if (status.Value() != 0)
        return Failure(context,
                       StringPrintf("The \"sendmail\" tool did not accept the email (it %s).",
                                    MailChildProcess::DescribeStatus(status.Value()).c_str()));
    context.SetProgress(0.95);
    return {};
}

}  // namespace vocarta
