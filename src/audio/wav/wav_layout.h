#pragma once
// The on-disk layout the WAV sinks write and the reader expects: the provisional
// sizes of a file still being written, and the rule that splits data beyond
// 4 GB into several "data" chunks. Shared by the sinks and the reader so that
// both sides agree on where every byte lives.

#include <cstdint>
#include <cstring>
#include <vector>

namespace vocarta::wav {

// Data size written while recording; RIFF size = data + 38 = 0xFFFFFFFF for PCM.
inline constexpr uint32_t kProvisionalDataSize = 0xFFFFFFD9;
// The same for GSM 6.10, whose 48-byte header gives data + 40 = 0xFFFFFFFF.
inline constexpr uint32_t kProvisionalGsmDataSize = 0xFFFFFFD7;
// At most this many bytes in the first data chunk...
inline constexpr uint64_t kFirstChunkCapacity = 0xFFFFFFD8;
// ...and in every further one, each behind its own 8-byte "data" header.
inline constexpr uint64_t kNextChunkCapacity = 0xFFFFFFF0;
inline constexpr uint64_t kChunkHeaderSize = 8;
inline constexpr uint32_t kMaxSize32 = 0xFFFFFFFF;

inline constexpr uint32_t kGsmSamplesPerBlock = 320;
inline constexpr uint32_t kGsmBlockBytes = 65;

// Bytes from data byte `written` to the end of the chunk that holds it.
constexpr uint64_t ChunkRoom(uint64_t written) {
    if (written < kFirstChunkCapacity) return kFirstChunkCapacity - written;
    return kNextChunkCapacity - ((written - kFirstChunkCapacity) % kNextChunkCapacity);
}

// True when data byte `written` opens a further chunk, which needs its header.
constexpr bool IsChunkStart(uint64_t written) {
    return written >= kFirstChunkCapacity &&
           (written - kFirstChunkCapacity) % kNextChunkCapacity == 0;
}

// Chunk boundaries passed once `bytes` data bytes are in the file. A boundary is
// passed when data follows it, so a full chunk with nothing after it counts not.
constexpr uint64_t ChunkBoundariesBefore(uint64_t bytes) {
    if (bytes <= kFirstChunkCapacity) return 0;
    return 1 + (bytes - kFirstChunkCapacity - 1) / kNextChunkCapacity;
}

// File offset of data byte `bytes` (the byte count written before it).
constexpr uint64_t DataFileOffset(uint64_t headerSize, uint64_t bytes) {
    return headerSize + bytes + kChunkHeaderSize * ChunkBoundariesBefore(bytes);
}

constexpr uint32_t Saturate32(uint64_t value) {
    return value > kMaxSize32 ? kMaxSize32 : uint32_t(value);
}

inline void PutLe16(uint8_t* p, uint16_t v) {
    p[0] = uint8_t(v);
    p[1] = uint8_t(v >> 8);
}
inline void PutLe32(uint8_t* p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = uint8_t(v >> (8 * i));
}
inline void PutTag(uint8_t* p, const char* tag) {
    std::memcpy(p, tag, 4);
}
inline uint16_t GetLe16(const uint8_t* p) {
    return uint16_t(p[0] | (p[1] << 8));
}
inline uint32_t GetLe32(const uint8_t* p) {
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}

// Appends little-endian header fields in order.
class HeaderBuilder {
  public:
    explicit HeaderBuilder(std::size_t size) { bytes_.reserve(size); }
    HeaderBuilder& Tag(const char* tag) {
        bytes_.insert(bytes_.end(), tag, tag + 4);
        return *this;
    }
    HeaderBuilder& U16(uint16_t v) {
        bytes_.push_back(uint8_t(v));
        bytes_.push_back(uint8_t(v >> 8));
        return *this;
    }
    HeaderBuilder& U32(uint32_t v) {
        for (int i = 0; i < 4; ++i) bytes_.push_back(uint8_t(v >> (8 * i)));
        return *this;
    }
    std::vector<uint8_t> Take() { return std::move(bytes_); }

  private:
    std::vector<uint8_t> bytes_;
};

}  // namespace vocarta::wav
