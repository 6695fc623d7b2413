#pragma once
// Test audio for the trim tests: signals built from loud and silent stretches,
// an in-memory source that can misbehave on request, a run-length view of
// decoded audio, and recordings written and read by the program's own codecs.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "audio/codecs/sink_factory.h"
#include "audio/output_format.h"
#include "audio/sound_source.h"
#include "support/audio_test_util.h"

namespace vocarta::test {

inline constexpr uint32_t kRate = 44100;
inline constexpr float kLoud = 0.5f;

inline uint64_t Ms(uint64_t ms) {
    return ms * kRate / 1000;
}

// Interleaved audio built stretch by stretch.
struct Signal {
    unsigned channels = 1;
    std::vector<float> samples;

    uint64_t Frames() const { return samples.size() / channels; }
    // `frames` frames where every channel holds `value` (channel c of a loud
    // stretch alternates sign per frame, like a square wave).
    Signal& Add(uint64_t frames, float value) {
        for (uint64_t f = 0; f < frames; ++f)
            for (unsigned c = 0; c < channels; ++c) samples.push_back(f % 2 ? -value : value);
        return *this;
    }
    Signal& Loud(uint64_t frames) { return Add(frames, kLoud); }
    Signal& Silent(uint64_t frames) { return Add(frames, 0.0f); }
};

// Runs of loud (true) and silent frames, as (loud, frames) pairs.
using Runs = std::vector<std::pair<bool, uint64_t>>;
inline Runs RunsOf(const std::vector<float>& samples, unsigned channels, float threshold) {
    Runs runs;
    for (size_t f = 0; f < samples.size() / channels; ++f) {
        bool loud = false;
        for (unsigned c = 0; c < channels; ++c)
            loud |= std::fabs(samples[f * channels + c]) > threshold;
        if (runs.empty() || runs.back().first != loud) runs.push_back({loud, 0});
        ++runs.back().second;
    }
    return runs;
}

// Loud (a peak above 0.1) and quiet whole milliseconds of `channel` of
// interleaved audio (-1: of any channel), as runs; for decoded files, where a
// lossy codec blurs single frames.
inline Runs MsRuns(const std::vector<float>& samples, unsigned channels, int channel = -1) {
    Runs runs;
    for (uint64_t ms = 0; Ms(ms + 1) <= samples.size() / channels; ++ms) {
        float peak = 0;
        for (uint64_t i = Ms(ms) * channels; i < Ms(ms + 1) * channels; ++i)
            if (channel < 0 || int(i % channels) == channel)
                peak = std::max(peak, std::fabs(samples[i]));
        if (runs.empty() || runs.back().first != (peak > 0.1f)) runs.push_back({peak > 0.1f, 0});
        ++runs.back().second;
    }
    return runs;
}

// Stretches written as text, "L500 S1000": loud or silent, in milliseconds
// ("S400-1" is one frame short of 400 ms).
inline Runs StretchRuns(const std::string& text) {
    Runs runs;
    std::istringstream in(text);
    for (std::string w; in >> w;)
        runs.push_back({w[0] == 'L', Ms(std::stoull(w.substr(1))) - (w.ends_with("-1") ? 1 : 0)});
    return runs;
}

inline Signal SignalOf(const std::string& text, unsigned channels = 1) {
    Signal s{channels, {}};
    for (auto [loud, frames] : StretchRuns(text)) s.Add(frames, loud ? kLoud : 0.0f);
    return s;
}

class MemorySource : public LSoundSourceBase {
  public:
    MemorySource(const Signal& signal, uint32_t rate = kRate) : samples_(signal.samples) {
        sampleRate_ = rate;
        channels_ = uint8_t(signal.channels);
        totalFrames_ = signal.Frames();
    }
    // Misbehaviour on request.
    uint64_t maxFramesPerRead = UINT64_MAX;  // short reads, as decoders do
    uint64_t failReadAt = UINT64_MAX;        // a read reaching this frame fails
    bool failSeek = false;
    void SetReportedTotal(uint64_t frames) { totalFrames_ = frames; }

    uint64_t framesRead = 0;  // frames handed out in all
    int seeks = 0;

    int64_t Read(float* out, uint64_t frames) override {
        const uint64_t have = samples_.size() / channels_;
        uint64_t n = std::min({frames, maxFramesPerRead, have - std::min(have, position_)});
        if (position_ + n > failReadAt) {
            lastError_ = "simulated read error";
            return -1;
        }
        if (n == 0) return 0;
        std::memcpy(out, samples_.data() + position_ * channels_, n * channels_ * sizeof(float));
        position_ += n;
        framesRead += n;
        return int64_t(n);
    }
    bool Seek(uint64_t frame) override {
        ++seeks;
        if (failSeek || frame > samples_.size() / channels_) {
            lastError_ = "simulated seek error";
            return false;
        }
        position_ = frame;
        return true;
    }

  private:
    std::vector<float> samples_;
    uint64_t position_ = 0;
};

// Writes `signal` as a recording of the format its extension names, through
// the program's own sinks with the stored encoder settings.
inline bool WriteRecording(const std::string& path, const Signal& signal) {
    auto opened = OpenRecordingSink(
        LoadRecordingSpec(OutputFormatFromPath(path).value_or(OutputFormat::kWav)), path);
    EXPECT_TRUE(opened) << (opened ? "" : opened.Error().Message());
    if (!opened) return false;
    std::shared_ptr<LSoundSinkBase> sink = opened.Value();
    return sink->SetFormat(kRate, uint8_t(signal.channels)) &&
           sink->Write(signal.samples.data(), signal.Frames()) == int64_t(signal.Frames()) &&
           sink->Close();
}

// A recording decoded by the program's own decoders.
inline Signal ReadRecording(const std::string& path) {
    std::string error;
    auto source = OpenSoundSource(path, &error);
    EXPECT_TRUE(source) << error;
    return source ? Signal{source->Channels(), ReadAll(*source)} : Signal{};
}

// The names in a folder, sorted.
inline std::vector<std::string> FilesIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(folder))
        names.push_back(e.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace vocarta::test
