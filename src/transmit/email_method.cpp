#include "transmit/email_method.h"

#include "transmit/mail/recording_email.h"
#include "transmit/transmit_settings.h"

namespace vocarta {

namespace {
constexpr TransmitTexts kEmailTexts = {
    "You have the send via email transmit option enabled. Would you like to send this recording "
    "to \"%s\"?",
    "Send via email?",
    "Cannot send the file \"%s\" to email. Please check the email settings in Options->Transmit "
    "again.",
    "You have the send via email transmit option enabled. \n But the attempt to send this "
    "recording to \"%s\" \n failed."};

}  // namespace

bool EmailTransmitMethod::Enabled() const {
    return transmit_settings::SendEmail();
}

std::string EmailTransmitMethod::Target() const {
    return transmit_settings::EmailTo();
}

const TransmitTexts& EmailTransmitMethod::Texts() const {
    return kEmailTexts;
}

TransmitResult SendByEmail(const TransmitRecord& record, TransmitContext& context) {
    TransmitMailContext mail(context);
    const LStatus sent = SendRecordingByEmail(record.path, transmit_settings::EmailTo(), mail);
    if (sent) return TransmitResult::Ok;
    return sent.Error().IsCancelled() ? TransmitResult::Cancelled : TransmitResult::Failed;
}

}  // namespace vocarta
