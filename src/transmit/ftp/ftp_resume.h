#pragma once
// Uploads that stopped part-way, so that the next send of the same recording to
// the same place appends the rest (APPE from the server's size) instead of
// sending it all again. An upload is resumed only when this store names it: the
// same server, user, folder and remote name, and the same local file with the
// same size and time. Anything else on the server is never appended to.
//
// The list lives in $XDG_DATA_HOME/vocarta/ftp-resume.lst, one upload a line:
// when it was noted, server, user, folder, remote name, local path, local size
// and local time in nanoseconds, separated by tabs (a backslash, tab, CR or LF
// inside a field escaped as \\, \t, \r, \n). It keeps the 100 newest entries of
// the last 30 days. Losing it costs a full upload, never a recording.
//
// Threading: any thread; several processes share the file under a lock.

#include <cstdint>
#include <string>
#include <vector>

#include "toolkit/result.h"

namespace vocarta {

struct FtpResumeKey {
    std::string server;
    std::string user;
    std::string directory;
    std::string remoteName;
    std::string localPath;
    int64_t localSize = 0;
    int64_t localTimeNs = 0;

    bool operator==(const FtpResumeKey&) const = default;
};

// The key of uploading `localPath` as `remoteName`; kIo when the file cannot be
// read.
LResult<FtpResumeKey> MakeFtpResumeKey(const std::string& server, const std::string& user,
                                       const std::string& directory, const std::string& remoteName,
                                       const std::string& localPath);

class FtpResumeStore {
  public:
    explicit FtpResumeStore(std::string path = DefaultPath());

    static std::string DefaultPath();

    bool Has(const FtpResumeKey& key) const;
    LStatus Remember(const FtpResumeKey& key);
    LStatus Forget(const FtpResumeKey& key);
    // Every entry, oldest first.
    std::vector<FtpResumeKey> Entries() const;

  private:
    struct Entry {
        int64_t noted = 0;
        FtpResumeKey key;
    };
    std::vector<Entry> Load() const;
    LStatus Save(const std::vector<Entry>& entries) const;

    std::string path_;
};

}  // namespace vocarta
