#include "audio/wav/wav_presets.h"

#include <algorithm>

#include "audio/wav/wav_format_settings.h"
#include "settings/settings.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

constexpr const char* kPresetKey = "Preset";
constexpr const char* kCodecIndexKey = "CodecIndex";

constexpr const char* kPresetNames[kWavPresetCount] = {
    "Auto (Preserves Original Format)", "Custom", "High Quality (CD/DVD Quality)",
    "Medium Quality (AM Radio Quality)", "Low Quality (Telephone Quality)"};

constexpr WavEncoding kEncodings[kWavEncodingCount] = {
    {kWaveFormatPcm, "PCM"},
    {kWaveFormatGsm610, "GSM 6.10"},
    {kWaveFormatALaw, "A-LAW"},
    {kWaveFormatMuLaw, "MU-LAW"},
};

constexpr uint32_t kRates[] = {8000,  11025, 12000, 16000, 22050,  24000, 32000,
                               44100, 48000, 88200, 96000, 176400, 192000};

// The fixed values a preset sets (Auto and Custom are not among them).
struct FixedPreset {
    WavPreset preset;
    uint16_t channels;
    uint32_t rate;
    uint16_t bits;
};
constexpr FixedPreset kFixedPresets[] = {
    {WavPreset::High, 2, 44100, 16},
    {WavPreset::Medium, 2, 22050, 16},
    {WavPreset::Low, 1, 8000, 8},
};

int ClampCodecIndex(int index) {
    return index < 0 || index >= kWavEncodingCount ? kWavEncodingPcm : index;
}

}  // namespace

const char* WavPresetName(WavPreset preset) {
    int i = int(preset);
    return i >= 0 && i < kWavPresetCount ? kPresetNames[i] : kPresetNames[int(WavPreset::Custom)];
}

const WavEncoding& WavEncodingAt(int index) {
    return kEncodings[ClampCodecIndex(index)];
}

int WavEncodingIndexOfTag(uint16_t tag) {
    for (int i = 0; i < kWavEncodingCount; ++i)
        if (kEncodings[i].tag == tag) return i;
    return kWavEncodingPcm;
}

WavPreset DeriveWavPreset(const WavEncoderChoice& c) {
    if (c.codecIndex != kWavEncodingPcm) return WavPreset::Custom;
    if (c.matchChannels && c.matchRate) return c.bits == 16 ? WavPreset::Auto : WavPreset::Custom;
    if (c.matchChannels || c.matchRate) return WavPreset::Custom;
    for (const auto& p : kFixedPresets)
        if (c.channels == p.channels && c.sampleRate == p.rate && c.bits == p.bits) return p.preset;
    return WavPreset::Custom;
}

WavEncoderChoice ApplyWavPreset(WavPreset preset, const WavEncoderChoice& current) {
    WavEncoderChoice c = current;
    if (preset == WavPreset::Custom) return c;
    c.codecIndex = kWavEncodingPcm;
    if (preset == WavPreset::Auto) {
        c.matchChannels = c.matchRate = true;
        c.bits = 16;
        return c;
    }
    for (const auto& p : kFixedPresets) {
        if (p.preset != preset) continue;
        c.matchChannels = c.matchRate = false;
        c.channels = p.channels;
        c.sampleRate = p.rate;
        c.bits = p.bits;
    }
    return c;
}

bool WavEncodingFollowsSource(int codecIndex) {
    return ClampCodecIndex(codecIndex) == kWavEncodingPcm;
}

std::vector<uint16_t> WavSampleSizes(int codecIndex) {
    switch (WavEncodingAt(codecIndex).tag) {
        case kWaveFormatPcm:
            return {8, 16, 24, 32};
        case kWaveFormatGsm610:
            return {};
        default:
            return {8};
    }
}

WavEncoderChoice ConformWavChoice(WavEncoderChoice c) {
    c.codecIndex = ClampCodecIndex(c.codecIndex);
    if (c.channels != 1 && c.channels != 2) c.channels = 2;
    if (c.sampleRate == 0) c.sampleRate = 44100;
    if (!WavEncodingFollowsSource(c.codecIndex)) {
        if (c.matchRate) c.sampleRate = 8000;  // the telephone codecs' own rate
        c.matchChannels = c.matchRate = false;
    }
    if (WavEncodingAt(c.codecIndex).tag == kWaveFormatGsm610) c.channels = 1;
    std::vector<uint16_t> sizes = WavSampleSizes(c.codecIndex);
    if (sizes.empty()) {
        c.bits = 0;
    } else if (std::find(sizes.begin(), sizes.end(), c.bits) == sizes.end()) {
        c.bits = std::find(sizes.begin(), sizes.end(), 16) != sizes.end() ? 16 : sizes.front();
    }
    return c;
}

std::vector<uint32_t> WavSampleRates(uint32_t current) {
    std::vector<uint32_t> rates(std::begin(kRates), std::end(kRates));
    if (current != 0 && std::find(rates.begin(), rates.end(), current) == rates.end())
        rates.insert(std::upper_bound(rates.begin(), rates.end(), current), current);
    return rates;
}

const char* WavChannelsText(uint16_t channels) {
    if (channels == 0) return kWavMatchSourceText;
    return channels == 1 ? "Mono" : "Stereo";
}

std::string WavSampleRateText(uint32_t rate) {
    return StringPrintf("%u%s", rate, " Hz");
}

std::string WavSampleSizeText(uint16_t bits) {
    return StringPrintf("%u%s", unsigned(bits), " bits Integer");
}

WavEncoderChoice LoadWavEncoderChoice() {
    const LSoundFormat f = LoadWavFormat();
    WavEncoderChoice c;
    c.codecIndex = WavEncodingIndexOfTag(f.formatTag);
    c.matchChannels = GetSettingBool(kWavSettingsSection, kWavChansAutoKey, false);
    c.matchRate = GetSettingBool(kWavSettingsSection, kWavSampleRateAutoKey, false);
    c.channels = f.channels;
    c.sampleRate = f.sampleRate;
    c.bits = f.bitsPerSample;
    return ConformWavChoice(c);
}

LSoundFormat WavFormatForChoice(WavPreset preset, const WavEncoderChoice& choice) {
    WavEncoderChoice c = ConformWavChoice(choice);
    LSoundFormat f;
    uint16_t tag = WavEncodingAt(c.codecIndex).tag;
    if (preset == WavPreset::Auto) {
        tag = kWaveFormatPcm;
        c.bits = 16;
    }
    if (!MakeWavFormat(tag, c.sampleRate, c.channels, c.bits, f)) f = AutomaticWavFormat();
    return f;
}

bool SaveWavEncoderChoice(WavPreset preset, const WavEncoderChoice& choice) {
    const WavEncoderChoice c = ConformWavChoice(choice);
    const bool pcm = c.codecIndex == kWavEncodingPcm;
    bool formatAuto = false, rateAuto = false, chansAuto = false;
    if (preset == WavPreset::Auto) {
        formatAuto = rateAuto = chansAuto = true;
    } else if (preset == WavPreset::Custom && pcm) {
        rateAuto = c.matchRate;
        chansAuto = c.matchChannels;
    }
    SetSettingInt(kWavSettingsSection, kPresetKey, int(preset));
    SetSettingInt(kWavSettingsSection, kCodecIndexKey, c.codecIndex);
    SetSettingBool(kWavSettingsSection, kWavFormatAutoKey, formatAuto);
    SetSettingBool(kWavSettingsSection, kWavSampleRateAutoKey, rateAuto);
    SetSettingBool(kWavSettingsSection, kWavChansAutoKey, chansAuto);
    return SaveWavFormat(WavFormatForChoice(preset, c));
}

}  // namespace vocarta
