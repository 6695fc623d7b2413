#include "app/recording_sender.h"

#include "app/lmain_loop.h"
#include "toolkit/log.h"

namespace vocarta {

RecordingSender::RecordingSender(MainDialogView& view, LMainLoop& loop, std::string queuePath)
    : viewUi_(view),
      postedUi_(viewUi_, [&loop](std::function<void()> call) { loop.Post(std::move(call)); }),
      thread_(postedUi_, TransmitDispatcher::Default(), std::move(queuePath)) {}

RecordingSender::~RecordingSender() {
    Shutdown();
}

void RecordingSender::Resume() {
    thread_.ResumeQueue();
}

void RecordingSender::Shutdown() {
    if (shutDown_) return;
    shutDown_ = true;
    const bool sending = thread_.IsSending();
    if (!thread_.Shutdown(kStopWaitMs)) {
        LogError("RecordingSender: sending did not stop within %d ms; waiting for it", kStopWaitMs);
        thread_.Shutdown(-1);
    } else if (sending) {
        LogEvent("Sending stopped at program end; the queue is taken up at the next start");
    }
}

}  // namespace vocarta
