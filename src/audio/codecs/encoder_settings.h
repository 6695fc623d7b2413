#pragma once
// The settings records of the MP3, AIFF and FLAC writers and the keys they
// persist under.

#include <cstdint>
#include <optional>
#include <string>

namespace vocarta {

// Section "MP3Encoder".
struct Mp3Settings {
    bool constantBitRate = true;
    uint16_t cbrBitRate = 192;     // kbps
    bool highQuality = true;       // "High Quality Encoding (Slower)"
    uint16_t vbrMinBitRate = 32;   // kbps
    uint16_t vbrMaxBitRate = 320;  // kbps
    uint8_t vbrQuality = 4;        // 0 highest .. 9 lowest
    bool errorProtection = false;  // "Include CRC to Detect Errors"
    uint8_t channelMode = 0;       // 0 stereo, 1 joint, 2 forced stereo, 3 mono
    std::string versionStr;
    uint8_t quality = 3;
    uint8_t bitRateControlMethod = 1;
    uint8_t lowpass = 0;      // kHz; 0 lets the encoder choose
    uint16_t abrBitRate = 0;  // kbps
};

enum Mp3ChannelMode : uint8_t { kMp3Stereo = 0, kMp3Joint = 1, kMp3Force = 2, kMp3Mono = 3 };

void LoadMp3Settings(Mp3Settings& record);
void SaveMp3Settings(const Mp3Settings& record);

// Section "AIFFEncode". `format` is the compression: an index into
// kAiffCompressionNames.
enum AiffCompression : int {
    kAiffNone = 0,
    kAiffFloat32 = 1,
    kAiffFloat64 = 2,
    kAiffALaw = 3,
    kAiffULaw = 4
};
inline constexpr const char* kAiffCompressionNames[] = {
    "not compressed", "32-bit floating point", "64-bit floating point", "ALaw 2:1", "uLaw 2:1"};
inline constexpr const char* kAiffSampleSizeNames[] = {
    "8 bits Integer",  "16 bits Integer",        "24 bits Integer",
    "32 bits Integer", "32 bits Floating Point", "64 bits Floating Point"};

struct AiffSettings {
    uint8_t channels = 2;
    int sampleRate = 44100;
    int sampleSize = 16;  // bits
    int format = kAiffNone;
    bool matchSourceChannels = false;
    bool matchSourceSampleRate = false;
};

// Fields not stored take the values passed in (normally the recording format).
void LoadAiffSettings(AiffSettings& record, int rate, int channels, int size, int format);
void SaveAiffSettings(const AiffSettings& record);
// Stores only the rate and the channel count (what the command line names).
void StoreAiffRateAndChannels(long rate, long channels);

// Section "FlacEncoder".
struct FlacSettings {
    uint8_t version = 2;  // fixed first byte of the record
    uint8_t channels = 2;
    int sampleRate = 44100;
    uint8_t bitDepth = 16;
    bool matchSourceChannels = false;
    bool matchSourceSampleRate = false;
    int compression = 5;  // 0 fastest .. 8 smallest
};

void LoadFlacSettings(FlacSettings& record, int rate, int channels);
void SaveFlacSettings(const FlacSettings& record);
// Stores only the values given (what the command line names).
void StoreFlacOptions(std::optional<int> rate, std::optional<int> channels,
                      std::optional<int> compression);

// The recording format assumed when a record stores none: 44100 Hz, stereo, 16 bits.
inline constexpr int kDefaultRecordingRate = 44100;
inline constexpr int kDefaultRecordingChannels = 2;
inline constexpr int kDefaultRecordingBits = 16;

}  // namespace vocarta
