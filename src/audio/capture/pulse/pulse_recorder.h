#pragma once
// The recorder over PulseAudio.

#include "audio/capture/pulse/pulse_capture.h"
#include "audio/capture/sound_recorder_template.h"

namespace vocarta {

extern template class LSoundRecorderTemplate<LPulseCapture>;
using LPulseSoundRecorder = LSoundRecorderTemplate<LPulseCapture>;

}  // namespace vocarta
