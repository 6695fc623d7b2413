#include "app/session/after_recording_queue.h"

#include "audio/trim/recording_trim.h"
#include "toolkit/lfile.h"
#include "toolkit/log.h"
#include "transmit/transmit_thread.h"

namespace vocarta {

std::vector<AfterRecordingStep> DefaultAfterRecordingSteps(TransmitThread* sender) {
    std::vector<AfterRecordingStep> steps{TrimSilenceStep()};
    if (sender) steps.push_back(SendOnStep(*sender));
    return steps;
}

AfterRecordingStep SendOnStep(TransmitThread& sender) {
    AfterRecordingStep step{
        "SendOn", [&sender](const std::string& path, const AfterRecordingContext&) {
            if (LFile::GetFileSizeBytes64(path) < TransmitThread::kMinimumRecordingBytes) {
                LogEvent("%s is under %lld bytes: not sent on", path.c_str(),
                         static_cast<long long>(TransmitThread::kMinimumRecordingBytes));
                return;
            }
            // Enqueue logs its own failures; the file stays as it is.
            (void)sender.Enqueue(path);
        }};
    step.runsWhenStopping = true;
    return step;
}

AfterRecordingStep TrimSilenceStep() {
    return {"TrimSilence", [](const std::string& path, const AfterRecordingContext& context) {
                if (!AfterRecordingTrimEnabled()) return;
                context.setStatus(kTrimStatusText);
                TrimProgress progress;
                progress.cancelRequested = context.stopRequested;
                const TrimOutcome outcome = TrimAfterRecording(path, progress);
                context.setStatus("");
                if (outcome.status == TrimStatus::Ok)
                    LogEvent("Silence removed from %s: %llu frames before, %llu after%s",
                             path.c_str(), static_cast<unsigned long long>(outcome.framesBefore),
                             static_cast<unsigned long long>(outcome.framesAfter),
                             outcome.replaced ? "" : " (nothing to cut)");
                else if (outcome.status == TrimStatus::Cancelled)
                    LogEvent("Silence removal stopped at program end; %s left as recorded",
                             path.c_str());
                // A failure was logged and recorded by the trim itself.
            }};
}

LAfterRecordingQueue::LAfterRecordingQueue(std::vector<AfterRecordingStep> steps,
                                           StatusCallback onStatus)
    : LThread("LAfterRecordingQueue"), steps_(std::move(steps)), onStatus_(std::move(onStatus)) {
    idle_.Set();
}

LAfterRecordingQueue::~LAfterRecordingQueue() {
    Shutdown(0);
}

bool LAfterRecordingQueue::Add(const std::string& path) {
    {
        LAutoLock hold(lock_);
        if (shutDown_) {
            LogError("LAfterRecordingQueue::Add: the program is ending; %s is not processed",
                     path.c_str());
            return false;
        }
        waiting_.push_back(path);
        idle_.Reset();
    }
    work_.Set();
    if (IsRunning() || LThread::Start()) return true;
    LAutoLock hold(lock_);
    waiting_.clear();
    idle_.Set();
    LogError("LAfterRecordingQueue::Add: no thread; %s is kept as recorded", path.c_str());
    return false;
}

void LAfterRecordingQueue::Shutdown(int graceMs) {
    {
        LAutoLock hold(lock_);
        if (shutDown_) return;
        shutDown_ = true;
    }
    if (graceMs > 0 && !idle_.Wait(graceMs))
        LogEvent("After-recording steps still running after %d ms: stopping them", graceMs);
    LThread::Stop();
    std::deque<std::string> dropped;
    {
        LAutoLock hold(lock_);
        dropped.swap(waiting_);
    }
    for (const std::string& path : dropped) {
        LogEvent("After-recording steps not run at program end: %s kept as recorded", path.c_str());
        RunStoppingSteps(path);
    }
    idle_.Set();
}

void LAfterRecordingQueue::RunStoppingSteps(const std::string& path) {
    AfterRecordingContext context;
    context.setStatus = [](const std::string&) {};
    context.stopRequested = [] { return true; };
    for (const AfterRecordingStep& step : steps_)
        if (step.runsWhenStopping) step.run(path, context);
}

bool LAfterRecordingQueue::WaitIdle(int timeoutMs) {
    return idle_.Wait(timeoutMs);
}

size_t LAfterRecordingQueue::Pending() const {
    LAutoLock hold(lock_);
    return waiting_.size() + (running_ ? 1 : 0);
}

bool LAfterRecordingQueue::TakeNext(std::string& path) {
    LAutoLock hold(lock_);
    running_ = false;
    if (waiting_.empty()) {
        work_.Reset();
        idle_.Set();
        return false;
    }
    path = waiting_.front();
    waiting_.pop_front();
    running_ = true;
    return true;
}

void LAfterRecordingQueue::Run() {
    while (!StopRequested()) {
        std::string path;
        if (TakeNext(path)) {
            RunSteps(path);
            continue;
        }
        if (work_.WaitEither(StopSignal(), -1) != 0) break;
    }
    LAutoLock hold(lock_);
    running_ = false;
}

void LAfterRecordingQueue::RunSteps(const std::string& path) {
    AfterRecordingContext context;
    context.setStatus = [this](const std::string& text) {
        if (onStatus_) onStatus_(text);
    };
    context.stopRequested = [this] { return StopRequested(); };
    for (const AfterRecordingStep& step : steps_) {
        if (StopRequested() && !step.runsWhenStopping) {
            LogEvent("After-recording step %s not run at program end: %s kept as it is", step.name,
                     path.c_str());
            continue;
        }
        step.run(path, context);
    }
}

}  // namespace vocarta
