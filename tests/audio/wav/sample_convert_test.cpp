// The 16-bit writer's vector path must give exactly what the one-sample
// conversion gives, including the products that land within a hair of a half,
// where single precision alone would round the other way.
#include "audio/wav/sample_convert.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace vocarta::wav {
namespace {

TEST(SampleConvert, VectorS16MatchesTheExactConversion) {
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    std::vector<float> in = {0, -0.0f, 1, -1, 1.5f, -1.5f, 1e30f, -1e30f, inf, -inf, nan};
    in.insert(in.end(), {0.5f / 32767, -0.5f / 32767});
    // Floats next to every (k + 0.5) / 32767, both sides, over the whole range.
    for (int k = -32769; k <= 32768; k += 7) {
        float x = float((k + 0.5) / 32767.0);
        in.push_back(std::nextafter(x, 2.0f));
        in.push_back(x);
        in.push_back(std::nextafter(x, -2.0f));
    }
    std::mt19937 random(12345);
    std::uniform_real_distribution<float> any(-1.1f, 1.1f);
    for (int i = 0; i < 200000; ++i) in.push_back(any(random));
    std::vector<uint8_t> out(in.size() * 2);
    FloatsToS16Le(in.data(), in.size(), out.data());
    size_t mismatches = 0;
    for (size_t i = 0; i < in.size(); ++i) {
        int16_t got = int16_t(uint16_t(out[2 * i] | (out[2 * i + 1] << 8)));
        if (got != FloatToS16(in[i]) && ++mismatches < 5)
            ADD_FAILURE() << "sample " << i << " = " << in[i] << ": " << got << ", expected "
                          << FloatToS16(in[i]);
    }
    EXPECT_EQ(mismatches, 0u);
}

}  // namespace
}  // namespace vocarta::wav
