#include "audio/codecs/encoder_choices.h"

#include "audio/codecs/aiff_sink.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
constexpr int kSizeBits[] = {8, 16, 24, 32, 32, 64};
constexpr int kFloat32Size = 4;
constexpr int kFloat64Size = 5;
constexpr int kInt16Size = 1;
}  // namespace

const std::vector<int>& Mp3BitRateChoices() {
    static const std::vector<int> rates = {8,  16,  24,  32,  40,  48,  56,  64,  80,
                                           96, 112, 128, 144, 160, 192, 224, 256, 320};
    return rates;
}

const std::vector<int>& SampleRateChoices() {
    static const std::vector<int> rates = {8000,  11025, 16000, 22050, 32000,
                                           44100, 48000, 88200, 96000};
    return rates;
}

const std::vector<int>& FlacBitDepthChoices() {
    static const std::vector<int> depths = {8, 16, 24};
    return depths;
}

std::string VbrQualityLabel(int quality) {
    if (quality == 0) return "0 (Highest)";
    if (quality == 9) return "9 (Lowest)";
    return std::to_string(quality);
}

std::string FlacCompressionLabel(int level) {
    if (level == 0) return "0 (Fastest)";
    if (level == 5) return "5 (Default)";
    if (level == 8) return "8 (Smallest)";
    return std::to_string(level);
}

std::string BitRateLabel(int kbps) {
    return StringPrintf("%d kbps", kbps);
}
std::string SampleRateLabel(int hz) {
    return StringPrintf("%d Hz", hz);
}

std::string ChannelsLabel(int channels) {
    if (channels == 1) return "Mono";
    if (channels == 2) return "Stereo";
    return StringPrintf("%d Channels", channels);
}

AiffChoice AiffChoiceFor(const AiffSettings& record) {
    AiffChoice choice;
    choice.compression =
        record.format >= kAiffNone && record.format <= kAiffULaw ? record.format : kAiffNone;
    choice.sizeIndex = AiffSampleSizeIndex(AiffEncodingFor(record));
    return choice;
}

AiffChoice AiffChoiceAfterSizeChange(AiffChoice current, int sizeIndex) {
    AiffChoice next{sizeIndex, current.compression};
    if (!AiffSizeIsFree(current.compression))
        next.sizeIndex = kInt16Size;
    else if (sizeIndex == kFloat32Size)
        next.compression = kAiffFloat32;
    else if (sizeIndex == kFloat64Size)
        next.compression = kAiffFloat64;
    else
        next.compression = kAiffNone;
    return next;
}

AiffChoice AiffChoiceAfterCompressionChange(AiffChoice current, int compression) {
    AiffChoice next{current.sizeIndex, compression};
    switch (compression) {
        case kAiffFloat32:
            next.sizeIndex = kFloat32Size;
            break;
        case kAiffFloat64:
            next.sizeIndex = kFloat64Size;
            break;
        case kAiffALaw:
        case kAiffULaw:
            next.sizeIndex = kInt16Size;
            break;
        default:
            if (current.sizeIndex >= kFloat32Size) next.sizeIndex = kInt16Size;
            break;
    }
    return next;
}

bool AiffSizeIsFree(int compression) {
    return compression != kAiffALaw && compression != kAiffULaw;
}

void ApplyAiffChoice(const AiffChoice& choice, AiffSettings& record) {
    int index = choice.sizeIndex >= 0 && choice.sizeIndex < 6 ? choice.sizeIndex : kInt16Size;
    record.sampleSize = kSizeBits[index];
    record.format = choice.compression;
}

}  // namespace vocarta
