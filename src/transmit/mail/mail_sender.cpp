#include "transmit/mail/mail_sender.h"

#include "toolkit/text.h"
#include "transmit/mail/mail_settings.h"

namespace vocarta {

LStatus SendMail(const MailRequest& request, MailContext& context) {
    context.SetStatus(StringPrintf("To: %s", request.recipients.c_str()));
    context.SetStatus("Preparing message");
    if (mail_settings::UseDesktopMail()) return SendByDesktopMail(request, context, true);
    if (mail_settings::UseSendmail()) return SendBySendmail(request, context);
    return SendBySmtp(request, context);
}

}  // namespace vocarta
