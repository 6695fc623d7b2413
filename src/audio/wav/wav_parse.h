#pragma once
// Walks the chunks of a RIFF/WAVE file and finds its format and where its audio
// data lies: one "data" chunk in an ordinary file, several in ours beyond 4 GB,
// and up to the end of the file when the sizes are still the provisional ones
// of a recording that never finished.

#include <cstdint>
#include <string>
#include <vector>

#include "toolkit/lfile.h"

namespace vocarta::wav {

// How the reader turns the data bytes into samples.
enum class WavCoding {
    PcmUnsigned8,
    PcmSigned16,
    PcmSigned24,
    PcmSigned32,
    Float32,
    Float64,
    ALaw,
    MuLaw,
    Gsm610
};

struct WavDataSegment {
    uint64_t fileOffset = 0;
    uint64_t size = 0;
};

struct WavFileInfo {
    uint16_t fileTag = 0;  // the tag as written (0xFFFE for the extensible form)
    uint16_t tag = 0;      // the encoding (the sub-format's tag when extensible)
    uint16_t channels = 0;
    uint32_t sampleRate = 0;
    uint16_t bitsPerSample = 0;
    uint16_t blockAlign = 0;
    WavCoding coding = WavCoding::PcmSigned16;
    // Bytes of one frame, or of one block for GSM 6.10.
    uint32_t unitBytes = 0;
    // Frames in one unit: 1, or the samples per GSM block.
    uint32_t unitFrames = 1;
    bool provisional = false;  // sizes of an unfinished recording
    // Set when parsing failed only because the encoding is not one this reader
    // decodes (ADPCM and the like): another decoder may still read the file.
    bool otherEncoding = false;
    std::vector<WavDataSegment> segments;
    uint64_t dataBytes = 0;  // sum of the segments
};

// Reads the chunk structure of an open file. False with `error` set for a file
// that is not a WAV file, is damaged, or holds an encoding that cannot be read.
bool ParseWavFile(LFile& file, WavFileInfo& info, std::string& error);

}  // namespace vocarta::wav
