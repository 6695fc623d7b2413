#pragma once
// A named list of key/value records kept as files: AppDataDir()/<name>/<n>.dat,
// one record per file, each identified by its "ID" value. List order is the order
// of the file numbers; a new record takes the first free number.
//
// Record text: "key=value&key=value", with "%", "=", "&" and control bytes inside
// keys and values written as %XX (two upper-case hex digits). A file that does not
// read back this way, or has no ID, is damaged: it is skipped with a line in the
// error log, and never rewritten or deleted.
//
// Between processes: a record file is changed only while its exclusive advisory
// lock is held (waited for up to 10000 ms), and replaced by a temporary file
// renamed over it, so a reader (who takes no lock) always sees a whole record and
// a killed writer leaves the old one. Save() merges with what is on disk now:
//   - only the keys this list set or removed are applied, so two processes that
//     change different keys of one record both keep their change, and of two that
//     change the same key the later save wins;
//   - a record is found by its ID (its own file number first), so one that
//     another process removed and added again is still found;
//   - a record another process deleted stays deleted: the changes to it are
//     dropped, the record leaves this list, and Save() reports its ID.
//
// Threading: a list and its records are used by one thread at a time.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vocarta {

// Keys and values of one record; compared and found byte for byte.
using LFileStoreValues = std::map<std::string, std::string, std::less<>>;

class LFileStoreRecord {
  public:
    static constexpr const char* kIdKey = "ID";

    LFileStoreRecord() = default;
    virtual ~LFileStoreRecord() = default;
    LFileStoreRecord(const LFileStoreRecord&) = delete;
    LFileStoreRecord& operator=(const LFileStoreRecord&) = delete;

    std::string Id() const { return GetValue(kIdKey); }
    bool HasValue(std::string_view key) const;
    std::string GetValue(std::string_view key, std::string_view def = {}) const;
    const LFileStoreValues& Values() const { return values_; }

    // Every setter marks the record modified, even when the value is unchanged:
    // setting a key is what makes it win over another process's change on save.
    // The ID can be changed but not emptied or removed (those calls are ignored).
    void SetValue(std::string_view key, std::string_view value);
    void RemoveValue(std::string_view key);

    // Typed access for derived records, encoded as the settings store does: an
    // empty or missing value gives the default; a bool is false only when its
    // text begins with "0".
    int32_t GetInt(std::string_view key, int32_t def) const;
    int64_t GetInt64(std::string_view key, int64_t def) const;
    bool GetBool(std::string_view key, bool def) const;
    void SetInt(std::string_view key, int32_t value);
    void SetInt64(std::string_view key, int64_t value);
    void SetBool(std::string_view key, bool value);

    bool IsModified() const { return modified_; }
    // The record's file number, -1 until it has been saved.
    int Number() const { return number_; }

  private:
    friend class LFileStoreListBase;

    LFileStoreValues values_;
    std::map<std::string, bool, std::less<>> changed_;  // key -> set (true) or removed
    std::string diskId_;  // the ID as last read from or written to disk; empty if never
    int number_ = -1;
    bool modified_ = false;
};

struct LFileStoreSaveResult {
    int written = 0;  // record files written
    int deleted = 0;  // record files removed
    int failed = 0;   // records that could not be saved; they stay pending for a retry
    // Modified records that another process had deleted; dropped from the list.
    std::vector<std::string> deletedElsewhere;
    bool Ok() const { return failed == 0; }
};

class LFileStoreListBase {
  public:
    static constexpr int kLockLimitMs = 10000;

    explicit LFileStoreListBase(std::string name);
    virtual ~LFileStoreListBase();
    LFileStoreListBase(const LFileStoreListBase&) = delete;
    LFileStoreListBase& operator=(const LFileStoreListBase&) = delete;

    const std::string& Name() const { return name_; }
    std::string Folder() const;  // AppDataDir()/<name>, read at each call

    // Reads every record, dropping unsaved changes. A missing folder is an empty
    // list; false (logged) only when the folder exists but cannot be listed.
    bool Load();

    std::size_t Count() const { return records_.size(); }
    LFileStoreRecord* RecordAt(std::size_t index) const;
    // The first record whose ID equals `id` byte for byte; nullptr when none.
    LFileStoreRecord* Find(std::string_view id) const;
    // A new record at the end of the list holding only its ID; it is written by
    // the next Save(). nullptr when `id` is empty.
    LFileStoreRecord* Add(std::string_view id);
    // Takes the record out of the list; its file is deleted by the next Save().
    bool Remove(LFileStoreRecord* record);

    // Deletes the files of removed records, then writes back every modified
    // record (merged with the disk, see above). Record pointers stay valid until
    // the next Load() or the end of the list, even for records Save() drops.
    LFileStoreSaveResult Save();

    // The record text format, for tests and tools.
    static std::string FormatRecord(const LFileStoreValues& values);
    // False, with the reason in `error`, when `text` is not a well-formed record.
    static bool ParseRecord(std::string_view text, LFileStoreValues& values, std::string& error);

  protected:
    // Derived lists return their own record type, to which their typed accessors
    // cast the pointers this class hands out.
    virtual std::unique_ptr<LFileStoreRecord> NewRecord() const;

  private:
    enum class Outcome { Done, Unchanged, Gone, Failed };
    class RecordFile;

    std::string PathOf(int number) const;
    std::vector<int> ListNumbers(bool& ok) const;
    bool FindOnDisk(std::string_view id, int& number) const;
    Outcome LockById(std::string_view id, int hint, RecordFile& file, LFileStoreValues& disk,
                     int& number) const;
    Outcome DeleteRecordFile(LFileStoreRecord& record);
    Outcome SaveRecord(LFileStoreRecord& record);
    Outcome CreateRecordFile(LFileStoreRecord& record);
    Outcome MergeInto(RecordFile& file, const LFileStoreValues& disk, int number,
                      LFileStoreRecord& record);
    void Retire(std::unique_ptr<LFileStoreRecord> record);

    std::string name_;
    std::vector<std::unique_ptr<LFileStoreRecord>> records_;  // list order
    std::vector<std::unique_ptr<LFileStoreRecord>> removed_;  // deleted by the next Save
    std::vector<std::unique_ptr<LFileStoreRecord>> retired_;  // kept until the next Load
};

}  // namespace vocarta
