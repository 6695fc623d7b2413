// The HTTP reply readers on arbitrary bytes: the header block, its framing, and
// a chunked body after it. The first byte sets the size of the pieces the bytes
// arrive in, as a network would cut them.

#include <cstdint>
#include <cstdlib>

#include "net/http_parser.h"

using namespace vocarta;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const size_t step = 1 + data[0] % 64;
    const char* bytes = reinterpret_cast<const char*>(data + 1);
    size -= 1;

    HttpHeaderParser parser;
    size_t used = 0;
    while (used < size && !parser.Done() && !parser.Failed()) {
        const size_t piece = size - used < step ? size - used : step;
        const size_t took = parser.Feed(bytes + used, piece);
        if (took > piece) abort();
        used += took;
        if (took < piece) break;
    }
    if (used > kHttpHeaderLimit) abort();
    if (parser.Done()) {
        if (parser.Status() < 100 || parser.Status() > 599) abort();
        HttpBodyFraming framing;
        std::string error;
        parser.Framing(framing, error);
    }

    HttpChunkedDecoder decoder;
    size_t decoded = 0, taken = 0;
    while (used + taken < size && !decoder.Done() && !decoder.Failed()) {
        const size_t left = size - used - taken;
        const size_t piece = left < step ? left : step;
        const size_t took = decoder.Feed(bytes + used + taken, piece,
                                         [&](std::string_view b) { decoded += b.size(); });
        if (took > piece) abort();
        taken += took;
        if (took < piece) break;
    }
    if (decoded > taken) abort();
    return 0;
}
