#pragma once
// The Linux preferences file: one human-readable UTF-8 file per domain,
//   # Vocarta preferences
//   # (a comment saying that the last line must stay)
//   Section/Key=value
//   # end
// with "\\", "\n", "\r", NUL ("\0") and (in keys) "\=" escaped. Every change is
// made under an advisory lock on "<file>.lock": the current file is read again,
// changed, its previous version kept as "<file>.bak" (a hard link, or a copy where
// the file system has none), the new one written to a temporary file, synced and
// renamed over the old one. So concurrent writers in several processes never lose
// each other's values, readers (who need no lock) always see a whole file, and at
// every moment both the file and its .bak are whole files.
//
// A file that cannot be read (see DamageIn) is replaced, under the lock, by its
// .bak, or by what could still be read of it when there is no good .bak; the
// damaged file is first kept as "<file>.damaged-YYYYMMDD-HHMMSS". This is logged
// once and offered once through TakeDamageNotice.

#include <sys/stat.h>
#include <sys/types.h>

#include <map>
#include <mutex>
#include <string>

#include "settings/preferences_store.h"
#include "toolkit/lfile.h"

namespace vocarta {

class FilePreferencesStore final : public LPreferencesStore {
  public:
    explicit FilePreferencesStore(std::string path);

    std::optional<std::string> CopyValue(const std::string& key) override;
    bool SetValue(const std::string& key, const std::string& value) override;
    int RemoveValues(const std::function<bool(const std::string& key)>& remove) override;
    std::vector<std::string> CopyKeyList() override;

    const std::string& Path() const { return path_; }

    std::string TakeDamageNotice() override;

    static std::string Serialize(const std::map<std::string, std::string>& values,
                                 const std::string& title);
    // Lines that cannot be read are skipped (and logged), never fatal.
    static std::map<std::string, std::string> Parse(const std::string& text);
    // Why `text` cannot be read as a preferences file; "" when it can. It cannot
    // when it is empty (we always write the title line), holds a NUL byte (binary
    // data: we escape NUL), does not end with a line end (cut off mid-line), has a
    // line that is neither blank, a comment nor key=value with a key, or begins
    // with our title line and then ends, or goes on with our comment about the
    // end line but lacks the closing "# end" line (cut off at a line end). A file
    // written by hand, or by a version before the end line, needs no "# end".
    static std::string DamageIn(const std::string& text);

  private:
    struct Identity {
        dev_t dev = 0;
        ino_t ino = 0;
        long long mtimeNs = -1;
        long long size = -1;
        bool operator==(const Identity&) const = default;
    };
    static Identity IdentityOf(const struct stat& st);
    // Re-reads the file when it has changed; false (values forgotten) when it
    // exists but cannot be read or a damaged file could not be replaced. A damaged
    // file is repaired under the cross-process lock, taken here unless
    // `haveFileLock`. Requires mutex_.
    bool RefreshLocked(bool haveFileLock);
    // Replaces the damaged file whose contents are `text` (open as `file`) by the
    // restored values. Without `mayWrite` (the cross-process lock could not be
    // taken), or when the damaged file cannot be kept aside, the restored values
    // are only read and writes are refused until the file changes. Requires mutex_
    // and, with `mayWrite`, the cross-process lock.
    bool RepairLocked(const std::string& text, const std::string& damage, LFile& file,
                      const struct stat& st, bool mayWrite);
    // Keeps the current file, about to be replaced, as <file>.bak; `previous`
    // are its values, written out when no hard link can be made. Requires the
    // cross-process lock.
    void KeepBackupLocked(const std::string& target,
                          const std::map<std::string, std::string>& previous);
    // The cross-process lock; closing the file releases it.
    bool TakeFileLock(LFile& lockFile);
    void ForgetLocked();  // requires mutex_
    std::string WriteTarget() const;
    // Runs `change` on fresh values under the cross-process lock and saves when it
    // reports a modification. Returns false when saving failed.
    bool Modify(const std::function<bool(std::map<std::string, std::string>&)>& change);

    std::string path_;
    std::mutex mutex_;
    std::map<std::string, std::string> values_;  // guarded by mutex_
    Identity loaded_;                            // guarded by mutex_
    // The file the values came from, held open: while it is open its inode number
    // cannot be reused, so "same inode" reliably means "not replaced since".
    LFile loadedFile_;                      // guarded by mutex_
    bool staleTemporariesRemoved_ = false;  // guarded by mutex_; once per store
    std::string damageNotice_;              // guarded by mutex_; until taken
    // The loaded file is damaged and could not be replaced: no writes over it.
    bool unreplacedDamage_ = false;  // guarded by mutex_
};

}  // namespace vocarta
