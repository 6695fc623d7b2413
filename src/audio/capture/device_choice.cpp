#include "audio/capture/device_choice.h"

#include <algorithm>
#include <cstdlib>

#include "audio/capture/record_volume.h"
#include "settings/settings.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
constexpr const char* kRecordDeviceKey = "RecordDevice";
constexpr const char* kRecordVolumeKey = "RecordVolume";
constexpr const char* kRecordDeviceUsbKey = "RecordDeviceUSB";
constexpr const char* kRecordVolumeUsbKey = "RecordVolumeUSB";
constexpr const char* kRecordDeviceDefault = "";  // the first device
constexpr int kRecordVolumeDefault = 0;

bool UseUsbPhone() {
    return GetSettingBool(kDeviceSection, kUseUsbPhoneKey, kUseUsbPhoneDefault);
}
}  // namespace

const char* RecordDeviceKey() {
    return UseUsbPhone() ? kRecordDeviceUsbKey : kRecordDeviceKey;
}
const char* RecordVolumeKey() {
    return UseUsbPhone() ? kRecordVolumeUsbKey : kRecordVolumeKey;
}

std::string FormatRecordChoice(std::string_view deviceName, int32_t channel) {
    std::string text(deviceName);
    if (channel >= 0) text += StringPrintf("#%d", channel + 1);
    return text;
}

LStoredRecordChoice ParseRecordChoice(std::string_view text) {
    LStoredRecordChoice choice;
    std::string trimmed = TrimBlanks(text);
    size_t hash = trimmed.rfind('#');
    if (hash != std::string::npos && hash + 1 < trimmed.size() && hash + 1 + 4 >= trimmed.size()) {
        std::string digits = trimmed.substr(hash + 1);
        bool allDigits =
            std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
        int number = allDigits ? std::atoi(digits.c_str()) : 0;
        if (number >= 1) {
            choice.device = trimmed.substr(0, hash);
            choice.channel = number - 1;
            return choice;
        }
    }
    choice.device = trimmed;
    return choice;
}

LStoredRecordChoice LoadRecordChoice() {
    LStoredRecordChoice choice = ParseRecordChoice(
        GetSettingString(kDeviceSection, RecordDeviceKey(), kRecordDeviceDefault));
    int volume = GetSettingInt(kDeviceSection, RecordVolumeKey(), kRecordVolumeDefault);
    choice.volume = LdBLevel((signed char)std::clamp(volume, -127, 127));
    return choice;
}

bool SaveRecordChoice(std::string_view deviceName, int32_t channel, LdBLevel volume) {
    bool ok = SetSettingString(kDeviceSection, RecordDeviceKey(),
                               FormatRecordChoice(deviceName, channel));
    return SetSettingInt(kDeviceSection, RecordVolumeKey(), volume.Value()) && ok;
}

LResolvedRecordDevice ResolveRecordChoice(const LSoundDeviceList& list,
                                          const LStoredRecordChoice& choice) {
    LResolvedRecordDevice resolved;
    int index = choice.device.empty() ? -1 : list.IndexOfName(choice.device);
    for (int i = 0; index < 0 && !choice.device.empty() && i < list.Count(); ++i)
        if (EqualsNoCase(list.Entry(i).displayName, choice.device)) index = i;
    int32_t channel = choice.channel;
    if (index < 0) {
        resolved.fellBack = !choice.device.empty();
        index = list.Count() > 0 ? 0 : -1;
        channel = -1;  // a channel of another device means nothing here
    }
    resolved.device.index = index;
    if (index >= 0) {
        int channels = int(list.Channels(index).size());
        resolved.device.channel = channel < channels ? channel : -1;
        resolved.deviceName = list.Entry(index).raw.name;
    }
    return resolved;
}

LResolvedRecordDevice PrepareRecordDevice() {
    LStoredRecordChoice choice = LoadRecordChoice();
    LResolvedRecordDevice resolved = ResolveRecordChoice(LSoundDeviceList::QueryInputs(), choice);
    if (resolved.device.index >= 0)
        LRecordVolumeTable::Instance().Set(resolved.deviceName, resolved.device.channel,
                                           choice.volume);
    return resolved;
}

uint32_t NearestSampleRate(const std::vector<uint32_t>& offered, uint32_t wanted) {
    if (offered.empty()) return wanted;
    uint32_t best = offered.front();
    for (uint32_t rate : offered) {
        uint64_t d = rate > wanted ? rate - wanted : wanted - rate;
        uint64_t bestD = best > wanted ? best - wanted : wanted - best;
        if (d < bestD || (d == bestD && rate > best)) best = rate;
    }
    return best;
}

}  // namespace vocarta
