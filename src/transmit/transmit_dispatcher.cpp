#include "transmit/transmit_dispatcher.h"

#include <algorithm>
#include <optional>

#include "audio/codecs/sink_factory.h"
#include "toolkit/log.h"
#include "toolkit/text.h"
#include "transmit/email_method.h"
#include "transmit/folder_method.h"
#include "transmit/ftp_method.h"
#include "transmit/run_method.h"
#include "transmit/send_log.h"
#include "transmit/transmit_settings.h"

namespace vocarta {

namespace {

// The send thread's context for one method run; it keeps the bytes the method
// counted, for the send log.
class MethodRunContext final : public TransmitContext {
  public:
    explicit MethodRunContext(TransmitContext& outer) : outer_(outer) {}

    bool ShouldStop() const override { return outer_.ShouldStop(); }
    const LSignalObject* StopSignal() const override { return outer_.StopSignal(); }
    void SetProgress(double fraction) override { outer_.SetProgress(fraction); }
    void SetStatus(const std::string& text) override { outer_.SetStatus(text); }
    void LogError(const std::string& text) override { outer_.LogError(text); }
    void SetBytesSent(int64_t bytes) override {
        bytesSent = bytes;
        outer_.SetBytesSent(bytes);
    }

    std::optional<int64_t> bytesSent;

  private:
    TransmitContext& outer_;
};

}  // namespace

TransmitDispatcher::TransmitDispatcher(std::vector<std::unique_ptr<TransmitMethod>> methods)
    : methods_(std::move(methods)) {
    std::stable_sort(methods_.begin(), methods_.end(),
                     [](const auto& a, const auto& b) { return int(a->Kind()) < int(b->Kind()); });
}

TransmitDispatcher TransmitDispatcher::Default() {
    std::vector<std::unique_ptr<TransmitMethod>> methods;
    methods.push_back(std::make_unique<EmailTransmitMethod>());
    methods.push_back(std::make_unique<FtpTransmitMethod>());
    methods.push_back(std::make_unique<FolderTransmitMethod>());
    methods.push_back(std::make_unique<RunTransmitMethod>());
    return TransmitDispatcher(std::move(methods));
}

std::string FormatTransmitText(const char* text, const std::string& value) {
    std::string out = text;
    const std::size_t at = out.find("%s");
    if (at != std::string::npos) out.replace(at, 2, value);
    return out;
}

double RecordingLengthSeconds(const std::string& path) {
    std::string error;
    auto source = OpenSoundSource(path, &error);
    if (!source) {
        LogError("Transmit: the length of %s cannot be read: %s", path.c_str(), error.c_str());
        return 0.0;
    }
    return double(source->Length().Milliseconds()) / 1000.0;
}

TransmitResult TransmitDispatcher::TransmitFile(const TransmitRecord& record,
                                                TransmitContext& context, TransmitUi& ui) const {
    const double seconds = RecordingLengthSeconds(record.path);
    const int32_t limit = transmit_settings::RecordingLengthLimit();
    if (double(limit) >= seconds) {
        LogEvent("Transmit: %s not sent: %.3f s is not longer than the limit of %d s",
                 record.path.c_str(), seconds, limit);
        return TransmitResult::Ok;
    }
    const bool prompt = transmit_settings::PromptTransmit();
    const bool owner = record.ownerReference != 0;
    std::optional<TransmitResult> last;
    for (const auto& method : methods_) {
        // A stop before the first method is caught as well: the program is
        // ending and must not start a send it cannot finish.
        if (context.ShouldStop()) return TransmitResult::Cancelled;
        if (!method->Enabled()) continue;
        const TransmitTexts& texts = method->Texts();
        const std::string target = method->Target();
        if (prompt) {
            const bool yes = ui.AskYesNo(CutText(FormatTransmitText(texts.question, target)),
                                         texts.questionCaption);
            // A stop while the question was open (the program is ending).
            if (context.ShouldStop()) return TransmitResult::Cancelled;
            if (!yes) {
                LogEvent("Transmit: %s of %s skipped: answered No", method->Name(),
                         record.path.c_str());
                continue;
            }
        }
        if (owner) ui.SetTitle(kTransmitWindowTitle);
        MethodRunContext run(context);
        const TransmitResult result = method->Send(record, run);
        if (owner) ui.RestoreTitle();
        LStatus logged = AppendSendLog(
            {{}, record.path, method->Name(), target, TransmitResultName(result), run.bytesSent});
        if (!logged) LogError("Transmit: %s", logged.Error().Message().c_str());
        last = result;
        if (result == TransmitResult::Cancelled) return result;
        if (result == TransmitResult::Failed) {
            context.LogError(FormatTransmitText(texts.logged, record.path));
            ui.ShowMessage(FormatTransmitText(texts.shown, target), kTransmitErrorCaption);
        }
    }
    context.SetProgress(1.0);
    return last.value_or(TransmitResult::Ok);
}

}  // namespace vocarta
