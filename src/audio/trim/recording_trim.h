#pragma once
// Trimming silence from a finished recording: decode it, find the silences,
// shorten them in an edit list, write the edited audio to a new file of the same
// format and encoder settings next to it, and rename that over the recording.
// The recording is replaced only by a complete, closed and synced file: a
// failure, a cancellation or a crash at any point leaves it untouched. Leftover
// temporary files of a killed trim are removed by the next trim of the folder.
//
// Each failure ends the trim and is recorded as (section, tag): the log line
// "<section> <tag>: <path>: <reason>" in the error log and the pair
// (UsageStats, LastFailed) = section, (UsageStats, LastFailedReason) = tag.
// Sections: "TrimSilence" while the recording is opened, "TrimSilnce" from the
// cut list on (that spelling is the one the failure reports have always used).
//
// Threading: TrimRecording runs entirely on the calling thread (the
// after-recording queue's, or a worker of the recordings window), never on the
// GUI thread; progress callbacks are made on it.

#include <cstdint>
#include <functional>
#include <string>

#include "audio/sound_sink.h"
#include "audio/sound_source.h"
#include "audio/trim/trim_progress.h"
#include "audio/trim/trim_settings.h"

namespace vocarta {

inline constexpr const char* kTrimSectionOpen = "TrimSilence";
inline constexpr const char* kTrimSection = "TrimSilnce";  // deliberate spelling, kept

// How a trim reaches files. RealTrimFileIo() uses the program's decoders and
// sinks; tests give in-memory ones.
struct TrimFileIo {
    // Opens a recording for reading as float frames.
    std::function<LSoundSource(const std::string& path, std::string& error)> openSource;
    // Opens a sink that writes `newPath` in the format and with the encoder
    // settings of the recording at `likePath`, whose decoded audio is `decoded`.
    std::function<LSoundSink(const std::string& newPath, const std::string& likePath,
                             const LSoundSourceBase& decoded, std::string& error)>
        openSinkLike;
};

// The program's decoders (by extension) and sinks (same format and encoder
// settings as the recording).
TrimFileIo RealTrimFileIo();

struct TrimOutcome {
    TrimStatus status = TrimStatus::Ok;
    // For a failure: where it was recorded, and why.
    std::string section;
    std::string tag;
    std::string error;
    uint64_t framesBefore = 0;
    uint64_t framesAfter = 0;
    // True when the recording was rewritten (nothing to cut leaves it as it is).
    bool replaced = false;
};

TrimOutcome TrimRecording(const std::string& path, const TrimSettings& settings,
                          const TrimFileIo& io, const TrimProgress& progress);

// The trim that runs right after a recording, with its own settings
// (ReadAfterRecordingTrimSettings). The caller checks AfterRecordingTrimEnabled().
TrimOutcome TrimAfterRecording(const std::string& path, const TrimProgress& progress,
                               const TrimFileIo& io = RealTrimFileIo());

}  // namespace vocarta
