#include "library/recording_row.h"

#include <algorithm>
#include <tuple>

#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
constexpr int64_t kMiB = 0x100000;
constexpr int64_t kGiB = 0x40000000;

// Length of the valid UTF-8 sequence at `i`, 0 when there is none.
size_t Utf8SequenceLength(const std::string& s, size_t i) {
    const auto b = [&](size_t k) { return static_cast<unsigned char>(s[k]); };
    const unsigned char c = b(i);
    size_t n = 0;
    unsigned lowest = 0;
    if (c < 0x80) return 1;
    if (c >= 0xC2 && c <= 0xDF)
        n = 2, lowest = 0x80;
    else if (c >= 0xE0 && c <= 0xEF)
        n = 3, lowest = 0x800;
    else if (c >= 0xF0 && c <= 0xF4)
        n = 4, lowest = 0x10000;
    else
        return 0;
    if (i + n > s.size()) return 0;
    unsigned code = c & (0xFF >> (n + 1));
    for (size_t k = 1; k < n; ++k) {
        if ((b(i + k) & 0xC0) != 0x80) return 0;
        code = (code << 6) | (b(i + k) & 0x3F);
    }
    if (code < lowest || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return 0;
    return n;
}

int64_t SortableDuration(const RecordingRow& row) {
    return row.durationMs.value_or(-1);
}
}  // namespace

std::string RecordingDurationText(int64_t milliseconds) {
    if (milliseconds < 0) milliseconds = 0;
    const int64_t totalSeconds = milliseconds / 1000;
    return StringPrintf("%d:%.2d:%.2d.%.3d", int(totalSeconds / 3600), int(totalSeconds / 60 % 60),
                        int(totalSeconds % 60), int(milliseconds % 1000));
}

std::string SizeText(int64_t bytes) {
    if (bytes < kMiB) return StringPrintf("%d KB", int(bytes / 1024));
    if (bytes >= kGiB) return StringPrintf("%.1f GB", double(bytes) / 1073741824.0);
    return StringPrintf("%.1f MB", double(bytes) / 1048576.0);
}

std::string DateCreatedText(std::time_t time) {
    std::tm t{};
    localtime_r(&time, &t);
    return StringPrintf("%.4d-%.2d-%.2d %.2d:%.2d:%.2d", t.tm_year + 1900, t.tm_mon + 1, t.tm_mday,
                        t.tm_hour, t.tm_min, t.tm_sec);
}

std::string DisplayText(const std::string& bytes) {
    std::string out;
    out.reserve(bytes.size());
    for (size_t i = 0; i < bytes.size();) {
        const size_t n = Utf8SequenceLength(bytes, i);
        if (n == 0) {
            out += "\xEF\xBF\xBD";
            ++i;
        } else {
            out.append(bytes, i, n);
            i += n;
        }
    }
    return out;
}

std::string ColumnText(const RecordingRow& row, RecordingColumn column) {
    switch (column) {
        case RecordingColumn::kName:
            return DisplayText(BaseName(row.path));
        case RecordingColumn::kDuration:
            return row.durationMs ? RecordingDurationText(*row.durationMs) : std::string();
        case RecordingColumn::kFormat:
            return row.format;
        case RecordingColumn::kDateCreated:
            return DateCreatedText(row.modified);
        case RecordingColumn::kSize:
            return SizeText(row.sizeBytes);
        case RecordingColumn::kLocation:
            return DisplayText(row.path);
        case RecordingColumn::kSent:
            return row.sent;
    }
    return std::string();
}

void SortRows(std::vector<RecordingRow>& rows, RowOrder order) {
    // Keys are made once per row: the text of a name column is not cheap.
    using Key = std::tuple<int64_t, std::string, size_t>;
    std::vector<Key> keys;
    keys.reserve(rows.size());
    for (size_t i = 0; i < rows.size(); ++i) {
        const RecordingRow& r = rows[i];
        switch (order.column) {
            case RecordingColumn::kDuration:
                keys.emplace_back(SortableDuration(r), std::string(), i);
                break;
            case RecordingColumn::kDateCreated:
                keys.emplace_back(int64_t(r.modified), std::string(), i);
                break;
            case RecordingColumn::kSize:
                keys.emplace_back(r.sizeBytes, std::string(), i);
                break;
            default:
                keys.emplace_back(0, ColumnText(r, order.column), i);
                break;
        }
    }
    std::sort(keys.begin(), keys.end(), [&](const Key& a, const Key& b) {
        const auto& [na, ta, ia] = a;
        const auto& [nb, tb, ib] = b;
        if (na != nb) return order.descending ? nb < na : na < nb;
        if (ta != tb) return order.descending ? tb < ta : ta < tb;
        return rows[ia].path < rows[ib].path;
    });
    std::vector<RecordingRow> sorted;
    sorted.reserve(rows.size());
    for (const Key& k : keys) sorted.push_back(std::move(rows[std::get<2>(k)]));
    rows = std::move(sorted);
}

}  // namespace vocarta
