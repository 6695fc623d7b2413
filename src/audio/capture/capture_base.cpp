#include "audio/capture/capture_base.h"

#include "audio/capture/device_choice.h"
#include "audio/capture/sound_recorder.h"
#include "toolkit/log.h"

namespace vocarta {

const char* CaptureErrorText(int32_t error) {
    switch (error) {
        case kCaptureOk:
            return "No error";
        case kCaptureRateUnavailable:
            return "The sound device cannot record at this sample rate";
        case kCaptureNoDevice:
            return "The sound device is not present";
        case kCaptureOpenFailed:
            return "The sound device could not be opened";
        case kCaptureDeviceLost:
            return "The sound device was disconnected";
        case kCaptureStalled:
            return "The sound device stopped delivering sound";
        case kCaptureSinkFailed:
            return "The recording could not be written";
        case kCaptureNoServer:
            return "No sound server answered";
        default:
            return "Unknown sound device error";
    }
}

std::string LCaptureBase::LastErrorText() const {
    int32_t error = LastError();
    if (error == kCaptureOk) return {};
    LAutoLock hold(errorLock_);
    std::string text = CaptureErrorText(error);
    if (!errorDetail_.empty()) text += " (" + errorDetail_ + ")";
    return text;
}

void LCaptureBase::SetLastError(int32_t error, const std::string& detail) {
    LAutoLock hold(errorLock_);
    if (lastError_.load() != kCaptureOk) return;
    errorDetail_ = detail;
    lastError_.store(error, std::memory_order_release);
}

void LCaptureBase::ClearError() {
    LAutoLock hold(errorLock_);
    errorDetail_.clear();
    lastError_.store(kCaptureOk, std::memory_order_release);
}

bool LCaptureBase::ChooseFormat(LSoundSinkBase& sink, const std::vector<uint32_t>& offered) {
    channels_ = sink.Channels();
    uint32_t wanted = sink.SampleRate();
    rate_ = NearestSampleRate(offered, wanted);
    if (channels_ == 0 || wanted == 0) {
        SetLastError(kCaptureOpenFailed, "the sink has no format");
        return false;
    }
    if (rate_ != wanted && !sink.SetFormat(rate_, channels_)) {
        SetLastError(kCaptureRateUnavailable, std::to_string(wanted) + " Hz asked, " +
                                                  std::to_string(rate_) + " Hz offered");
        return false;
    }
    return true;
}

bool LCaptureBase::AllocateRing(uint32_t deviceMinFrames, uint32_t deviceMaxFrames) {
    uint32_t frames = FramesPerBufferFor(rate_, deviceMinFrames, deviceMaxFrames);
    LAutoLock hold(handOverLock_);
    if (!ring_.Allocate(BufferCountFor(frames, rate_), frames, channels_)) {
        SetLastError(kCaptureOpenFailed, "no memory for the capture buffers");
        return false;
    }
    ringRate_ = rate_;
    ApplyHandOver();
    return true;
}

void LCaptureBase::FreeRing() {
    LAutoLock hold(handOverLock_);
    ring_.Free();
    ringRate_ = 0;
}

void LCaptureBase::SetHandOverMs(uint32_t ms) {
    LAutoLock hold(handOverLock_);
    handOverMs_ = ms;
    ApplyHandOver();
}

void LCaptureBase::ApplyHandOver() {
    uint32_t frames = ring_.FramesPerBuffer();
    if (frames == 0 || ringRate_ == 0) return;
    // Whole buffers, the nearest to the time asked for.
    uint64_t wanted = uint64_t(handOverMs_) * ringRate_ / 1000;
    ring_.SetHandOverBuffers(uint32_t((wanted + frames / 2) / frames));
}

uint32_t LCaptureBase::HandOverFrames() const {
    LAutoLock hold(handOverLock_);
    return ring_.HandOverBuffers() * ring_.FramesPerBuffer();
}

}  // namespace vocarta
