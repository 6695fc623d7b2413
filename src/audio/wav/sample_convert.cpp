#include "audio/wav/sample_convert.h"

#include <array>
#include <cmath>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "audio/wav/wav_layout.h"

namespace vocarta::wav {

namespace {

// (v − 128) / 127, nudged up where float rounding would make the writer's
// truncation land one below v.
struct U8Table {
    std::array<float, 256> values;
    U8Table() {
        for (int v = 0; v < 256; ++v) {
            float x = float((v - 128) / 127.0);
            while (FloatToU8(x) < v) x = std::nextafter(x, 2.0f);
            values[size_t(v)] = x;
        }
    }
};

}  // namespace

float U8ToFloat(uint8_t v) {
    static const U8Table table;
    return table.values[v];
}

#if defined(__SSE2__)
namespace {
// FloatToS16 of four samples in single precision. x × 32767 rounded to a float
// is off by at most 2^-10 below 32768, which changes the result only for a
// product that close to a half; such groups (about one in a hundred) are left
// to the exact scalar code. False then, and nothing is stored.
inline bool FourToS16(const float* in, __m128i& result) {
    __m128 x = _mm_loadu_ps(in);
    x = _mm_and_ps(x, _mm_cmpord_ps(x, x));  // NaN: silence
    // Far beyond full scale saturates anyway; the clamp keeps the integer
    // conversion in range.
    const __m128 limit = _mm_set1_ps(65536.0f);
    __m128 p = _mm_mul_ps(x, _mm_set1_ps(32767.0f));
    p = _mm_min_ps(_mm_max_ps(p, _mm_sub_ps(_mm_setzero_ps(), limit)), limit);
    const __m128 sign = _mm_set1_ps(-0.0f);
    __m128 magnitude = _mm_andnot_ps(sign, p);
    __m128 fraction = _mm_sub_ps(magnitude, _mm_cvtepi32_ps(_mm_cvttps_epi32(magnitude)));
    __m128 offHalf = _mm_andnot_ps(sign, _mm_sub_ps(fraction, _mm_set1_ps(0.5f)));
    if (_mm_movemask_ps(_mm_cmple_ps(offHalf, _mm_set1_ps(1.0f / 512))) != 0) return false;
    // Half away from zero, then truncation; packing saturates to 16 bits.
    __m128 half = _mm_or_ps(_mm_and_ps(p, sign), _mm_set1_ps(0.5f));
    result = _mm_cvttps_epi32(_mm_add_ps(p, half));
    return true;
}
}  // namespace
#endif

void FloatsToS16Le(const float* in, uint64_t count, uint8_t* out) {
    uint64_t i = 0;
#if defined(__SSE2__)
    for (; i + 8 <= count; i += 8) {
        __m128i low, high;
        if (FourToS16(in + i, low) && FourToS16(in + i + 4, high)) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 2 * i), _mm_packs_epi32(low, high));
            continue;
        }
        for (uint64_t j = i; j < i + 8; ++j) PutLe16(out + 2 * j, uint16_t(FloatToS16(in[j])));
    }
#endif
    for (; i < count; ++i) PutLe16(out + 2 * i, uint16_t(FloatToS16(in[i])));
}

}  // namespace vocarta::wav
