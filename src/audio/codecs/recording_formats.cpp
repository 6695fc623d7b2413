#include "audio/codecs/recording_formats.h"

#include <sndfile.h>

#include <cstring>
#include <vector>

#include "toolkit/lfile.h"
#include "toolkit/log.h"

namespace vocarta {

namespace {

constexpr uint8_t kMaxAiffChannels = 64;
constexpr uint8_t kMaxFlacChannels = 8;
constexpr uint32_t kMaxFlacRate = 655350;
constexpr int64_t kWavProbeBytes = 64 * 1024;  // the "fmt " chunk comes first in practice

// The stored rate, or the default when matching the source or unusable.
uint32_t ChooseRate(const char* what, bool matchSource, int stored, uint32_t maxRate) {
    if (matchSource) return kDefaultRecordingRate;
    if (stored >= int(kMinRecordingRate) && uint32_t(stored) <= maxRate) return uint32_t(stored);
    LogError("%s: stored sample rate %d cannot be recorded; using %d Hz", what, stored,
             kDefaultRecordingRate);
    return kDefaultRecordingRate;
}

uint8_t ChooseChannels(const char* what, bool matchSource, int stored, uint8_t maxChannels) {
    if (matchSource) return kDefaultRecordingChannels;
    if (stored >= 1 && stored <= maxChannels) return uint8_t(stored);
    LogError("%s: stored channel count %d cannot be recorded; using %d", what, stored,
             kDefaultRecordingChannels);
    return kDefaultRecordingChannels;
}

uint32_t Le32(const unsigned char* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}
uint16_t Le16(const unsigned char* p) {
    return uint16_t(p[0] | p[1] << 8);
}

int SubtypeOf(const std::string& path) {
    LFile file;
    if (!file.Open(path, LFile::Mode::Read)) return 0;
    SF_INFO info{};
    SNDFILE* sndfile = sf_open_fd(file.Descriptor(), SFM_READ, &info, SF_FALSE);
    if (!sndfile) return 0;
    sf_close(sndfile);
    return info.format & SF_FORMAT_SUBMASK;
}

}  // namespace

AiffRecordingFormat ResolveAiffFormat(const AiffSettings& r) {
    AiffRecordingFormat f;
    f.encoding = AiffEncodingFor(r);
    f.rate = ChooseRate("AIFF", r.matchSourceSampleRate, r.sampleRate, kMaxRecordingRate);
    f.channels = ChooseChannels("AIFF", r.matchSourceChannels, r.channels, kMaxAiffChannels);
    return f;
}

AiffRecordingFormat CurrentAiffFormat() {
    AiffSettings r;
    LoadAiffSettings(r, kDefaultRecordingRate, kDefaultRecordingChannels, kDefaultRecordingBits,
                     kAiffNone);
    return ResolveAiffFormat(r);
}

FlacRecordingFormat ResolveFlacFormat(const FlacSettings& settings) {
    FlacRecordingFormat f;
    f.settings = settings;
    f.rate =
        ChooseRate("FLAC", f.settings.matchSourceSampleRate, f.settings.sampleRate, kMaxFlacRate);
    f.channels = ChooseChannels("FLAC", f.settings.matchSourceChannels, f.settings.channels,
                                kMaxFlacChannels);
    return f;
}

FlacRecordingFormat CurrentFlacFormat() {
    FlacSettings settings;
    LoadFlacSettings(settings, kDefaultRecordingRate, kDefaultRecordingChannels);
    return ResolveFlacFormat(settings);
}

bool ReadWavFileEncoding(const std::string& path, uint16_t& tag, uint16_t& bits) {
    LFile file;
    if (!file.Open(path, LFile::Mode::Read)) return false;
    std::vector<unsigned char> buffer(kWavProbeBytes);
    const unsigned char* head = buffer.data();
    int64_t size = file.Read(buffer.data(), kWavProbeBytes);
    if (size < 12 || std::memcmp(head, "RIFF", 4) != 0 || std::memcmp(head + 8, "WAVE", 4) != 0)
        return false;
    for (int64_t at = 12; at + 8 <= size;) {
        uint32_t chunkSize = Le32(head + at + 4);
        if (std::memcmp(head + at, "fmt ", 4) == 0) {
            if (chunkSize < 16 || at + 8 + 16 > size) return false;
            tag = Le16(head + at + 8);
            bits = Le16(head + at + 8 + 14);
            return true;
        }
        at += 8 + int64_t(chunkSize) + (chunkSize & 1);
    }
    return false;
}

bool AiffEncodingOfFile(const std::string& path, AiffEncoding& encoding) {
    switch (SubtypeOf(path)) {
        case SF_FORMAT_PCM_S8:
            encoding = AiffEncoding::Pcm8;
            return true;
        case SF_FORMAT_PCM_16:
            encoding = AiffEncoding::Pcm16;
            return true;
        case SF_FORMAT_PCM_24:
            encoding = AiffEncoding::Pcm24;
            return true;
        case SF_FORMAT_PCM_32:
            encoding = AiffEncoding::Pcm32;
            return true;
        case SF_FORMAT_FLOAT:
            encoding = AiffEncoding::Float32;
            return true;
        case SF_FORMAT_DOUBLE:
            encoding = AiffEncoding::Float64;
            return true;
        case SF_FORMAT_ALAW:
            encoding = AiffEncoding::ALaw;
            return true;
        case SF_FORMAT_ULAW:
            encoding = AiffEncoding::ULaw;
            return true;
        default:
            return false;
    }
}

int FlacBitsOfFile(const std::string& path) {
    switch (SubtypeOf(path)) {
        case SF_FORMAT_PCM_S8:
            return 8;
        case SF_FORMAT_PCM_16:
            return 16;
        case SF_FORMAT_PCM_24:
            return 24;
        default:
            return 0;
    }
}

}  // namespace vocarta
