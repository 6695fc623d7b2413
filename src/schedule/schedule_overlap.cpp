#include "schedule/schedule_overlap.h"

namespace vocarta {

namespace {

bool SpansMeet(int64_t s1, int64_t e1, int64_t s2, int64_t e2) {
    return (s1 >= s2 && s1 <= e2) || (e1 >= s2 && e1 <= e2) || (s1 <= s2 && e1 >= e2);
}

}  // namespace

const ScheduledRecording* FindOverlap(const ScheduledRecordingList& list, ScheduleType type,
                                      int64_t start, int64_t end, int weekdays) {
    for (std::size_t i = 0; i < list.Count(); ++i) {
        const ScheduledRecording* other = list.At(i);
        if (!other->Active() || other->RecordingType() != int(type)) continue;
        if (type == ScheduleType::Weekly && (other->Weekdays() & weekdays) == 0) continue;
        if (SpansMeet(start, end, other->Start(), other->End())) return other;
    }
    return nullptr;
}

}  // namespace vocarta
