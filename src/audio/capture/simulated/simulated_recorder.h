#pragma once
// The recorder over the simulated capture layer.

#include "audio/capture/simulated/simulated_capture.h"
#include "audio/capture/sound_recorder_template.h"

namespace vocarta {

extern template class LSoundRecorderTemplate<LSimulatedCapture>;
using LSimulatedSoundRecorder = LSoundRecorderTemplate<LSimulatedCapture>;

}  // namespace vocarta
