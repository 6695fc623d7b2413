#include "audio/wav/wav_parse.h"

#include <algorithm>
#include <cstring>

#include "audio/sound_format.h"
#include "audio/wav/format_tags.h"
#include "audio/wav/wav_layout.h"
#include "toolkit/text.h"

namespace vocarta::wav {

namespace {

constexpr uint32_t kMaxRate = 10000000;
// The tail of every KSDATAFORMAT_SUBTYPE GUID whose first two bytes are a tag.
constexpr uint8_t kSubtypeTail[14] = {0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80,
                                      0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

struct Walker {
    LFile& file;
    WavFileInfo& info;
    std::string& error;
    uint64_t fileSize = 0;
    bool haveFormat = false;

    bool Fail(const std::string& why) {
        error = why;
        return false;
    }
};

bool ParseExtensible(const uint8_t* fmt, uint32_t size, WavFileInfo& info, std::string& error) {
    if (size < 40 || GetLe16(fmt + 16) < 22) {
        error = "its extensible format record is too short";
        return false;
    }
    if (std::memcmp(fmt + 26, kSubtypeTail, sizeof kSubtypeTail) != 0) {
        error = "its extensible format names an unknown sub-format";
        info.otherEncoding = true;
        return false;
    }
    info.tag = GetLe16(fmt + 24);
    return true;
}

bool ChoosePcm(WavFileInfo& info, std::string& error) {
    const uint16_t bits = info.bitsPerSample;
    const uint16_t ch = info.channels;
    uint32_t container = info.blockAlign % ch == 0 ? info.blockAlign / ch : 0;
    if (bits == 0 || bits > 32 || container == 0 || container > 4 || container < (bits + 7u) / 8u) {
        error = StringPrintf("its PCM layout (%u bits in %u bytes) is inconsistent", unsigned(bits),
                             unsigned(info.blockAlign));
        return false;
    }
    static const WavCoding kByContainer[] = {WavCoding::PcmUnsigned8, WavCoding::PcmSigned16,
                                             WavCoding::PcmSigned24, WavCoding::PcmSigned32};
    info.coding = kByContainer[container - 1];
    info.unitBytes = container * ch;
    return true;
}

bool ChooseGsm(WavFileInfo& info, const uint8_t* fmt, uint32_t size, std::string& error) {
    uint32_t perBlock =
        size >= 20 && GetLe16(fmt + 16) >= 2 ? GetLe16(fmt + 18) : kGsmSamplesPerBlock;
    if (info.channels != 1 || info.blockAlign != kGsmBlockBytes ||
        perBlock != kGsmSamplesPerBlock) {
        error = "its GSM 6.10 layout is not the 65-byte mono one";
        return false;
    }
    info.coding = WavCoding::Gsm610;
    info.unitBytes = kGsmBlockBytes;
    info.unitFrames = kGsmSamplesPerBlock;
    return true;
}

// Chooses the decoder for the format and checks that its numbers fit together.
bool ChooseCoding(WavFileInfo& info, const uint8_t* fmt, uint32_t size, std::string& error) {
    const uint16_t bits = info.bitsPerSample;
    switch (info.tag) {
        case kWaveFormatPcm:
            return ChoosePcm(info, error);
        case kWaveFormatIeeeFloat:
            if ((bits != 32 && bits != 64) || info.blockAlign != info.channels * bits / 8) {
                error = StringPrintf("its float layout (%u bits) is not readable", unsigned(bits));
                return false;
            }
            info.coding = bits == 32 ? WavCoding::Float32 : WavCoding::Float64;
            info.unitBytes = info.blockAlign;
            return true;
        case kWaveFormatALaw:
        case kWaveFormatMuLaw:
            // One byte per sample whatever block align says (ours says 8 on purpose).
            info.coding = info.tag == kWaveFormatALaw ? WavCoding::ALaw : WavCoding::MuLaw;
            info.unitBytes = info.channels;
            return true;
        case kWaveFormatGsm610:
            return ChooseGsm(info, fmt, size, error);
        default:
            error = StringPrintf("it is encoded as %s (format tag %u), which cannot be read",
                                 WaveFormatTagName(info.tag), unsigned(info.tag));
            info.otherEncoding = true;
            return false;
    }
}

bool ParseFormat(Walker& w, uint64_t at, uint32_t size) {
    if (size < 16) return w.Fail("its format chunk is too short");
    uint8_t fmt[40] = {};
    uint32_t want = std::min<uint32_t>(size, sizeof fmt);
    if (w.file.ReadAt(int64_t(at), fmt, want) != int64_t(want))
        return w.Fail("its format chunk is cut off");
    WavFileInfo& info = w.info;
    info.fileTag = info.tag = GetLe16(fmt);
    info.channels = GetLe16(fmt + 2);
    info.sampleRate = GetLe32(fmt + 4);
    info.blockAlign = GetLe16(fmt + 12);
    info.bitsPerSample = GetLe16(fmt + 14);
    if (info.channels == 0 || info.channels > 255)
        return w.Fail(StringPrintf("it claims %u channels", unsigned(info.channels)));
    if (info.sampleRate == 0 || info.sampleRate > kMaxRate)
        return w.Fail(StringPrintf("it claims a rate of %u Hz", unsigned(info.sampleRate)));
    if (info.tag == kWaveFormatExtensible && !ParseExtensible(fmt, want, info, w.error))
        return false;
    if (!ChooseCoding(info, fmt, want, w.error)) return false;
    w.haveFormat = true;
    return true;
}

// Data of a recording that never finished: everything up to the end of the file,
// with the headers of further chunks where the writer's rule puts them.
void AddProvisionalData(Walker& w, uint64_t start) {
    uint64_t offset = start;
    uint64_t capacity = kFirstChunkCapacity;
    while (offset < w.fileSize) {
        uint64_t size = std::min(capacity, w.fileSize - offset);
        w.info.segments.push_back({offset, size});
        offset += size;
        uint8_t chunk[kChunkHeaderSize];
        if (size < capacity || offset + kChunkHeaderSize > w.fileSize) break;
        if (w.file.ReadAt(int64_t(offset), chunk, sizeof chunk) != int64_t(sizeof chunk) ||
            std::memcmp(chunk, "data", 4) != 0)
            break;
        offset += kChunkHeaderSize;
        capacity = kNextChunkCapacity;
    }
}

bool IsProvisionalSize(const WavFileInfo& info, uint32_t size) {
    return size == kProvisionalDataSize ||
           (size == kProvisionalGsmDataSize && info.tag == kWaveFormatGsm610);
}

bool WalkChunks(Walker& w) {
    uint64_t pos = 12;
    while (pos + kChunkHeaderSize <= w.fileSize) {
        uint8_t head[kChunkHeaderSize];
        if (w.file.ReadAt(int64_t(pos), head, sizeof head) != int64_t(sizeof head))
            return w.Fail("it cannot be read");
        const uint32_t size = GetLe32(head + 4);
        const uint64_t body = pos + kChunkHeaderSize;
        const uint64_t available = w.fileSize - body;
        if (std::memcmp(head, "fmt ", 4) == 0 && !w.haveFormat) {
            if (!ParseFormat(w, body, size)) return false;
        } else if (std::memcmp(head, "data", 4) == 0) {
            if (!w.haveFormat) return w.Fail("its audio data comes before its format");
            if (IsProvisionalSize(w.info, size) && w.info.segments.empty()) {
                w.info.provisional = true;
                AddProvisionalData(w, body);
                return true;
            }
            // A size beyond the end: a file cut short, read up to where it ends.
            w.info.segments.push_back({body, std::min<uint64_t>(size, available)});
        }
        pos = body + size + (size & 1);
    }
    return true;
}

}  // namespace

bool ParseWavFile(LFile& file, WavFileInfo& info, std::string& error) {
    info = WavFileInfo();
    Walker w{file, info, error};
    int64_t size = file.GetFileSizeBytes64();
    if (size < 0) return w.Fail("its size cannot be read");
    w.fileSize = uint64_t(size);
    uint8_t riff[12];
    if (file.ReadAt(0, riff, sizeof riff) != int64_t(sizeof riff) ||
        std::memcmp(riff, "RIFF", 4) != 0 || std::memcmp(riff + 8, "WAVE", 4) != 0)
        return w.Fail("it is not a WAV file");
    if (!WalkChunks(w)) return false;
    if (!w.haveFormat) return w.Fail("it has no format chunk");
    if (info.segments.empty()) return w.Fail("it has no audio data");
    for (const auto& s : info.segments) info.dataBytes += s.size;
    return true;
}

}  // namespace vocarta::wav
