#include "audio/capture/device_list.h"
#include "audio/capture/sound_recorder.h"
#include "audio/capture/sound_recorder_template.h"

namespace vocarta {

std::atomic<int>& SharedLevelNotificationCounter() {
    static std::atomic<int> counter{0};
    return counter;
}

std::unique_ptr<LSoundRecorder> CreateSoundRecorder() {
    if (CaptureIsSimulated()) return CreateSimulatedSoundRecorder();
    return CreatePlatformSoundRecorder();
}

}  // namespace vocarta
