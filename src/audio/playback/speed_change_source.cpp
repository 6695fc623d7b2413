#include "audio/playback/speed_change_source.h"

#include <soundtouch/SoundTouch.h>
#include <soxr.h>

#include <algorithm>
#include <cmath>

#include "toolkit/log.h"

namespace vocarta {
namespace {

// Inner frames read and stretched at once: about 0.1 s, small enough that the
// first sound comes at once, large enough that the calls cost nothing.
constexpr size_t kSpeedBlockFrames = 2048;

}  // namespace

LResult<int> CheckPlaySpeed(int speedPercent) {
    if (speedPercent <= 0)
        return MakeError(LErrorCode::kInvalid,
                         "The playback speed must be above 0%% (it was %d%%); speeds from %d%% "
                         "to %d%% can be played.",
                         speedPercent, kPlaySpeedMinPercent, kPlaySpeedMaxPercent);
    int clamped = std::clamp(speedPercent, kPlaySpeedMinPercent, kPlaySpeedMaxPercent);
    if (clamped != speedPercent)
        LogEvent("Playback speed %d%% is outside %d%%..%d%%: playing at %d%%", speedPercent,
                 kPlaySpeedMinPercent, kPlaySpeedMaxPercent, clamped);
    return clamped;
}

bool SpeedPlaysUnchanged(int speedPercent) {
    return speedPercent >= kPlaySpeedUnchangedFromPercent &&
           speedPercent <= kPlaySpeedUnchangedToPercent;
}

LSoundTime RecordingToPlayedTime(LSoundTime recording, int speedPercent) {
    if (SpeedPlaysUnchanged(speedPercent) || speedPercent <= 0) return recording;
    return LSoundTime(recording.Milliseconds() * 100 / speedPercent);
}

LSoundTime PlayedToRecordingTime(LSoundTime played, int speedPercent) {
    if (SpeedPlaysUnchanged(speedPercent) || speedPercent <= 0) return played;
    return LSoundTime(played.Milliseconds() * speedPercent / 100);
}

LSpeedChangeSource::LSpeedChangeSource(LSoundSource inner, int speedPercent)
    : inner_(std::move(inner)), speedPercent_(speedPercent) {
    const uint32_t innerRate = inner_->SampleRate();
    channels_ = inner_->Channels();
    sampleRate_ = std::min(innerRate, kSpeedChangeRate);
    description_ = inner_->FormatDescription();
    if (innerRate == 0 || channels_ == 0 || channels_ > kSpeedChangeMaxChannels) {
        lastError_ = "the speed of this recording's format cannot be changed.";
        failed_ = true;
        return;
    }
    // Played length: the inner length at the played rate, stretched.
    long double frames = (long double)inner_->TotalFrames() * sampleRate_ / innerRate;
    totalFrames_ = uint64_t(std::llround(frames * 100.0L / speedPercent_));

    block_.resize(kSpeedBlockFrames * channels_);
    if (innerRate > kSpeedChangeRate) {
        soxr_error_t error = nullptr;
        soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
        soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
        resampler_ = soxr_create(innerRate, sampleRate_, channels_, &error, &io, &quality, nullptr);
        if (!resampler_) {
            LogError("LSpeedChangeSource::LSpeedChangeSource soxr_create FAILED: %s",
                     error ? error : "");
            lastError_ = std::string("the sample rate cannot be converted (") +
                         (error ? error : "soxr_create failed") + ").";
            failed_ = true;
            return;
        }
        converted_.resize((kSpeedBlockFrames * sampleRate_ / innerRate + 64) * channels_);
    }
    stretch_ = std::make_unique<soundtouch::SoundTouch>();
    stretch_->setSampleRate(sampleRate_);
    stretch_->setChannels(channels_);
    stretch_->setTempo(speedPercent_ / 100.0);
}

LSpeedChangeSource::~LSpeedChangeSource() {
    if (resampler_) soxr_delete(resampler_);
}

int64_t LSpeedChangeSource::Read(float* samples, uint64_t frames) {
    if (failed_) return -1;
    uint64_t done = 0;
    while (done < frames) {
        uint64_t want = std::min<uint64_t>(frames - done, UINT32_MAX);
        uint64_t got = stretch_->receiveSamples(samples + done * channels_, uint32_t(want));
        done += got;
        if (got > 0) continue;
        if (innerDone_) break;
        if (!Feed()) {
            failed_ = true;
            // What was stretched before the error is still played.
            return done > 0 ? int64_t(done) : -1;
        }
    }
    return int64_t(done);
}

bool LSpeedChangeSource::Feed() {
    int64_t got = inner_->Read(block_.data(), kSpeedBlockFrames);
    if (got < 0) {
        lastError_ = inner_->LastError().empty() ? "the file is damaged." : inner_->LastError();
        return false;
    }
    if (got > 0) return Convert(block_.data(), size_t(got));
    // The end: what the converter and the stretcher still hold comes out.
    if (!Convert(nullptr, 0)) return false;
    // The stretcher's flush gives out exactly the stretched length; its last
    // window fades into silence (about 20 ms at half speed).
    stretch_->flush();
    innerDone_ = true;
    return true;
}

// `in` null: the end of input, the converter's tail is drained.
bool LSpeedChangeSource::Convert(const float* in, size_t frames) {
    if (!resampler_) {
        if (in) stretch_->putSamples(in, uint32_t(frames));
        return true;
    }
    const size_t room = converted_.size() / channels_;
    size_t used = 0;
    do {
        size_t consumed = 0, produced = 0;
        soxr_error_t error =
            soxr_process(resampler_, in ? in + used * channels_ : nullptr, in ? frames - used : 0,
                         &consumed, converted_.data(), room, &produced);
        if (error) {
            LogError("LSpeedChangeSource::Convert soxr_process FAILED: %s", error);
            lastError_ = std::string("the sample rate cannot be converted (") + error + ").";
            return false;
        }
        used += consumed;
        if (produced > 0) stretch_->putSamples(converted_.data(), uint32_t(produced));

        // Input: until all of it is taken; the end: until the tail is out.
        if (in ? used >= frames && produced < room : produced == 0) break;
    } while (true);
    return true;
}

bool LSpeedChangeSource::Seek(uint64_t frame) {
    if (!stretch_) return false;
    // The played frame's point in the recording, in the inner stream's frames.
    long double at =
        (long double)frame * speedPercent_ / 100.0L * inner_->SampleRate() / sampleRate_;
    if (!inner_->Seek(uint64_t(std::llround(at)))) return false;
    if (resampler_) soxr_clear(resampler_);
    stretch_->clear();
    innerDone_ = false;
    failed_ = false;

    lastError_.clear();
    return true;
}

LResult<LSoundSource> MakeSpeedChangeSource(LSoundSource source, int speedPercent) {
    LResult<int> speed = CheckPlaySpeed(speedPercent);
    if (!speed) return speed.Error();
    if (!source) return MakeError(LErrorCode::kInvalid, "There is no recording to play.");
    if (SpeedPlaysUnchanged(speed.Value())) return source;
    if (source->Channels() > kSpeedChangeMaxChannels)
        return MakeError(LErrorCode::kUnsupported,
                         "Cannot play a recording of %d channels at another speed (at most %d).",
                         int(source->Channels()), int(kSpeedChangeMaxChannels));
    auto wrapped = std::make_shared<LSpeedChangeSource>(std::move(source), speed.Value());
    return LSoundSource(std::move(wrapped));
}

}  // namespace vocarta
