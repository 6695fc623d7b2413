#include "settings/file_preferences_store.h"

#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "toolkit/lfile.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"

namespace vocarta {

namespace {

std::string Escape(const std::string& text, bool isKey) {
    std::string out;
    out.reserve(text.size());
    // A key beginning with "#" would otherwise read back as a comment line.
    if (isKey && !text.empty() && text[0] == '#') out += '\\';
    for (char c : text) {
        switch (c) {
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '=':
                if (isKey) {
                    out += "\\=";
                    break;
                }
                [[fallthrough]];
            default:
                out += c;
        }
    }
    return out;
}

// Unescapes text[begin, end); stops early at an unescaped '=' when `stopAtEquals`.
// Returns the position where it stopped.
std::size_t Unescape(const std::string& text, std::size_t begin, bool stopAtEquals,
                     std::string& out) {
    std::size_t i = begin;
    for (; i < text.size(); ++i) {
        char c = text[i];
        if (c == '=' && stopAtEquals) return i;
        if (c == '\\' && i + 1 < text.size()) {
            char n = text[++i];
            out += n == 'n' ? '\n' : n == 'r' ? '\r' : n;
        } else {
            out += c;
        }
    }
    return i;
}

}  // namespace

FilePreferencesStore::FilePreferencesStore(std::string path) : path_(std::move(path)) {}

std::string FilePreferencesStore::Serialize(const std::map<std::string, std::string>& values,
                                            const std::string& title) {
    std::string out = "# " + title + "\n";
    for (const auto& [key, value] : values)
        out += Escape(key, true) + "=" + Escape(value, false) + "\n";
    return out;
}

std::map<std::string, std::string> FilePreferencesStore::Parse(const std::string& text) {
    std::map<std::string, std::string> values;
    std::size_t pos = 0;
    int lineNo = 0;
    int skipped = 0;
    int firstSkipped = 0;
    while (pos < text.size()) {
        std::size_t end = text.find('\n', pos);
        if (end == std::string::npos) end = text.size();
        std::string line = text.substr(pos, end - pos);
        pos = end + 1;
        ++lineNo;
        // Our own "\r" is always escaped, so a bare one is a line end from an editor.
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == '#') continue;
        std::string key, value;
        std::size_t eq = Unescape(line, 0, true, key);
        if (eq >= line.size() || key.empty()) {
            if (skipped++ == 0) firstSkipped = lineNo;
            continue;
        }
        Unescape(line, eq + 1, false, value);
        values[key] = value;
    }
    // One line for the whole file: a file of garbage must not flood the log.
    if (skipped > 0)
        LogError(
            "FilePreferencesStore::Parse: %d line(s) without key=value skipped (first: "
            "line %d)",
            skipped, firstSkipped);
    return values;
}

FilePreferencesStore::Identity FilePreferencesStore::IdentityOf(const struct stat& st) {
    Identity id;
    id.dev = st.st_dev;
    id.ino = st.st_ino;
    id.mtimeNs = (long long)st.st_mtim.tv_sec * 1000000000LL + st.st_mtim.tv_nsec;
    id.size = st.st_size;
    return id;
}

void FilePreferencesStore::ForgetLocked() {
    values_.clear();
    loadedFile_.Close();
    loaded_ = Identity{};
}

bool FilePreferencesStore::RefreshLocked() {
    struct stat st;
    if (stat(path_.c_str(), &st) != 0) {
        ForgetLocked();
        if (errno == ENOENT) return true;  // no file yet: no values
        LogError("FilePreferencesStore::Refresh stat FAILED: %s: %s", path_.c_str(),
                 std::strerror(errno));
        return false;
    }
    if (loadedFile_.IsOpen() && IdentityOf(st) == loaded_) return true;

    LFile file;
    std::string text;
    bool ok = file.Open(path_, LFile::Mode::Read);
    if (ok && fstat(file.Descriptor(), &st) != 0) {
        LogSystemFailure("FilePreferencesStore::Refresh", "fstat");
        ok = false;
    }
    char buf[65536];
    int64_t n = 0;
    while (ok && (n = file.Read(buf, sizeof buf)) > 0) text.append(buf, size_t(n));
    if (!ok || n < 0) {
        // Unreadable is not empty: a writer must not save over values it never saw.
        ForgetLocked();
        return false;
    }
    values_ = Parse(text);
    loaded_ = IdentityOf(st);
    loadedFile_ = std::move(file);
    return true;
}

std::optional<std::string> FilePreferencesStore::CopyValue(const std::string& key) {
    std::lock_guard<std::mutex> lock(mutex_);
    RefreshLocked();
    auto it = values_.find(key);
    if (it == values_.end()) return std::nullopt;
    return it->second;
}

std::vector<std::string> FilePreferencesStore::CopyKeyList() {
    std::lock_guard<std::mutex> lock(mutex_);
    RefreshLocked();
    std::vector<std::string> keys;
    keys.reserve(values_.size());
    for (const auto& entry : values_) keys.push_back(entry.first);
    return keys;
}

bool FilePreferencesStore::Modify(
    const std::function<bool(std::map<std::string, std::string>&)>& change) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!MakeDirs(DirName(path_))) {
        LogError("FilePreferencesStore::Modify mkdir FAILED: %s", DirName(path_).c_str());
        return false;
    }
    LFile lockFile;
    if (!lockFile.Open(path_ + ".lock", LFile::Mode::OpenOrCreate, 0600)) return false;
    // Other writers hold this only for one read-change-rename, so waiting is short.
    if (flock(lockFile.Descriptor(), LOCK_EX) != 0) {
        LogSystemFailure("FilePreferencesStore::Modify", "flock");
        return false;
    }
    if (!staleTemporariesRemoved_) {
        LFile::RemoveStaleTemporaries(WriteTarget());  // writers that died left them
        staleTemporariesRemoved_ = true;
    }
    if (!RefreshLocked()) return false;  // another process may have written since
    if (!change(values_)) return true;
    bool saved =
        LFile::WriteAtomically(WriteTarget(), Serialize(values_, "Vocarta preferences"), 0600);
    // Load again on the next read: our own file, or the old one if saving failed.
    loadedFile_.Close();
    loaded_ = Identity{};
    return saved;
}

// A preferences file kept elsewhere and linked in (as dotfile managers do) is
// replaced where it really lies, so that the link survives the write.
std::string FilePreferencesStore::WriteTarget() const {
    struct stat st;
    if (lstat(path_.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return path_;
    char* resolved = realpath(path_.c_str(), nullptr);
    if (!resolved) return path_;  // a dangling link: replace the link itself
    std::string target = resolved;
    free(resolved);
    return target;
}

bool FilePreferencesStore::SetValue(const std::string& key, const std::string& value) {
    return Modify([&](std::map<std::string, std::string>& values) {
        auto it = values.find(key);
        if (it != values.end() && it->second == value) return false;
        values[key] = value;
        return true;
    });
}

int FilePreferencesStore::RemoveValues(const std::function<bool(const std::string&)>& remove) {
    int removed = 0;
    bool ok = Modify([&](std::map<std::string, std::string>& values) {
        for (auto it = values.begin(); it != values.end();) {
            if (remove(it->first)) {
                it = values.erase(it);
                ++removed;
            } else {
                ++it;
            }
        }
        return removed > 0;
    });
    return ok ? removed : -1;
}

}  // namespace vocarta
