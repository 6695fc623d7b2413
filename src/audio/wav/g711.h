#pragma once
// G.711 companding of 16-bit linear samples: A-law (segments of the 13-bit
// magnitude, even bits inverted) and µ-law (biased 14-bit magnitude, all bits
// inverted), following the ITU-T recommendation's segment tables.

#include <cstdint>

namespace vocarta::wav {

uint8_t LinearToALaw(int16_t sample);
uint8_t LinearToMuLaw(int16_t sample);
int16_t ALawToLinear(uint8_t code);
int16_t MuLawToLinear(uint8_t code);

}  // namespace vocarta::wav
