#include "app/session/recording_guard.h"

#include <algorithm>

#include "app/session/disk_space.h"
#include "app/session/session_settings.h"
#include "toolkit/log.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
// Room for 100 seconds of 32-bit samples must be left on the disk.
constexpr uint64_t kFreeSpaceSeconds = 100;
constexpr uint64_t kFreeSpaceBytesPerSample = 4;
constexpr int64_t kDiskCheckSeconds = 60;
// With the time check off the recorder keeps only this backstop.
constexpr int64_t kBackstopLimitMs = 216000000;
}  // namespace

bool RecordingGuard::EnoughFreeSpace(const std::string& folder, uint32_t rate, uint8_t channels) {
    const uint64_t needed =
        uint64_t(rate) * kFreeSpaceSeconds * uint64_t(channels) * kFreeSpaceBytesPerSample;
    std::optional<uint64_t> free = services_.freeBytes(folder);
    if (!free || *free > needed) return true;
    if (session_settings::AutoEmpty()) {
        (void)services_.emptyTrash(folder);  // it logs what it removed
        free = services_.freeBytes(folder);
        if (!free || *free > needed) return true;
    }
    lastShortage_ = FreeSpaceShortText(folder, needed, *free);
    LogEvent("Low disk space: %s", lastShortage_.c_str());
    return false;
}

int64_t RecordingGuard::Arm(int64_t limitMs, int64_t positionMs) {
    checkMaxTime_ = session_settings::CheckMaxTime();
    if (checkMaxTime_) maxTimeMs_ = session_settings::MaxTimeMs();
    lastDiskCheckMs_ = positionMs;
    // With the time check off a scheduled end must not stop the recording
    // (deliberate): the recorder then keeps only the 60-hour backstop.
    return checkMaxTime_ ? limitMs : kBackstopLimitMs;
}

RecordingGuard::Verdict RecordingGuard::Check(int64_t positionMs, const std::string& folder,
                                              uint32_t rate, uint8_t channels) {
    if ((positionMs - lastDiskCheckMs_) / 1000 >= kDiskCheckSeconds) {
        lastDiskCheckMs_ = positionMs;
        if (!EnoughFreeSpace(folder, rate, channels)) return Verdict::kLowDiskSpace;
    }
    // With CheckMaxTime off neither limit is looked at, the scheduled one
    // included: deliberate, and kept.
    if (!checkMaxTime_) return Verdict::kGoOn;
    if (HasScheduledLimit())
        return positionMs >= scheduledLimit_ ? Verdict::kScheduledEnd : Verdict::kGoOn;
    return positionMs >= maxTimeMs_ ? Verdict::kMaxTime : Verdict::kGoOn;
}

bool RecordingGuard::NearLimit(int64_t positionMs) const {
    constexpr int64_t kNearMs = 2500;  // over two of the one-second hand-overs
    if (!checkMaxTime_) return false;
    const int64_t limit = HasScheduledLimit() ? scheduledLimit_ : maxTimeMs_;
    return limit > 0 && limit - positionMs < kNearMs;
}

void RecordingGuard::ExtendScheduledLimit(int64_t limitMs) {
    scheduledLimit_ = std::max(scheduledLimit_, limitMs);
}

}  // namespace vocarta
