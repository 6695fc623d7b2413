#include "audio/trim/silence_search.h"

#include <algorithm>
#include <cmath>

#include "audio/level.h"
#include "audio/sound_time.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

// Fills `frames` frames unless the source ends first; the count read, or -1.
int64_t ReadFully(LSoundSourceBase& source, float* samples, uint64_t frames) {
    uint64_t done = 0;
    while (done < frames) {
        int64_t got = source.Read(samples + done * source.Channels(), frames - done);
        if (got < 0) return -1;
        if (got == 0) break;
        done += uint64_t(got);
    }
    return int64_t(done);
}

double Fraction(uint64_t done, uint64_t total) {
    return total ? double(done) / double(total) : 0;
}

bool CheckFormat(const LSoundSourceBase& source, std::string& error) {
    if (source.Channels() == 0 || source.SampleRate() == 0) {
        error = StringPrintf("the recording has no usable format (%u Hz, %u channels)",
                             unsigned(source.SampleRate()), unsigned(source.Channels()));
        return false;
    }
    return true;
}

// One search over one source: the forward scan, and for start-and-end-only the
// backward scan of the trailing silence.
class SilenceSearch {
  public:
    SilenceSearch(LSoundSourceBase& source, const TrimSettings& settings, float threshold,
                  const TrimProgress& progress, CutList& out)
        : source_(source),
          settings_(settings),
          threshold_(threshold),
          progress_(progress),
          out_(out),
          channels_(source.Channels()),
          shortestFrames_(LSoundTime(settings.shortestSilenceMs).ToFrames(source.SampleRate())),
          fixedFrames_(LSoundTime(settings.newFixedLengthMs).ToFrames(source.SampleRate())),
          buffer_(kTrimBlockFrames * source.Channels()) {}

    TrimStatus Run(std::string& error);

  private:
    bool IsLoud(const float* frame) const {
        for (unsigned c = 0; c < channels_; ++c)
            if (std::fabs(frame[c]) > threshold_) return true;
        return false;
    }
    void Commit(uint64_t start, uint64_t end, bool atFileEnd);
    // Whole file; up to the first loud frame after a committed region; or only
    // the silence that runs to the end (interior ones are not looked at).
    enum class Scan { All, ToFirstCommit, TrailingOnly };
    TrimStatus ScanForward(uint64_t from, Scan scan, std::string& error);
    TrimStatus ScanTrailing(std::string& error);
    TrimStatus ScanTailForward(std::string& error);
    TrimStatus ReadFailed(uint64_t at, std::string& error) {
        error = StringPrintf("the recording could not be read at frame %llu: %s",
                             (unsigned long long)at, source_.LastError().c_str());
        return TrimStatus::Failed;
    }

    LSoundSourceBase& source_;
    const TrimSettings& settings_;
    const float threshold_;
    const TrimProgress& progress_;
    CutList& out_;
    const unsigned channels_;
    const uint64_t shortestFrames_;
    const uint64_t fixedFrames_;
    std::vector<float> buffer_;
    uint64_t stopFrame_ = 0;  // the loud frame where a start-and-end-only scan stopped
    bool stopped_ = false;
};

void SilenceSearch::Commit(uint64_t start, uint64_t end, bool atFileEnd) {
    const uint64_t length = end - start;
    if (length < shortestFrames_ && start != 0 && !atFileEnd) return;  // a pause, left alone
    const auto proportional = uint64_t(settings_.NewLengthFraction() * double(length));
    out_.regions.push_back({start, end, std::min(fixedFrames_ + proportional, length)});
}

TrimStatus SilenceSearch::Run(std::string& error) {
    out_.regions.clear();
    out_.totalFrames = 0;
    if (!CheckFormat(source_, error)) return TrimStatus::Failed;
    if (!source_.Seek(0)) {
        error = "the recording cannot be rewound: " + source_.LastError();
        return TrimStatus::Failed;
    }
    TrimStatus status =
        ScanForward(0, settings_.startAndEndOnly ? Scan::ToFirstCommit : Scan::All, error);
    if (status != TrimStatus::Ok || !stopped_) return status;
    return ScanTrailing(error);
}

// Forward from `from` (a frame where no region is open) to the end of the file,
// or to the first loud frame that follows a committed region. A region still
// open at the end is closed one frame past the last frame: deliberate, kept.
TrimStatus SilenceSearch::ScanForward(uint64_t from, Scan scan, std::string& error) {
    const uint64_t total = source_.TotalFrames();
    bool open = false;
    uint64_t openStart = 0;
    uint64_t position = from;
    for (;;) {
        progress_.Set(Fraction(position, total));
        if (progress_.Cancelled()) return TrimStatus::Cancelled;
        const int64_t got = ReadFully(source_, buffer_.data(), kTrimBlockFrames);
        if (got < 0) return ReadFailed(position, error);
        if (got == 0) break;
        for (uint64_t i = 0; i < uint64_t(got); ++i) {
            const uint64_t frame = position + i;
            if (!IsLoud(&buffer_[i * channels_])) {
                if (!open) {
                    open = true;
                    openStart = frame;
                }
                continue;
            }
            if (open) {
                open = false;
                if (scan != Scan::TrailingOnly) Commit(openStart, frame, false);
            }
            if (scan == Scan::ToFirstCommit && !out_.regions.empty()) {
                stopped_ = true;
                stopFrame_ = frame;
                return TrimStatus::Ok;
            }
        }
        position += uint64_t(got);
    }
    if (open) Commit(openStart, position + 1, true);
    out_.totalFrames = position;
    return TrimStatus::Ok;
}

// Backward from the end, block by block and frame by frame, down to the frame
// after the one where the forward scan stopped. The decoder's total is checked
// on the last block: when it does not end exactly at the end of the file, the
// tail is scanned forward instead.
TrimStatus SilenceSearch::ScanTrailing(std::string& error) {
    const uint64_t floor = stopFrame_ + 1;
    uint64_t end = std::max(floor, source_.TotalFrames());
    uint64_t blockEnd = end;
    bool lastBlock = true;
    while (blockEnd > floor || lastBlock) {
        progress_.Set(Fraction(stopFrame_ + (end - blockEnd), end));
        if (progress_.Cancelled()) return TrimStatus::Cancelled;
        const uint64_t blockStart =
            std::max(floor, blockEnd - std::min(blockEnd, kTrimBlockFrames));
        const uint64_t want = blockEnd - blockStart;
        const bool moved = source_.Seek(blockStart);
        const int64_t got = moved ? ReadFully(source_, buffer_.data(), want) : -1;
        if (lastBlock) {
            lastBlock = false;
            float probe[256];  // one frame of up to 255 channels
            const int64_t more = got == int64_t(want) ? source_.Read(probe, 1) : 0;
            if (got <= 0 || more != 0) return ScanTailForward(error);
            end = blockEnd = blockStart + uint64_t(got);
        } else if (got != int64_t(want)) {
            return ReadFailed(blockStart + uint64_t(std::max<int64_t>(got, 0)), error);
        }
        for (uint64_t i = blockEnd - blockStart; i-- > 0;) {
            if (IsLoud(&buffer_[i * channels_])) {
                const uint64_t start = blockStart + i + 1;
                if (start < end) Commit(start, end + 1, true);
                out_.totalFrames = end;
                return TrimStatus::Ok;
            }
        }
        blockEnd = blockStart;
    }
    if (floor < end) Commit(floor, end + 1, true);
    out_.totalFrames = end;
    return TrimStatus::Ok;
}

TrimStatus SilenceSearch::ScanTailForward(std::string& error) {
    const uint64_t floor = stopFrame_ + 1;
    if (!source_.Seek(floor)) return ReadFailed(floor, error);
    return ScanForward(floor, Scan::TrailingOnly, error);
}

}  // namespace

float LinearThreshold(int thresholdDb, float peakFactor) {
    return LevelToAmplitude(thresholdDb) * peakFactor;
}

TrimStatus FindPeakSample(LSoundSourceBase& source, const TrimProgress& progress, float& peak,
                          std::string& error) {
    peak = 0;
    if (!CheckFormat(source, error)) return TrimStatus::Failed;
    if (!source.Seek(0)) {
        error = "the recording cannot be rewound: " + source.LastError();
        return TrimStatus::Failed;
    }
    std::vector<float> buffer(kTrimBlockFrames * source.Channels());
    const uint64_t total = source.TotalFrames();
    uint64_t position = 0;
    for (;;) {
        progress.Set(Fraction(position, total));
        if (progress.Cancelled()) return TrimStatus::Cancelled;
        const int64_t got = ReadFully(source, buffer.data(), kTrimBlockFrames);
        if (got < 0) {
            error = StringPrintf("the recording could not be read at frame %llu: %s",
                                 (unsigned long long)position, source.LastError().c_str());
            return TrimStatus::Failed;
        }
        if (got == 0) return TrimStatus::Ok;
        const size_t samples = size_t(got) * source.Channels();
        for (size_t i = 0; i < samples; ++i) peak = std::max(peak, std::fabs(buffer[i]));
        position += uint64_t(got);
    }
}

TrimStatus SearchForSilence(LSoundSourceBase& source, const TrimSettings& settings, float threshold,
                            const TrimProgress& progress, CutList& cutList, std::string& error) {
    SilenceSearch search(source, settings, threshold, progress, cutList);
    return search.Run(error);
}

TrimStatus BuildCutList(LSoundSourceBase& source, const TrimSettings& settings,
                        const TrimProgress& progress, CutList& cutList, std::string& error) {
    float peakFactor = 1.0f;
    if (!settings.thresholdIsAbsolute) {
        progress.Start(kTrimPeakText);
        TrimStatus status = FindPeakSample(source, progress, peakFactor, error);
        if (status != TrimStatus::Ok) return status;
    }
    progress.Start(kTrimSearchText);
    return SearchForSilence(source, settings, LinearThreshold(settings.thresholdDb, peakFactor),
                            progress, cutList, error);
}

}  // namespace vocarta
