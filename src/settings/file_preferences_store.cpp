#include "settings/file_preferences_store.h"

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <utility>

#include "toolkit/lfile.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

constexpr const char* kFileTitle = "Vocarta preferences";
constexpr const char* kKeepEndLine =
    "# The line \"# end\" closes this file; without it the file counts as cut off.";
constexpr const char* kEndLine = "# end";

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
            case '\0':
                out += "\\0";
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
            out += n == 'n' ? '\n' : n == 'r' ? '\r' : n == '0' ? '\0' : n;
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
    std::string out = "# " + title + "\n" + kKeepEndLine + "\n";
    for (const auto& [key, value] : values)
        if (!key.empty()) out += Escape(key, true) + "=" + Escape(value, false) + "\n";
    return out + kEndLine + "\n";
}

std::string FilePreferencesStore::DamageIn(const std::string& text) {
    if (text.empty()) return "it is empty";
    if (std::size_t nul = text.find('\0'); nul != std::string::npos)
        return StringPrintf("it holds binary data (a NUL byte at offset %zu)", nul);
    if (text.back() != '\n') return "its last line is cut off";
    bool closed = false;
    int lineNo = 0;
    for (std::size_t pos = 0, end; pos < text.size(); pos = end + 1) {
        end = text.find('\n', pos);
        std::string line = text.substr(pos, end - pos);
        ++lineNo;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line == kEndLine) closed = true;
        if (line.empty() || line[0] == '#') continue;
        std::string key;
        if (Unescape(line, 0, true, key) >= line.size() || key.empty())
            return StringPrintf("line %d is not Section/Key=value", lineNo);
    }
    // Files written before the end line existed have no second comment line and
    // are read as they are.
    const std::size_t titleEnd = text.find('\n');
    if (text.compare(0, titleEnd, std::string("# ") + kFileTitle) != 0) return "";
    if (titleEnd + 1 == text.size()) return "it ends after its title line";
    const std::size_t secondEnd = text.find('\n', titleEnd + 1);
    if (!closed && text.compare(titleEnd + 1, secondEnd - titleEnd - 1, kKeepEndLine) == 0)
        return StringPrintf("it ends before its closing \"%s\" line", kEndLine);
    return "";
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
    unreplacedDamage_ = false;
    loadedFile_.Close();
    loaded_ = Identity{};
}

bool FilePreferencesStore::RefreshLocked(bool haveFileLock) {
    struct stat st;
    if (stat(path_.c_str(), &st) != 0) {
        ForgetLocked();
        if (errno == ENOENT) return true;  // no file yet: no values
        LogError("FilePreferencesStore::Refresh stat FAILED: %s: %s", path_.c_str(),
                 std::strerror(errno));
        return false;
    }
    if (loadedFile_.IsOpen() && IdentityOf(st) == loaded_) return !unreplacedDamage_;

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
    const std::string damage = DamageIn(text);
    if (!damage.empty()) {
        ForgetLocked();
        if (!haveFileLock) {
            // Read again under the lock: another process may be repairing it now.
            LFile lockFile;
            if (TakeFileLock(lockFile)) return RefreshLocked(true);
        }
        return RepairLocked(text, damage, file, st, haveFileLock);
    }
    values_ = Parse(text);
    loaded_ = IdentityOf(st);
    loadedFile_ = std::move(file);
    unreplacedDamage_ = false;
    return true;
}

bool FilePreferencesStore::RepairLocked(const std::string& text, const std::string& damage,
                                        LFile& file, const struct stat& st, bool mayWrite) {
    const std::string target = WriteTarget();
    const std::string backup = target + ".bak";
    std::string backupText;
    const bool fromBackup = LFile::ReadAll(backup, backupText) && DamageIn(backupText).empty();
    std::map<std::string, std::string> values = Parse(fromBackup ? backupText : text);

    // The damaged file is kept under a new name before anything replaces it: a
    // hard link where the file system has them, else a copy of its bytes.
    const std::string stamp = LocalTimeText("%Y%m%d-%H%M%S");
    std::string kept;
    for (int n = 1; mayWrite && n < 100 && kept.empty(); ++n) {
        std::string name = target + ".damaged-" + stamp + (n > 1 ? "-" + std::to_string(n) : "");
        if (link(target.c_str(), name.c_str()) == 0) {
            kept = name;
        } else if (errno != EEXIST) {
            if (!FileExists(name) && LFile::WriteAtomically(name, text, 0600)) kept = name;
            break;
        }
    }
    if (kept.empty() || !LFile::WriteAtomically(target, Serialize(values, kFileTitle), 0600)) {
        // Never replace a damaged file that could not be kept: its restored values
        // are read, but no write is made until the file changes.
        LogError("FilePreferencesStore: %s cannot be read (%s) and could not be replaced",
                 path_.c_str(), damage.c_str());
        values_ = std::move(values);
        loaded_ = IdentityOf(st);
        loadedFile_ = std::move(file);
        unreplacedDamage_ = true;
        return false;
    }
    damageNotice_ = "The settings file was damaged; ";
    damageNotice_ += fromBackup ? "the last good settings were restored from " + backup + "."
                                : "the settings that could still be read from it were kept.";
    damageNotice_ += " The damaged file was kept as " + kept + ".";
    LogError("FilePreferencesStore: %s could not be read (%s): %s", path_.c_str(), damage.c_str(),
             damageNotice_.c_str());
    values_ = std::move(values);  // loaded again from the new file at the next read
    return true;
}

void FilePreferencesStore::KeepBackupLocked(const std::string& target,
                                            const std::map<std::string, std::string>& previous) {
    // The current file is never changed in place, only replaced by a rename, so a
    // second name for it is a backup of it. Made under a temporary name and
    // renamed, so the .bak is whole at every moment.
    const std::string backup = target + ".bak";
    const std::string linking = JoinPath(DirName(target), "." + BaseName(backup) + ".new");
    unlink(linking.c_str());  // left by a writer that died; we hold the lock
    if (link(target.c_str(), linking.c_str()) == 0) {
        if (rename(linking.c_str(), backup.c_str()) == 0) return;
        LogSystemFailure("FilePreferencesStore::KeepBackup", "rename");
        unlink(linking.c_str());
        return;
    }
    if (!LFile::WriteAtomically(backup, Serialize(previous, kFileTitle), 0600))
        LogError("FilePreferencesStore::KeepBackup: %s could not be written", backup.c_str());
}

bool FilePreferencesStore::TakeFileLock(LFile& lockFile) {
    if (!lockFile.Open(path_ + ".lock", LFile::Mode::OpenOrCreate, 0600)) return false;
    // Other writers hold this only for one read-change-rename, so waiting is short.
    if (flock(lockFile.Descriptor(), LOCK_EX) != 0) {
        LogSystemFailure("FilePreferencesStore::Modify", "flock");
        return false;
    }
    return true;
}

std::string FilePreferencesStore::TakeDamageNotice() {
    std::lock_guard<std::mutex> lock(mutex_);
    RefreshLocked(false);
    return std::exchange(damageNotice_, std::string());
}

std::optional<std::string> FilePreferencesStore::CopyValue(const std::string& key) {
    std::lock_guard<std::mutex> lock(mutex_);
    RefreshLocked(false);
    auto it = values_.find(key);
    if (it == values_.end()) return std::nullopt;
    return it->second;
}

std::vector<std::string> FilePreferencesStore::CopyKeyList() {
    std::lock_guard<std::mutex> lock(mutex_);
    RefreshLocked(false);
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
    if (!TakeFileLock(lockFile)) return false;
    const std::string target = WriteTarget();
    if (!staleTemporariesRemoved_) {
        LFile::RemoveStaleTemporaries(target);  // writers that died left them
        LFile::RemoveStaleTemporaries(target + ".bak");
        staleTemporariesRemoved_ = true;
    }
    if (!RefreshLocked(true)) return false;  // another process may have written since
    const bool replacing = loadedFile_.IsOpen();
    std::map<std::string, std::string> previous = values_;
    if (!change(values_)) return true;
    if (replacing) KeepBackupLocked(target, previous);
    bool saved = LFile::WriteAtomically(target, Serialize(values_, kFileTitle), 0600);
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
