#pragma once
// The stored choice of input device, channel and record volume.
//
// Section "Settings": "UseUSBPhone" (default false) selects the pair of keys,
// "RecordDeviceUSB"/"RecordVolumeUSB" when true, else "RecordDevice"/"RecordVolume".
// The device key holds the server's stable device name, optionally followed by
// "#" and a channel number counted from 1 ("alsa_input.usb-Mic.mono#1"); without
// it every channel of the device is recorded. Stable names survive a reboot and a
// re-ordering of devices, which list indexes do not. A stored display name
// ("[USB 0] Mic") is understood too. A device that is gone falls back to the first
// device of the list. The volume key holds whole decibels (signed byte).

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "audio/capture/device_list.h"
#include "audio/level.h"
#include "audio/sound_devices.h"

namespace vocarta {

inline constexpr const char* kDeviceSection = "Settings";
inline constexpr const char* kUseUsbPhoneKey = "UseUSBPhone";
inline constexpr bool kUseUsbPhoneDefault = false;

// The record volume the device panel offers, in whole decibels.
inline constexpr int kRecordVolumeMin = -60;
inline constexpr int kRecordVolumeMax = 30;

struct LStoredRecordChoice {
    std::string device;    // stable name or display name; empty: none stored
    int32_t channel = -1;  // from 0; -1: all channels
    LdBLevel volume{0};
};

// "name" or "name#N" (N = channel + 1).
std::string FormatRecordChoice(std::string_view deviceName, int32_t channel);
// The inverse; a "#" suffix that is not a positive number belongs to the name.
LStoredRecordChoice ParseRecordChoice(std::string_view text);

const char* RecordDeviceKey();  // by "UseUSBPhone"
const char* RecordVolumeKey();

LStoredRecordChoice LoadRecordChoice();
bool SaveRecordChoice(std::string_view deviceName, int32_t channel, LdBLevel volume);

// The choice turned into a list position.
struct LResolvedRecordDevice {
    LSoundRecordDevice device;  // index -1 when the list is empty
    std::string deviceName;     // stable name of the device found
    bool fellBack = false;      // the stored device was not found
};
LResolvedRecordDevice ResolveRecordChoice(const LSoundDeviceList& list,
                                          const LStoredRecordChoice& choice);

// Reads the stored choice, resolves it against a fresh input list and registers
// its volume in the record-volume table: what a start of recording needs.
LResolvedRecordDevice PrepareRecordDevice();

// The rate nearest to `wanted` among `offered` (ties: the higher one); `wanted`
// itself when the device offers every rate (empty list).
uint32_t NearestSampleRate(const std::vector<uint32_t>& offered, uint32_t wanted);

}  // namespace vocarta
