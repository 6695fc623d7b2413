#include "audio/playback/playback_output.h"

namespace vocarta {

std::string CheckPlaybackFormat(const LPlaybackRequest& request) {
    if (request.sampleRate == 0 || request.channels == 0)
        return "This recording holds no playable sound.";
    if (request.sampleRate > kPlaybackMaxRate || request.channels > kPlaybackMaxChannels)
        return "This recording's format cannot be played (" + std::to_string(request.channels) +
               " channels at " + std::to_string(request.sampleRate) + " Hz).";
    return {};
}

}  // namespace vocarta
