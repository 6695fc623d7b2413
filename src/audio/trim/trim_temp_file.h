#pragma once
// The temporary file a trimmed recording is written to before it replaces the
// recording: in the recording's own folder (so the replacement is one atomic
// rename), hidden, named ".vctrim-XXXXXX" plus the recording's extension (so a
// sink chosen by extension writes the same format).
//
// While a trim runs it holds an exclusive flock on its temporary file. A trim
// killed at any moment loses that lock with its process, which is how the next
// trim of the folder tells a leftover from a file another trim is still writing.
//
// Threading: an LTrimTempFile is used by one thread; sweeps may run on any.

#include <sys/stat.h>

#include <string>

namespace vocarta {

inline constexpr const char* kTrimTempPrefix = ".vctrim-";

class LTrimTempFile {
  public:
    LTrimTempFile() = default;
    ~LTrimTempFile() { Discard(); }
    LTrimTempFile(const LTrimTempFile&) = delete;
    LTrimTempFile& operator=(const LTrimTempFile&) = delete;

    // Creates and locks a new temporary file next to `recordingPath`.
    bool Create(const std::string& recordingPath, std::string& error);
    const std::string& Path() const { return path_; }

    // Makes the finished file durable, gives it the mode and times of
    // `original`, and renames it over `target`, which must still be the file
    // `original` describes (a recording the user renamed or deleted meanwhile is
    // not brought back). After success the temporary file no longer exists.
    bool Replace(const std::string& target, const struct stat& original, std::string& error);
    // Removes the file (if any) and releases the lock. Idempotent.
    void Discard();

  private:
    std::string path_;
    int fd_ = -1;  // holds the lock; the sink writes through its own descriptor
};

// Removes the temporary files in `folder` that no running trim holds (left by a
// trim that was killed); returns how many were removed.
int SweepStaleTrimFiles(const std::string& folder);

}  // namespace vocarta
