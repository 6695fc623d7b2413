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

std::string Mp3Text() {
    Mp3Settings r;
    LoadMp3Settings(r);
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
    return FormatDisplayText(ReadOutputFormat());
}

std::string FormatDisplayText(int format) {
    switch (format) {
        case kFormatWav: {
            LSoundFormat f = LoadWavFormat();
            return StringPrintf("%dHz %s %s", int(f.sampleRate), WavEncodingWord(f).c_str(),
                                ChannelCountWord(f.channels).c_str());
        }
        case kFormatMp3:
            return Mp3Text();
        case kFormatAiff: {
            AiffRecordingFormat f = CurrentAiffFormat();
            std::string what =
                std::string(AiffEncodingWord(f.encoding)) + " " + ChannelCountWord(f.channels);
            return StringPrintf("%s %iHz AIFF", what.c_str(), int(f.rate));
        }
        case kFormatFlac: {
            FlacRecordingFormat f = CurrentFlacFormat();
            std::string what = StringPrintf("%d Bit %s", FlacBitDepthFor(f.settings.bitDepth),
                                            ChannelCountWord(f.channels).c_str());
            return StringPrintf("%s %iHz Flac", what.c_str(), int(f.rate));
        }
        default:
            return {};
    }
}

}  // namespace vocarta
