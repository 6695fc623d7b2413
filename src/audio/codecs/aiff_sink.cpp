#include "audio/codecs/aiff_sink.h"

#include <sndfile.h>

#include "audio/codecs/sndfile_sink.h"

namespace vocarta {

namespace {

constexpr uint8_t kMaxChannels = 64;

int SndfileSubtype(AiffEncoding encoding) {
    switch (encoding) {
        case AiffEncoding::Pcm8:
            return SF_FORMAT_PCM_S8;
        case AiffEncoding::Pcm16:
            return SF_FORMAT_PCM_16;
        case AiffEncoding::Pcm24:
            return SF_FORMAT_PCM_24;
        case AiffEncoding::Pcm32:
            return SF_FORMAT_PCM_32;
        case AiffEncoding::Float32:
            return SF_FORMAT_FLOAT;
        case AiffEncoding::Float64:
            return SF_FORMAT_DOUBLE;
        case AiffEncoding::ALaw:
            return SF_FORMAT_ALAW;
        case AiffEncoding::ULaw:
            return SF_FORMAT_ULAW;
    }
    return SF_FORMAT_PCM_16;
}

}  // namespace

AiffEncoding AiffEncodingFor(const AiffSettings& s) {
    switch (s.format) {
        case kAiffFloat32:
            return AiffEncoding::Float32;
        case kAiffFloat64:
            return AiffEncoding::Float64;
        case kAiffALaw:
            return AiffEncoding::ALaw;
        case kAiffULaw:
            return AiffEncoding::ULaw;
        default:
            break;
    }
    if (s.sampleSize <= 8) return AiffEncoding::Pcm8;
    if (s.sampleSize <= 16) return AiffEncoding::Pcm16;
    if (s.sampleSize <= 24) return AiffEncoding::Pcm24;
    if (s.sampleSize <= 32) return AiffEncoding::Pcm32;
    return AiffEncoding::Float64;
}

int AiffSampleSizeIndex(AiffEncoding encoding) {
    switch (encoding) {
        case AiffEncoding::Pcm8:
            return 0;
        case AiffEncoding::Pcm16:
            return 1;
        case AiffEncoding::Pcm24:
            return 2;
        case AiffEncoding::Pcm32:
            return 3;
        case AiffEncoding::Float32:
            return 4;
        case AiffEncoding::Float64:
            return 5;
        case AiffEncoding::ALaw:
        case AiffEncoding::ULaw:
            return 1;
    }
    return 1;
}

int AiffBits(AiffEncoding encoding) {
    static constexpr int kBits[] = {8, 16, 24, 32, 32, 64, 8, 8};
    return kBits[int(encoding)];
}

const char* AiffEncodingWord(AiffEncoding encoding) {
    static constexpr const char* kWords[] = {"8 Bit",        "16 Bit",       "24 Bit", "32 Bit",
                                             "32 Bit Float", "64 Bit Float", "ALaw",   "uLaw"};
    return kWords[int(encoding)];
}

std::shared_ptr<LSoundSinkBase> OpenAiffSink(const std::string& path, AiffEncoding encoding,
                                             uint32_t rate, uint8_t channels, std::string* error) {
    return OpenSndfileSink(path, SF_FORMAT_AIFF | SndfileSubtype(encoding), "AIFF", rate, channels,
                           kMaxChannels, error);
}

}  // namespace vocarta
