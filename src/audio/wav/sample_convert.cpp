#include "audio/wav/sample_convert.h"

#include <array>
#include <cmath>

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

}  // namespace vocarta::wav
