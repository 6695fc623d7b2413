#include "audio/codecs/encoder_options.h"

#include <cstdlib>

#include "audio/wav/wav_format_settings.h"
#include "toolkit/log.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

// Walks the fixed positions. A move that runs past the end, or onto one of the
// program's own switches, ends the options: the cursor then stays before that
// switch, so the switch loop sees it.
class ArgCursor {
  public:
    ArgCursor(const std::vector<std::string>& args, int& index, const OwnSwitchTest& isOwn)
        : args_(args), index_(index), isOwn_(isOwn) {}

    bool Next() {
        if (index_ + 1 >= int(args_.size())) {
            index_ = int(args_.size()) - 1;
            return false;
        }
        return Step();
    }
    // The one move whose end is deliberately not checked: past the end it reads
    // an empty word. An own switch still ends the options.
    bool NextUnchecked() {
        if (index_ + 1 >= int(args_.size())) {
            ++index_;
            return true;
        }
        return Step();
    }
    const std::string& Word() const {
        static const std::string empty;
        return index_ >= 0 && index_ < int(args_.size()) ? args_[size_t(index_)] : empty;
    }
    bool Is(const char* sw) const { return EqualsNoCase(Word(), sw); }
    long Number() const { return std::strtol(Word().c_str(), nullptr, 10); }
    // Where the caller's index ends: never past the last argument.
    void Settle() {
        if (index_ >= int(args_.size())) index_ = int(args_.size()) - 1;
    }

  private:
    bool Step() {
        if (isOwn_ && isOwn_(args_[size_t(index_ + 1)])) return false;
        ++index_;
        return true;
    }

    const std::vector<std::string>& args_;
    int& index_;
    const OwnSwitchTest& isOwn_;
};

// A switch position and its value position; a position without the expected
// switch word is still consumed as a pair, and the value stays 0.
bool ReadPair(ArgCursor& at, const char* sw, long& value) {
    if (!at.Next()) return false;
    const bool matches = at.Is(sw);
    if (!at.Next()) return false;
    value = matches ? at.Number() : 0;
    return true;
}

std::optional<EncoderOptions> ParseWav(ArgCursor& at) {
    WavOptions o;
    if (!ReadPair(at, "-s", o.rate) || !ReadPair(at, "-m", o.channels) ||
        !ReadPair(at, "-b", o.bits))
        return std::nullopt;
    return o;
}

std::optional<uint8_t> ChannelModeOf(const std::string& word) {
    if (EqualsNoCase(word, "s")) return kMp3Stereo;
    if (EqualsNoCase(word, "j")) return kMp3Joint;
    if (EqualsNoCase(word, "f")) return kMp3Force;
    if (EqualsNoCase(word, "m")) return kMp3Mono;
    return std::nullopt;
}

// "-b value" style pair at the next position: consumed as a pair whatever it
// holds; the value when the switch word is there.
bool Mp3Pair(ArgCursor& at, const char* sw, bool checkEnd, std::optional<std::string>& value) {
    if (!(checkEnd ? at.Next() : at.NextUnchecked())) return false;
    const bool present = at.Is(sw);
    if (!at.Next()) return false;
    value = present ? std::optional<std::string>(at.Word()) : std::nullopt;
    return true;
}

uint16_t Kbps(const std::string& text) {
    return uint16_t(std::strtol(text.c_str(), nullptr, 10));
}

bool ParseCbr(ArgCursor& at, Mp3Options& o) {
    o.constantBitRate = true;
    std::optional<std::string> value;
    if (!Mp3Pair(at, "-b", true, value)) return false;
    if (value) o.cbrBitRate = Kbps(*value);
    if (!at.Next()) return false;
    if (at.Is("-h")) {
        o.highQuality = true;
        if (!at.Next()) return false;
    }
    const bool modeGiven = at.Is("-m");  // a fixed pair: its value position is consumed anyway
    if (!at.Next()) return false;
    if (modeGiven) o.channelMode = ChannelModeOf(at.Word());
    if (!at.Next()) return false;
    o.errorProtection = at.Is("-p");
    return true;
}

bool ParseVbr(ArgCursor& at, Mp3Options& o) {
    o.constantBitRate = false;
    std::optional<std::string> value;
    if (!Mp3Pair(at, "-b", true, value)) return false;
    if (value) o.vbrMinBitRate = Kbps(*value);
    if (!Mp3Pair(at, "-B", false, value)) return false;
    if (value) o.vbrMaxBitRate = Kbps(*value);
    if (!Mp3Pair(at, "-q", true, value)) return false;
    if (value) o.vbrQuality = uint8_t(std::strtol(value->c_str(), nullptr, 10));
    if (!Mp3Pair(at, "-m", true, value)) return false;
    if (value) o.channelMode = ChannelModeOf(*value);
    if (!at.Next()) return false;
    o.errorProtection = at.Is("-p");
    return true;
}

std::optional<EncoderOptions> ParseMp3(ArgCursor& at) {
    Mp3Options o;
    if (!at.Next()) return std::nullopt;
    if (at.Is("-cbr") && !ParseCbr(at, o)) return std::nullopt;
    if (at.Is("-vbr") && !ParseVbr(at, o)) return std::nullopt;
    return o;
}

std::optional<EncoderOptions> ParseAiff(ArgCursor& at) {
    AiffOptions o;
    if (!ReadPair(at, "-s", o.rate) || !ReadPair(at, "-m", o.channels)) return std::nullopt;
    return o;
}

// Options in any order until all three were given or another word comes; that
// word is left for the caller. A switch standing last without its value is ignored.
EncoderOptions ParseFlac(const std::vector<std::string>& args, int& index,
                         const OwnSwitchTest& isOwn) {
    FlacOptions o;
    bool levelGiven = false;
    const int count = int(args.size());
    while (index + 2 < count && !(o.rate && o.channels && levelGiven)) {
        const std::string& sw = args[size_t(index + 1)];
        const std::string& text = args[size_t(index + 2)];
        if (isOwn && isOwn(text)) break;
        const long value = std::strtol(text.c_str(), nullptr, 10);
        if (EqualsNoCase(sw, "-s")) {
            o.rate = int(value);
        } else if (EqualsNoCase(sw, "-m")) {
            o.channels = int(uint8_t(value));
        } else if (EqualsNoCase(sw, "-c")) {
            levelGiven = true;  // a level above 8 counts as given and is ignored
            if (uint8_t(value) <= 8) o.compression = int(uint8_t(value));
        } else {
            break;
        }
        index += 2;
    }
    return o;
}

}  // namespace

std::optional<EncoderOptions> ParseEncoderOptions(OutputFormat format,
                                                  const std::vector<std::string>& args, int& index,
                                                  const OwnSwitchTest& isOwnSwitch) {
    if (format == OutputFormat::kFlac) return ParseFlac(args, index, isOwnSwitch);
    ArgCursor at(args, index, isOwnSwitch);
    std::optional<EncoderOptions> options;
    switch (format) {
        case OutputFormat::kWav:
            options = ParseWav(at);
            break;
        case OutputFormat::kMp3:
            options = ParseMp3(at);
            break;
        case OutputFormat::kAiff:
            options = ParseAiff(at);
            break;
        case OutputFormat::kFlac:
            break;
    }
    at.Settle();
    return options;
}

namespace {

struct Applier {
    RecordingSpec& spec;

    bool operator()(const WavOptions& o) const {
        LSoundFormat format;
        if (!MakeWavFormat(kWaveFormatPcm, uint32_t(o.rate), uint16_t(o.channels), uint16_t(o.bits),
                           format)) {
            LogError(
                "ApplyEncoderOptions: WAV options -s %ld -m %ld -b %ld are not a format the "
                "WAV writer can use; the stored format is kept",
                o.rate, o.channels, o.bits);
            return false;
        }
        spec.wav = format;
        return true;
    }
    bool operator()(const Mp3Options& o) const {
        Mp3Settings& r = spec.mp3;
        if (o.constantBitRate) r.constantBitRate = *o.constantBitRate;
        if (o.cbrBitRate) r.cbrBitRate = *o.cbrBitRate;
        if (o.highQuality) r.highQuality = true;
        if (o.vbrMinBitRate) r.vbrMinBitRate = *o.vbrMinBitRate;
        if (o.vbrMaxBitRate) r.vbrMaxBitRate = *o.vbrMaxBitRate;
        if (o.vbrQuality) r.vbrQuality = *o.vbrQuality;
        if (o.channelMode) r.channelMode = *o.channelMode;
        if (o.errorProtection) r.errorProtection = *o.errorProtection;
        return true;
    }
    bool operator()(const AiffOptions& o) const {
        spec.aiff.sampleRate = int(o.rate);
        spec.aiff.channels = uint8_t(o.channels);
        return true;
    }
    bool operator()(const FlacOptions& o) const {
        if (o.rate) spec.flac.sampleRate = *o.rate;
        if (o.channels) spec.flac.channels = uint8_t(*o.channels);
        if (o.compression) spec.flac.compression = *o.compression;
        return true;
    }
};

struct Saver {
    const RecordingSpec& spec;

    void operator()(const WavOptions&) const { SaveWavFormat(spec.wav); }
    void operator()(const Mp3Options&) const { SaveMp3Settings(spec.mp3); }
    void operator()(const AiffOptions& o) const { StoreAiffRateAndChannels(o.rate, o.channels); }
    void operator()(const FlacOptions& o) const {
        StoreFlacOptions(o.rate, o.channels, o.compression);
    }
};

}  // namespace

bool ApplyEncoderOptions(const EncoderOptions& options, RecordingSpec& spec) {
    return std::visit(Applier{spec}, options);
}

void SaveEncoderOptions(const EncoderOptions& options, const RecordingSpec& spec) {
    std::visit(Saver{spec}, options);
}

}  // namespace vocarta
