#include "transmit/ftp_method.h"

#include "toolkit/log.h"
#include "transmit/ftp/ftp_send.h"
#include "transmit/transmit_settings.h"

namespace vocarta {

namespace {
// "But attempt" without "the" is deliberate.
constexpr TransmitTexts kFtpTexts = {
    "You have the send via FTP transmit option enabled. Would you like to upload this recording "
    "to \"%s\"?",
    "Send via FTP?",
    "Cannot upload the file \"%s\" to the FTP Server. Please check the FTP Server details in "
    "Options->Transmit again.",
    "You have the send via FTP transmit option enabled. \n But attempt to upload this recording "
    "to \n \"%s\" \n failed."};
}  // namespace

bool FtpTransmitMethod::Enabled() const {
    return transmit_settings::SendFtp();
}

std::string FtpTransmitMethod::Target() const {
    return transmit_settings::FtpServer();
}

const TransmitTexts& FtpTransmitMethod::Texts() const {
    return kFtpTexts;
}

TransmitResult SendByFtp(const TransmitRecord& record, TransmitContext& context) {
    FtpObserver observer;
    if (const LSignalObject* signal = context.StopSignal())
        observer.stop = StopFlag::FromSignal(*signal);
    else
        observer.stop = StopFlag::FromFunction([&context] { return context.ShouldStop(); });
    observer.progress = [&context](double fraction) { context.SetProgress(fraction); };
    observer.status = [&context](const std::string& text) { context.SetStatus(text); };
    observer.log = [&context](const std::string& text) { context.LogError(text); };
    const FtpSendOutcome out = SendFileByFtp(record.path, observer);
    context.SetBytesSent(out.bytesSent);
    if (out.bytesSent > 0 || out.resumed)
        LogEvent("FTP: %lld of %lld bytes of %s sent%s", (long long)out.bytesSent,
                 (long long)out.fileSize, record.path.c_str(),
                 out.resumed
                     ? (" (resumed at byte " + std::to_string(out.resumedFrom) + ")").c_str()
                     : "");
    if (out.status) return TransmitResult::Ok;
    if (out.status.Error().IsCancelled()) return TransmitResult::Cancelled;
    context.LogError("SendByFtp: " + out.status.Error().Message());
    return TransmitResult::Failed;
}

}  // namespace vocarta
