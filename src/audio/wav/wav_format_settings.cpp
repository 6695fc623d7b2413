#include "audio/wav/wav_format_settings.h"

#include <cstring>

#include "settings/settings.h"
#include "toolkit/lfile.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"

namespace vocarta {

namespace {
constexpr uint32_t kMinRate = 1000;
constexpr uint32_t kMaxRate = 768000;
constexpr uint16_t kMaxChannels = 32;
}  // namespace

LSoundFormat AutomaticWavFormat() {
    return LSoundFormat(44100, 2, 32);
}

bool MakeWavFormat(uint16_t tag, uint32_t rate, uint16_t channels, uint16_t bits,
                   LSoundFormat& out) {
    if (rate < kMinRate || rate > kMaxRate || channels < 1 || channels > kMaxChannels) return false;
    LSoundFormat f(rate, uint8_t(channels), bits);
    f.formatTag = tag;
    switch (tag) {
        case kWaveFormatPcm:
            if (bits != 8 && bits != 16 && bits != 24 && bits != 32) return false;
            break;
        case kWaveFormatIeeeFloat:
            if (bits != 32 && bits != 64) return false;
            break;
        case kWaveFormatALaw:
        case kWaveFormatMuLaw:
            f.bitsPerSample = 8;
            f.blockAlign = 8;  // written this way on purpose by the WAV sink
            f.avgBytesPerSec = rate;
            break;
        case kWaveFormatGsm610:
            f.bitsPerSample = 0;
            f.blockAlign = 65;
            f.avgBytesPerSec = rate * 65 / 320;
            f.extraSize = 2;
            f.extra[0] = 320 & 0xFF;  // samples per block, little-endian
            f.extra[1] = 320 >> 8;
            break;
        default:
            return false;
    }
    out = f;
    return true;
}

bool IsUsableWavFormat(const LSoundFormat& format) {
    LSoundFormat check;
    return MakeWavFormat(format.formatTag, format.sampleRate, format.channels, format.bitsPerSample,
                         check);
}

std::string WavCodecPath() {
    return JoinPath(AppConfigDir(), "WavCodec.wff");
}

static LSoundFormat ReadStoredFormat() {
    std::string bytes;
    if (!LFile::ReadAll(WavCodecPath(), bytes)) return AutomaticWavFormat();
    LSoundFormat stored;
    if (bytes.size() < std::size_t(kWaveFormatHeaderSize) || bytes.size() > sizeof stored) {
        LogError(
            "LoadWavFormat: %s has %zu bytes, not a format record; using 44100 Hz 32-bit "
            "stereo PCM",
            WavCodecPath().c_str(), bytes.size());
        return AutomaticWavFormat();
    }
    std::memcpy(&stored, bytes.data(), bytes.size());
    LSoundFormat usable;
    if (!MakeWavFormat(stored.formatTag, stored.sampleRate, stored.channels, stored.bitsPerSample,
                       usable)) {
        LogError(
            "LoadWavFormat: %s holds an unusable format (tag %u, %u Hz, %u channels, %u "
            "bits); using 44100 Hz 32-bit stereo PCM",
            WavCodecPath().c_str(), unsigned(stored.formatTag), unsigned(stored.sampleRate),
            unsigned(stored.channels), unsigned(stored.bitsPerSample));
        return AutomaticWavFormat();
    }
    return usable;
}

LSoundFormat LoadWavFormat() {
    LSoundFormat f = ReadStoredFormat();
    uint16_t tag = f.formatTag, channels = f.channels, bits = f.bitsPerSample;
    uint32_t rate = f.sampleRate;
    if (GetSettingBool(kWavSettingsSection, kWavFormatAutoKey, false)) tag = kWaveFormatPcm;
    if (GetSettingBool(kWavSettingsSection, kWavSampleRateAutoKey, false)) rate = 44100;
    if (GetSettingBool(kWavSettingsSection, kWavBpsAutoKey, false)) bits = 32;
    if (GetSettingBool(kWavSettingsSection, kWavChansAutoKey, false)) channels = 2;
    if (tag == kWaveFormatPcm && bits == 0) bits = 16;  // GSM's 0 bits turned into PCM
    LSoundFormat result;
    if (!MakeWavFormat(tag, rate, channels, bits, result)) {
        // e.g. FormatAuto over an 8-bit A-law record stays valid; only odd mixes get here
        return AutomaticWavFormat();
    }
    return result;
}

bool SaveWavFormat(const LSoundFormat& format) {
    if (!MakeDirs(AppConfigDir())) return false;
    std::string bytes(reinterpret_cast<const char*>(&format), sizeof format);
    return LFile::WriteAtomically(WavCodecPath(), bytes, 0644);
}

}  // namespace vocarta
