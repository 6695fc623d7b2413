#include "audio/playback/null/null_playback_output.h"
#include "audio/playback/sound_player_template.h"

namespace vocarta {

std::unique_ptr<LSoundPlayer> CreateNullSoundPlayer(LPlaybackRole role) {
    return std::make_unique<LSoundPlayerTemplate<LSoundPlayerLLNull>>(role);
}

}  // namespace vocarta
