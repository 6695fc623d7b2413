// The SMTP reply reader on arbitrary bytes, arriving in pieces whose size the
// first byte sets, as a network would cut them; replies are read one after the
// other as the client does.

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "transmit/mail/smtp_reply.h"

using namespace vocarta;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const size_t step = 1 + data[0] % 64;
    const std::string_view bytes(reinterpret_cast<const char*>(data + 1), size - 1);
    SmtpReplyReader reader;
    size_t used = 0;
    while (used < bytes.size() && !reader.Failed()) {
        const std::string_view piece = bytes.substr(used, step);
        const size_t took = reader.Feed(piece);
        if (took == 0 || took > piece.size()) abort();
        used += took;
        if (reader.Done()) {
            const SmtpReply& reply = reader.Reply();
            if (reply.text.size() > kSmtpReplyTextMax || reply.code < 0 || reply.lines < 1) abort();
            for (char c : reply.text)
                if (static_cast<unsigned char>(c) < 32) abort();
            reader.Reset();
        }
    }
    return 0;
}
