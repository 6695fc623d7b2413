#pragma once
// A file descriptor with the toolkit's operations and logging. Failures of
// system calls are logged as "LFile::<Operation> <call> FAILED: <system text>".
// An LFile is used by one thread at a time.

#include <cstdint>
#include <string>
#include <vector>

namespace vocarta {

class LFile {
  public:
    enum class Mode {
        Read,            // existing file, read only
        ReadWrite,       // existing file
        OpenOrCreate,    // read/write, created if missing, contents kept
        CreateTruncate,  // read/write, created if missing, emptied
        CreateExclusive  // read/write, fails if the file exists
    };
    enum class LockKind { Shared, Exclusive };

    LFile() = default;
    ~LFile() { Close(); }
    LFile(const LFile&) = delete;
    LFile& operator=(const LFile&) = delete;
    LFile(LFile&& other) noexcept;
    LFile& operator=(LFile&& other) noexcept;

    // Opens with O_CLOEXEC; created files get `permissions` (before the umask).
    // Never follows a symbolic link at the last component when `noFollow` is set.
    bool Open(const std::string& path, Mode mode, unsigned permissions = 0666,
              bool noFollow = false);
    void Close();
    bool IsOpen() const { return fd_ >= 0; }
    int Descriptor() const { return fd_; }
    const std::string& Path() const { return path_; }

    // Reads up to `size` bytes (retrying short reads until end of file); returns
    // the count read, or -1 on error.
    int64_t Read(void* buffer, int64_t size);
    // Writes all `size` bytes unless the system refuses; returns the count
    // written (less than `size` on a short write, -1 on error).
    int64_t Write(const void* buffer, int64_t size);
    int64_t ReadAt(int64_t offset, void* buffer, int64_t size);
    int64_t WriteAt(int64_t offset, const void* buffer, int64_t size);

    bool Seek(int64_t position);
    bool SeekToEnd();
    int64_t Tell() const;
    int64_t GetFileSizeBytes64() const;
    bool Truncate(int64_t length);
    bool Sync();

    // The lock wait shared by every file that several processes touch: try
    // without blocking; while another holder has it, sleep and retry, the first
    // sleep limit/32 + 1 ms, each further one doubled, stopping once the next
    // sleep would reach the limit. Readers take Shared, writers Exclusive.
    bool LockWait(LockKind kind, int limitMs);
    void Unlock();

    // The sleeps LockWait makes for `limitMs` (157, 314, 628, 1256, 2512 for 5000).
    static std::vector<int> LockWaitSchedule(int limitMs);

    // stat() size of a path; -1 (logged) when it cannot be read.
    static int64_t GetFileSizeBytes64(const std::string& path);
    // Reads a whole small file; false when it cannot be opened or read.
    static bool ReadAll(const std::string& path, std::string& out);
    // Writes a file so that every moment on disk is either the old or the new
    // contents: temporary file in the same folder, fsync, rename.
    static bool WriteAtomically(const std::string& path, const std::string& contents,
                                unsigned permissions = 0644);
    // Removes the temporary files of WriteAtomically(path) that a killed writer
    // left behind. Only for callers holding the lock every writer of `path` takes,
    // so that no temporary still being written can be there.
    static void RemoveStaleTemporaries(const std::string& path);

  private:
    int fd_ = -1;
    std::string path_;
};

}  // namespace vocarta
