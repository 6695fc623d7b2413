#pragma once
// The Linux preferences file: one human-readable UTF-8 file per domain,
//   # comment
//   Section/Key=value
// with "\\", "\n", "\r" and (in keys) "\=" escaped. Every change is made under an
// advisory lock on "<file>.lock": the current file is read again, changed, written
// to a temporary file, synced and renamed over the old one. So concurrent writers
// in several processes never lose each other's values, and readers (who need no
// lock) always see a whole file. Reads re-load only when the file has changed.

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

    static std::string Serialize(const std::map<std::string, std::string>& values,
                                 const std::string& title);
    // Lines that cannot be read are skipped (and logged), never fatal.
    static std::map<std::string, std::string> Parse(const std::string& text);

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
    // exists but cannot be read. Requires mutex_.
    bool RefreshLocked();
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
};

}  // namespace vocarta
