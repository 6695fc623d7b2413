#pragma once
// The limits a running recording is held to: free space on the record folder
// (checked at each start and every 60 s of recording, with the Trash emptied
// first when AutoEmpty is on), the maximum recording time, and the end of a
// scheduled recording. The session asks; the guard answers.
//
// Threading contract: main thread only.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "app/session/session_services.h"

namespace vocarta {

class RecordingGuard {
  public:
    static constexpr int64_t kNoLimit = -1;

    enum class Verdict { kGoOn, kLowDiskSpace, kMaxTime, kScheduledEnd };

    explicit RecordingGuard(SessionServices& services) : services_(services) {}

    // The free-space rule: more than rate × 100 × channels × 4 bytes (room for
    // 100 seconds of 32-bit samples) free on the file system of `folder`, the
    // Trash emptied once first when AutoEmpty is on. True when the system cannot
    // tell.
    bool EnoughFreeSpace(const std::string& folder, uint32_t rate, uint8_t channels);

    // At each start of the recorder: takes CheckMaxTime and the maximum time, and
    // gives the limit the recorder itself is started with.
    int64_t Arm(int64_t limitMs, int64_t positionMs);
    // After each progress report: whether the recording may go on. The free
    // space is looked at again once 60 s have passed since the last look.
    Verdict Check(int64_t positionMs, const std::string& folder, uint32_t rate, uint8_t channels);

    // Whether the recording is within a few seconds of the end Check would
    // give it (maximum time or scheduled end): the recorder is then asked for
    // its updates five times a second, so that the end is met closely even when
    // nothing shows the time.
    bool NearLimit(int64_t positionMs) const;

    // Set by -scheduled_launch: the recording ends at this position.
    int64_t ScheduledLimit() const { return scheduledLimit_; }
    bool HasScheduledLimit() const { return scheduledLimit_ != kNoLimit; }
    void SetScheduledLimit(int64_t limitMs) { scheduledLimit_ = limitMs; }
    // A later schedule may only move the end later.
    void ExtendScheduledLimit(int64_t limitMs);
    void ClearScheduledLimit() { scheduledLimit_ = kNoLimit; }

    // The figures of the last shortage: "needs 35 MB, 1 MB free on /mnt/x".
    const std::string& LastShortage() const { return lastShortage_; }

    bool CheckMaxTimeOn() const { return checkMaxTime_; }
    int64_t MaxTimeMs() const { return maxTimeMs_; }

  private:
    SessionServices& services_;
    bool checkMaxTime_ = true;
    int64_t maxTimeMs_ = 0;
    int64_t scheduledLimit_ = kNoLimit;
    int64_t lastDiskCheckMs_ = 0;
    std::string lastShortage_;
};

}  // namespace vocarta
