#pragma once
// Listing the recordings of one folder: the scan in extension order, the row
// builder with its duration cache, and the "Sent" column from the send log.
//
// Threading contract: a DurationCache and a SentIndex are used by one thread at
// a time (the recordings window's GUI thread); the free functions are
// reentrant.

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "library/duration_cache_format.h"
#include "library/recording_row.h"
#include "library/view_filter.h"
#include "toolkit/result.h"

namespace vocarta {

// The extensions listed, in the order the groups appear before sorting.
inline constexpr const char* kRecordingExtensions[] = {".wav", ".mp3", ".aiff", ".flac"};
// The index of `name`'s extension in kRecordingExtensions (any case), or -1.
int RecordingExtensionIndex(const std::string& name);

// Durations and formats by path, kept while the file's size and time stay the
// same, and on disk between runs so a restart decodes nothing again.
class DurationCache {
  public:
    // `file` defaults to $XDG_CACHE_HOME/vocarta/recording-durations.cache.
    explicit DurationCache(std::string file = std::string());

    // Reads the file; a missing or damaged file leaves the cache empty (logged).
    void Load();
    // Writes the file atomically when something changed since Load or Save.
    LStatus Save();

    // Fills `row`'s duration and format from the cache, or by decoding the file
    // (and remembers the result, a failure included).
    void Describe(RecordingRow& row);
    // Drops what is kept for `folder`'s files except `keep`, so entries of
    // deleted recordings do not pile up.
    void RetainInFolder(const std::string& folder, const std::vector<std::string>& keep);
    void Forget(const std::string& path);

    size_t Size() const { return entries_.size(); }
    // Files decoded since the object was made (what the cache saved is the rest).
    size_t Decoded() const { return decoded_; }
    const std::string& File() const { return file_; }

  private:
    std::string file_;
    std::unordered_map<std::string, CachedDuration> entries_;
    bool dirty_ = false;
    size_t decoded_ = 0;
};

// Where each recording went, from the send log: one text per path, "method
// target: result" per method and target (latest result), joined by "; ".
class SentIndex {
  public:
    // Reads the log once (default: the program's send log).
    void Load(const std::string& logPath = std::string());
    std::string TextFor(const std::string& path) const;

  private:
    std::unordered_map<std::string, std::string> texts_;
};

// The row of one file (size and time from stat, duration through the cache, the
// sent text), or nullopt when it is not a regular file.
std::optional<RecordingRow> BuildRow(const std::string& path, DurationCache& cache,
                                     const SentIndex& sent);

struct ScanResult {
    std::vector<RecordingRow> rows;  // passing the filter, sorted
    bool folderReadable = false;     // false: missing or unreadable, rows empty
    std::string countText;           // "%d Recordings were found"
};

// The folder (not its subfolders), extension by extension, filtered and sorted.
// The caller checks the filter's dates first (CheckFilterDates).
ScanResult ScanFolder(const std::string& folder, const ViewFilter& filter, RowOrder order,
                      DurationCache& cache, const SentIndex& sent);

}  // namespace vocarta
