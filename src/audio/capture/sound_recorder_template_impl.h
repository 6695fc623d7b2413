#pragma once
// Definitions of LSoundRecorderTemplate<LLC>; include only where a capture layer
// instantiates it.

#include <algorithm>
#include <chrono>
#include <cstring>
#include <new>

#include "audio/capture/level_meter.h"
#include "audio/capture/record_volume.h"
#include "audio/capture/resampling_sink.h"
#include "audio/capture/sound_recorder_template.h"
#include "audio/recorder_settings.h"
#include "toolkit/log.h"

namespace vocarta {

namespace recorder_detail {
inline constexpr int kDiscardedBuffers = 5;  // the device's start-up transient
inline constexpr uint64_t kMaxFramesPerStep = 8192;
inline constexpr LSoundTime kSilenceKept = LSoundTime(450);
inline constexpr LSoundTime kStopKept = LSoundTime(50);
inline constexpr int kStartWaitMs = 20000;
// Sound reaches the worker every 200 ms while levels are shown (two 100 ms
// buffers: one level update each), and once a second when nothing shows them.
inline constexpr uint32_t kLevelsHandOverMs = 200;
inline constexpr uint32_t kQuietHandOverMs = 1000;

inline int64_t SteadyMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
inline LSoundRecorderNotify& DefaultNotify() {
    static LSoundRecorderNotify receiver;
    return receiver;
}
}  // namespace recorder_detail

template <class LLC>
LSoundRecorderTemplate<LLC>::LSoundRecorderTemplate()
    : LThread("LSoundRecorder<T>"), notify_(&recorder_detail::DefaultNotify()) {
    handOverMs_ = recorder_detail::kLevelsHandOverMs;
    capture_.SetHandOverMs(recorder_detail::kLevelsHandOverMs);
    capture_.Ring().SetLossSignal(&wake_);
}

template <class LLC>
LSoundRecorderTemplate<LLC>::~LSoundRecorderTemplate() {
    // The receiver may be gone by now: end without notifications.
    LThread::Stop();
}

template <class LLC>
bool LSoundRecorderTemplate<LLC>::Start(const LRecorderStartOptions& options, LSoundSink sink,
                                        LSoundRecorderNotify* notify) {
    if (IsRunning() || !sink) return false;
    LThread::Wait();
    capture_.ClearError();
    capture_.Ring().ResetDropped();
    lostReported_ = 0;
    captureRate_ = 0;
    device_ = options.device;
    sink_ = std::move(sink);
    notify_ = notify ? notify : &recorder_detail::DefaultNotify();
    userValue_ = options.userValue;
    voiceThreshold_ = options.voiceLevel.value_or(LdBLevel(-127));
    soundThreshold_ = options.soundThreshold;
    maxTime_ = options.maxTime;
    silenceTimeout_ = options.silenceTimeout;
    options_ = options.options;
    int64_t at = sink_.Position().Milliseconds();  // a paused recording goes on from here
    recordedMs_ = lastLoudMs_ = positionMs_ = at;
    lastBufferTick_ = recorder_detail::SteadyMs();
    maxTimeReached_ = levelsChanged_ = errorPending_ = openFailed_ = soundCaptured_ = false;
    paused_ = false;
    previousFrames_ = 0;
    wakePending_ = false;
    quietCount_ = 0;
    buffersProcessed_ = 0;
    {
        LAutoLock hold(levelsLock_);
        levels_ = LLevels();
    }
    state_ = options.voiceLevel ? LRecorderState::kWaiting : LRecorderState::kRecording;
    stateChanged_ = true;
    started_.Reset();
    resume_.Reset();
    if (!LThread::Start()) {
        capture_.SetLastError(kCaptureOpenFailed, "no worker thread");
        openFailed_ = true;
    } else if (!started_.Wait(recorder_detail::kStartWaitMs) || openFailed_) {
        LThread::Stop();
        if (!openFailed_)
            capture_.SetLastError(kCaptureOpenFailed, "the device did not start in time");
        openFailed_ = true;
    }
    if (openFailed_) {
        sink_.Release();
        state_ = LRecorderState::kStopped;
        stateChanged_ = errorPending_ = false;
        return false;
    }
    return true;
}

template <class LLC>
void LSoundRecorderTemplate<LLC>::SetLevelsWanted(bool wanted) {
    if (levelsWanted_.exchange(wanted) == wanted) return;
    uint32_t ms = wanted ? recorder_detail::kLevelsHandOverMs : recorder_detail::kQuietHandOverMs;
    handOverMs_ = ms;
    capture_.SetHandOverMs(ms);
}

template <class LLC>
bool LSoundRecorderTemplate<LLC>::OpenCapture() {
    LSoundSinkBase& target = *sink_.Get();
    workerSink_ = sink_;
    if (capture_.Open(device_, target)) return true;
    if (capture_.LastError() != kCaptureRateUnavailable) return false;
    // The device cannot give the sink's rate: convert from the nearest it has.
    uint32_t rate = capture_.NearestDeviceRate(target.SampleRate());
    auto converter = std::make_shared<LResamplingSink>(sink_, rate);
    if (!converter->IsValid()) return false;
    capture_.ClearError();
    workerSink_ = LSoundSink(converter);
    if (capture_.Open(device_, *converter)) return true;
    workerSink_ = sink_;
    return false;
}

template <class LLC>
bool LSoundRecorderTemplate<LLC>::StartDevice() {
    if (options_ & kRecorderStartPaused) {
        started_.Set();
        if (resume_.WaitEither(StopSignal(), -1) != 0) return true;  // stopped unstarted
        return capture_.Start();
    }
    bool ok = capture_.Start();
    if (!ok) openFailed_ = true;
    started_.Set();
    return ok;
}

template <class LLC>
void LSoundRecorderTemplate<LLC>::Run() {
    if (!OpenCapture()) {
        workerSink_.Release();
        openFailed_ = true;
        state_ = LRecorderState::kStopped;
        started_.Set();
        return;
    }
    captureRate_ = capture_.Rate();
    uint64_t samples = capture_.Ring().SamplesPerBuffer();
    current_.reset(new (std::nothrow) float[samples]);
    previous_.reset(new (std::nothrow) float[samples]);
    if (!current_ || !previous_) {
        capture_.SetLastError(kCaptureOpenFailed, "no memory for the work buffers");
        capture_.Close();
        workerSink_.Release();
        openFailed_ = true;
        state_ = LRecorderState::kStopped;
        started_.Set();
        return;
    }
    if (!StartDevice()) {
        if (openFailed_) {  // Start() is waiting to hear it
            capture_.Close();
            workerSink_.Release();
            state_ = LRecorderState::kStopped;
            return;
        }
        errorPending_ = true;
    } else if (!StopRequested()) {
        CaptureLoop();
    }
    FinishRun();
}

template <class LLC>
void LSoundRecorderTemplate<LLC>::CaptureLoop() {
    LCaptureRing& ring = capture_.Ring();
    int discard = (options_ & kRecorderKeepFirstBuffers) ? 0 : recorder_detail::kDiscardedBuffers;
    while (true) {
        int64_t frames = TakeBuffer(kRingWaitMs);
        if (frames == LCaptureRing::kReadTimedOut) capture_.SetLastError(kCaptureStalled);
        if (frames <= 0) break;
        if (discard > 0) {  // deliberate: drops the device's start-up transient unseen
            --discard;
            continue;
        }
        if (!ProcessBuffer(uint64_t(frames))) break;
        WakeAfterHandOver();
    }
    // Sound dropped while the worker could not keep up is logged; the recording
    // itself went on and is not an error.
    if (ring.DroppedFrames() > 0)
        LogError(
            "LSoundRecorder::Run: %lld ms of sound dropped, the sink fell more than 4 s behind",
            (long long)AudioLost().Milliseconds());
    if (capture_.LastError() != kCaptureOk) {
        errorPending_ = true;
        wake_.Set();
        OnCaptureError();
    }
    capture_.Stop();
    if (state_ == LRecorderState::kRecording && capture_.LastError() == kCaptureOk) DrainQueued();
}

template <class LLC>
void LSoundRecorderTemplate<LLC>::DrainQueued() {
    LCaptureRing& ring = capture_.Ring();
    while (ring.HasQueued()) {
        int64_t frames = TakeBuffer(0);
        if (frames <= 0 || !ProcessBuffer(uint64_t(frames))) break;
    }
}

template <class LLC>
int64_t LSoundRecorderTemplate<LLC>::TakeBuffer(int timeoutMs) {
    LCaptureRing& ring = capture_.Ring();
    int64_t frames = ring.Wait(StopSignal(), timeoutMs);
    if (frames <= 0) return frames;
    // Looked up for every buffer, so a move of the volume slider is heard at once.
    float gain =
        LRecordVolumeTable::Instance().Gain(capture_.DeviceName(), capture_.DeviceChannel());
    ring.Take(current_.get(), gain, capture_.DuplicateLeft());
    return frames;
}

template <class LLC>
void LSoundRecorderTemplate<LLC>::OnCaptureError() {
    LogError("LSoundRecorder::Run capture FAILED: %s", capture_.LastErrorText().c_str());
}

template <class LLC>
void LSoundRecorderTemplate<LLC>::FinishRun() {
    if (auto* converter = dynamic_cast<LResamplingSink*>(workerSink_.Get())) converter->Flush();
    if (AutotrimEnabled())
        workerSink_.TruncateTo(LSoundTime(lastLoudMs_.load()) + recorder_detail::kSilenceKept);
    workerSink_.Release();
    positionMs_ = sink_.Position().Milliseconds();
    maxTimeReached_ = false;
    levelsChanged_ = false;
    // A failure leaves the state to Poll, which reports it: until then the
    // owner must not take the recording for one that ended normally.
    if (!errorPending_) state_ = LRecorderState::kStopped;
    stateChanged_ = true;
    capture_.Close();
    current_.reset();
    previous_.reset();
    wake_.Set();
}

template <class LLC>
bool LSoundRecorderTemplate<LLC>::WriteFrames(const float* samples, uint64_t frames) {
    if (frames == 0) return true;
    if (workerSink_.Write(samples, frames) >= 0) return true;
    capture_.SetLastError(kCaptureSinkFailed, workerSink_->LastError());
    return false;
}

template <class LLC>
void LSoundRecorderTemplate<LLC>::KeepAsPrevious(uint64_t frames) {
    std::memcpy(previous_.get(), current_.get(), frames * capture_.Channels() * sizeof(float));
    previousFrames_ = frames;
}

template <class LLC>
bool LSoundRecorderTemplate<LLC>::ProcessBuffer(uint64_t frames) {
    frames = std::min(frames, recorder_detail::kMaxFramesPerStep);
    LLevels levels;
    MeasureLevels(current_.get(), frames, capture_.Channels(), levels);
    {
        LAutoLock hold(levelsLock_);
        levels_ = levels;
    }
    bool ok = state_ == LRecorderState::kWaiting ? WhileWaiting(frames, levels.Combined())
                                                 : WhileRecording(frames, levels.Combined());
    CountLevelNotification();
    positionMs_ = workerSink_.Position().Milliseconds();
    lastBufferTick_ = recorder_detail::SteadyMs();
    buffersProcessed_.fetch_add(1);
    return ok;
}

template <class LLC>
bool LSoundRecorderTemplate<LLC>::WhileWaiting(uint64_t frames, LdBLevel combined) {
    if (combined < voiceThreshold_) {
        KeepAsPrevious(frames);
        return true;
    }
    // Sound in the first half of this buffer began in the previous one too:
    // bring in the previous buffer's second half as pre-roll.
    LLevels firstHalf;
    uint8_t channels = capture_.Channels();
    MeasureLevels(current_.get(), frames / 2, channels, firstHalf);
    if (firstHalf.Combined() >= voiceThreshold_ && previousFrames_ > 0) {
        uint64_t from = previousFrames_ / 2;
        if (!WriteFrames(previous_.get() + from * channels, previousFrames_ - from)) return false;
    }
    if (!WriteFrames(current_.get(), frames)) return false;
    // The buffer that woke the recorder counts as sound, so the silence wait
    // starts from it.
    int64_t now = workerSink_.Position().Milliseconds();
    recordedMs_ = lastLoudMs_ = now;
    soundCaptured_ = true;
    state_ = LRecorderState::kRecording;
    RaiseForPoll(stateChanged_, true);
    return true;
}

template <class LLC>
bool LSoundRecorderTemplate<LLC>::WhileRecording(uint64_t frames, LdBLevel combined) {
    // A hand-over can hold a second of sound and Poll stops the recorder only
    // after it: nothing beyond the time limit reaches the file meanwhile.
    if (maxTime_ > LSoundTime(0)) {
        int64_t leftMs = maxTime_.Milliseconds() - workerSink_.Position().Milliseconds();
        if (leftMs <= 0) {
            RaiseForPoll(maxTimeReached_, true);
            return true;
        }
        frames = std::min<uint64_t>(frames, (uint64_t(leftMs) * capture_.Rate() + 999) / 1000);
    }
    if (!WriteFrames(current_.get(), frames)) return false;
    LSoundTime now = workerSink_.Position();
    if (combined >= soundThreshold_) {
        lastLoudMs_ = recordedMs_ = now.Milliseconds();
        soundCaptured_ = true;
    } else if (now - LSoundTime(lastLoudMs_.load()) > silenceTimeout_) {
        workerSink_.TruncateTo(LSoundTime(recordedMs_.load()) + recorder_detail::kSilenceKept);
        state_ = LRecorderState::kWaiting;
        KeepAsPrevious(frames);
        RaiseForPoll(stateChanged_, true);
    } else {
        recordedMs_ = now.Milliseconds();
    }
    if (maxTime_ > LSoundTime(0) && now >= maxTime_) RaiseForPoll(maxTimeReached_, true);
    return true;
}

template <class LLC>
void LSoundRecorderTemplate<LLC>::CountLevelNotification() {
    if (!levelsWanted_) {
        // Nothing shows the levels: a time update once per hand-over is enough.
        if (++quietCount_ >= capture_.Ring().HandOverBuffers()) {
            quietCount_ = 0;
            RaiseForPoll(levelsChanged_, false);
        }
        return;
    }
    uint32_t frames = std::max<uint32_t>(1, capture_.Ring().FramesPerBuffer());
    int n = int(capture_.Rate() / frames / 20);
    std::atomic<int>& counter = SharedLevelNotificationCounter();
    if (counter.load() <= n) {
        counter.fetch_add(1);
    } else {
        RaiseForPoll(levelsChanged_, false);
        counter.store(0);
    }
}

// A state change or the time limit wakes Poll at once; levels and time wait
// for the end of the hand-over, so that a hand-over of several buffers (or a
// source that delivers seconds at a time) wakes the user interface once.
template <class LLC>
void LSoundRecorderTemplate<LLC>::RaiseForPoll(std::atomic<bool>& flag, bool now) {
    flag = true;
    if (now)
        wake_.Set();
    else
        wakePending_ = true;
}

template <class LLC>
void LSoundRecorderTemplate<LLC>::WakeAfterHandOver() {
    if (!wakePending_ || capture_.Ring().HasQueued()) return;
    wakePending_ = false;
    wake_.Set();
}

template <class LLC>
void LSoundRecorderTemplate<LLC>::EndCapture(bool notifyStopped) {
    LThread::Stop();
    LSoundTime kept = LSoundTime(recordedMs_.load()) + recorder_detail::kStopKept;
    if (sink_ && sink_.Position() > kept) sink_.TruncateTo(kept);
    if (sink_) positionMs_ = sink_.Position().Milliseconds();
    sink_.Release();
    state_ = LRecorderState::kStopped;
    maxTimeReached_ = levelsChanged_ = stateChanged_ = errorPending_ = false;
    wake_.Reset();
    if (notifyStopped) {
        recordedMs_ = 0;
        notify_->OnStopped(userValue_);
    }
}

template <class LLC>
void LSoundRecorderTemplate<LLC>::Stop() {
    paused_ = false;
    EndCapture(true);
}

template <class LLC>
void LSoundRecorderTemplate<LLC>::Pause() {
    if (state_ == LRecorderState::kStopped && !IsRunning()) return;
    EndCapture(false);
    paused_ = true;
}

template <class LLC>
void LSoundRecorderTemplate<LLC>::Resume() {
    resume_.Set();
}

template <class LLC>
void LSoundRecorderTemplate<LLC>::Poll() {
    wake_.Reset();
    uint64_t lost = capture_.Ring().DroppedFrames();
    if (lost != lostReported_) {
        lostReported_ = lost;
        notify_->OnAudioLost(AudioLost(), userValue_);
    }
    if (errorPending_.exchange(false)) {
        LThread::Wait();
        sink_.Release();
        state_ = LRecorderState::kStopped;
        recordedMs_ = 0;
        stateChanged_ = levelsChanged_ = false;
        notify_->OnFinished(capture_.LastError(), userValue_);
        return;
    }
    if (maxTimeReached_) {
        Stop();
        return;
    }
    if (levelsChanged_.exchange(false)) {
        notify_->OnTimeUpdate(LSoundTime(recordedMs_.load()), userValue_);
        notify_->OnLevelsUpdate(Levels(), userValue_);
    }
    if (stateChanged_.exchange(false)) {
        LRecorderState state = state_.load();
        if (state == LRecorderState::kWaiting) notify_->OnWaitingForSound(userValue_);
        if (state == LRecorderState::kRecording) notify_->OnRecordingStarted(userValue_);
    }
}

template <class LLC>
LRecorderState LSoundRecorderTemplate<LLC>::State() const {
    if (paused_) return LRecorderState::kWaiting;
    return state_.load();
}

template <class LLC>
LSoundTime LSoundRecorderTemplate<LLC>::Position() const {
    int64_t position = positionMs_.load();
    if (state_.load() == LRecorderState::kRecording && !paused_) {
        // Sound arrives a hand-over at a time: the clock runs on in between,
        // but never further than the next hand-over would take it.
        int64_t since = recorder_detail::SteadyMs() - lastBufferTick_.load();
        position += std::clamp<int64_t>(since, 0, handOverMs_.load());
    }
    return LSoundTime(position);
}

template <class LLC>
LSoundTime LSoundRecorderTemplate<LLC>::AudioLost() const {
    return LSoundTime::FromFrames(capture_.Ring().DroppedFrames(), captureRate_.load());
}

template <class LLC>
LLevels LSoundRecorderTemplate<LLC>::Levels() const {
    LAutoLock hold(levelsLock_);
    return levels_;
}

}  // namespace vocarta
