// The recordings list's duration cache file on arbitrary bytes: a damaged
// cache must either be refused whole or give entries that write back to a file
// that reads the same.

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "library/duration_cache_format.h"

using namespace vocarta;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto entries = ParseDurationCache(text);
    if (!entries) return 0;
    for (const CachedDuration& e : *entries)
        if (e.path.empty() || e.sizeBytes < 0 || e.durationMs < -1 || e.modifiedNanos < 0 ||
            e.modifiedNanos > 999999999)
            abort();
    if (ParseDurationCache(FormatDurationCache(*entries)) != entries) abort();
    return 0;
}
