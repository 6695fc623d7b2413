#pragma once
// The machine's input (and playback) devices under stable display names.
//
// A platform enumerator reports raw device records in the sound server's order;
// the naming rules here turn them into display names ("[USB 0] " and the like in
// front of the device's own name) and channel names. The list is rebuilt on every
// query, so a device plugged in a moment ago is there and one unplugged is not.
//
// Threading: any thread; a LSoundDeviceList is a value.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vocarta {

enum class LDeviceDirection { Input, Output };

// One device as the platform sees it.
struct LRawDevice {
    uint32_t id = 0;          // the server's index of the device
    std::string name;         // the server's stable name (stored in the settings)
    std::string description;  // the device's own, human-readable name
    std::string bus;          // transport: "usb", "pci", "bluetooth", "firewire", ...
    uint32_t sampleRate = 0;  // native rate
    bool isMonitor = false;   // records what an output plays
    // Channels, grouped by stream buffer; an empty text is an unnamed channel.
    std::vector<std::vector<std::string>> buffers;
};

class LDeviceEnumerator {
  public:
    virtual ~LDeviceEnumerator() = default;
    // Devices that have at least one channel in `direction`, in the server's order.
    // False (with `error` set) when the server could not be asked; devices found
    // before a failure stay in `out`.
    virtual bool Enumerate(LDeviceDirection direction, std::vector<LRawDevice>& out,
                           std::string& error) = 0;
};

// The sound server of this platform, or the simulated devices when the
// environment variable VOCARTA_CAPTURE is "simulated".
std::unique_ptr<LDeviceEnumerator> CreateDeviceEnumerator();
std::unique_ptr<LDeviceEnumerator> CreatePlatformDeviceEnumerator();
std::unique_ptr<LDeviceEnumerator> CreateSimulatedDeviceEnumerator();
bool CaptureIsSimulated();

struct LDeviceEntry {
    uint32_t id = 0;
    std::string displayName;  // transport prefix + device name, at most 259 bytes
    LRawDevice raw;
};

struct LChannelEntry {
    uint32_t index = 0;         // within its stream buffer, from 0
    int32_t deviceChannel = 0;  // across the whole device, from 0 (what a choice stores)
    std::string displayName;
};

// "[USB %d] ", "[PCI %d] ", "[Bluetooth %d] ", "[FireWire %d] " with one counter
// per kind, counted in list order; no prefix for any other transport.
std::vector<LDeviceEntry> NameDevices(const std::vector<LRawDevice>& raw);
// "Default" for the single unnamed channel of a buffer, "Channel %d" for unnamed
// ones among several, "%s (Channel %d)" for named ones among several, the name
// alone for a named single channel; numbered from 1 within each buffer.
std::vector<LChannelEntry> NameChannels(const LRawDevice& device);

class LSoundDeviceList {
  public:
    LSoundDeviceList() = default;
    // Asks the enumerator afresh.
    static LSoundDeviceList Query(LDeviceDirection direction, LDeviceEnumerator& enumerator);
    static LSoundDeviceList QueryInputs();  // with CreateDeviceEnumerator()
    static LSoundDeviceList QueryOutputs();

    bool Ok() const { return ok_; }
    const std::string& Error() const { return error_; }

    int Count() const { return int(entries_.size()); }
    const LDeviceEntry& Entry(int index) const { return entries_[size_t(index)]; }
    const std::vector<LDeviceEntry>& Entries() const { return entries_; }
    // Id of entry `index`; 0 outside the list.
    uint32_t IdOfIndex(int index) const;
    // Index of the device with `id`, counting only entries with a non-empty name,
    // and its display name; -1 and an empty name when the id is not listed.
    int IndexOfId(uint32_t id, std::string* displayName = nullptr) const;
    // Index of the device with this stable name; -1 when absent.
    int IndexOfName(const std::string& name) const;
    std::vector<LChannelEntry> Channels(int index) const;

  private:
    bool ok_ = false;
    std::string error_;
    std::vector<LDeviceEntry> entries_;
};

}  // namespace vocarta
