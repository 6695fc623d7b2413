#include "audio/capture/device_panel_model.h"

#include <algorithm>

#include "audio/capture/device_choice.h"
#include "audio/capture/record_volume.h"

namespace vocarta {

namespace {
constexpr const char* kAllChannels = "All Channels";
}

bool LDevicePanelModel::Load() {
    auto enumerator = CreateDeviceEnumerator();
    return Load(*enumerator);
}

bool LDevicePanelModel::Load(LDeviceEnumerator& enumerator) {
    list_ = LSoundDeviceList::Query(LDeviceDirection::Input, enumerator);
    LStoredRecordChoice stored = LoadRecordChoice();
    LResolvedRecordDevice resolved = ResolveRecordChoice(list_, stored);
    device_ = resolved.device.index;
    channel_ = device_ >= 0 ? resolved.device.channel : -1;
    volume_ = std::clamp<int>(stored.volume.Value(), VolumeMin(), VolumeMax());
    fellBack_ = resolved.fellBack;
    return list_.Ok();
}

std::vector<std::string> LDevicePanelModel::DeviceNames() const {
    std::vector<std::string> names;
    for (const LDeviceEntry& entry : list_.Entries()) names.push_back(entry.displayName);
    return names;
}

void LDevicePanelModel::SelectDevice(int index) {
    if (index < 0 || index >= list_.Count()) return;
    device_ = index;
    channel_ = -1;
    ApplyVolume();
}

std::vector<std::string> LDevicePanelModel::ChannelNames() const {
    std::vector<std::string> names;
    if (device_ < 0) return names;
    names.push_back(kAllChannels);
    for (const LChannelEntry& channel : list_.Channels(device_))
        names.push_back(channel.displayName);
    return names;
}

void LDevicePanelModel::SelectChannelRow(int row) {
    if (device_ < 0 || row < 0 || row > int(list_.Channels(device_).size())) return;
    channel_ = row - 1;
    ApplyVolume();
}

int LDevicePanelModel::VolumeMin() const {
    return kRecordVolumeMin;
}
int LDevicePanelModel::VolumeMax() const {
    return kRecordVolumeMax;
}

void LDevicePanelModel::SetVolume(int db) {
    volume_ = std::clamp(db, VolumeMin(), VolumeMax());
    ApplyVolume();
}

void LDevicePanelModel::ApplyVolume() const {
    if (device_ < 0) return;
    LRecordVolumeTable::Instance().Set(list_.Entry(device_).raw.name, channel_,
                                       LdBLevel((signed char)volume_));
}

bool LDevicePanelModel::Save() const {
    if (device_ < 0) return false;
    ApplyVolume();
    return SaveRecordChoice(list_.Entry(device_).raw.name, channel_,
                            LdBLevel((signed char)volume_));
}

}  // namespace vocarta
