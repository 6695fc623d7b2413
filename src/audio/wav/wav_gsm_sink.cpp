#include <gsm.h>

#include "audio/sound_format.h"
#include "audio/wav/sample_convert.h"
#include "audio/wav/wav_sinks.h"

namespace vocarta::wav {

WavGsmSink::WavGsmSink(std::string path, uint32_t sampleRate, uint8_t channels)
    : WavSinkBase(std::move(path), sampleRate, channels), gsm_(gsm_create()) {
    if (gsm_ != nullptr) {
        int on = 1;
        gsm_option(gsm_, GSM_OPT_WAV49, &on);
    }
}

WavGsmSink::~WavGsmSink() {
    if (!closed_) Close();
    if (gsm_ != nullptr) gsm_destroy(gsm_);
}

std::vector<uint8_t> WavGsmSink::BuildHeader(uint32_t dataSize, uint32_t riffSize) const {
    return HeaderBuilder(48)
        .Tag("RIFF")
        .U32(riffSize)
        .Tag("WAVE")
        .Tag("fmt ")
        .U32(20)
        .U16(kWaveFormatGsm610)
        .U16(1)  // mixed down: GSM 6.10 codes one channel
        .U32(sampleRate_)
        .U32(uint32_t(uint64_t(sampleRate_) * kGsmBlockBytes / kGsmSamplesPerBlock))
        .U16(kGsmBlockBytes)
        .U16(0)
        .U16(2)
        .U16(kGsmSamplesPerBlock)
        .Tag("data")
        .U32(dataSize)
        .Take();
}

bool WavGsmSink::EncodeBlock() {
    // WAV49 packs two 160-sample frames into 65 bytes: the first call writes 32
    // bytes, the second 33 starting with the half byte the first left over.
    gsm_encode(gsm_, pending_, block_);
    gsm_encode(gsm_, pending_ + kGsmSamplesPerBlock / 2, block_ + 32);
    pendingCount_ = 0;
    if (AppendData(block_, kGsmBlockBytes)) return true;
    // Keep the whole blocks that reached the file.
    uint64_t blocks = dataBytes_ / kGsmBlockBytes;
    CutDataTo(blocks * kGsmBlockBytes);
    framesWritten_ = blocks * kGsmSamplesPerBlock;
    return false;
}

int64_t WavGsmSink::Write(const float* samples, uint64_t frames) {
    if (closed_ || gsm_ == nullptr) {
        SetError("Cannot write to " + path_ + ": the file is closed");
        return -1;
    }
    const uint32_t channels = channels_ == 0 ? 1 : channels_;
    for (uint64_t f = 0; f < frames; ++f) {
        const float* frame = samples + f * channels;
        float sum = 0.0f;
        for (uint32_t c = 0; c < channels; ++c) sum += frame[c];
        pending_[pendingCount_++] = FloatToS16(sum / float(channels));
        ++framesWritten_;
        if (pendingCount_ == kGsmSamplesPerBlock && !EncodeBlock()) return -1;
    }
    return int64_t(frames);
}

bool WavGsmSink::FinishData() {
    if (pendingCount_ == 0 || gsm_ == nullptr) return true;
    for (uint32_t i = pendingCount_; i < kGsmSamplesPerBlock; ++i) pending_[i] = 0;
    uint64_t frames = framesWritten_;
    bool ok = EncodeBlock();
    if (ok) framesWritten_ = frames;
    return ok;
}

bool WavGsmSink::TruncateToFrame(uint64_t frame) {
    if (closed_ || frame > framesWritten_) return false;
    const uint64_t encoded = dataBytes_ / kGsmBlockBytes * kGsmSamplesPerBlock;
    if (frame >= encoded) {
        pendingCount_ = uint32_t(frame - encoded);
        framesWritten_ = frame;
        return true;
    }
    const uint64_t blocks = frame / kGsmSamplesPerBlock;
    pendingCount_ = 0;
    framesWritten_ = blocks * kGsmSamplesPerBlock;
    return CutDataTo(blocks * kGsmBlockBytes);
}

}  // namespace vocarta::wav
