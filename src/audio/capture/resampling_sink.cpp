#include "audio/capture/resampling_sink.h"

#include <soxr.h>

#include <algorithm>

#include "toolkit/log.h"

namespace vocarta {

namespace {
constexpr size_t kInputStep = 4096;  // frames converted per step
}

LResamplingSink::LResamplingSink(LSoundSink inner, uint32_t inputRate)
    : LSoundSinkBase(inner ? inner->Path() : std::string(), inputRate,
                     inner ? inner->Channels() : 0),
      inner_(std::move(inner)) {
    if (!inner_ || inputRate == 0 || channels_ == 0 || inner_->SampleRate() == 0) {
        SetError("no sink to convert for");
        return;
    }
    soxr_error_t error = nullptr;
    soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
    resampler_ = soxr_create(double(inputRate), double(inner_->SampleRate()), channels_, &error,
                             &io, &quality, nullptr);
    if (!resampler_) {
        LogError("LResamplingSink::LResamplingSink soxr_create FAILED: %s", error ? error : "");
        SetError(error ? error : "soxr_create failed");
        return;
    }
    double ratio = double(inner_->SampleRate()) / inputRate;
    outFrames_ = size_t(kInputStep * ratio) + 1024;
    out_.resize(outFrames_ * channels_);
}

LResamplingSink::~LResamplingSink() {
    if (resampler_) soxr_delete(resampler_);
}

bool LResamplingSink::WriteConverted(size_t frames) {
    if (frames == 0) return true;
    if (inner_.Write(out_.data(), frames) >= 0) return true;
    SetError(inner_->LastError());
    return false;
}

int64_t LResamplingSink::Write(const float* samples, uint64_t frames) {
    if (!resampler_) return -1;
    uint64_t done = 0;
    while (done < frames) {
        size_t step = size_t(std::min<uint64_t>(kInputStep, frames - done));
        size_t used = 0, produced = 0;
        soxr_error_t error = soxr_process(resampler_, samples + done * channels_, step, &used,
                                          out_.data(), outFrames_, &produced);
        if (error) {
            SetError(error);
            return -1;
        }
        if (!WriteConverted(produced)) return -1;
        done += used;
        framesWritten_ += used;
    }
    return int64_t(frames);
}

bool LResamplingSink::Flush() {
    if (!resampler_) return false;
    while (true) {
        size_t produced = 0;
        soxr_error_t error =
            soxr_process(resampler_, nullptr, 0, nullptr, out_.data(), outFrames_, &produced);
        if (error) {
            SetError(error);
            return false;
        }
        if (produced == 0) break;
        if (!WriteConverted(produced)) return false;
    }
    soxr_clear(resampler_);  // ready for more input after the end-of-input flush
    return true;
}

bool LResamplingSink::TruncateToFrame(uint64_t frame) {
    if (frame > framesWritten_ || !Flush()) return false;
    LSoundTime cut = LSoundTime::FromFrames(frame, sampleRate_);
    if (inner_.Position() > cut && !inner_.TruncateTo(cut)) return false;
    framesWritten_ = frame;
    return true;
}

bool LResamplingSink::SetFormat(uint32_t sampleRate, uint8_t channels) {
    // The converter was made for one input rate; only that rate is taken.
    return sampleRate == sampleRate_ && channels == channels_;
}

bool LResamplingSink::Close() {
    return Flush();
}

}  // namespace vocarta
