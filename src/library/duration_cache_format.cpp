#include "library/duration_cache_format.h"

#include <charconv>

#include "toolkit/text.h"

namespace vocarta {

namespace {
std::optional<int64_t> Number(std::string_view text, int64_t lowest) {
    int64_t value = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || end != text.data() + text.size() || text.empty() || value < lowest)
        return std::nullopt;
    return value;
}

std::optional<CachedDuration> ParseLine(std::string_view line) {
    std::string_view fields[6];
    size_t count = 0;
    for (size_t start = 0;;) {
        const size_t tab = line.find('\t', start);
        if (count == 6) return std::nullopt;
        fields[count++] = line.substr(start, tab == std::string_view::npos ? tab : tab - start);
        if (tab == std::string_view::npos) break;
        start = tab + 1;
    }
    if (count != 6) return std::nullopt;
    auto path = UnescapeRecordField(fields[0]);
    auto size = Number(fields[1], 0);
    auto seconds = Number(fields[2], INT64_MIN);
    auto nanos = Number(fields[3], 0);
    auto duration = Number(fields[4], -1);
    auto format = UnescapeRecordField(fields[5]);
    if (!path || path->empty() || !size || !seconds || !nanos || *nanos > 999999999 || !duration ||
        !format)
        return std::nullopt;
    return CachedDuration{std::move(*path), *size, *seconds, *nanos, *duration, std::move(*format)};
}
}  // namespace

std::string FormatDurationCache(const std::vector<CachedDuration>& entries) {
    std::string out = kDurationCacheHeader;
    out += '\n';
    for (const CachedDuration& e : entries) {
        out += EscapeRecordField(e.path);
        out += '\t' + std::to_string(e.sizeBytes) + '\t' + std::to_string(e.modifiedSeconds) +
               '\t' + std::to_string(e.modifiedNanos) + '\t' + std::to_string(e.durationMs) + '\t';
        out += EscapeRecordField(e.format);
        out += '\n';
    }
    return out;
}

std::optional<std::vector<CachedDuration>> ParseDurationCache(std::string_view text) {
    const std::string_view header = kDurationCacheHeader;
    if (text.substr(0, header.size()) != header || text.size() == header.size() ||
        text[header.size()] != '\n')
        return std::nullopt;
    std::vector<CachedDuration> entries;
    for (size_t start = header.size() + 1; start < text.size();) {
        const size_t end = text.find('\n', start);
        if (end == std::string_view::npos) return std::nullopt;  // cut short
        auto entry = ParseLine(text.substr(start, end - start));
        if (!entry) return std::nullopt;
        entries.push_back(std::move(*entry));
        start = end + 1;
    }
    return entries;
}

}  // namespace vocarta
