#pragma once
// Playing a recording file: the last recording (the Play button, -play,
// "LaunchPlayWhenStop") and a file chosen in the recordings browser.

#include <string>

#include "audio/playback/sound_player.h"

namespace vocarta {

// Opens `path` with the decoder for its extension and plays it from `startAt`
// on `player`. False with `error` in words for the user when the file is
// missing, cannot be decoded, or cannot be played.
bool PlayRecordingFile(LSoundPlayer& player, const std::string& path, std::string* error,
                       LSoundTime startAt = LSoundTime());

}  // namespace vocarta
