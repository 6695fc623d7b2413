// The text of the current recording format shown in the main window.

#include "audio/codecs/aiff_sink.h"
#include "audio/codecs/decoders.h"
#include "audio/codecs/encoder_settings.h"
#include "audio/codecs/flac_sink.h"
#include "audio/codecs/recording_formats.h"
#include "audio/codecs/sink_factory.h"
#include "audio/output_format.h"
#include "audio/wav/wav_format_settings.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

std::string WavEncodingWord(const LSoundFormat& f) {
    switch (f.formatTag) {
        case kWaveFormatIeeeFloat:
            return "32 Bit Float";
        case kWaveFormatALaw:
            return "A-Law";
        case kWaveFormatMuLaw:
            return "u-Law";
        case kWaveFormatGsm610:
            return "GSM 6.10";
        default:
            return StringPrintf("%u Bit", unsigned(f.bitsPerSample));
    }
}

// The channel word of an MP3 mode and, for the two joint modes, the word after it.
void Mp3ModeWords(uint8_t mode, const char*& first, const char*& second) {
    static constexpr const char* kWords[] = {"Stereo", "Joint", "Force", "Mono"};
    first = kWords[mode < 4 ? mode : 0];
    second = (mode == kMp3Joint || mode == kMp3Force) ? "Stereo" : "";
}

std::string Mp3Text(const Mp3Settings& r) {
    const char* first = nullptr;
    const char* second = nullptr;
    Mp3ModeWords(r.channelMode, first, second);
    std::string text = r.constantBitRate
                           ? StringPrintf("%d kbps %s %s", int(r.cbrBitRate), first, second)
                           : StringPrintf("%d-%d kbps %s %s", int(r.vbrMinBitRate),
                                          int(r.vbrMaxBitRate), first, second);
    return TrimBlanks(text);
}

}  // namespace

std::string CurrentFormatDisplayText() {
    return FormatDisplayText(CurrentRecordingSpec());
}

std::string FormatDisplayText(const RecordingSpec& spec) {
    switch (spec.format) {
        case OutputFormat::kWav: {
            const LSoundFormat& f = spec.wav;
            return StringPrintf("%dHz %s %s", int(f.sampleRate), WavEncodingWord(f).c_str(),
                                ChannelCountWord(f.channels).c_str());
        }
        case OutputFormat::kMp3:
            return Mp3Text(spec.mp3);
        case OutputFormat::kAiff: {
            const AiffRecordingFormat f = ResolveAiffFormat(spec.aiff);
            std::string what =
                std::string(AiffEncodingWord(f.encoding)) + " " + ChannelCountWord(f.channels);
            return StringPrintf("%s %iHz AIFF", what.c_str(), int(f.rate));
        }
        case OutputFormat::kFlac: {
            const FlacRecordingFormat f = ResolveFlacFormat(spec.flac);
            std::string what = StringPrintf("%d Bit %s", FlacBitDepthFor(f.settings.bitDepth),
                                            ChannelCountWord(f.channels).c_str());
            return StringPrintf("%s %iHz Flac", what.c_str(), int(f.rate));
        }
    }
    return {};
}

}  // namespace vocarta
