#include "schedule/utf8_text.h"

namespace vocarta {

namespace {

// The length of the valid UTF-8 sequence at `i`, 0 when there is none.
std::size_t SequenceLength(std::string_view text, std::size_t i) {
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
    const unsigned char c = byte(i);
    if (c < 0x80) return 1;
    std::size_t length = 0;
    unsigned int code = 0;
    if (c >= 0xc2 && c <= 0xdf) {
        length = 2;
        code = c & 0x1f;
    } else if (c >= 0xe0 && c <= 0xef) {
        length = 3;
        code = c & 0x0f;
    } else if (c >= 0xf0 && c <= 0xf4) {
        length = 4;
        code = c & 0x07;
    } else {
        return 0;
    }
    if (i + length > text.size()) return 0;
    for (std::size_t k = 1; k < length; ++k) {
        if ((byte(i + k) & 0xc0) != 0x80) return 0;
        code = code << 6 | (byte(i + k) & 0x3f);
    }
    // Overlong forms, surrogates and values past U+10FFFF are not UTF-8.
    if ((length == 3 && code < 0x800) || (length == 4 && code < 0x10000) || code > 0x10ffff ||
        (code >= 0xd800 && code <= 0xdfff))
        return 0;
    return length;
}

}  // namespace

bool IsValidUtf8(std::string_view text) {
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = SequenceLength(text, i);
        if (length == 0) return false;
        i += length;
    }
    return true;
}

std::string PrintableUtf8(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = SequenceLength(text, i);
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (length == 0 || c < 0x20 || c == 0x7f) {
            out += '?';
            ++i;
            continue;
        }
        out.append(text.substr(i, length));
        i += length;
    }
    return out;
}

}  // namespace vocarta
