#pragma once
// The run-program method: the "SendRunExe" template (see command_template.h)
// run as an argument vector with the recording's path for "%s", waited for at
// most one hour on the send thread while the window goes on.
//
// Threading contract: as TransmitMethod.

#include "transmit/transmit_method.h"

namespace vocarta {

inline constexpr int kRunExternalWaitMs = 3600000;

// Ok when the program ends with status 0. Failed, with a log line saying which,
// when the template cannot be used, the program is missing or cannot be
// started, ends with another status or by a signal, or is still running after
// `waitMs` (it is then left running). Cancelled on a stop request while it runs
// (also left running).
TransmitResult RunExternal(const TransmitRecord& record, TransmitContext& context,
                           int waitMs = kRunExternalWaitMs);

class RunTransmitMethod final : public TransmitMethod {
  public:
    TransmitMethodKind Kind() const override { return TransmitMethodKind::Run; }
    const char* Name() const override { return "run"; }
    bool Enabled() const override;
    std::string Target() const override;
    const TransmitTexts& Texts() const override;
    TransmitResult Send(const TransmitRecord& record, TransmitContext& context) override {
        return RunExternal(record, context);
    }
};

}  // namespace vocarta
