// Protected values keep tokens out of plain sight in the preferences file. This
// is obfuscation against casual reading, not encryption against an attacker who
// has this program: the key is built in.

#include <cstdint>
#include <string>

#include "settings/settings.h"

namespace vocarta {

namespace {

constexpr char kPassPhrase[] = "Vc-rec!Scramble17";  // 17 characters
static_assert(sizeof(kPassPhrase) == 18);
constexpr char kMarker = 'v';  // first character of every scrambled text (format version)

uint64_t SplitMix(uint64_t& state) {
    uint64_t z = (state += 0x9E3779B97F4A7C15ULL);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
}

// Keystream seeded from the pass phrase; each byte also depends on the previous
// clear byte, so equal prefixes do not reveal equal keystreams past a difference.
std::string Transform(std::string_view in, bool scramble) {
    uint64_t state = 1469598103934665603ULL;
    for (char c : std::string_view(kPassPhrase)) state = (state ^ uint8_t(c)) * 1099511628211ULL;
    std::string out(in.size(), '\0');
    uint8_t previous = 0;
    for (std::size_t i = 0; i < in.size(); ++i) {
        state ^= previous;
        uint8_t k = uint8_t(SplitMix(state));
        uint8_t x = uint8_t(in[i]) ^ k;
        out[i] = char(x);
        previous = scramble ? uint8_t(in[i]) : x;
    }
    return out;
}

}  // namespace

std::string ScrambleProtectedValue(std::string_view clear) {
    static const char hex[] = "0123456789abcdef";
    std::string bytes = Transform(clear, true);
    std::string out(1, kMarker);
    for (char c : bytes) {
        out += hex[uint8_t(c) >> 4];
        out += hex[uint8_t(c) & 15];
    }
    return out;
}

bool UnscrambleProtectedValue(std::string_view scrambled, std::string& clear) {
    if (scrambled.empty() || scrambled[0] != kMarker || scrambled.size() % 2 != 1) return false;
    auto nibble = [](char c) -> int {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        return -1;
    };
    std::string bytes;
    for (std::size_t i = 1; i < scrambled.size(); i += 2) {
        int hi = nibble(scrambled[i]), lo = nibble(scrambled[i + 1]);
        if (hi < 0 || lo < 0) return false;
        bytes += char(hi << 4 | lo);
    }
    clear = Transform(bytes, false);
    return true;
}

}  // namespace vocarta
