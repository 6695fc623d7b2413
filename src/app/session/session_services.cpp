#include "app/session/session_services.h"

#include "app/session/disk_space.h"
#include "audio/codecs/sink_factory.h"
#include "audio/playback/tone_player.h"

namespace vocarta {

SessionServices DefaultSessionServices(TransmitThread* sender) {
    SessionServices services;
    services.recorder = CreateSoundRecorder();
    services.prepareDevice = &PrepareRecordDevice;
    services.openSink = &OpenRecordingSink;
    services.freeBytes = &FreeDiskBytes;
    services.emptyTrash = &EmptyTrashFor;
    services.playTone = &PlayTone;
    services.makePlayer = [] { return CreateSoundPlayer(); };
    services.afterRecordingSteps = DefaultAfterRecordingSteps(sender);
    return services;
}

}  // namespace vocarta
