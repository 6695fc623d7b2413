#include "audio/capture/device_list.h"

#include <cstdlib>
#include <cstring>

#include "toolkit/text.h"

namespace vocarta {

bool CaptureIsSimulated() {
    const char* mode = std::getenv("VOCARTA_CAPTURE");
    return mode && EqualsNoCase(mode, "simulated");
}

std::unique_ptr<LDeviceEnumerator> CreateDeviceEnumerator() {
    if (CaptureIsSimulated()) return CreateSimulatedDeviceEnumerator();
    return CreatePlatformDeviceEnumerator();
}

namespace {
enum PrefixKind { kFireWire, kBluetooth, kPci, kUsb, kNoPrefix };

PrefixKind KindOfBus(const std::string& bus) {
    if (EqualsNoCase(bus, "usb")) return kUsb;
    if (EqualsNoCase(bus, "pci")) return kPci;
    if (EqualsNoCase(bus, "bluetooth")) return kBluetooth;
    if (EqualsNoCase(bus, "firewire") || EqualsNoCase(bus, "ieee1394")) return kFireWire;
    return kNoPrefix;
}
}  // namespace

std::vector<LDeviceEntry> NameDevices(const std::vector<LRawDevice>& raw) {
    static const char* const kFormats[] = {"[FireWire %d] ", "[Bluetooth %d] ", "[PCI %d] ",
                                           "[USB %d] "};
    int counters[4] = {0, 0, 0, 0};
    std::vector<LDeviceEntry> entries;
    entries.reserve(raw.size());
    for (const LRawDevice& device : raw) {
        LDeviceEntry entry;
        entry.id = device.id;
        entry.raw = device;
        PrefixKind kind = KindOfBus(device.bus);
        std::string own = device.description.empty() ? device.name : device.description;
        if (kind == kNoPrefix)
            entry.displayName = CutText(own);
        else
            entry.displayName = CutText(StringPrintf(kFormats[kind], counters[kind]++) + own);
        entries.push_back(std::move(entry));
    }
    return entries;
}

std::vector<LChannelEntry> NameChannels(const LRawDevice& device) {
    std::vector<LChannelEntry> channels;
    int32_t deviceChannel = 0;
    for (const auto& buffer : device.buffers) {
        const bool single = buffer.size() == 1;
        for (size_t c = 0; c < buffer.size(); ++c) {
            LChannelEntry entry;
            entry.index = uint32_t(c);
            entry.deviceChannel = deviceChannel++;
            const std::string& name = buffer[c];
            int number = int(c) + 1;
            if (name.empty())
                entry.displayName = single ? "Default" : StringPrintf("Channel %d", number);
            else if (single)
                entry.displayName = CutText(name);
            else
                entry.displayName = CutText(StringPrintf("%s (Channel %d)", name.c_str(), number));
            channels.push_back(std::move(entry));
        }
    }
    return channels;
}

LSoundDeviceList LSoundDeviceList::Query(LDeviceDirection direction,
                                         LDeviceEnumerator& enumerator) {
    LSoundDeviceList list;
    std::vector<LRawDevice> raw;
    list.ok_ = enumerator.Enumerate(direction, raw, list.error_);
    // A device without a channel in this direction is not part of the list.
    std::erase_if(raw, [](const LRawDevice& d) {
        for (const auto& b : d.buffers)
            if (!b.empty()) return false;
        return true;
    });
    list.entries_ = NameDevices(raw);
    return list;
}

LSoundDeviceList LSoundDeviceList::QueryInputs() {
    auto enumerator = CreateDeviceEnumerator();
    return Query(LDeviceDirection::Input, *enumerator);
}

LSoundDeviceList LSoundDeviceList::QueryOutputs() {
    auto enumerator = CreateDeviceEnumerator();
    return Query(LDeviceDirection::Output, *enumerator);
}

uint32_t LSoundDeviceList::IdOfIndex(int index) const {
    if (index < 0 || index >= Count()) return 0;
    return entries_[size_t(index)].id;
}

int LSoundDeviceList::IndexOfId(uint32_t id, std::string* displayName) const {
    int index = 0;
    for (const LDeviceEntry& entry : entries_) {
        if (entry.displayName.empty()) continue;
        if (entry.id == id) {
            if (displayName) *displayName = entry.displayName;
            return index;
        }
        ++index;
    }
    if (displayName) displayName->clear();
    return -1;
}

int LSoundDeviceList::IndexOfName(const std::string& name) const {
    for (int i = 0; i < Count(); ++i)
        if (entries_[size_t(i)].raw.name == name) return i;
    return -1;
}

std::vector<LChannelEntry> LSoundDeviceList::Channels(int index) const {
    if (index < 0 || index >= Count()) return {};
    return NameChannels(entries_[size_t(index)].raw);
}

}  // namespace vocarta
