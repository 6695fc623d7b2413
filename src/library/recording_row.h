#pragma once
// One recording as the recordings window lists it, and the texts of its
// columns. The row keeps the file's size and time; the duration and format come
// from the decoder (through the cache) and are absent for a file that does not
// decode.
//
// Threading contract: plain values; any thread.

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

namespace vocarta {

// The columns in display order; the filter's "Find in:" uses these numbers.
enum class RecordingColumn : int {
    kName = 0,
    kDuration = 1,
    kFormat = 2,
    kDateCreated = 3,
    kSize = 4,
    kLocation = 5,
    kSent = 6,  // where the recording was sent; not searchable
};
inline constexpr int kSearchableColumns = 6;
inline constexpr const char* kColumnTitles[] = {
    "Name", "Duration", "Format", "Date Created", "Size", "Recording Location", "Sent"};

struct RecordingRow {
    std::string path;  // the real bytes: every action uses this
    int64_t sizeBytes = 0;
    std::time_t modified = 0;           // the file's time, seconds
    int64_t modifiedNanos = 0;          // nanoseconds within that second, for the cache key
    std::optional<int64_t> durationMs;  // unset: the file does not decode
    std::string format;                 // the decoder's description; empty when it does not decode
    std::string sent;                   // "email Ok, ftp Failed"; empty when never sent
};

// "%d:%.2d:%.2d.%.3d" of hours, minutes, seconds, milliseconds.
std::string RecordingDurationText(int64_t milliseconds);
// Below 1 MiB "%d KB" of size / 1024 truncated; from 1 GiB "%.1f GB"; else "%.1f MB".
std::string SizeText(int64_t bytes);
// "%.4d-%.2d-%.2d %.2d:%.2d:%.2d" of the time in local time.
std::string DateCreatedText(std::time_t time);
// A name or path made displayable: valid UTF-8 stays, every byte that is not
// part of valid UTF-8 becomes U+FFFD. Never used to reach the file.
std::string DisplayText(const std::string& bytes);

// The text of one column of a row (display form; Name is the file name).
std::string ColumnText(const RecordingRow& row, RecordingColumn column);

// How the window sorts rows: by a column, each in its natural order (numbers
// by value, times by time, names by text), ascending or descending. Equal keys
// keep the order of the path, so a sort is the same on every scan.
struct RowOrder {
    RecordingColumn column = RecordingColumn::kDateCreated;
    bool descending = true;  // newest first: what a user of an unattended recorder wants
};
void SortRows(std::vector<RecordingRow>& rows, RowOrder order);

}  // namespace vocarta
