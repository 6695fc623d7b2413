#pragma once
// The send queue file "bgsend.lst" in the application data folder (layout in
// transmit_record.h). Several processes share it: the running copy, a second
// copy, a scheduled launch, a test. Every operation opens the file, takes its
// lock (shared to read, exclusive to write; waited for as LFile::LockWait does
// with a limit of 5000 ms, going on without it when it cannot be had), does its
// work and closes the file again.
//
// A writer that deletes or replaces the file does so while it holds the
// exclusive lock, and an opener whose lock turns out to be on a file no longer
// at the path opens again; so a record appended by one process is never written
// into a file another process has just deleted.
//
// Bad files are handled without a crash and with a line in the error log: a
// symbolic link at the queue's path is removed (its target is never touched); a
// folder or other non-regular file is left alone and nothing is queued; a short
// header or an unknown version or record size reads as an empty queue; a cut
// record at the end reads as the end of the queue and is dropped by the next
// append.
//
// Threading contract: an object may be used from several threads at once (it
// holds only the path); the file lock serialises the work.

#include <cstddef>
#include <optional>
#include <string>

#include "toolkit/lfile.h"
#include "toolkit/result.h"
#include "transmit/transmit_record.h"

namespace vocarta {

// The queue's place: "bgsend.lst" in the application data folder.
std::string SendQueuePath();

class SendQueueFile {
  public:
    static constexpr int kLockLimitMs = 5000;

    explicit SendQueueFile(std::string path = SendQueuePath());

    const std::string& Path() const { return path_; }

    // Appends `record`, writing the header {1, 0, 272} first when the file is
    // empty (or of no format this program reads). Header and record go out in
    // one write, and a short write is cut off again, so a full disk never leaves
    // a cut record behind.
    LStatus Append(const TransmitRecord& record);

    // The oldest record as stored; nullopt when the queue holds no whole record.
    std::optional<TransmitRecordBytes> ReadHead();

    // Removes the oldest record, when it still is `head`: with more records
    // left the file becomes the header {1, 0, 272} (resume count reset) and the
    // rest, written to a temporary file and renamed over the queue; with none
    // left it is emptied. Returns the number of records left.
    LResult<std::size_t> RemoveHead(const TransmitRecordBytes& head);

    // Deletes the file when it still holds no whole record; false when a record
    // was appended since ReadHead looked.
    bool DeleteIfFinished();

    // Deletes the file whatever it holds.
    void Delete();

    enum class Resume { Resumed, Deleted, NoQueue };
    // Start-up: a queue with a known header whose resume count is at most
    // `failCount` gets its count raised by one; any other queue is deleted.
    Resume ResumeAtStartUp(int failCount);

    // Whole records the file holds now (0 for a missing or unreadable file).
    std::size_t Count();

  private:
    LResult<LFile> OpenLocked(LFile::LockKind kind, bool create);
    bool RewriteInPlace(LFile& file, std::size_t count);

    std::string path_;
};

}  // namespace vocarta
