#pragma once
// How a trim reports its progress and learns that the user cancelled it. The
// recordings window drives a progress dialog through it; the after-recording
// queue drives the main window's status line and its own stop request.
//
// Threading: every callback is called on the thread that runs the trim. The
// cancel callback is typically a read of an atomic flag that another thread sets.

#include <functional>
#include <string>

namespace vocarta {

// Texts of the three passes, as the progress display shows them.
inline constexpr const char* kTrimPeakText = "Finding Peak Sample...";
inline constexpr const char* kTrimSearchText = "Searching for silence...";
inline constexpr const char* kTrimRemoveText = "Removing silence...";
// The main window's status line while a finished recording is trimmed.
inline constexpr const char* kTrimStatusText = "Removing silence from recorded file";

// Result of a pass and of a whole trim.
enum class TrimStatus { Ok, Cancelled, Failed };

struct TrimProgress {
    // A pass starts; `text` is one of the pass texts above.
    std::function<void(const char* text)> passStarted;
    // Fraction of the current pass done, 0..1.
    std::function<void(double fraction)> progress;
    // True once the user asked to stop; the running pass ends at once.
    std::function<bool()> cancelRequested;

    void Start(const char* text) const {
        if (passStarted) passStarted(text);
    }
    void Set(double fraction) const {
        if (progress) progress(fraction < 0 ? 0 : fraction > 1 ? 1 : fraction);
    }
    bool Cancelled() const { return cancelRequested && cancelRequested(); }
};

}  // namespace vocarta
