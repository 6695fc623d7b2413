#include "toolkit/lfile_store_list.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>

#include "toolkit/lfile.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

// Each retry follows a change made by another process in the moment between our
// look and our lock; more than a few in a row means something is wrong.
constexpr int kMaxRetries = 8;

enum class FileState { Ok, Empty, Missing, Damaged };

FileState ParseFileText(const std::string& text, LFileStoreValues& values, std::string& error) {
    // A record file is empty only between its creation and its first write.
    if (text.empty()) return FileState::Empty;
    return LFileStoreListBase::ParseRecord(text, values, error) ? FileState::Ok
                                                                : FileState::Damaged;
}

// Reads a record without its lock: writers replace files by rename, so what we
// read is always one whole version.
FileState ReadRecordFile(const std::string& path, LFileStoreValues& values, std::string& error) {
    std::string text;
    if (!LFile::ReadAll(path, text)) return FileState::Missing;
    return ParseFileText(text, values, error);
}

// "<n>.dat" as this class writes it (no sign, no leading zeros); -1 otherwise.
int NumberOfName(const char* name) {
    std::size_t length = std::strlen(name);
    if (length < 5 || length > 13 || std::strcmp(name + length - 4, ".dat") != 0) return -1;
    if (name[0] == '0' && length != 5) return -1;
    int number = 0;
    for (std::size_t i = 0; i + 4 < length; ++i) {
        if (name[i] < '0' || name[i] > '9') return -1;
        number = number * 10 + (name[i] - '0');
    }
    return number;
}

}  // namespace

// A record file held open under its exclusive lock.
class LFileStoreListBase::RecordFile {
  public:
    enum class State { Locked, Missing, Failed };

    // Opens an existing record and locks it. A writer may rename a new version
    // over the name while we wait, so the lock counts only when the name still
    // points at the locked file; otherwise we open the name again. Existing
    // records are never created here: a deleted record must stay deleted.
    State LockExisting(const std::string& path) {
        for (int attempt = 0; attempt < kMaxRetries; ++attempt) {
            if (!file_.Open(path, LFile::Mode::ReadWrite))
                return errno == ENOENT ? State::Missing : State::Failed;
            if (!Lock()) return State::Failed;
            struct stat held, named;
            if (stat(path.c_str(), &named) != 0) {
                if (errno == ENOENT) return State::Missing;
                LogSystemFailure("LFileStoreListBase::Save", "stat");
                return State::Failed;
            }
            if (fstat(file_.Descriptor(), &held) != 0) {
                LogSystemFailure("LFileStoreListBase::Save", "fstat");
                return State::Failed;
            }
            if (held.st_dev == named.st_dev && held.st_ino == named.st_ino) {
                mode_ = held.st_mode & 07777;
                return State::Locked;
            }
            file_.Close();
        }
        LogError("LFileStoreListBase::Save: %s keeps being replaced; not saved", path.c_str());
        return State::Failed;
    }

    // Creates a record file under a free name; Missing when the name is taken.
    State CreateNew(const std::string& path) {
        if (!file_.Open(path, LFile::Mode::CreateExclusive, 0666))
            return errno == EEXIST ? State::Missing : State::Failed;
        created_ = true;
        struct stat held;
        if (!Lock() || fstat(file_.Descriptor(), &held) != 0) {
            Unlink();
            return State::Failed;
        }
        mode_ = held.st_mode & 07777;
        return State::Locked;
    }

    FileState Read(LFileStoreValues& values, std::string& error) {
        int64_t size = file_.GetFileSizeBytes64();
        std::string text(size_t(size < 0 ? 0 : size), '\0');
        if (size < 0 || file_.ReadAt(0, text.data(), size) != size) {
            error = "cannot be read";
            return FileState::Damaged;
        }
        return ParseFileText(text, values, error);
    }

    // Temporary file and rename: a writer killed half-way leaves the old record
    // (and its temporary, which the next writer of the record clears away).
    bool Replace(const std::string& text) {
        LFile::RemoveStaleTemporaries(file_.Path());
        return LFile::WriteAtomically(file_.Path(), text, mode_);
    }

    bool Unlink() {
        if (unlink(file_.Path().c_str()) == 0) return true;
        LogSystemFailure("LFileStoreListBase::Save", "unlink");
        return false;
    }

    // Takes back a name this object created, when its first write failed.
    void DiscardCreated() {
        if (created_) Unlink();
    }

  private:
    bool Lock() {
        if (file_.LockWait(LFile::LockKind::Exclusive, kLockLimitMs)) return true;
        LogError("LFileStoreListBase::Save flock FAILED: %s: still locked after %d ms",
                 file_.Path().c_str(), kLockLimitMs);
        return false;
    }

    LFile file_;
    unsigned mode_ = 0644;
    bool created_ = false;
};

LFileStoreListBase::LFileStoreListBase(std::string name) : name_(std::move(name)) {}

LFileStoreListBase::~LFileStoreListBase() = default;

std::string LFileStoreListBase::Folder() const {
    return JoinPath(AppDataDir(), name_);
}

std::string LFileStoreListBase::PathOf(int number) const {
    return JoinPath(Folder(), StringPrintf("%d.dat", number));
}

std::unique_ptr<LFileStoreRecord> LFileStoreListBase::NewRecord() const {
    return std::make_unique<LFileStoreRecord>();
}

std::vector<int> LFileStoreListBase::ListNumbers(bool& ok) const {
    std::vector<int> numbers;
    ok = true;
    std::string folder = Folder();
    DIR* dir = opendir(folder.c_str());
    if (!dir) {
        if (errno == ENOENT) return numbers;  // nothing saved yet
        LogError("LFileStoreListBase::ListNumbers opendir FAILED: %s: %s", folder.c_str(),
                 std::strerror(errno));
        ok = false;
        return numbers;
    }
    while (const dirent* entry = readdir(dir)) {
        int number = NumberOfName(entry->d_name);
        if (number >= 0) numbers.push_back(number);
    }
    closedir(dir);
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

bool LFileStoreListBase::Load() {
    records_.clear();
    removed_.clear();
    retired_.clear();
    bool ok = false;
    std::vector<int> numbers = ListNumbers(ok);
    for (int number : numbers) {
        LFileStoreValues values;
        std::string error;
        std::string path = PathOf(number);
        FileState state = ReadRecordFile(path, values, error);
        if (state == FileState::Damaged)
            LogError("LFileStoreListBase::Load: %s is damaged (%s); skipped", path.c_str(),
                     error.c_str());
        if (state != FileState::Ok) continue;
        std::unique_ptr<LFileStoreRecord> record = NewRecord();
        record->values_ = std::move(values);
        record->diskId_ = record->Id();
        record->number_ = number;
        records_.push_back(std::move(record));
    }
    return ok;
}

LFileStoreRecord* LFileStoreListBase::RecordAt(std::size_t index) const {
    return index < records_.size() ? records_[index].get() : nullptr;
}

LFileStoreRecord* LFileStoreListBase::Find(std::string_view id) const {
    for (const auto& record : records_)
        if (record->GetValue(LFileStoreRecord::kIdKey) == id) return record.get();
    return nullptr;
}

LFileStoreRecord* LFileStoreListBase::Add(std::string_view id) {
    if (id.empty()) return nullptr;
    std::unique_ptr<LFileStoreRecord> record = NewRecord();
    record->SetValue(LFileStoreRecord::kIdKey, id);
    records_.push_back(std::move(record));
    return records_.back().get();
}

bool LFileStoreListBase::Remove(LFileStoreRecord* record) {
    auto it = std::find_if(records_.begin(), records_.end(),
                           [&](const auto& r) { return r.get() == record; });
    if (it == records_.end()) return false;
    removed_.push_back(std::move(*it));
    records_.erase(it);
    return true;
}

void LFileStoreListBase::Retire(std::unique_ptr<LFileStoreRecord> record) {
    retired_.push_back(std::move(record));
}

LFileStoreSaveResult LFileStoreListBase::Save() {
    LFileStoreSaveResult result;
    // Deletions first, so a record removed and added again takes its number back.
    for (auto it = removed_.begin(); it != removed_.end();) {
        Outcome outcome = DeleteRecordFile(**it);
        if (outcome == Outcome::Failed) {
            ++result.failed;
            ++it;
            continue;
        }
        if (outcome == Outcome::Done) ++result.deleted;
        Retire(std::move(*it));
        it = removed_.erase(it);
    }
    for (std::size_t i = 0; i < records_.size();) {
        LFileStoreRecord& record = *records_[i];
        Outcome outcome = record.modified_ ? SaveRecord(record) : Outcome::Unchanged;
        if (outcome == Outcome::Gone) {
            LogEvent("%s: record \"%s\" was deleted by another process; its changes are dropped",
                     name_.c_str(), record.diskId_.c_str());
            result.deletedElsewhere.push_back(record.diskId_);
            Retire(std::move(records_[i]));
            records_.erase(records_.begin() + std::ptrdiff_t(i));
            continue;
        }
        if (outcome == Outcome::Done) ++result.written;
        if (outcome == Outcome::Failed) ++result.failed;
        ++i;
    }
    return result;
}

bool LFileStoreListBase::FindOnDisk(std::string_view id, int& number) const {
    number = -1;
    bool ok = false;
    for (int candidate : ListNumbers(ok)) {
        LFileStoreValues values;
        std::string error;
        if (ReadRecordFile(PathOf(candidate), values, error) == FileState::Ok &&
            values.find(LFileStoreRecord::kIdKey)->second == id) {
            number = candidate;
            break;
        }
    }
    return ok;
}

// Finds and locks the file that holds `id`, trying file `hint` first. Done: the
// file is locked and its values are in `disk`. Gone: no file holds the ID.
LFileStoreListBase::Outcome LFileStoreListBase::LockById(std::string_view id, int hint,
                                                         RecordFile& file, LFileStoreValues& disk,
                                                         int& number) const {
    number = hint;
    for (int attempt = 0; attempt < kMaxRetries; ++attempt) {
        if (number < 0 && !FindOnDisk(id, number)) return Outcome::Failed;
        if (number < 0) return Outcome::Gone;
        RecordFile::State state = file.LockExisting(PathOf(number));
        if (state == RecordFile::State::Failed) return Outcome::Failed;
        if (state == RecordFile::State::Locked) {
            std::string error;
            FileState read = file.Read(disk, error);
            if (read == FileState::Ok && disk.find(LFileStoreRecord::kIdKey)->second == id)
                return Outcome::Done;
            // Our own file gone bad is not a deletion: leave it and keep the changes.
            if (read == FileState::Damaged && number == hint) {
                LogError("LFileStoreListBase::Save: %s is damaged (%s); record \"%.*s\" not saved",
                         PathOf(number).c_str(), error.c_str(), int(id.size()), id.data());
                return Outcome::Failed;
            }
        }
        number = -1;  // not there (any more): look for it by its ID
    }
    LogError("LFileStoreListBase::Save: record \"%.*s\" keeps moving; not saved", int(id.size()),
             id.data());
    return Outcome::Failed;
}

LFileStoreListBase::Outcome LFileStoreListBase::DeleteRecordFile(LFileStoreRecord& record) {
    if (record.diskId_.empty()) return Outcome::Unchanged;  // never written
    RecordFile file;
    LFileStoreValues disk;
    int number = -1;
    Outcome found = LockById(record.diskId_, record.number_, file, disk, number);
    if (found == Outcome::Gone) return Outcome::Unchanged;  // deleted elsewhere already
    if (found != Outcome::Done) return found;
    return file.Unlink() ? Outcome::Done : Outcome::Failed;
}

LFileStoreListBase::Outcome LFileStoreListBase::SaveRecord(LFileStoreRecord& record) {
    RecordFile file;
    LFileStoreValues disk;
    int number = -1;
    if (record.diskId_.empty()) {
        // Another process may have added a record of this ID meanwhile: join it.
        Outcome found = LockById(record.Id(), -1, file, disk, number);
        if (found == Outcome::Gone) return CreateRecordFile(record);
        if (found != Outcome::Done) return found;
    } else {
        Outcome found = LockById(record.diskId_, record.number_, file, disk, number);
        if (found != Outcome::Done) return found;
    }
    return MergeInto(file, disk, number, record);
}

LFileStoreListBase::Outcome LFileStoreListBase::CreateRecordFile(LFileStoreRecord& record) {
    std::string folder = Folder();
    if (!MakeDirs(folder)) {
        LogSystemFailure("LFileStoreListBase::Save", "mkdir");
        return Outcome::Failed;
    }
    bool ok = false;
    std::vector<int> numbers = ListNumbers(ok);
    if (!ok) return Outcome::Failed;
    std::set<int> used(numbers.begin(), numbers.end());
    int tries = 0;
    for (int number = 0; tries < kMaxRetries; ++number) {
        if (used.count(number)) continue;
        ++tries;
        RecordFile file;
        RecordFile::State state = file.CreateNew(PathOf(number));
        if (state == RecordFile::State::Missing) continue;  // another process took it
        if (state == RecordFile::State::Failed) return Outcome::Failed;
        Outcome outcome = MergeInto(file, LFileStoreValues(), number, record);
        if (outcome == Outcome::Failed) file.DiscardCreated();
        return outcome;
    }
    LogError("LFileStoreListBase::Save: no free record number in %s", folder.c_str());
    return Outcome::Failed;
}

// Applies the keys this record set or removed to what is on disk now.
LFileStoreListBase::Outcome LFileStoreListBase::MergeInto(RecordFile& file,
                                                          const LFileStoreValues& disk, int number,
                                                          LFileStoreRecord& record) {
    LFileStoreValues merged = disk;
    for (const auto& [key, set] : record.changed_) {
        auto mine = record.values_.find(key);
        if (set && mine != record.values_.end())
            merged.insert_or_assign(key, mine->second);
        else
            merged.erase(key);
    }
    bool unchanged = !disk.empty() && merged == disk;
    if (!unchanged && !file.Replace(FormatRecord(merged))) return Outcome::Failed;
    record.values_ = std::move(merged);
    record.changed_.clear();
    record.modified_ = false;
    record.diskId_ = record.Id();
    record.number_ = number;
    return unchanged ? Outcome::Unchanged : Outcome::Done;
}

}  // namespace vocarta
