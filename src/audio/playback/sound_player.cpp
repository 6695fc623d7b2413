#include "audio/playback/sound_player.h"

#include <cstdlib>
#include <cstring>

#include "settings/settings.h"

namespace vocarta {

namespace {
constexpr const char* kPlayDeviceSection = "Settings";
constexpr const char* kPlayDeviceKey = "PlayDevice";
constexpr const char* kPlayDeviceDefault = "";  // the default device
}  // namespace

bool PlaybackIsNull() {
    const char* mode = std::getenv("VOCARTA_PLAYBACK");
    return mode && std::strcmp(mode, "null") == 0;
}

std::unique_ptr<LSoundPlayer> CreateSoundPlayer(LPlaybackRole role) {
    return PlaybackIsNull() ? CreateNullSoundPlayer(role) : CreatePlatformSoundPlayer(role);
}

std::string ChosenPlayDevice() {
    return GetSettingString(kPlayDeviceSection, kPlayDeviceKey, kPlayDeviceDefault);
}

bool SetChosenPlayDevice(const std::string& deviceName) {
    return SetSettingString(kPlayDeviceSection, kPlayDeviceKey, deviceName);
}

}  // namespace vocarta
