#pragma once
// Conversions between the engine's float samples and the integer widths of WAV
// files.
//
// Float to integer: 8 bits are truncate(x × 127 + 128); 16 and 32 bits round half
// away from zero from x × 32767 (x × 2147483647); 24 bits are the top three bytes
// of the 32-bit value. Samples within ±1 are never clipped. A sample beyond ±1
// saturates at the end of the range instead of wrapping into a loud click of the
// opposite sign, and a NaN writes silence: the conversion of an out-of-range
// double to an integer is undefined, so the range is checked first.
//
// Integer to float is the inverse scaling (÷ 32767 etc.), so that a file we wrote
// and read back converts to the same integers when written again.

#include <cstdint>

namespace vocarta::wav {

inline constexpr double kScale16 = 32767.0;
inline constexpr double kScale32 = 2147483647.0;

// Half away from zero, then truncation, saturated to [lo, hi]; NaN gives 0.
inline int32_t RoundSaturated(double v, double lo, double hi) {
    if (v >= 0.0) {
        v += 0.5;
        return v >= hi + 1.0 ? int32_t(hi) : int32_t(v);
    }
    if (v < 0.0) {
        v -= 0.5;
        return v <= lo - 1.0 ? int32_t(lo) : int32_t(v);
    }
    return 0;
}

inline uint8_t FloatToU8(float x) {
    double v = double(x) * 127.0 + 128.0;
    if (v >= 0.0) return v >= 256.0 ? uint8_t(255) : uint8_t(v);
    if (v < 0.0) return 0;
    return 128;  // NaN
}

inline int16_t FloatToS16(float x) {
    return int16_t(RoundSaturated(double(x) * kScale16, -32768.0, 32767.0));
}

inline int32_t FloatToS32(float x) {
    return RoundSaturated(double(x) * kScale32, -2147483648.0, 2147483647.0);
}

// The three bytes of a 24-bit sample, little-endian: the 32-bit value without its
// low byte.
inline void FloatToS24(float x, uint8_t* out) {
    uint32_t v = uint32_t(FloatToS32(x));
    out[0] = uint8_t(v >> 8);
    out[1] = uint8_t(v >> 16);
    out[2] = uint8_t(v >> 24);
}

inline float S16ToFloat(int16_t v) {
    return float(double(v) / kScale16);
}
inline float S32ToFloat(int32_t v) {
    return float(double(v) / kScale32);
}
// 24-bit samples are the top of a 32-bit value.
inline float S24ToFloat(int32_t v24) {
    return S32ToFloat(int32_t(uint32_t(v24) << 8));
}
// 8-bit unsigned; a table so that each value survives a write with truncation.
float U8ToFloat(uint8_t v);

// FloatToS16 of `count` samples, written little-endian: every sample of a 16-bit
// recording passes here.
void FloatsToS16Le(const float* in, uint64_t count, uint8_t* out);

}  // namespace vocarta::wav
