#pragma once
// The FTP method: uploads the recording to "Ftp"/"Server" with the user name and
// password, into "Ftp"/"Directory", under its own name, with the FTP client of
// transmit/ftp (TLS as "Ftp"/"TlsMode" asks; an upload cut short is resumed by
// the next send of the same recording). The connection is closed on every path.
//
// Threading contract: as TransmitMethod.

#include "transmit/transmit_method.h"

namespace vocarta {

// Ok; Cancelled on a stop request (what reached the server is kept, and the
// next send resumes from it); Failed with a log line saying why.
TransmitResult SendByFtp(const TransmitRecord& record, TransmitContext& context);

class FtpTransmitMethod final : public TransmitMethod {
  public:
    TransmitMethodKind Kind() const override { return TransmitMethodKind::Ftp; }
    const char* Name() const override { return "ftp"; }
    bool Enabled() const override;
    std::string Target() const override;
    const TransmitTexts& Texts() const override;
    TransmitResult Send(const TransmitRecord& record, TransmitContext& context) override {
        return SendByFtp(record, context);
    }
};

}  // namespace vocarta
