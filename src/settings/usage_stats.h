#pragma once
// The usage record in section "UsageStats": a successful user operation adds one
// to the counter named by its tag ("StrtRcrdng", "CmRecord", ...); a failure
// leaves its tag in "LastFailed" and the reason ("LowDiskSpace", "SinkFailed",
// "OpenSinkFailed", a recorder's error text, ...) in "LastFailedReason".
//
// Threading: any thread (each call is one or two writes of the settings store).

#include <string_view>

namespace vocarta {

inline constexpr const char* kUsageStatsSection = "UsageStats";
inline constexpr const char* kLastFailedKey = "LastFailed";
inline constexpr const char* kLastFailedReasonKey = "LastFailedReason";

// Adds one to the counter `tag` (a missing counter starts from 0).
void CountUsage(std::string_view tag);
// The number counted so far under `tag`.
int UsageCount(std::string_view tag);
// Writes the failure pair.
void RecordFailure(std::string_view tag, std::string_view reason);

}  // namespace vocarta
