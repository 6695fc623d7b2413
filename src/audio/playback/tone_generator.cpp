#include "audio/playback/tone_generator.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace vocarta {

namespace {

constexpr uint32_t kFadeMs = 5;

// Appends one note with raised-cosine fades at both ends.
void AppendNote(const LToneNote& note, uint32_t rate, std::vector<float>& out) {
    const uint64_t frames = uint64_t(note.durationMs) * rate / 1000;
    const uint64_t fade = std::min<uint64_t>(uint64_t(kFadeMs) * rate / 1000, frames / 2);
    const double step = 2.0 * std::numbers::pi * note.frequencyHz / rate;
    out.reserve(out.size() + frames);
    for (uint64_t i = 0; i < frames; ++i) {
        double gain = 1.0;
        const uint64_t fromEnd = frames - 1 - i;
        if (fade > 0 && (i < fade || fromEnd < fade)) {
            const double x = double(std::min(i, fromEnd)) / double(fade);
            gain = 0.5 - 0.5 * std::cos(std::numbers::pi * x);
        }
        out.push_back(float(kToneAmplitude * gain * std::sin(step * double(i))));
    }
}

}  // namespace

std::vector<LToneNote> ToneNotes(LToneKind kind) {
    switch (kind) {
        case LToneKind::Start:
            return {{880.0, 60}, {1320.0, 60}};
        case LToneKind::Stop:
            return {{1320.0, 60}, {880.0, 60}};
        case LToneKind::Interval:
            return {{1000.0, 50}};
    }
    return {};
}

std::vector<float> GenerateTone(LToneKind kind, uint32_t sampleRate) {
    std::vector<float> samples;
    if (sampleRate == 0) return samples;
    for (const LToneNote& note : ToneNotes(kind)) AppendNote(note, sampleRate, samples);
    return samples;
}

const char* ToneName(LToneKind kind) {
    switch (kind) {
        case LToneKind::Start:
            return "start";
        case LToneKind::Stop:
            return "stop";
        case LToneKind::Interval:
            return "interval";
    }
    return "?";
}

}  // namespace vocarta
