#pragma once
// The choices the MP3, AIFF and FLAC option dialogs offer, and the rules that
// keep an AIFF record's sample size and compression consistent. Qt-free, so the
// rules are tested without windows.

#include <string>
#include <vector>

#include "audio/codecs/encoder_settings.h"

namespace vocarta {

// MP3 bit rates in kbps (MPEG-1, -2 and -2.5 layer 3 together), ascending.
const std::vector<int>& Mp3BitRateChoices();
// Sample rates offered besides "Match Source", ascending.
const std::vector<int>& SampleRateChoices();
// FLAC bit depths offered.
const std::vector<int>& FlacBitDepthChoices();

// "0 (Highest)", "1", ... "9 (Lowest)".
std::string VbrQualityLabel(int quality);
// "0 (Fastest)", "1", ... "5 (Default)", ... "8 (Smallest)".
std::string FlacCompressionLabel(int level);
// "128 kbps", "44100 Hz", "Mono"/"Stereo"/"%d Channels".
std::string BitRateLabel(int kbps);
std::string SampleRateLabel(int hz);
std::string ChannelsLabel(int channels);

inline constexpr const char* kMatchSourceLabel = "Match Source";
inline constexpr const char* kMp3ChannelModeLabels[] = {"Stereo", "Joint", "Force", "Mono"};

// The AIFF sample-size list (kAiffSampleSizeNames) and compression list
// (kAiffCompressionNames) describe one encoding together:
//   a floating-point size goes with its floating-point compression;
//   an integer size goes with "not compressed";
//   A-law and µ-law fix the size at "16 bits Integer" (what they decode to).
struct AiffChoice {
    int sizeIndex = 1;  // into kAiffSampleSizeNames
    int compression = kAiffNone;
};
AiffChoice AiffChoiceFor(const AiffSettings& record);
AiffChoice AiffChoiceAfterSizeChange(AiffChoice current, int sizeIndex);
AiffChoice AiffChoiceAfterCompressionChange(AiffChoice current, int compression);
// Whether the size list can be changed for a compression.
bool AiffSizeIsFree(int compression);
// Stores a choice into a record (SampleSize in bits, Format as the compression).
void ApplyAiffChoice(const AiffChoice& choice, AiffSettings& record);

}  // namespace vocarta
