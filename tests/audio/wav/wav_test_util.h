#pragma once
// Helpers of the WAV tests: header bytes in hex, formats in one line, and files
// written through our sinks.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "audio/sound_format.h"
#include "audio/wav/wav_sink.h"
#include "support/audio_test_util.h"
#include "support/temp_dir.h"

namespace vocarta::test {

// "52494646 3a000000" -> bytes (blanks ignored).
inline std::string FromHex(const std::string& hex) {
    std::string out, digits;
    for (char c : hex)
        if (c != ' ') digits += c;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        out += char(std::stoi(digits.substr(i, 2), nullptr, 16));
    return out;
}

inline std::string ToHex(const std::string& bytes) {
    static const char* kDigits = "0123456789abcdef";
    std::string out;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i > 0 && i % 4 == 0) out += ' ';
        out += kDigits[uint8_t(bytes[i]) >> 4];
        out += kDigits[uint8_t(bytes[i]) & 15];
    }
    return out;
}

inline LSoundFormat Format(uint16_t tag, uint32_t rate, uint16_t channels, uint16_t bits) {
    LSoundFormat f(rate, uint8_t(channels), bits);
    f.formatTag = tag;
    return f;
}

inline float MaxError(const std::vector<float>& a, const std::vector<float>& b) {
    float worst = 0;
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i)
        worst = std::max(worst, std::fabs(a[i] - b[i]));
    return worst;
}

// Tag, rate, channels and bits, to compare a format in one line.
inline std::tuple<int, uint32_t, int, int> Fields(const LSoundFormat& f) {
    return {f.formatTag, f.sampleRate, f.channels, f.bitsPerSample};
}

// Writes interleaved `samples` through a WAV sink of `format` and closes it.
inline bool WriteWav(const std::string& path, const LSoundFormat& format,
                     const std::vector<float>& samples) {
    std::string error;
    auto sink = OpenWavSink(path, format, &error);
    EXPECT_TRUE(sink) << error;
    const uint64_t frames = samples.size() / format.channels;
    return sink && sink->Write(samples.data(), frames) == int64_t(frames) && sink->Close();
}

}  // namespace vocarta::test
