#include "settings/usage_stats.h"

#include <climits>

#include "settings/settings.h"

namespace vocarta {

void CountUsage(std::string_view tag) {
    const int count = UsageCount(tag);
    // A counter that has reached the top stays there rather than turning negative.
    SetSettingInt(kUsageStatsSection, tag, count < INT_MAX ? count + 1 : count);
}

int UsageCount(std::string_view tag) {
    const int count = GetSettingInt(kUsageStatsSection, tag, 0);
    return count < 0 ? 0 : count;
}

void RecordFailure(std::string_view tag, std::string_view reason) {
    SetSettingString(kUsageStatsSection, kLastFailedKey, tag);
    SetSettingString(kUsageStatsSection, kLastFailedReasonKey, reason);
}

}  // namespace vocarta
