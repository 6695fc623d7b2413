#pragma once
// Test audio for the trim tests: signals built from loud and silent stretches,
// an in-memory source that can misbehave on request, a run-length view of
// decoded audio, and a plain raw-float file format (source and sink on real
// files) so the file replacement can be tested before any codec is involved.

#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "audio/sound_sink.h"
#include "audio/sound_source.h"
#include "audio/trim/recording_trim.h"

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

// Reads a whole source.
inline std::vector<float> ReadAll(LSoundSourceBase& source) {
    std::vector<float> all, block(4096 * source.Channels());
    for (;;) {
        int64_t got = source.Read(block.data(), 4096);
        if (got <= 0) break;
        all.insert(all.end(), block.begin(), block.begin() + got * source.Channels());
    }
    return all;
}

// Raw float files: rate and channel count (two little-endian uint32), then the
// interleaved floats.
class RawFileSource : public LSoundSourceBase {
  public:
    bool Open(const std::string& path) {
        file_ = std::fopen(path.c_str(), "rb");
        uint32_t header[2];
        if (!file_ || std::fread(header, 4, 2, file_) != 2 || header[1] == 0) return false;
        sampleRate_ = header[0];
        channels_ = uint8_t(header[1]);
        std::fseek(file_, 0, SEEK_END);
        totalFrames_ = uint64_t(std::ftell(file_) - 8) / (4 * channels_);
        return std::fseek(file_, 8, SEEK_SET) == 0;
    }
    ~RawFileSource() override {
        if (file_) std::fclose(file_);
    }
    int64_t Read(float* out, uint64_t frames) override {
        return int64_t(std::fread(out, 4 * channels_, frames, file_));
    }
    bool Seek(uint64_t frame) override {
        return std::fseek(file_, long(8 + frame * 4 * channels_), SEEK_SET) == 0;
    }

  private:
    FILE* file_ = nullptr;
};

class RawFileSink : public LSoundSinkBase {
  public:
    RawFileSink(const std::string& path, uint32_t rate, uint8_t channels)
        : LSoundSinkBase(path, rate, channels) {}
    ~RawFileSink() override { Close(); }
    bool Open() {
        file_ = std::fopen(path_.c_str(), "wb");
        uint32_t header[2] = {sampleRate_, channels_};
        return file_ && std::fwrite(header, 4, 2, file_) == 2;
    }
    uint64_t failAfterFrames = UINT64_MAX;  // a full disk, simulated
    int64_t Write(const float* samples, uint64_t frames) override {
        if (framesWritten_ + frames > failAfterFrames) {
            SetError("simulated write error: no space left on device");
            return -1;
        }
        if (frames == 0) return 0;
        size_t n = std::fwrite(samples, 4 * channels_, frames, file_);
        framesWritten_ += n;
        return int64_t(n);
    }
    bool Close() override {
        bool ok = !file_ || std::fclose(file_) == 0;
        file_ = nullptr;
        return ok;
    }

  private:
    FILE* file_ = nullptr;
};

inline bool WriteRawFile(const std::string& path, const Signal& signal, uint32_t rate = kRate) {
    RawFileSink sink(path, rate, uint8_t(signal.channels));
    return sink.Open() &&
           sink.Write(signal.samples.data(), signal.Frames()) == int64_t(signal.Frames()) &&
           sink.Close();
}

inline std::vector<float> ReadRawFile(const std::string& path, unsigned* channels = nullptr) {
    RawFileSource source;
    if (!source.Open(path)) return {};
    if (channels) *channels = source.Channels();
    return ReadAll(source);
}

// File access over raw files; `sinkFailAfter` makes every sink fail after that
// many frames.
inline TrimFileIo RawFileIo(uint64_t sinkFailAfter = UINT64_MAX) {
    TrimFileIo io;
    io.openSource = [](const std::string& path, std::string& error) {
        auto source = std::make_shared<RawFileSource>();
        if (!source->Open(path)) {
            error = "not a raw audio file";
            return LSoundSource();
        }
        return LSoundSource(source);
    };
    io.openSinkLike = [sinkFailAfter](const std::string& newPath, const std::string&,
                                      const LSoundSourceBase& decoded, std::string& error) {
        auto sink =
            std::make_shared<RawFileSink>(newPath, decoded.SampleRate(), decoded.Channels());
        sink->failAfterFrames = sinkFailAfter;
        if (!sink->Open()) {
            error = "cannot create the file";
            return LSoundSink();
        }
        return LSoundSink(sink);
    };
    return io;
}

}  // namespace vocarta::test
