#pragma once
// The overlap test of a new or edited schedule against the active schedules of
// the list. Deliberate blind spots, kept as the product has them:
//   - schedules of different types are never compared (a weekly Monday 10:00 to
//     11:00 and a daily 10:30 to 11:30 do not overlap);
//   - daily and weekly spans are compared as stored on the reference day, so a
//     span past midnight is compared by its next-day end only (23:00 to 01:00
//     and 00:30 to 00:45 do not overlap);
//   - weekly schedules that share a day are compared by time of day alone.
// Touching ends count as overlap.
//
// Threading: the list's thread.

#include <cstdint>

#include "schedule/scheduled_recording.h"

namespace vocarta {

// The first record in list order that overlaps [start, end] of a schedule of
// `type` (and, for weekly, `weekdays`); nullptr when none does.
const ScheduledRecording* FindOverlap(const ScheduledRecordingList& list, ScheduleType type,
                                      int64_t start, int64_t end, int weekdays);

}  // namespace vocarta
