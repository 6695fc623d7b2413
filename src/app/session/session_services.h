#pragma once
// What the recording session uses from the world outside the main loop and the
// view: the recorder, the input device, the file sinks, free space and the
// Trash, tones, playback and the after-recording steps. DefaultSessionServices()
// gives the program's own; tests replace single entries (a recorder over the
// simulated capture layer, a free-space figure, a tone log).
//
// Threading contract: every entry is called on the main thread, except the
// after-recording steps, which run on the queue's thread.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/session/after_recording_queue.h"
#include "app/session/disk_space.h"
#include "audio/capture/device_choice.h"
#include "audio/capture/sound_recorder.h"
#include "audio/codecs/recording_spec.h"
#include "audio/playback/sound_player.h"
#include "audio/playback/tone_generator.h"
#include "audio/sound_sink.h"
#include "toolkit/result.h"

namespace vocarta {

class TransmitThread;

struct SessionServices {
    std::unique_ptr<LSoundRecorder> recorder;
    // The stored input device and channel, resolved against the current list,
    // with its volume registered for the recorder.
    std::function<LResolvedRecordDevice()> prepareDevice;
    // Opens the sink of a recording written as `spec` says on `path`.
    std::function<LResult<std::shared_ptr<LSoundSinkBase>>(const RecordingSpec& spec,
                                                           const std::string& path)>
        openSink;
    // Free bytes on the file system of a folder; nullopt when unknown.
    std::function<std::optional<uint64_t>(const std::string& folder)> freeBytes;
    // Empties the trash of the file system `folder` is on.
    std::function<LResult<TrashEmptied>(const std::string& folder)> emptyTrash;
    // Queues a tone and returns at once.
    std::function<void(LToneKind kind)> playTone;
    // Made on the first Play.
    std::function<std::unique_ptr<LSoundPlayer>()> makePlayer;
    std::vector<AfterRecordingStep> afterRecordingSteps;
};

// `sender`: the running copy's send thread, which the after-recording steps
// hand each kept recording to; none: recordings are not sent on.
SessionServices DefaultSessionServices(TransmitThread* sender = nullptr);

}  // namespace vocarta
