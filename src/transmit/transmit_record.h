#pragma once
// One queued recording and the on-disk layout of the send queue "bgsend.lst":
// an 8-byte header {version u16 = 1, resume count u16, record size u32 = 272}
// followed by 272-byte records, oldest first, all little-endian.
//
// Threading: plain values and pure functions; any thread.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace vocarta {

// The result of every transmit method and of the dispatcher.
enum class TransmitResult : int { Ok = 0, Cancelled = 1, Failed = 2 };

// "Ok", "Cancelled", "Failed".
const char* TransmitResultName(TransmitResult result);

inline constexpr std::size_t kTransmitPathBytes = 264;
inline constexpr std::size_t kTransmitRecordSize = 272;
inline constexpr std::size_t kSendQueueHeaderSize = 8;
inline constexpr uint16_t kSendQueueVersion = 1;
// A path holds at most 259 bytes; byte 259 is always read as the terminator.
inline constexpr std::size_t kTransmitPathMax = 259;

struct TransmitRecord {
    // Full path of the finished recording, UTF-8, at most 259 bytes.
    std::string path;
    // Which window's title changes while a method runs; meaningful only in the
    // process that wrote it (0: none). See TransmitThread for how it is formed.
    uint64_t ownerReference = 0;

    bool operator==(const TransmitRecord&) const = default;
};

using TransmitRecordBytes = std::array<unsigned char, kTransmitRecordSize>;

// The record as stored: the path NUL-padded to 264 bytes, the owner reference as
// a little-endian u64. A path longer than 259 bytes is cut (callers refuse such
// paths before they get here).
TransmitRecordBytes EncodeTransmitRecord(const TransmitRecord& record);
// Reads a stored record. Whatever bytes 0..258 hold, the path ends at the first
// NUL or at byte 259.
TransmitRecord DecodeTransmitRecord(const unsigned char* bytes);

struct SendQueueHeader {
    uint16_t version = kSendQueueVersion;
    uint16_t resumeCount = 0;
    uint32_t recordSize = kTransmitRecordSize;

    bool IsKnown() const {
        return version == kSendQueueVersion && recordSize == kTransmitRecordSize;
    }
    bool operator==(const SendQueueHeader&) const = default;
};

std::array<unsigned char, kSendQueueHeaderSize> EncodeSendQueueHeader(const SendQueueHeader& h);
// nullopt when fewer than 8 bytes are given.
std::optional<SendQueueHeader> DecodeSendQueueHeader(const unsigned char* bytes, std::size_t size);

}  // namespace vocarta
