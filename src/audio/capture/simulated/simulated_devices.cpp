// The devices of the simulated capture layer: a fixed set that exercises the
// naming rules (a built-in stereo microphone, a USB microphone, a monitor).
#include "audio/capture/device_list.h"

namespace vocarta {

namespace {
class LSimulatedDeviceEnumerator : public LDeviceEnumerator {
  public:
    bool Enumerate(LDeviceDirection direction, std::vector<LRawDevice>& out,
                   std::string& error) override {
        if (direction == LDeviceDirection::Output) {
            out.push_back(Device(0, "simulated.output", "Simulated Output", "", false,
                                 {"Front Left", "Front Right"}));
            return true;
        }
        out.push_back(Device(0, "simulated.mic", "Simulated Microphone", "", false,
                             {"Front Left", "Front Right"}));
        out.push_back(Device(1, "simulated.usb", "Simulated USB Microphone", "usb", false, {""}));
        out.push_back(Device(2, "simulated.output.monitor", "Monitor of Simulated Output", "", true,
                             {"Front Left", "Front Right"}));
        return true;
    }

  private:
    static LRawDevice Device(uint32_t id, const char* name, const char* description,
                             const char* bus, bool monitor, std::vector<std::string> channels) {
        LRawDevice d;
        d.id = id;
        d.name = name;
        d.description = description;
        d.bus = bus;
        d.sampleRate = 48000;
        d.isMonitor = monitor;
        d.buffers.push_back(std::move(channels));
        return d;
    }
};
}  // namespace

std::unique_ptr<LDeviceEnumerator> CreateSimulatedDeviceEnumerator() {
    return std::make_unique<LSimulatedDeviceEnumerator>();
}

}  // namespace vocarta
