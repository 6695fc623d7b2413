#include "audio/level.h"

#include <array>
#include <cmath>

namespace vocarta {

template <>
LdB<signed char> LdB<signed char>::FromPeak(double peak) {
    if (!(peak >= kLevelFloorPeak)) return LdB<signed char>();
    double db = std::round(20.0 * std::log10(peak / kLevelReference));  // half away from zero
    if (db < -127.0) db = -127.0;
    if (db > 127.0) db = 127.0;
    return LdB<signed char>((signed char)db);
}

namespace {
struct GainTable {
    std::array<float, 255> values;  // -127 .. +127
    GainTable() {
        for (int db = -127; db <= 127; ++db)
            values[size_t(db + 127)] = float(std::pow(10.0, db / 20.0));
    }
};
const GainTable& Table() {
    static const GainTable table;
    return table;
}
}  // namespace

float DbToGain(double db) {
    if (std::isnan(db)) return 1.0f;
    if (db <= -127.0) return Table().values[0];
    if (db >= 127.0) return Table().values[254];
    double lower = std::floor(db);
    double frac = db - lower;
    const auto& v = Table().values;
    std::size_t i = std::size_t(int(lower) + 127);
    if (frac == 0.0) return v[i];
    return float(v[i] + (v[i + 1] - v[i]) * frac);
}

float LevelToAmplitude(double level) {
    return float(kLevelReference) * DbToGain(level);
}

}  // namespace vocarta
