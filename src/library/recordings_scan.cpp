#include "library/recordings_scan.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cerrno>
#include <map>
#include <unordered_set>
#include <utility>

#include "audio/codecs/sink_factory.h"
#include "toolkit/lfile.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "transmit/send_log.h"

namespace vocarta {

namespace {
constexpr const char* kCacheFileName = "recording-durations.cache";

bool EndsWithNoCase(const std::string& name, const char* suffix) {
    const std::string s = suffix;
    if (name.size() <= s.size()) return false;
    for (size_t i = 0; i < s.size(); ++i) {
        char c = name[name.size() - s.size() + i];
        if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
        if (c != s[i]) return false;
    }
    return true;
}

bool SameFile(const CachedDuration& e, const RecordingRow& row) {
    return e.sizeBytes == row.sizeBytes && e.modifiedSeconds == int64_t(row.modified) &&
           e.modifiedNanos == row.modifiedNanos;
}

// The names of the folder's entries in directory order; false when the folder
// cannot be read.
bool ReadFolderNames(const std::string& folder, std::vector<std::string>& names) {
    DIR* dir = opendir(folder.c_str());
    if (!dir) {
        if (errno != ENOENT) LogSystemFailure("ScanFolder", "opendir");
        return false;
    }
    while (const dirent* entry = readdir(dir)) names.emplace_back(entry->d_name);
    closedir(dir);
    return true;
}
}  // namespace

int RecordingExtensionIndex(const std::string& name) {
    for (int i = 0; i < int(std::size(kRecordingExtensions)); ++i)
        if (EndsWithNoCase(name, kRecordingExtensions[i])) return i;
    return -1;
}

DurationCache::DurationCache(std::string file)
    : file_(file.empty() ? JoinPath(JoinPath(CacheHome(), "vocarta"), kCacheFileName)
                         : std::move(file)) {}

void DurationCache::Load() {
    entries_.clear();
    dirty_ = false;
    std::string text;
    if (!FileExists(file_) || !LFile::ReadAll(file_, text)) return;
    auto parsed = ParseDurationCache(text);
    if (!parsed) {
        LogError("DurationCache::Load: %s is damaged; durations are read again", file_.c_str());
        dirty_ = true;  // the next save replaces it
        return;
    }
    for (CachedDuration& e : *parsed) {
        std::string key = e.path;
        entries_[key] = std::move(e);
    }
}

LStatus DurationCache::Save() {
    if (!dirty_) return LStatus::Success();
    std::map<std::string, const CachedDuration*> sorted;
    for (const auto& [path, entry] : entries_) sorted[path] = &entry;
    std::vector<CachedDuration> list;
    list.reserve(sorted.size());
    for (const auto& [path, entry] : sorted) list.push_back(*entry);
    if (!MakeDirs(DirName(file_)) || !LFile::WriteAtomically(file_, FormatDurationCache(list)))
        return MakeError(LErrorCode::kIo, "the duration cache %s cannot be written", file_.c_str());
    dirty_ = false;
    return LStatus::Success();
}

void DurationCache::Describe(RecordingRow& row) {
    if (auto it = entries_.find(row.path); it != entries_.end() && SameFile(it->second, row)) {
        const CachedDuration& e = it->second;
        row.durationMs = e.durationMs >= 0 ? std::optional<int64_t>(e.durationMs) : std::nullopt;
        row.format = e.format;
        return;
    }
    std::string error;
    const auto source = row.sizeBytes > 0 ? OpenSoundSource(row.path, &error) : nullptr;
    ++decoded_;
    CachedDuration e{row.path, row.sizeBytes, int64_t(row.modified), row.modifiedNanos, -1, ""};
    if (source && source->SampleRate() > 0) {
        e.durationMs = source->Length().Milliseconds();
        e.format = source->FormatDescription();
    }
    row.durationMs = e.durationMs >= 0 ? std::optional<int64_t>(e.durationMs) : std::nullopt;
    row.format = e.format;
    entries_[row.path] = std::move(e);
    dirty_ = true;
}

void DurationCache::RetainInFolder(const std::string& folder,
                                   const std::vector<std::string>& keep) {
    const std::unordered_set<std::string> kept(keep.begin(), keep.end());
    for (auto it = entries_.begin(); it != entries_.end();) {
        if (DirName(it->first) == folder && !kept.count(it->first)) {
            it = entries_.erase(it);
            dirty_ = true;
        } else {
            ++it;
        }
    }
}

void DurationCache::Forget(const std::string& path) {
    if (entries_.erase(path)) dirty_ = true;
}

void SentIndex::Load(const std::string& logPath) {
    texts_.clear();
    // (method, target) -> latest result, per recording, in first-seen order.
    std::unordered_map<std::string, std::vector<std::pair<std::string, std::string>>> byPath;
    for (const SendLogEntry& e : ReadSendLog(logPath.empty() ? SendLogPath() : logPath)) {
        auto& list = byPath[e.recording];
        const std::string where = e.target.empty() ? e.method : e.method + " " + e.target;
        bool found = false;
        for (auto& [w, result] : list)
            if (w == where) result = e.result, found = true;
        if (!found) list.emplace_back(where, e.result);
    }
    for (const auto& [path, list] : byPath) {
        std::string text;
        for (const auto& [where, result] : list)
            text += (text.empty() ? "" : "; ") + DisplayText(where) + ": " + result;
        texts_[path] = std::move(text);
    }
}

std::string SentIndex::TextFor(const std::string& path) const {
    const auto it = texts_.find(path);
    return it == texts_.end() ? std::string() : it->second;
}

std::optional<RecordingRow> BuildRow(const std::string& path, DurationCache& cache,
                                     const SentIndex& sent) {
    struct stat st {};
    if (stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return std::nullopt;
    RecordingRow row;
    row.path = path;
    row.sizeBytes = st.st_size;
    row.modified = st.st_mtim.tv_sec;
    row.modifiedNanos = st.st_mtim.tv_nsec;
    cache.Describe(row);
    row.sent = sent.TextFor(path);
    return row;
}

ScanResult ScanFolder(const std::string& folderGiven, const ViewFilter& filter, RowOrder order,
                      DurationCache& cache, const SentIndex& sent) {
    std::string folder = folderGiven;
    while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
    ScanResult result;
    std::vector<std::string> names;
    result.folderReadable = ReadFolderNames(folder, names);
    std::vector<std::string> seen;
    for (int ext = 0; ext < int(std::size(kRecordingExtensions)); ++ext) {
        for (const std::string& name : names) {
            if (RecordingExtensionIndex(name) != ext) continue;
            const std::string path = JoinPath(folder, name);
            auto row = BuildRow(path, cache, sent);
            if (!row) continue;
            seen.push_back(path);
            if (PassesFilter(filter, *row)) result.rows.push_back(std::move(*row));
        }
    }
    if (result.folderReadable) cache.RetainInFolder(folder, seen);
    SortRows(result.rows, order);
    result.countText = FoundCountText(int(result.rows.size()));
    return result;
}

}  // namespace vocarta
