#include "audio/capture/simulated/simulated_recorder.h"

#include <cstdlib>

#include "audio/capture/sound_recorder_template_impl.h"
#include "toolkit/log.h"

namespace vocarta {

template class LSoundRecorderTemplate<LSimulatedCapture>;

std::unique_ptr<LSoundRecorder> CreateSimulatedSoundRecorder() {
    // The sound comes from VOCARTA_CAPTURE_SOURCE, in real time.
    const char* spec = std::getenv("VOCARTA_CAPTURE_SOURCE");
    std::string error;
    LSimulationConfig config;
    config.generator = GeneratorFromSpec(spec ? spec : "sine:440:0.5", error);
    if (!config.generator) {
        LogError("CreateSimulatedSoundRecorder: %s; recording silence", error.c_str());
        config.generator = GeneratorFromSpec("silence", error);
    }
    auto recorder = std::make_unique<LSimulatedSoundRecorder>();
    recorder->Capture().Configure(std::move(config));
    return recorder;
}

}  // namespace vocarta
