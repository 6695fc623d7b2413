#pragma once
// The AIFF/AIFC sink, a libsndfile sink (sndfile_sink.h): integer PCM in AIFF,
// floats, A-law and µ-law in AIFC.
//
// The header is brought up to date after every Write, so a recording killed
// mid-way is a complete AIFF file up to the last buffer written. Truncation is
// supported: the file is cut back to the frame and its sizes rewritten.
// Integer output is clipped at full scale instead of wrapping.

#include <memory>
#include <string>

#include "audio/codecs/encoder_settings.h"
#include "audio/sound_sink.h"

namespace vocarta {

// What an AIFF record asks the file to hold.
enum class AiffEncoding { Pcm8, Pcm16, Pcm24, Pcm32, Float32, Float64, ALaw, ULaw };

// The encoding of a record: a compression other than "not compressed" decides;
// otherwise the sample size (up to 8, 16, 24, 32 bits integer; 64 is the 64-bit
// float of "64 bits Floating Point").
AiffEncoding AiffEncodingFor(const AiffSettings& settings);
// Index into kAiffSampleSizeNames for an encoding (A-law and µ-law: 16 bits,
// the width they decode to).
int AiffSampleSizeIndex(AiffEncoding encoding);
// The bits an encoding stores per sample (8 for A-law and µ-law).
int AiffBits(AiffEncoding encoding);
// "16 Bit", "32 Bit Float", "ALaw", ...: the word the format display text uses.
const char* AiffEncodingWord(AiffEncoding encoding);

// Opens an AIFF/AIFC sink at `rate` Hz with `channels` channels. Fails with
// `error` and no file left behind.
std::shared_ptr<LSoundSinkBase> OpenAiffSink(const std::string& path, AiffEncoding encoding,
                                             uint32_t rate, uint8_t channels, std::string* error);

}  // namespace vocarta
