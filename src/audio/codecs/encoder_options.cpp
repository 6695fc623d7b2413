#include "audio/codecs/encoder_options.h"

#include <cstdlib>

#include "audio/codecs/encoder_settings.h"
#include "audio/output_format.h"
#include "audio/wav/wav_format_settings.h"
#include "settings/settings.h"
#include "toolkit/log.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

// Positions are fixed: walking past the end reads as an empty word.
class ArgCursor {
  public:
    ArgCursor(const std::vector<std::string>& args, int& index) : args_(args), index_(index) {}
    // Moves onto the next position; false when it is past the end.
    bool Next() {
        ++index_;
        return index_ < int(args_.size());
    }
    void NextUnchecked() { ++index_; }
    const std::string& Word() const {
        static const std::string empty;
        return index_ >= 0 && index_ < int(args_.size()) ? args_[size_t(index_)] : empty;
    }
    bool Is(const char* sw) const { return EqualsNoCase(Word(), sw); }
    bool HasMore() const { return index_ + 1 < int(args_.size()); }
    long Number() const { return std::strtol(Word().c_str(), nullptr, 10); }

  private:
    const std::vector<std::string>& args_;
    int& index_;
};

// A switch position and its value position; a position without the expected
// switch word is still consumed as a pair, and the value stays 0.
bool ReadPair(ArgCursor& at, const char* sw, long& value) {
    if (!at.Next()) return false;
    bool matches = at.Is(sw);
    if (!at.Next()) return false;
    value = matches ? at.Number() : 0;
    return true;
}

bool ParseWav(ArgCursor& at) {
    long rate = 0, channels = 0, bits = 0;
    if (!ReadPair(at, "-s", rate) || !ReadPair(at, "-m", channels) || !ReadPair(at, "-b", bits))
        return false;
    LSoundFormat format;
    if (!MakeWavFormat(kWaveFormatPcm, uint32_t(rate), uint16_t(channels), uint16_t(bits),
                       format)) {
        LogError(
            "ParseEncoderOptions: WAV options -s %ld -m %ld -b %ld are not a format the "
            "WAV writer can use; the stored format is kept",
            rate, channels, bits);
        return false;
    }
    // The options name the format outright, so automatic overrides must not mask it.
    for (const char* key : {"FormatAuto", "SampleRateAuto", "BPSAuto", "ChansAuto"})
        SetSettingBool("WavSettings", key, false);
    return SaveWavFormat(format);
}

bool ReadChannelMode(const std::string& word, uint8_t& mode) {
    if (EqualsNoCase(word, "s"))
        mode = kMp3Stereo;
    else if (EqualsNoCase(word, "j"))
        mode = kMp3Joint;
    else if (EqualsNoCase(word, "f"))
        mode = kMp3Force;
    else if (EqualsNoCase(word, "m"))
        mode = kMp3Mono;
    else
        return false;
    return true;
}

// "-b value" style pair at the next position: consumed as a pair whatever it holds.
bool Mp3Pair(ArgCursor& at, const char* sw, bool checkEnd, std::string& value, bool& present) {
    if (checkEnd) {
        if (!at.Next()) return false;
    } else {
        at.NextUnchecked();  // deliberately unchecked: the maximum-rate position
    }
    present = at.Is(sw);
    if (!at.Next()) return false;
    value = at.Word();
    return true;
}

bool ParseMp3(ArgCursor& at) {
    Mp3Settings r;
    LoadMp3Settings(r);
    if (!at.Next()) return false;
    std::string value;
    bool present = false;
    if (at.Is("-cbr")) {
        r.constantBitRate = true;
        if (!Mp3Pair(at, "-b", true, value, present)) return false;
        if (present) r.cbrBitRate = uint16_t(std::strtol(value.c_str(), nullptr, 10));
        if (!at.Next()) return false;
        if (at.Is("-h")) {
            r.highQuality = true;
            if (!at.Next()) return false;
        }
        bool modeGiven = at.Is("-m");  // a fixed pair: its value position is consumed anyway
        if (!at.Next()) return false;
        if (modeGiven) ReadChannelMode(at.Word(), r.channelMode);
        if (!at.Next()) return false;
        r.errorProtection = at.Is("-p");
    }
    if (at.Is("-vbr")) {
        r.constantBitRate = false;
        if (!Mp3Pair(at, "-b", true, value, present)) return false;
        if (present) r.vbrMinBitRate = uint16_t(std::strtol(value.c_str(), nullptr, 10));
        if (!Mp3Pair(at, "-B", false, value, present)) return false;
        if (present) r.vbrMaxBitRate = uint16_t(std::strtol(value.c_str(), nullptr, 10));
        if (!Mp3Pair(at, "-q", true, value, present)) return false;
        if (present) r.vbrQuality = uint8_t(std::strtol(value.c_str(), nullptr, 10));
        if (!Mp3Pair(at, "-m", true, value, present)) return false;
        if (present) ReadChannelMode(value, r.channelMode);
        if (!at.Next()) return false;
        r.errorProtection = at.Is("-p");
    }
    SaveMp3Settings(r);
    return true;
}

bool ParseAiff(ArgCursor& at) {
    long rate = 0, channels = 0;
    if (!ReadPair(at, "-s", rate) || !ReadPair(at, "-m", channels)) return false;
    SetSettingInt("AIFFEncode", "SampleRate", int(rate));
    SetSettingInt("AIFFEncode", "Channels", int(channels));
    return true;
}

// Options in any order until all three were given or another word comes; that
// word is left for the caller. A switch standing last without its value is ignored.
bool ParseFlac(const std::vector<std::string>& args, int& index) {
    bool haveRate = false, haveChannels = false, haveLevel = false;
    const int count = int(args.size());
    while (index + 2 < count && !(haveRate && haveChannels && haveLevel)) {
        const std::string& sw = args[size_t(index + 1)];
        long value = std::strtol(args[size_t(index + 2)].c_str(), nullptr, 10);
        if (EqualsNoCase(sw, "-s")) {
            SetSettingInt("FlacEncoder", "SampleRate", int(value));
            haveRate = true;
        } else if (EqualsNoCase(sw, "-m")) {
            SetSettingInt("FlacEncoder", "Channels", int(uint8_t(value)));
            haveChannels = true;
        } else if (EqualsNoCase(sw, "-c")) {
            haveLevel = true;
            if (uint8_t(value) <= 8)
                SetSettingInt("FlacEncoder", "Compression", int(uint8_t(value)));
        } else {
            break;
        }
        index += 2;
    }
    return true;
}

}  // namespace

bool ParseEncoderOptions(int format, const std::vector<std::string>& args, int& index) {
    ArgCursor at(args, index);
    switch (format) {
        case kFormatWav:
            return ParseWav(at);
        case kFormatMp3:
            return ParseMp3(at);
        case kFormatAiff:
            return ParseAiff(at);
        case kFormatFlac:
            return ParseFlac(args, index);
        default:
            return false;
    }
}

}  // namespace vocarta
