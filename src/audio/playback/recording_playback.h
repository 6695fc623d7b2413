#pragma once
// Playing a recording file: the last recording (the Play button, -play,
// "LaunchPlayWhenStop") and a file chosen in the recordings browser, at the
// normal speed or, from the browser, faster or slower with the pitch kept.

#include <string>

#include "audio/playback/sound_player.h"
#include "audio/sound_source.h"
#include "toolkit/result.h"

namespace vocarta {

// Opens `path` with the decoder for its extension and plays it on `player`,
// from `startAt` (a time in the recording) at `speedPercent` of normal speed
// (speed_change_source.h: 0 and below refused, others clamped to 10..400,
// 93..110 play the file unchanged). False with `error` in words for the user
// when the file is missing, cannot be decoded or played, or the speed is bad.
// When the speed is changed, the player's Position() and Length() count what is
// played (PlayedToRecordingTime turns them back into the recording's time).
//
// Threading: the player's owner thread (as LSoundPlayer::Play); it opens the
// file and decodes the first half second there, so it returns in milliseconds
// whatever the file's length.
bool PlayRecordingFile(LSoundPlayer& player, const std::string& path, std::string* error,
                       LSoundTime startAt = LSoundTime(), int speedPercent = 100);

// The source PlayRecordingFile plays: the decoder of `path`, wrapped for the
// speed when outside the dead band; positioned at its start. Any thread; the
// source then belongs to one reader at a time.
LResult<LSoundSource> OpenRecordingForPlayback(const std::string& path, int speedPercent = 100);

}  // namespace vocarta
