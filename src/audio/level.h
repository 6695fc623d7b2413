#pragma once
// Levels in whole decibels. On this scale the reference amplitude 0.25118864
// (-12 dB of full scale) reads 0 and a full-scale sample reads +12; -127 is the
// floor and stands for silence. Every threshold in the settings uses this scale.

#include <cstdint>

namespace vocarta {

inline constexpr double kLevelReference = 0.25118863582611084;
inline constexpr double kLevelFloorPeak = 1.123e-7;

template <typename T>
class LdB {
  public:
    static constexpr T kFloor = T(-127);

    constexpr LdB() = default;
    constexpr explicit LdB(T value) : value_(value) {}

    // 20·log10(peak / reference) rounded half away from zero; below 1.123e-7 the floor.
    static LdB FromPeak(double peak);

    constexpr T Value() const { return value_; }
    constexpr bool IsFloor() const { return value_ == kFloor; }
    constexpr auto operator<=>(const LdB&) const = default;

  private:
    T value_ = kFloor;
};

using LdBLevel = LdB<signed char>;

template <typename L>
class LDBMultiChannel {
  public:
    uint8_t Count() const { return count_; }
    void SetCount(uint8_t count) { count_ = count; }
    L& operator[](int channel) { return entries_[channel]; }
    const L& operator[](int channel) const { return entries_[channel]; }

    // -127 with no channels; entry 0 with one; otherwise the larger of entries 0
    // and 1. Further channels never raise it: the meters show two bars at most.
    L Combined() const {
        if (count_ == 0) return L();
        if (count_ == 1) return entries_[0];
        return entries_[0] > entries_[1] ? entries_[0] : entries_[1];
    }

  private:
    uint8_t count_ = 0;
    L entries_[256];
};

using LLevels = LDBMultiChannel<LdBLevel>;

// Linear factor of a gain in decibels (0 dB is 1.0): a power-of-ten table over the
// signed-byte range, interpolated between whole decibels; clamped to -127..127.
float DbToGain(double db);
// Linear amplitude of a level on the scale above (0 reads 0.25118864).
float LevelToAmplitude(double level);

}  // namespace vocarta
