#include "transmit/mail/base64.h"

namespace vocarta {

namespace {
constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kLineChars = 76;
}  // namespace

void AppendBase64(std::string& out, const unsigned char* bytes, std::size_t length) {
    const std::size_t start = out.size();
    out.resize(start + (length + 2) / 3 * 4);
    char* p = out.data() + start;
    std::size_t i = 0;
    for (; i + 3 <= length; i += 3) {
        const unsigned v = unsigned(bytes[i]) << 16 | unsigned(bytes[i + 1]) << 8 | bytes[i + 2];
        *p++ = kAlphabet[v >> 18];
        *p++ = kAlphabet[(v >> 12) & 63];
        *p++ = kAlphabet[(v >> 6) & 63];
        *p++ = kAlphabet[v & 63];
    }
    if (i < length) {
        const bool two = i + 1 < length;
        const unsigned v = unsigned(bytes[i]) << 16 | (two ? unsigned(bytes[i + 1]) << 8 : 0u);
        *p++ = kAlphabet[v >> 18];
        *p++ = kAlphabet[(v >> 12) & 63];
        *p++ = two ? kAlphabet[(v >> 6) & 63] : '=';
        *p++ = '=';
    }
}

std::string Base64(std::string_view bytes) {
    std::string out;
    AppendBase64(out, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    return out;
}

std::string Base64Lines(std::string_view bytes, std::string_view lineEnd) {
    const std::string encoded = Base64(bytes);
    std::string out;
    for (std::size_t at = 0; at < encoded.size(); at += kLineChars) {
        out.append(encoded, at, kLineChars);
        out.append(lineEnd);
    }
    return out;
}

}  // namespace vocarta
