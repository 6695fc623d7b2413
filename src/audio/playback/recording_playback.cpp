#include "audio/playback/recording_playback.h"

#include "audio/codecs/sink_factory.h"
#include "audio/playback/speed_change_source.h"
#include "toolkit/log.h"

namespace vocarta {

LResult<LSoundSource> OpenRecordingForPlayback(const std::string& path, int speedPercent) {
    // A bad speed is told before the file is touched.
    LResult<int> speed = CheckPlaySpeed(speedPercent);
    if (!speed) return speed.Error();
    std::string why;
    LSoundSource source(OpenSoundSource(path, &why));
    if (!source)
        return MakeError(LErrorCode::kNotFound, "Cannot play %s: %s", path.c_str(),
                         why.empty() ? "the file cannot be read." : why.c_str());
    LResult<LSoundSource> played = MakeSpeedChangeSource(std::move(source), speed.Value());
    if (!played) return played.Error().Within("Cannot play " + path);
    return played;
}

bool PlayRecordingFile(LSoundPlayer& player, const std::string& path, std::string* error,
                       LSoundTime startAt, int speedPercent) {
    // Checked once here, so that a clamped speed is logged once.
    LResult<int> speed = CheckPlaySpeed(speedPercent);
    LResult<LSoundSource> source = speed ? OpenRecordingForPlayback(path, speed.Value())
                                         : LResult<LSoundSource>(speed.Error());
    if (!source) {
        *error = source.Error().Message();
        LogError("LSoundPlayer::PlayRecordingFile OpenSoundSource FAILED: %s", error->c_str());
        return false;
    }
    if (!player.Play(source.Value(), RecordingToPlayedTime(startAt, speed.Value()))) {
        *error = player.LastErrorText();
        return false;
    }
    if (SpeedPlaysUnchanged(speed.Value()))
        LogEvent("Playing %s", path.c_str());
    else
        LogEvent("Playing %s at %d%% speed (%u Hz)", path.c_str(), speed.Value(),
                 unsigned(source.Value()->SampleRate()));
    return true;
}

}  // namespace vocarta
