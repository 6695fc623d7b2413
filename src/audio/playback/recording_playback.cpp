#include "audio/playback/recording_playback.h"

#include "audio/codecs/sink_factory.h"
#include "toolkit/log.h"

namespace vocarta {

bool PlayRecordingFile(LSoundPlayer& player, const std::string& path, std::string* error,
                       LSoundTime startAt) {
    std::string why;
    LSoundSource source(OpenSoundSource(path, &why));
    if (!source) {
        *error = "Cannot play " + path + ": " + (why.empty() ? "the file cannot be read." : why);
        LogError("LSoundPlayer::PlayRecordingFile OpenSoundSource FAILED: %s", error->c_str());
        return false;
    }
    if (!player.Play(source, startAt)) {
        *error = player.LastErrorText();
        return false;
    }
    LogEvent("Playing %s", path.c_str());
    return true;
}

}  // namespace vocarta
