#pragma once
// A recording minus the ranges removed from it, presented as a source that
// streams the kept audio. The list holds frame ranges of the underlying source,
// never audio, so its memory grows with the number of cuts, not with the length
// of the recording.
//
// Threading: one thread at a time (the trim's). The underlying source is owned
// jointly through its handle and must not be read by anyone else meanwhile.

#include <cstdint>
#include <vector>

#include "audio/sound_source.h"

namespace vocarta {

class LEditList : public LSoundSourceBase {
  public:
    // Starts as the whole of `source`: frames [0, totalFrames). `totalFrames` is
    // what the caller counted (a decoder's own total may be an estimate).
    LEditList(LSoundSource source, uint64_t totalFrames);

    // Removes [start, end), counted in frames of the edited audio as it stands.
    // A range whose end is below its start or below 0 is ignored; a negative
    // start is taken as 0; an empty range does nothing; what lies beyond the end
    // of the edited audio is not there to remove.
    void RemoveRange(int64_t start, int64_t end);

    // Frames of the edited audio (also TotalFrames()).
    uint64_t Length() const { return totalFrames_; }
    size_t RangeCount() const { return ranges_.size(); }

    // A kept range: source frames [sourceStart, sourceEnd), which begins at
    // frame editedStart of the edited audio.
    struct Range {
        uint64_t sourceStart;
        uint64_t sourceEnd;
        uint64_t editedStart;
        uint64_t Frames() const { return sourceEnd - sourceStart; }
    };
    const std::vector<Range>& Ranges() const { return ranges_; }

    // Reads the kept audio in order, seeking the source between ranges. A source
    // that ends or fails inside a kept range is an error (negative result).
    int64_t Read(float* samples, uint64_t frames) override;
    // Moves to a frame of the edited audio; the source is moved on the next Read.
    bool Seek(uint64_t frame) override;
    // Moves to the start and positions the source there now, so a source that
    // cannot seek is found out before anything is written.
    bool Rewind();

  private:
    // Index of the range holding edited frame `frame` (ranges_.size() past the end).
    size_t RangeAt(uint64_t frame) const;

    LSoundSource source_;
    std::vector<Range> ranges_;
    uint64_t position_ = 0;                 // edited frame the next Read starts at
    size_t current_ = 0;                    // range holding position_
    uint64_t sourcePosition_ = UINT64_MAX;  // where the source is, if known
};

}  // namespace vocarta
