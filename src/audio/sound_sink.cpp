#include "audio/sound_sink.h"

namespace vocarta {

bool LSoundSinkBase::SetFormat(uint32_t sampleRate, uint8_t channels) {
    if (framesWritten_ != 0) return false;
    sampleRate_ = sampleRate;
    channels_ = channels;
    return true;
}

bool LSoundSinkBase::TruncateTo(LSoundTime time) {
    int64_t ms = time.Milliseconds();
    uint64_t frame = ms <= 0 ? 0 : time.ToFrames(sampleRate_);
    if (frame > framesWritten_) return false;
    return TruncateToFrame(frame);
}

}  // namespace vocarta
