#pragma once
// The mirror-folder method: a copy of the recording in "SendFolderDir" under
// its own name, never left half-written (see mirror_copy.h).
//
// Threading contract: as TransmitMethod.

#include "transmit/transmit_method.h"

namespace vocarta {

// Copies the recording to "SendFolderDir"; Ok, Cancelled on a stop request
// (nothing is left in the folder), Failed with a log line saying why.
TransmitResult SendToFolder(const TransmitRecord& record, TransmitContext& context);

class FolderTransmitMethod final : public TransmitMethod {
  public:
    TransmitMethodKind Kind() const override { return TransmitMethodKind::Folder; }
    const char* Name() const override { return "folder"; }
    bool Enabled() const override;
    std::string Target() const override;
    const TransmitTexts& Texts() const override;
    TransmitResult Send(const TransmitRecord& record, TransmitContext& context) override {
        return SendToFolder(record, context);
    }
};

}  // namespace vocarta
