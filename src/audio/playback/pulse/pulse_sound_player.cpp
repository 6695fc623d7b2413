#include "audio/playback/pulse/pulse_playback_output.h"
#include "audio/playback/sound_player_template.h"

namespace vocarta {

std::unique_ptr<LSoundPlayer> CreatePlatformSoundPlayer(LPlaybackRole role) {
    return std::make_unique<LSoundPlayerTemplate<LSoundPlayerLLPulse>>(role);
}

}  // namespace vocarta
