#pragma once
// The e-mail method: the recording attached to a mail to "Email"/"To", sent by
// the mail library (the desktop mail program, sendmail or the own SMTP client,
// as "Email Settings" chose).
//
// Threading contract: as TransmitMethod.

#include "transmit/mail/mail_request.h"
#include "transmit/transmit_method.h"

namespace vocarta {

// Sends the recording to "Email"/"To"; Ok, Cancelled on a stop request, Failed
// with the mail library's reason in the log.
TransmitResult SendByEmail(const TransmitRecord& record, TransmitContext& context);

class EmailTransmitMethod final : public TransmitMethod {
  public:
    TransmitMethodKind Kind() const override { return TransmitMethodKind::Email; }
    const char* Name() const override { return "email"; }
    bool Enabled() const override;
    std::string Target() const override;
    const TransmitTexts& Texts() const override;
    TransmitResult Send(const TransmitRecord& record, TransmitContext& context) override {
        return SendByEmail(record, context);
    }
};

// A send thread's context as the mail library sees it.
class TransmitMailContext final : public MailContext {
  public:
    explicit TransmitMailContext(TransmitContext& context) : context_(context) {}
    bool ShouldStop() const override { return context_.ShouldStop(); }
    const LSignalObject* StopSignal() const override { return context_.StopSignal(); }
    void SetProgress(double fraction) override { context_.SetProgress(fraction); }
    void SetStatus(const std::string& text) override { context_.SetStatus(text); }
    void LogError(const std::string& text) override { context_.LogError(text); }

  private:
    TransmitContext& context_;
};

}  // namespace vocarta
