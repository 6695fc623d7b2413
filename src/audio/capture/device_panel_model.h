#pragma once
// What the device panel of the options window shows and saves, without Qt: the
// input devices by display name, the chosen device's channels (first "All
// Channels"), the chosen entries and the record volume in decibels. Changing the
// volume takes effect at once in the record-volume table, so a recording that
// runs is heard louder or softer while the slider moves; Save() stores the choice.
//
// Threading: the user-interface thread.

#include <string>
#include <vector>

#include "audio/capture/device_list.h"
#include "audio/level.h"

namespace vocarta {

class LDevicePanelModel {
  public:
    // Reads the device list and the stored choice. False when no sound server
    // answered (the lists are then empty and Error() says why).
    bool Load();
    bool Load(LDeviceEnumerator& enumerator);
    const std::string& Error() const { return list_.Error(); }

    std::vector<std::string> DeviceNames() const;
    int SelectedDevice() const { return device_; }
    void SelectDevice(int index);  // channel goes back to "All Channels"

    // "All Channels" then the device's channel names.
    std::vector<std::string> ChannelNames() const;
    // Row in ChannelNames(): 0 is "All Channels", 1.. the device's channels.
    int SelectedChannelRow() const { return channel_ + 1; }
    void SelectChannelRow(int row);

    int Volume() const { return volume_; }
    int VolumeMin() const;
    int VolumeMax() const;
    void SetVolume(int db);

    // Whether the stored device was missing and the first device was taken.
    bool FellBack() const { return fellBack_; }
    bool Save() const;

  private:
    void ApplyVolume() const;

    LSoundDeviceList list_;
    int device_ = -1;
    int channel_ = -1;  // device channel, -1: all
    int volume_ = 0;
    bool fellBack_ = false;
};

}  // namespace vocarta
