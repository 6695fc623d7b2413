// The stored device choice, its fall-back, the volume table and the panel model.
#include "audio/capture/device_choice.h"

#include <gtest/gtest.h>

#include "audio/capture/device_panel_model.h"
#include "audio/capture/record_volume.h"
#include "settings/settings.h"

namespace vocarta {
namespace {

class TwoDevices : public LDeviceEnumerator {
  public:
    std::vector<LRawDevice> devices;
    TwoDevices() {
        devices.push_back(Make(4, "alsa_input.pci.analog-stereo", "Built-in Audio", "pci",
                               {"Front Left", "Front Right"}));
        devices.push_back(Make(9, "alsa_input.usb-Mic.mono", "USB Mic", "usb", {""}));
    }
    bool Enumerate(LDeviceDirection, std::vector<LRawDevice>& out, std::string&) override {
        out = devices;
        return true;
    }
    static LRawDevice Make(uint32_t id, const char* name, const char* description, const char* bus,
                           std::vector<std::string> channels) {
        LRawDevice d;
        d.id = id;
        d.name = name;
        d.description = description;
        d.bus = bus;
        d.buffers.push_back(std::move(channels));
        return d;
    }
};

TEST(RecordChoice, TextFormRoundTripsAndRejectsJunkChannels) {
    EXPECT_EQ(FormatRecordChoice("alsa_input.usb-Mic.mono", -1), "alsa_input.usb-Mic.mono");
    EXPECT_EQ(FormatRecordChoice("src", 1), "src#2");
    auto parsed = ParseRecordChoice(" src#2 ");
    EXPECT_EQ(parsed.device, "src");
    EXPECT_EQ(parsed.channel, 1);
    // A "#" that is not followed by a channel number is part of the name.
    for (const char* text : {"a#b", "a#0", "a#", "a#-1", "a#99999"}) {
        auto p = ParseRecordChoice(text);
        EXPECT_EQ(p.device, text);
        EXPECT_EQ(p.channel, -1);
    }
}

TEST(RecordChoice, UsbPhoneSelectsTheOtherKeyPair) {
    ASSERT_TRUE(SaveRecordChoice("plain", 0, LdBLevel(-6)));
    ASSERT_TRUE(SetSettingBool("Settings", "UseUSBPhone", true));
    ASSERT_TRUE(SaveRecordChoice("phone", -1, LdBLevel(9)));
    EXPECT_EQ(GetSettingString("Settings", "RecordDeviceUSB"), "phone");
    EXPECT_EQ(GetSettingInt("Settings", "RecordVolumeUSB", 0), 9);
    EXPECT_EQ(LoadRecordChoice().device, "phone");
    ASSERT_TRUE(SetSettingBool("Settings", "UseUSBPhone", false));
    auto plain = LoadRecordChoice();
    EXPECT_EQ(plain.device, "plain");
    EXPECT_EQ(plain.channel, 0);
    EXPECT_EQ(plain.volume.Value(), -6);
    EXPECT_EQ(GetSettingString("Settings", "RecordDevice"), "plain#1");
    // A volume outside the signed byte is clamped, not wrapped.
    ASSERT_TRUE(SetSettingInt("Settings", "RecordVolume", 300));
    EXPECT_EQ(LoadRecordChoice().volume.Value(), 127);
    DeleteSetting("Settings", "RecordVolume");
    DeleteSetting("Settings", "RecordDevice");
}

TEST(RecordChoice, ResolvesByNameOrDisplayNameAndFallsBackToFirst) {
    TwoDevices fake;
    auto list = LSoundDeviceList::Query(LDeviceDirection::Input, fake);
    auto byName = ResolveRecordChoice(list, ParseRecordChoice("alsa_input.usb-Mic.mono#1"));
    EXPECT_EQ(byName.device.index, 1);
    EXPECT_EQ(byName.device.channel, 0);
    EXPECT_FALSE(byName.fellBack);
    // Devices re-ordered (after a reboot): the name still finds it.
    std::swap(fake.devices[0], fake.devices[1]);
    auto reordered = LSoundDeviceList::Query(LDeviceDirection::Input, fake);
    EXPECT_EQ(
        ResolveRecordChoice(reordered, ParseRecordChoice("alsa_input.usb-Mic.mono#1")).device.index,
        0);
    auto byDisplay = ResolveRecordChoice(list, ParseRecordChoice("[pci 0] built-in audio#2"));
    EXPECT_EQ(byDisplay.device.index, 0);
    EXPECT_EQ(byDisplay.device.channel, 1);
    auto gone = ResolveRecordChoice(list, ParseRecordChoice("unplugged#2"));
    EXPECT_TRUE(gone.fellBack);
    EXPECT_EQ(gone.device.index, 0);
    EXPECT_EQ(gone.device.channel, -1);
    EXPECT_EQ(gone.deviceName, "alsa_input.pci.analog-stereo");
    auto badChannel = ResolveRecordChoice(list, ParseRecordChoice("alsa_input.usb-Mic.mono#3"));
    EXPECT_EQ(badChannel.device.channel, -1);
    auto none = ResolveRecordChoice(LSoundDeviceList(), ParseRecordChoice("x"));
    EXPECT_EQ(none.device.index, -1);
}

TEST(RecordChoice, NearestSampleRate) {
    EXPECT_EQ(NearestSampleRate({}, 22050u), 22050u);
    EXPECT_EQ(NearestSampleRate({44100, 48000, 96000}, 47000u), 48000u);
    EXPECT_EQ(NearestSampleRate({44100, 48000}, 8000u), 44100u);
    EXPECT_EQ(NearestSampleRate({44000, 46000}, 45000u), 46000u);  // a tie takes the higher
}

TEST(RecordVolumeTable, RowsPerDeviceAndChannel) {
    auto& table = LRecordVolumeTable::Instance();
    table.Clear();
    EXPECT_EQ(table.Get("mic", 0).Value(), 0);
    EXPECT_FLOAT_EQ(table.Gain("mic", 0), 1.0f);
    table.Set("mic", 0, LdBLevel(6));
    table.Set("mic", 1, LdBLevel(-20));
    table.Set("mic", 0, LdBLevel(-6));
    EXPECT_EQ(table.Get("mic", 0).Value(), -6);
    EXPECT_EQ(table.Get("mic", -1).Value(), 0);
    EXPECT_NEAR(table.Gain("mic", 1), 0.1f, 1e-6);
    table.Remove("mic", 1);
    EXPECT_EQ(table.Get("mic", 1).Value(), 0);
    table.Clear();
}

TEST(DevicePanelModel, LoadsSavesAndAppliesVolumeLive) {
    TwoDevices fake;
    SetSettingString("Settings", "RecordDevice", "alsa_input.usb-Mic.mono#1");
    SetSettingInt("Settings", "RecordVolume", 99);
    LDevicePanelModel model;
    ASSERT_TRUE(model.Load(fake));
    EXPECT_EQ(model.DeviceNames(),
              (std::vector<std::string>{"[PCI 0] Built-in Audio", "[USB 0] USB Mic"}));
    EXPECT_EQ(model.SelectedDevice(), 1);
    EXPECT_EQ(model.SelectedChannelRow(), 1);
    EXPECT_EQ(model.ChannelNames(), (std::vector<std::string>{"All Channels", "Default"}));
    EXPECT_EQ(model.Volume(), model.VolumeMax());  // 99 dB is beyond the slider
    model.SelectDevice(0);
    EXPECT_EQ(model.SelectedChannelRow(), 0);
    model.SelectChannelRow(2);
    model.SelectChannelRow(7);  // out of range: ignored
    model.SetVolume(-12);
    EXPECT_EQ(LRecordVolumeTable::Instance().Get("alsa_input.pci.analog-stereo", 1).Value(), -12);
    ASSERT_TRUE(model.Save());
    EXPECT_EQ(GetSettingString("Settings", "RecordDevice"), "alsa_input.pci.analog-stereo#2");
    EXPECT_EQ(GetSettingInt("Settings", "RecordVolume", 0), -12);
    // The stored device is unplugged: the panel shows the first device.
    SetSettingString("Settings", "RecordDevice", "gone.device");
    LDevicePanelModel again;
    ASSERT_TRUE(again.Load(fake));
    EXPECT_TRUE(again.FellBack());
    EXPECT_EQ(again.SelectedDevice(), 0);
    LRecordVolumeTable::Instance().Clear();
}

}  // namespace
}  // namespace vocarta
