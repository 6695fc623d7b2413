// Device and channel names over a fake enumerator, the stored device choice with
// its fall-back, and the device panel's model.
#include "audio/capture/device_list.h"

#include <gtest/gtest.h>

#include "audio/capture/device_choice.h"
#include "audio/capture/device_panel_model.h"
#include "audio/capture/record_volume.h"
#include "settings/settings.h"

namespace vocarta {
namespace {

LRawDevice Raw(uint32_t id, const std::string& description, const std::string& bus,
               std::vector<std::vector<std::string>> buffers, std::string name = "") {
    if (name.empty()) name = "dev" + std::to_string(id);
    return {id, name, description, bus, 0, false, std::move(buffers)};
}

class FakeEnumerator : public LDeviceEnumerator {
  public:
    std::vector<LRawDevice> inputs = {
        Raw(4, "Built-in Audio", "pci", {{"Front Left", "Front Right"}},
            "alsa_input.pci.analog-stereo"),
        Raw(9, "USB Mic", "usb", {{""}}, "alsa_input.usb-Mic.mono")};
    bool fail = false;
    bool Enumerate(LDeviceDirection, std::vector<LRawDevice>& out, std::string& error) override {
        out = inputs;
        if (fail) error = "server went away";
        return !fail;
    }
};

template <typename Entries>
std::vector<std::string> Names(const Entries& entries) {
    std::vector<std::string> names;
    for (const auto& e : entries) names.push_back(e.displayName);
    return names;
}

TEST(DeviceNaming, TransportPrefixesCountEachKindSeparately) {
    EXPECT_EQ(
        Names(NameDevices({Raw(7, "Mic A", "firewire", {{""}}), Raw(3, "Headset", "usb", {{""}}),
                           Raw(9, "Mic B", "ieee1394", {{""}}), Raw(1, "Built-in", "", {{""}}),
                           Raw(4, "Card", "pci", {{""}}), Raw(5, "Phone", "bluetooth", {{""}}),
                           Raw(6, "Headset 2", "USB", {{""}}), Raw(8, "Odd", "isa", {{""}})})),
        (std::vector<std::string>{"[FireWire 0] Mic A", "[USB 0] Headset", "[FireWire 1] Mic B",
                                  "Built-in", "[PCI 0] Card", "[Bluetooth 0] Phone",
                                  "[USB 1] Headset 2", "Odd"}));
    // A device without a description is shown by its server name; long names are cut.
    auto cut = NameDevices({Raw(2, "", "usb", {{""}}), Raw(3, std::string(400, 'x'), "", {{""}})});
    EXPECT_EQ(cut[0].displayName + std::to_string(cut[1].displayName.size()), "[USB 0] dev2259");
}

TEST(DeviceNaming, ChannelNamesFollowBufferLayout) {
    using Names_ = std::vector<std::string>;
    EXPECT_EQ(Names(NameChannels(Raw(0, "m", "", {{""}}))), Names_{"Default"});
    EXPECT_EQ(Names(NameChannels(Raw(0, "m", "", {{"", ""}}))), (Names_{"Channel 1", "Channel 2"}));
    EXPECT_EQ(Names(NameChannels(Raw(0, "m", "", {{"Mic", "Mic"}}))),
              (Names_{"Mic (Channel 1)", "Mic (Channel 2)"}));
    EXPECT_EQ(Names(NameChannels(Raw(0, "m", "", {{"Front Left"}}))), Names_{"Front Left"});
    // Two one-channel buffers: each numbered from 1 within its buffer, and the
    // device channel counts across the device.
    auto two = NameChannels(Raw(0, "m", "", {{""}, {"Line"}}));
    EXPECT_EQ(Names(two), (Names_{"Default", "Line"}));
    EXPECT_EQ(std::make_tuple(two[1].index, two[1].deviceChannel), std::make_tuple(0u, 1));
    EXPECT_EQ(Names(NameChannels(Raw(0, "m", "", {{"", "Rear"}, {"", ""}}))),
              (Names_{"Channel 1", "Rear (Channel 2)", "Channel 1", "Channel 2"}));
}

TEST(DeviceList, LookUpsSkipDevicesWithoutInputsAndAFailedQueryKeepsItsEntries) {
    FakeEnumerator fake;
    fake.inputs = {Raw(10, "Monitor of Speakers", "", {{"Front Left", "Front Right"}}),
                   Raw(11, "Output only", "usb", {}), Raw(12, "Mic", "usb", {{""}})};
    auto list = LSoundDeviceList::Query(LDeviceDirection::Input, fake);
    ASSERT_TRUE(list.Ok());
    ASSERT_EQ(list.Count(), 2);  // the device with no input channel is not listed
    EXPECT_EQ(list.Entry(1).displayName, "[USB 0] Mic");  // and took no USB number
    EXPECT_EQ(std::make_tuple(list.IdOfIndex(1), list.IdOfIndex(2), list.IdOfIndex(-1)),
              std::make_tuple(12u, 0u, 0u));
    std::string name = "stale", none = "stale";
    EXPECT_EQ(std::make_tuple(list.IndexOfId(12, &name), name, list.IndexOfId(11, &none), none),
              std::make_tuple(1, "[USB 0] Mic", -1, ""));
    EXPECT_EQ(std::make_tuple(list.IndexOfName("dev12"), list.IndexOfName("dev99")),
              std::make_tuple(1, -1));
    EXPECT_EQ(Names(list.Channels(0)),
              (std::vector<std::string>{"Front Left (Channel 1)", "Front Right (Channel 2)"}));
    EXPECT_TRUE(list.Channels(5).empty());

    fake.fail = true;
    auto failed = LSoundDeviceList::Query(LDeviceDirection::Input, fake);
    EXPECT_EQ(std::make_tuple(failed.Ok(), failed.Error(), failed.Count()),
              std::make_tuple(false, "server went away", 2));
}

TEST(RecordChoice, TextFormRoundTripsAndRejectsJunkChannels) {
    EXPECT_EQ(FormatRecordChoice("alsa_input.usb-Mic.mono", -1), "alsa_input.usb-Mic.mono");
    EXPECT_EQ(FormatRecordChoice("src", 1), "src#2");
    auto parsed = ParseRecordChoice(" src#2 ");
    EXPECT_EQ(std::make_tuple(parsed.device, parsed.channel),
              std::make_tuple(std::string("src"), 1));
    // A "#" that is not followed by a channel number is part of the name.
    for (const char* text : {"a#b", "a#0", "a#", "a#-1", "a#99999"})
        EXPECT_EQ(std::make_tuple(ParseRecordChoice(text).device, ParseRecordChoice(text).channel),
                  std::make_tuple(std::string(text), -1));
    EXPECT_EQ(NearestSampleRate({}, 22050u), 22050u);
    EXPECT_EQ(NearestSampleRate({44100, 48000, 96000}, 47000u), 48000u);
    EXPECT_EQ(NearestSampleRate({44100, 48000}, 8000u), 44100u);
    EXPECT_EQ(NearestSampleRate({44000, 46000}, 45000u), 46000u);  // a tie takes the higher
}

TEST(RecordChoice, UsbPhoneSelectsTheOtherKeyPair) {
    SaveRecordChoice("plain", 0, LdBLevel(-6));
    SetSettingBool("Settings", "UseUSBPhone", true);
    SaveRecordChoice("phone", -1, LdBLevel(9));
    EXPECT_EQ(
        std::make_tuple(GetSettingString("Settings", "RecordDeviceUSB"),
                        GetSettingInt("Settings", "RecordVolumeUSB", 0), LoadRecordChoice().device),
        std::make_tuple("phone", 9, "phone"));
    SetSettingBool("Settings", "UseUSBPhone", false);
    auto plain = LoadRecordChoice();
    EXPECT_EQ(std::make_tuple(plain.device, plain.channel, plain.volume.Value()),
              std::make_tuple("plain", 0, -6));
    EXPECT_EQ(GetSettingString("Settings", "RecordDevice"), "plain#1");
    // A volume outside the signed byte is clamped, not wrapped.
    SetSettingInt("Settings", "RecordVolume", 300);
    EXPECT_EQ(LoadRecordChoice().volume.Value(), 127);
    DeleteSetting("Settings", "RecordVolume");
    DeleteSetting("Settings", "RecordDevice");
}

TEST(RecordChoice, ResolvesByNameOrDisplayNameAndFallsBackToFirst) {
    FakeEnumerator fake;
    auto list = LSoundDeviceList::Query(LDeviceDirection::Input, fake);
    auto byName = ResolveRecordChoice(list, ParseRecordChoice("alsa_input.usb-Mic.mono#1"));
    EXPECT_EQ(std::make_tuple(byName.device.index, byName.device.channel, byName.fellBack),
              std::make_tuple(1, 0, false));
    // Devices re-ordered (after a reboot): the name still finds it.
    std::swap(fake.inputs[0], fake.inputs[1]);
    auto reordered = LSoundDeviceList::Query(LDeviceDirection::Input, fake);
    EXPECT_EQ(
        ResolveRecordChoice(reordered, ParseRecordChoice("alsa_input.usb-Mic.mono#1")).device.index,
        0);
    auto byDisplay = ResolveRecordChoice(list, ParseRecordChoice("[pci 0] built-in audio#2"));
    EXPECT_EQ(std::make_tuple(byDisplay.device.index, byDisplay.device.channel),
              std::make_tuple(0, 1));
    auto gone = ResolveRecordChoice(list, ParseRecordChoice("unplugged#2"));
    EXPECT_EQ(
        std::make_tuple(gone.fellBack, gone.device.index, gone.device.channel, gone.deviceName),
        std::make_tuple(true, 0, -1, "alsa_input.pci.analog-stereo"));
    auto badChannel = ResolveRecordChoice(list, ParseRecordChoice("alsa_input.usb-Mic.mono#3"));
    EXPECT_EQ(badChannel.device.channel, -1);
    EXPECT_EQ(ResolveRecordChoice(LSoundDeviceList(), ParseRecordChoice("x")).device.index, -1);
}

TEST(DevicePanelModel, LoadsSavesAndAppliesVolumeLive) {
    FakeEnumerator fake;
    LRecordVolumeTable::Instance().Clear();
    SetSettingString("Settings", "RecordDevice", "alsa_input.usb-Mic.mono#1");
    SetSettingInt("Settings", "RecordVolume", 99);
    LDevicePanelModel model;
    ASSERT_TRUE(model.Load(fake));
    EXPECT_EQ(model.DeviceNames(),
              (std::vector<std::string>{"[PCI 0] Built-in Audio", "[USB 0] USB Mic"}));
    EXPECT_EQ(std::make_tuple(model.SelectedDevice(), model.SelectedChannelRow()),
              std::make_tuple(1, 1));
    EXPECT_EQ(model.ChannelNames(), (std::vector<std::string>{"All Channels", "Default"}));
    EXPECT_EQ(model.Volume(), model.VolumeMax());  // 99 dB is beyond the slider
    model.SelectDevice(0);
    EXPECT_EQ(model.SelectedChannelRow(), 0);
    model.SelectChannelRow(2);
    model.SelectChannelRow(7);  // out of range: ignored
    model.SetVolume(-12);
    auto& table = LRecordVolumeTable::Instance();
    EXPECT_EQ(table.Get("alsa_input.pci.analog-stereo", 1).Value(), -12);
    EXPECT_NEAR(table.Gain("alsa_input.pci.analog-stereo", 1), 0.251f, 1e-3);
    ASSERT_TRUE(model.Save());
    EXPECT_EQ(std::make_tuple(GetSettingString("Settings", "RecordDevice"),
                              GetSettingInt("Settings", "RecordVolume", 0)),
              std::make_tuple("alsa_input.pci.analog-stereo#2", -12));
    // The stored device is unplugged: the panel shows the first device.
    SetSettingString("Settings", "RecordDevice", "gone.device");
    LDevicePanelModel again;
    ASSERT_TRUE(again.Load(fake));
    EXPECT_TRUE(again.FellBack() && again.SelectedDevice() == 0);
    table.Clear();
}

}  // namespace
}  // namespace vocarta
