#include "transmit/transmit_record.h"

#include <algorithm>
#include <cstring>

namespace vocarta {

namespace {
void PutLittle(unsigned char* out, uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) out[i] = static_cast<unsigned char>(value >> (8 * i));
}
uint64_t GetLittle(const unsigned char* in, int bytes) {
    uint64_t value = 0;
    for (int i = 0; i < bytes; ++i) value |= uint64_t(in[i]) << (8 * i);
    return value;
}
}  // namespace

const char* TransmitResultName(TransmitResult result) {
    switch (result) {
        case TransmitResult::Ok:
            return "Ok";
        case TransmitResult::Cancelled:
            return "Cancelled";
        case TransmitResult::Failed:
            return "Failed";
    }
    return "Failed";
}

TransmitRecordBytes EncodeTransmitRecord(const TransmitRecord& record) {
    TransmitRecordBytes bytes{};
    const std::size_t n = std::min(record.path.size(), kTransmitPathMax);
    std::memcpy(bytes.data(), record.path.data(), n);
    PutLittle(bytes.data() + kTransmitPathBytes, record.ownerReference, 8);
    return bytes;
}

TransmitRecord DecodeTransmitRecord(const unsigned char* bytes) {
    TransmitRecord record;
    const auto* text = reinterpret_cast<const char*>(bytes);
    record.path.assign(text, strnlen(text, kTransmitPathMax));
    record.ownerReference = GetLittle(bytes + kTransmitPathBytes, 8);
    return record;
}

std::array<unsigned char, kSendQueueHeaderSize> EncodeSendQueueHeader(const SendQueueHeader& h) {
    std::array<unsigned char, kSendQueueHeaderSize> bytes{};
    PutLittle(bytes.data(), h.version, 2);
    PutLittle(bytes.data() + 2, h.resumeCount, 2);
    PutLittle(bytes.data() + 4, h.recordSize, 4);
    return bytes;
}

std::optional<SendQueueHeader> DecodeSendQueueHeader(const unsigned char* bytes, std::size_t size) {
    if (size < kSendQueueHeaderSize) return std::nullopt;
    SendQueueHeader h;
    h.version = uint16_t(GetLittle(bytes, 2));
    h.resumeCount = uint16_t(GetLittle(bytes + 2, 2));
    h.recordSize = uint32_t(GetLittle(bytes + 4, 4));
    return h;
}

}  // namespace vocarta
