#include "audio/trim/edit_list.h"
#include "audio/trim/silence_search.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
// Regions in order, not overlapping, each inside the recording (whose last one
// may end one frame past it), each new length within its region.
bool CheckCutList(const CutList& cutList, std::string& error) {
    uint64_t previousEnd = 0;
    for (size_t i = 0; i < cutList.regions.size(); ++i) {
        const SilentRegion& r = cutList.regions[i];
        if (r.end <= r.start || r.start < previousEnd || r.end > cutList.totalFrames + 1 ||
            r.newLength > r.Length()) {
            error = StringPrintf(
                "silent region %zu (frames %llu..%llu, new length %llu) does "
                "not fit the recording",
                i, (unsigned long long)r.start, (unsigned long long)r.end,
                (unsigned long long)r.newLength);
            return false;
        }
        previousEnd = r.end;
    }
    return true;
}
}  // namespace

TrimStatus RemoveSilence(const CutList& cutList, LEditList& editList, const TrimProgress& progress,
                         std::string& error) {
    progress.Start(kTrimRemoveText);
    if (!CheckCutList(cutList, error)) return TrimStatus::Failed;
    const size_t count = cutList.regions.size();
    // Regions are in frames of the recording; the edit list is already shorter
    // by what earlier cuts took out, which `shift` (<= 0) accounts for.
    int64_t shift = 0;
    for (size_t i = 0; i < count; ++i) {
        progress.Set(double(i) / double(count));
        if (progress.Cancelled()) return TrimStatus::Cancelled;
        const SilentRegion& r = cutList.regions[i];
        const int64_t length = int64_t(r.Length());
        const int64_t newLength = int64_t(r.newLength);
        const int64_t cutLength = length - newLength;
        const int64_t cutStart = (int64_t(r.start) + shift) + (length - cutLength) / 2;
        editList.RemoveRange(cutStart, cutStart + cutLength);
        shift += newLength - length;
    }
    progress.Set(1.0);
    return TrimStatus::Ok;
}

}  // namespace vocarta
