#include "audio/wav/wav_sink.h"

#include "audio/wav/format_tags.h"
#include "audio/wav/wav_sinks.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

std::shared_ptr<wav::WavSinkBase> MakeSink(const std::string& path, const LSoundFormat& f,
                                           std::string* error) {
    using Width = wav::WavPcmSink::Width;
    const uint8_t channels = uint8_t(f.channels);
    switch (f.formatTag) {
        case kWaveFormatPcm: {
            Width w = f.bitsPerSample <= 8    ? Width::U8
                      : f.bitsPerSample <= 16 ? Width::S16
                      : f.bitsPerSample <= 24 ? Width::S24
                                              : Width::S32;
            return std::make_shared<wav::WavPcmSink>(path, f.sampleRate, channels, w);
        }
        case kWaveFormatIeeeFloat:
            if (f.bitsPerSample == 32 || f.bitsPerSample == 64)
                return std::make_shared<wav::WavPcmSink>(
                    path, f.sampleRate, channels,
                    f.bitsPerSample == 32 ? Width::Float32 : Width::Float64);
            break;
        case kWaveFormatALaw:
        case kWaveFormatMuLaw:
            return std::make_shared<wav::WavG711Sink>(path, f.sampleRate, channels,
                                                      f.formatTag == kWaveFormatMuLaw);
        case kWaveFormatGsm610: {
            auto sink = std::make_shared<wav::WavGsmSink>(path, f.sampleRate, channels);
            if (sink->Valid()) return sink;
            if (error) *error = "The GSM 6.10 encoder could not be created";
            return nullptr;
        }
        default:
            break;
    }
    if (error)
        *error = StringPrintf("WAV files cannot be written as %s (format tag %u, %u bits)",
                              WaveFormatTagName(f.formatTag), unsigned(f.formatTag),
                              unsigned(f.bitsPerSample));
    return nullptr;
}

}  // namespace

std::shared_ptr<LSoundSinkBase> OpenWavSink(const std::string& path, const LSoundFormat& format,
                                            std::string* error) {
    if (format.sampleRate == 0 || format.channels == 0 || format.channels > 255) {
        if (error)
            *error = StringPrintf("A WAV file cannot have %u channels at %u Hz",
                                  unsigned(format.channels), unsigned(format.sampleRate));
        return nullptr;
    }
    auto sink = MakeSink(path, format, error);
    if (!sink) return nullptr;
    if (!sink->Open()) {
        if (error) *error = sink->LastError();
        return nullptr;
    }
    return sink;
}

}  // namespace vocarta
