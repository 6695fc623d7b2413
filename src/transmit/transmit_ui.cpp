#include "transmit/transmit_ui.h"

#include "toolkit/log.h"

namespace vocarta {

// What the poster's calls and the waiting thread share; it outlives both.
struct PostedTransmitUi::Shared {
    explicit Shared(TransmitUi& ui) : mainUi(ui) {}
    TransmitUi& mainUi;
    std::mutex mutex;
    std::condition_variable answered;
    bool stopped = false;  // guarded by mutex
};

PostedTransmitUi::PostedTransmitUi(TransmitUi& mainUi, Poster post)
    : shared_(std::make_shared<Shared>(mainUi)), post_(std::move(post)) {}

PostedTransmitUi::~PostedTransmitUi() {
    StopWaiting();
}

bool PostedTransmitUi::Run(std::function<void(TransmitUi&)> call, bool wait) {
    auto shared = shared_;
    auto done = std::make_shared<bool>(false);  // guarded by shared->mutex
    {
        std::lock_guard<std::mutex> lock(shared->mutex);
        if (shared->stopped) return false;
    }
    post_([shared, done, call = std::move(call)] {
        {
            std::lock_guard<std::mutex> lock(shared->mutex);
            if (shared->stopped) return;
        }
        call(shared->mainUi);
        std::lock_guard<std::mutex> lock(shared->mutex);
        *done = true;
        shared->answered.notify_all();
    });
    if (!wait) return true;
    std::unique_lock<std::mutex> lock(shared->mutex);
    shared->answered.wait(lock, [&] { return *done || shared->stopped; });
    return *done;
}

bool PostedTransmitUi::AskYesNo(const std::string& text, const std::string& caption) {
    auto answer = std::make_shared<bool>(false);
    const bool ran = Run(
        [answer, text, caption](TransmitUi& ui) { *answer = ui.AskYesNo(text, caption); }, true);
    // The answer was written on the main thread before `done` was set under the
    // shared mutex, which Run read under the same mutex.
    return ran && *answer;
}

void PostedTransmitUi::ShowMessage(const std::string& text, const std::string& caption) {
    (void)Run([text, caption](TransmitUi& ui) { ui.ShowMessage(text, caption); }, true);
}

void PostedTransmitUi::SetTitle(const std::string& title) {
    (void)Run([title](TransmitUi& ui) { ui.SetTitle(title); }, false);
}

void PostedTransmitUi::RestoreTitle() {
    (void)Run([](TransmitUi& ui) { ui.RestoreTitle(); }, false);
}

void PostedTransmitUi::SetStatus(const std::string& text) {
    (void)Run([text](TransmitUi& ui) { ui.SetStatus(text); }, false);
}

void PostedTransmitUi::SetProgress(double fraction) {
    (void)Run([fraction](TransmitUi& ui) { ui.SetProgress(fraction); }, false);
}

void PostedTransmitUi::StopWaiting() {
    std::lock_guard<std::mutex> lock(shared_->mutex);
    shared_->stopped = true;
    shared_->answered.notify_all();
}

HeadlessTransmitUi::HeadlessTransmitUi(std::FILE* messages, StatusSink onStatus)
    : messages_(messages), onStatus_(std::move(onStatus)) {}

bool HeadlessTransmitUi::AskYesNo(const std::string& text, const std::string& caption) {
    LogEvent("Question \"%s\": %s [answered \"Yes\": no window to ask in]", caption.c_str(),
             text.c_str());
    return true;
}

void HeadlessTransmitUi::ShowMessage(const std::string& text, const std::string& caption) {
    if (messages_) {
        std::fprintf(messages_, "%s: %s\n", caption.c_str(), text.c_str());
        std::fflush(messages_);
    }
    LogEvent("Message \"%s\": %s", caption.c_str(), text.c_str());
}

void HeadlessTransmitUi::SetStatus(const std::string& text) {
    std::lock_guard<std::mutex> lock(mutex_);
    status_ = text;
    if (onStatus_) onStatus_(status_, progress_);
}

void HeadlessTransmitUi::SetProgress(double fraction) {
    std::lock_guard<std::mutex> lock(mutex_);
    progress_ = fraction;
    if (onStatus_) onStatus_(status_, progress_);
}

}  // namespace vocarta
