#include "audio/trim/edit_list.h"

#include <algorithm>

#include "toolkit/text.h"

namespace vocarta {

LEditList::LEditList(LSoundSource source, uint64_t totalFrames) : source_(std::move(source)) {
    if (source_) {
        sampleRate_ = source_->SampleRate();
        channels_ = source_->Channels();
        description_ = source_->FormatDescription();
    }
    totalFrames_ = totalFrames;
    if (totalFrames > 0) ranges_.push_back({0, totalFrames, 0});
}

size_t LEditList::RangeAt(uint64_t frame) const {
    if (frame >= totalFrames_) return ranges_.size();
    auto after = std::upper_bound(ranges_.begin(), ranges_.end(), frame,
                                  [](uint64_t f, const Range& r) { return f < r.editedStart; });
    return size_t(after - ranges_.begin()) - 1;
}

void LEditList::RemoveRange(int64_t start, int64_t end) {
    if (end < start || end < 0) return;
    if (start < 0) start = 0;
    const uint64_t from = uint64_t(start);
    const uint64_t to = std::min<uint64_t>(uint64_t(end), totalFrames_);
    if (from >= to) return;

    const size_t first = RangeAt(from);
    const size_t last = RangeAt(to - 1);
    // What survives of the first and last ranges touched: at most two pieces.
    Range pieces[2];
    size_t count = 0;
    const Range a = ranges_[first];
    if (from > a.editedStart)
        pieces[count++] = {a.sourceStart, a.sourceStart + (from - a.editedStart), a.editedStart};
    const Range b = ranges_[last];
    const uint64_t bEnd = b.editedStart + b.Frames();
    if (to < bEnd) pieces[count++] = {b.sourceEnd - (bEnd - to), b.sourceEnd, from};

    const size_t touched = last - first + 1;
    for (size_t i = 0; i < std::min(count, touched); ++i) ranges_[first + i] = pieces[i];
    if (count > touched) {
        ranges_.insert(ranges_.begin() + ptrdiff_t(first + touched), pieces[touched]);
    } else if (count < touched) {
        ranges_.erase(ranges_.begin() + ptrdiff_t(first + count),
                      ranges_.begin() + ptrdiff_t(first + touched));
    }
    // Cuts normally come in ascending order, so only the last range or two move.
    const uint64_t removed = to - from;
    for (size_t i = first + count; i < ranges_.size(); ++i) ranges_[i].editedStart -= removed;
    totalFrames_ -= removed;

    position_ = std::min(position_, totalFrames_);
    current_ = RangeAt(position_);
    sourcePosition_ = UINT64_MAX;
}

bool LEditList::Seek(uint64_t frame) {
    if (frame > totalFrames_) return false;
    position_ = frame;
    current_ = RangeAt(frame);
    return true;
}

bool LEditList::Rewind() {
    Seek(0);
    if (ranges_.empty()) return true;
    if (!source_ || !source_->Seek(ranges_[0].sourceStart)) {
        lastError_ = source_ ? "the recording cannot be rewound: " + source_->LastError()
                             : "no recording to read";
        sourcePosition_ = UINT64_MAX;
        return false;
    }
    sourcePosition_ = ranges_[0].sourceStart;
    return true;
}

int64_t LEditList::Read(float* samples, uint64_t frames) {
    if (!source_) {
        lastError_ = "no recording to read";
        return -1;
    }
    uint64_t done = 0;
    while (done < frames && current_ < ranges_.size()) {
        const Range& r = ranges_[current_];
        const uint64_t offset = position_ - r.editedStart;
        const uint64_t sourceFrame = r.sourceStart + offset;
        if (sourcePosition_ != sourceFrame) {
            if (!source_->Seek(sourceFrame)) {
                lastError_ =
                    StringPrintf("cannot move to frame %llu of the recording: %s",
                                 (unsigned long long)sourceFrame, source_->LastError().c_str());
                sourcePosition_ = UINT64_MAX;
                return -1;
            }
            sourcePosition_ = sourceFrame;
        }
        const uint64_t want = std::min(frames - done, r.Frames() - offset);
        const int64_t got = source_->Read(samples + done * channels_, want);
        if (got <= 0) {
            lastError_ = got < 0 ? source_->LastError()
                                 : StringPrintf(
                                       "the recording ends at frame %llu, inside the "
                                       "audio to keep",
                                       (unsigned long long)sourceFrame);
            sourcePosition_ = UINT64_MAX;
            return -1;
        }
        done += uint64_t(got);
        position_ += uint64_t(got);
        sourcePosition_ += uint64_t(got);
        if (position_ == r.editedStart + r.Frames()) ++current_;
    }
    return int64_t(done);
}

}  // namespace vocarta
