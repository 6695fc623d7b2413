// The PulseAudio platform: device enumeration and the recorder.
#include "audio/capture/device_list.h"
#include "audio/capture/pulse/pulse_capture.h"
#include "audio/capture/pulse/pulse_connection.h"
#include "audio/capture/sound_recorder_template_impl.h"

namespace vocarta {

template class LSoundRecorderTemplate<LPulseCapture>;

namespace {
class LPulseDeviceEnumerator : public LDeviceEnumerator {
  public:
    bool Enumerate(LDeviceDirection direction, std::vector<LRawDevice>& out,
                   std::string& error) override {
        LPulseConnection connection;
        if (!connection.Connect(error)) return false;
        return connection.ListDevices(direction, out, error);
    }
};
}  // namespace

std::unique_ptr<LDeviceEnumerator> CreatePlatformDeviceEnumerator() {
    return std::make_unique<LPulseDeviceEnumerator>();
}

std::unique_ptr<LSoundRecorder> CreatePlatformSoundRecorder() {
    return std::make_unique<LSoundRecorderTemplate<LPulseCapture>>();
}

}  // namespace vocarta
