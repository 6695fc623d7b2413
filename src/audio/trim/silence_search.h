#pragma once
// The three passes of a silence trim over a decoded recording:
//   FindPeakSample    "Finding Peak Sample..."   (relative threshold only)
//   SearchForSilence  "Searching for silence..." builds the cut list
//   RemoveSilence     "Removing silence..."      shortens each region in an edit list
// Each reports its progress and ends at once, with TrimStatus::Cancelled, when
// the cancel callback says so. The source is read in blocks of 8192 frames, so
// memory does not depend on the recording's length.
//
// Threading: each pass runs on the caller's thread and uses the source alone.

#include <cstdint>
#include <string>
#include <vector>

#include "audio/sound_source.h"
#include "audio/trim/trim_progress.h"
#include "audio/trim/trim_settings.h"

namespace vocarta {

class LEditList;

inline constexpr uint64_t kTrimBlockFrames = 8192;

// A silence found in the recording: frames [start, end) to be shortened to
// newLength frames. A silence that runs to the end of the recording ends at
// total frames + 1.
struct SilentRegion {
    uint64_t start = 0;
    uint64_t end = 0;
    uint64_t newLength = 0;
    uint64_t Length() const { return end - start; }
    bool operator==(const SilentRegion&) const = default;
};

struct CutList {
    std::vector<SilentRegion> regions;
    // Frames in the recording as found by reading it (a decoder's own total may
    // be an estimate); the edit list is built over this many frames.
    uint64_t totalFrames = 0;
};

// Largest absolute sample of the whole source, over all channels.
TrimStatus FindPeakSample(LSoundSourceBase& source, const TrimProgress& progress, float& peak,
                          std::string& error);

// The linear threshold: the level turned into an amplitude (0 reads
// 0.25118864), times the peak factor (1 for an absolute threshold, the file's
// peak sample for a relative one).
float LinearThreshold(int thresholdDb, float peakFactor);

// Builds the cut list at linear threshold `threshold`. A frame is silent when no
// channel's sample is above the threshold.
TrimStatus SearchForSilence(LSoundSourceBase& source, const TrimSettings& settings, float threshold,
                            const TrimProgress& progress, CutList& cutList, std::string& error);

// Peak pass (for a relative threshold) followed by the search.
TrimStatus BuildCutList(LSoundSourceBase& source, const TrimSettings& settings,
                        const TrimProgress& progress, CutList& cutList, std::string& error);

// Shortens every region of `cutList` in `editList` (built over the same source),
// each cut centred in its region so that half of the kept silence stays on each
// side. Fails, removing nothing, on a cut list whose regions are out of order.
TrimStatus RemoveSilence(const CutList& cutList, LEditList& editList, const TrimProgress& progress,
                         std::string& error);

}  // namespace vocarta
