#pragma once
// The sample format record, laid out byte for byte as the WAVE format header
// followed by room for a codec's extra bytes (1028 bytes in all), so that it can
// be written into a WAV file and into WavCodec.wff as it stands.

#include <cstdint>

namespace vocarta {

inline constexpr uint16_t kWaveFormatPcm = 1;
inline constexpr uint16_t kWaveFormatIeeeFloat = 3;
inline constexpr uint16_t kWaveFormatALaw = 6;
inline constexpr uint16_t kWaveFormatMuLaw = 7;
inline constexpr uint16_t kWaveFormatGsm610 = 49;
inline constexpr uint16_t kWaveFormatExtensible = 0xFFFE;

#pragma pack(push, 1)
struct LSoundFormat {
    uint16_t formatTag = kWaveFormatPcm;
    uint16_t channels = 0;
    uint32_t sampleRate = 0;
    uint32_t avgBytesPerSec = 0;
    uint16_t blockAlign = 0;
    uint16_t bitsPerSample = 0;
    uint16_t extraSize = 0;
    uint8_t extra[1010] = {};

    LSoundFormat() = default;
    // Integer PCM. Bytes per sample: 1 up to 8 bits, 2 up to 16, 4 above (so 24
    // bits get 4 bytes here; sinks that pack 24-bit data set block align themselves).
    LSoundFormat(uint32_t rate, uint8_t channelCount, uint16_t bits);

    static uint16_t BytesPerSampleFor(uint16_t bits);
};
#pragma pack(pop)

static_assert(sizeof(LSoundFormat) == 1028, "the record is stored as it stands");
inline constexpr int kWaveFormatHeaderSize = 18;  // the fields before `extra`

}  // namespace vocarta
