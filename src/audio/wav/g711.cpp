#include "audio/wav/g711.h"

namespace vocarta::wav {

namespace {

constexpr int kMuLawBias = 0x84;  // added to the magnitude so every segment starts at 2^n
constexpr int kMuLawClip = 8159;  // largest 14-bit magnitude before the bias

// Segment of a magnitude: the first n whose end is at or above it, 8 beyond the last.
int Segment(int magnitude, const int* ends) {
    for (int seg = 0; seg < 8; ++seg)
        if (magnitude <= ends[seg]) return seg;
    return 8;
}

}  // namespace

uint8_t LinearToALaw(int16_t sample) {
    static const int kEnds[8] = {0x1F, 0x3F, 0x7F, 0xFF, 0x1FF, 0x3FF, 0x7FF, 0xFFF};
    int value = sample >> 3;  // A-law works on 13 bits
    int mask;
    if (value >= 0) {
        mask = 0xD5;  // sign bit set, even bits inverted
    } else {
        mask = 0x55;
        value = -value - 1;
    }
    int seg = Segment(value, kEnds);
    if (seg >= 8) return uint8_t(0x7F ^ mask);
    int code = seg << 4;
    code |= seg < 2 ? (value >> 1) & 0x0F : (value >> seg) & 0x0F;
    return uint8_t(code ^ mask);
}

uint8_t LinearToMuLaw(int16_t sample) {
    static const int kEnds[8] = {0x3F, 0x7F, 0xFF, 0x1FF, 0x3FF, 0x7FF, 0xFFF, 0x1FFF};
    int value = sample >> 2;  // µ-law works on 14 bits
    int mask;
    if (value < 0) {
        value = -value;
        mask = 0x7F;
    } else {
        mask = 0xFF;
    }
    if (value > kMuLawClip) value = kMuLawClip;
    value += kMuLawBias >> 2;
    int seg = Segment(value, kEnds);
    if (seg >= 8) return uint8_t(0x7F ^ mask);
    int code = (seg << 4) | ((value >> (seg + 1)) & 0x0F);
    return uint8_t(code ^ mask);
}

int16_t ALawToLinear(uint8_t code) {
    int a = code ^ 0x55;
    int t = (a & 0x0F) << 4;
    int seg = (a & 0x70) >> 4;
    if (seg == 0) {
        t += 8;
    } else {
        t += 0x108;
        if (seg > 1) t <<= seg - 1;
    }
    return int16_t((a & 0x80) ? t : -t);
}

int16_t MuLawToLinear(uint8_t code) {
    int u = ~code & 0xFF;
    int t = ((u & 0x0F) << 3) + kMuLawBias;
    t <<= (u & 0x70) >> 4;
    return int16_t((u & 0x80) ? kMuLawBias - t : t - kMuLawBias);
}

}  // namespace vocarta::wav
