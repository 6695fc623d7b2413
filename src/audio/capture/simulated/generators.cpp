#include "audio/capture/simulated/generators.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace vocarta {

int32_t FloatToS32(float sample) {
    double v = std::round(double(sample) * 2147483647.0);
    if (v >= 2147483647.0) return 2147483647;
    if (v <= -2147483648.0) return -2147483647 - 1;
    return int32_t(v);
}

namespace {
void FillSine(int32_t* out, uint64_t frames, uint8_t channels, uint32_t rate, double hz,
              double amplitude, uint64_t firstFrame) {
    const double step = 2.0 * M_PI * hz / double(rate);
    for (uint64_t f = 0; f < frames; ++f) {
        double phase = std::fmod(double(firstFrame + f) * step, 2.0 * M_PI);
        int32_t v = amplitude == 0.0 ? 0 : FloatToS32(float(amplitude * std::sin(phase)));
        for (uint8_t c = 0; c < channels; ++c) out[f * channels + c] = v;
    }
}
}  // namespace

uint64_t LSineGenerator::Generate(int32_t* out, uint64_t frames, uint8_t channels, uint32_t rate) {
    FillSine(out, frames, channels, rate, hz_, amplitude_, frame_);
    frame_ += frames;
    return frames;
}

uint64_t LSegmentGenerator::Generate(int32_t* out, uint64_t frames, uint8_t channels,
                                     uint32_t rate) {
    uint64_t made = 0;
    while (made < frames && segment_ < segments_.size()) {
        const Segment& s = segments_[segment_];
        uint64_t take = std::min(frames - made, s.frames - inSegment_);
        FillSine(out + made * channels, take, channels, rate, s.hz, s.amplitude, frame_);
        made += take;
        frame_ += take;
        inSegment_ += take;
        if (inSegment_ == s.frames) {
            ++segment_;
            inSegment_ = 0;
        }
    }
    return made;
}

uint64_t LSamplesGenerator::Generate(int32_t* out, uint64_t frames, uint8_t channels,
                                     uint32_t rate) {
    uint64_t total = channels_ ? samples_.size() / channels_ : 0;
    uint64_t take = std::min(frames, total - std::min(total, frame_));
    for (uint64_t f = 0; f < take; ++f)
        for (uint8_t c = 0; c < channels; ++c) {
            uint8_t from = std::min<uint8_t>(c, uint8_t(channels_ - 1));
            out[f * channels + c] = FloatToS32(samples_[(frame_ + f) * channels_ + from]);
        }
    frame_ += take;
    return take;
}

LFileGenerator::LFileGenerator(const std::string& path) {
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (!file) {
        error_ = std::string("cannot read ") + path + ": " + sf_strerror(nullptr);
        return;
    }
    file_ = file;
    fileChannels_ = info.channels;
}

LFileGenerator::~LFileGenerator() {
    if (file_) sf_close(static_cast<SNDFILE*>(file_));
}

uint64_t LFileGenerator::Generate(int32_t* out, uint64_t frames, uint8_t channels, uint32_t rate) {
    if (!file_) return 0;
    frames = std::min<uint64_t>(frames, scratch_.size() / size_t(fileChannels_));
    sf_count_t got =
        sf_readf_float(static_cast<SNDFILE*>(file_), scratch_.data(), sf_count_t(frames));
    if (got <= 0) return 0;
    for (sf_count_t f = 0; f < got; ++f)
        for (uint8_t c = 0; c < channels; ++c) {
            int from = std::min<int>(c, fileChannels_ - 1);
            out[f * channels + c] = FloatToS32(scratch_[size_t(f) * fileChannels_ + from]);
        }
    return uint64_t(got);
}

void LFileGenerator::Prepare(uint64_t maxFrames) {
    if (file_) scratch_.resize(size_t(maxFrames) * size_t(fileChannels_));
}

std::shared_ptr<LCaptureGenerator> GeneratorFromSpec(std::string_view spec, std::string& error) {
    std::string text(spec);
    if (text.empty() || text == "silence") return std::make_shared<LSineGenerator>(440.0, 0.0);
    if (text.rfind("sine:", 0) == 0) {
        char* end = nullptr;
        double hz = std::strtod(text.c_str() + 5, &end);
        double amplitude = 0.5;
        if (end && *end == ':') amplitude = std::strtod(end + 1, &end);
        if (hz > 0 && end && *end == '\0' && amplitude >= 0 && amplitude <= 1)
            return std::make_shared<LSineGenerator>(hz, amplitude);
    } else if (text.rfind("file:", 0) == 0) {
        auto file = std::make_shared<LFileGenerator>(text.substr(5));
        if (file->IsOpen()) return file;
        error = file->Error();
        return nullptr;
    }
    error = "not a capture source: \"" + text + "\" (silence, sine:<Hz>:<amplitude>, file:<path>)";
    return nullptr;
}

}  // namespace vocarta
