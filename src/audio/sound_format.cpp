#include "audio/sound_format.h"

namespace vocarta {

uint16_t LSoundFormat::BytesPerSampleFor(uint16_t bits) {
    if (bits <= 8) return 1;
    if (bits <= 16) return 2;
    return 4;
}

LSoundFormat::LSoundFormat(uint32_t rate, uint8_t channelCount, uint16_t bits)
    : formatTag(kWaveFormatPcm),
      channels(channelCount),
      sampleRate(rate),
      blockAlign(uint16_t(channelCount * BytesPerSampleFor(bits))),
      bitsPerSample(bits),
      extraSize(0) {
    avgBytesPerSec = rate * blockAlign;
}

}  // namespace vocarta
