#include "transmit/transmit_thread.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <random>

#include "toolkit/log.h"
#include "toolkit/text.h"
#include "transmit/transmit_settings.h"

namespace vocarta {

namespace {

uint64_t NewOwnerReference() {
    std::random_device random;
    const uint64_t value = (uint64_t(random()) << 32) ^ uint64_t(random());
    return value | 1;  // never 0, which means "no owner"
}

}  // namespace

TransmitThread::TransmitThread(TransmitUi& ui, TransmitDispatcher dispatcher, std::string queuePath)
    : LThread("TransmitThread"),
      ui_(ui),
      dispatcher_(std::move(dispatcher)),
      queue_(std::move(queuePath)),
      owner_(NewOwnerReference()) {
    idle_.Set();
}

TransmitThread::~TransmitThread() {
    Shutdown(-1);
}

LStatus TransmitThread::Enqueue(const std::string& recordingPath) {
    struct stat st;
    if (stat(recordingPath.c_str(), &st) != 0) {
        vocarta::LogError("TransmitThread::Enqueue stat FAILED: %s: %s", recordingPath.c_str(),
                          std::strerror(errno));
        return MakeError(LErrorCode::kNotFound, "%s cannot be found", recordingPath.c_str());
    }
    if (!S_ISREG(st.st_mode) || int64_t(st.st_size) < kMinimumRecordingBytes) {
        vocarta::LogError(
            "TransmitThread::Enqueue: %s is not a recording of %lld bytes or more; "
            "not queued",
            recordingPath.c_str(), static_cast<long long>(kMinimumRecordingBytes));
        return MakeError(LErrorCode::kInvalid, "%s is too short to send", recordingPath.c_str());
    }
    if (recordingPath.size() > kTransmitPathMax) {
        // A cut path would name another file.
        vocarta::LogError(
            "TransmitThread::Enqueue: the path %s is longer than %zu bytes; not "
            "queued",
            recordingPath.c_str(), kTransmitPathMax);
        return MakeError(LErrorCode::kInvalid, "the path is too long to queue");
    }
    LStatus appended = queue_.Append(TransmitRecord{recordingPath, owner_});
    if (!appended) {
        vocarta::LogError("TransmitThread::Enqueue: %s", appended.Error().Message().c_str());
        return appended;
    }
    LogEvent("Queued for sending: %s", recordingPath.c_str());
    LAutoLock lock(lock_);
    queued_ += 1.0;
    wake_ = true;
    if (!shutDown_ && !active_) StartLocked();
    return {};
}

void TransmitThread::ResumeQueue() {
    {
        LAutoLock lock(lock_);
        mode_ = kResumedMode;
    }
    if (queue_.ResumeAtStartUp(transmit_settings::FailCount()) != SendQueueFile::Resume::Resumed)
        return;
    LAutoLock lock(lock_);
    wake_ = true;
    if (!shutDown_ && !active_) StartLocked();
}

bool TransmitThread::Shutdown(int timeoutMs) {
    {
        LAutoLock lock(lock_);
        shutDown_ = true;
    }
    RequestStop();
    ui_.StopWaiting();
    const bool ended = Wait(timeoutMs);
    if (!ended)
        vocarta::LogError("TransmitThread::Shutdown: the send thread did not end within %d ms",
                          timeoutMs);
    return ended;
}

bool TransmitThread::WaitIdle(int timeoutMs) {
    if (!idle_.Wait(timeoutMs)) return false;
    // The signal wakes us; the lock, taken by the thread when it went idle,
    // makes what it did before visible here.
    LAutoLock lock(lock_);
    return true;
}

bool TransmitThread::IsSending() const {
    LAutoLock lock(lock_);
    return active_;
}

int TransmitThread::Mode() const {
    LAutoLock lock(lock_);
    return mode_;
}

double TransmitThread::QueuedCount() const {
    LAutoLock lock(lock_);
    return queued_;
}

double TransmitThread::DoneCount() const {
    LAutoLock lock(lock_);
    return done_;
}

void TransmitThread::StartLocked() {
    // A Run that has just ended may not have left its thread yet.
    Wait();
    idle_.Reset();
    active_ = true;
    if (!Start()) {
        active_ = false;
        idle_.Set();
        vocarta::LogError("TransmitThread: the send thread cannot start; the queue waits in %s",
                          queue_.Path().c_str());
    }
}

void TransmitThread::EndLocked() {
    active_ = false;
    idle_.Set();
}

void TransmitThread::Run() {
    while (true) {
        if (StopRequested()) {
            ShowProgress(0.0);
            break;
        }
        {
            LAutoLock lock(lock_);
            wake_ = false;
        }
        const std::optional<TransmitRecordBytes> head = queue_.ReadHead();
        if (!head) {
            // Deleted under the file lock only when still empty: another process
            // may have appended in the meantime.
            if (!queue_.DeleteIfFinished()) continue;
            ShowProgress(0.0);
            ui_.SetStatus("");
            LAutoLock lock(lock_);
            if (wake_) continue;  // this process appended after the queue was read
            queued_ = done_ = 0.0;
            EndLocked();
            return;
        }

        TransmitRecord record = DecodeTransmitRecord(head->data());
        // A record of another window or run has no window to retitle here.
        if (record.ownerReference != owner_) record.ownerReference = 0;
        const TransmitResult result = dispatcher_.TransmitFile(record, *this, ui_);

        if (result == TransmitResult::Cancelled) {
            int mode;
            {
                LAutoLock lock(lock_);
                mode = mode_;
            }
            if (StopRequested() || mode == kNormalMode) {
                LogEvent("Sending stopped; %s stays queued for the next start",
                         record.path.c_str());
            } else {
                vocarta::LogError("Sending cancelled in a resumed queue; %s deleted",
                                  queue_.Path().c_str());
                queue_.Delete();
                LAutoLock lock(lock_);
                queued_ = 0.0;
            }
            ui_.SetStatus("");
            break;
        }

        auto left = queue_.RemoveHead(*head);
        {
            LAutoLock lock(lock_);
            done_ += 1.0;
        }
        if (!left) {
            // Sending the same record again and again would be worse than stopping.
            vocarta::LogError("TransmitThread: %s; sending stops until the next start",
                              left.Error().Message().c_str());
            ui_.SetStatus("");
            break;
        }
    }
    LAutoLock lock(lock_);
    EndLocked();
}

void TransmitThread::ShowProgress(double fraction) {
    fraction = std::clamp(fraction, 0.0, 1.0);
    // Whole steps of a tenth of a percent are enough for any progress bar.
    if (shownProgress_ >= 0.0 && std::fabs(fraction - shownProgress_) < 0.001 && fraction != 0.0 &&
        fraction != 1.0)
        return;
    shownProgress_ = fraction;
    ui_.SetProgress(fraction);
}

void TransmitThread::SetProgress(double fraction) {
    double queued, done;
    {
        LAutoLock lock(lock_);
        queued = queued_;
        done = done_;
    }
    ShowProgress(queued > 1.0 ? (done + fraction) / queued : fraction);
}

void TransmitThread::SetStatus(const std::string& text) {
    ui_.SetStatus(text);
}

void TransmitThread::LogError(const std::string& text) {
    vocarta::LogError("%s", text.c_str());
}

}  // namespace vocarta
