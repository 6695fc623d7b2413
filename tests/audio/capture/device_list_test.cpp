// Naming rules of the device and channel lists, over a fake enumerator.
#include "audio/capture/device_list.h"

#include <gtest/gtest.h>

namespace vocarta {
namespace {

LRawDevice Raw(uint32_t id, const std::string& description, const std::string& bus,
               std::vector<std::vector<std::string>> buffers) {
    LRawDevice d;
    d.id = id;
    d.name = "dev" + std::to_string(id);
    d.description = description;
    d.bus = bus;
    d.buffers = std::move(buffers);
    return d;
}

class FakeEnumerator : public LDeviceEnumerator {
  public:
    std::vector<LRawDevice> inputs, outputs;
    bool failAfterInputs = false;
    bool Enumerate(LDeviceDirection direction, std::vector<LRawDevice>& out,
                   std::string& error) override {
        out = direction == LDeviceDirection::Input ? inputs : outputs;
        if (failAfterInputs) error = "server went away";
        return !failAfterInputs;
    }
};

std::vector<std::string> Names(const std::vector<LChannelEntry>& channels) {
    std::vector<std::string> names;
    for (const auto& c : channels) names.push_back(c.displayName);
    return names;
}

TEST(DeviceNaming, TransportPrefixesCountEachKindSeparately) {
    auto entries =
        NameDevices({Raw(7, "Mic A", "firewire", {{""}}), Raw(3, "Headset", "usb", {{""}}),
                     Raw(9, "Mic B", "ieee1394", {{""}}), Raw(1, "Built-in", "", {{""}}),
                     Raw(4, "Card", "pci", {{""}}), Raw(5, "Phone", "bluetooth", {{""}}),
                     Raw(6, "Headset 2", "USB", {{""}}), Raw(8, "Odd", "isa", {{""}})});
    std::vector<std::string> names;
    for (const auto& e : entries) names.push_back(e.displayName);
    EXPECT_EQ(names, (std::vector<std::string>{"[FireWire 0] Mic A", "[USB 0] Headset",
                                               "[FireWire 1] Mic B", "Built-in", "[PCI 0] Card",
                                               "[Bluetooth 0] Phone", "[USB 1] Headset 2", "Odd"}));
    // A device without a description is shown by its server name; long names are cut.
    auto cut = NameDevices({Raw(2, "", "usb", {{""}}), Raw(3, std::string(400, 'x'), "", {{""}})});
    EXPECT_EQ(cut[0].displayName, "[USB 0] dev2");
    EXPECT_EQ(cut[1].displayName.size(), 259u);
}

TEST(DeviceNaming, ChannelNamesFollowBufferLayout) {
    EXPECT_EQ(Names(NameChannels(Raw(0, "m", "", {{""}}))), std::vector<std::string>{"Default"});
    EXPECT_EQ(Names(NameChannels(Raw(0, "m", "", {{"", ""}}))),
              (std::vector<std::string>{"Channel 1", "Channel 2"}));
    EXPECT_EQ(Names(NameChannels(Raw(0, "m", "", {{"Mic", "Mic"}}))),
              (std::vector<std::string>{"Mic (Channel 1)", "Mic (Channel 2)"}));
    EXPECT_EQ(Names(NameChannels(Raw(0, "m", "", {{"Front Left"}}))),
              std::vector<std::string>{"Front Left"});
    // Two one-channel buffers: each numbered from 1 within its buffer, and the
    // device channel counts across the device.
    auto two = NameChannels(Raw(0, "m", "", {{""}, {"Line"}}));
    EXPECT_EQ(Names(two), (std::vector<std::string>{"Default", "Line"}));
    EXPECT_EQ(two[1].index, 0u);
    EXPECT_EQ(two[1].deviceChannel, 1);
    auto mixed = NameChannels(Raw(0, "m", "", {{"", "Rear"}, {"", ""}}));
    EXPECT_EQ(Names(mixed), (std::vector<std::string>{"Channel 1", "Rear (Channel 2)", "Channel 1",
                                                      "Channel 2"}));
}

TEST(DeviceList, LookUpsAndDevicesWithoutInputs) {
    FakeEnumerator fake;
    fake.inputs = {Raw(10, "Monitor of Speakers", "", {{"Front Left", "Front Right"}}),
                   Raw(11, "Output only", "usb", {}), Raw(12, "Mic", "usb", {{""}})};
    auto list = LSoundDeviceList::Query(LDeviceDirection::Input, fake);
    ASSERT_TRUE(list.Ok());
    ASSERT_EQ(list.Count(), 2);  // the device with no input channel is not listed
    EXPECT_EQ(list.Entry(1).displayName, "[USB 0] Mic");  // and took no USB number
    EXPECT_EQ(list.IdOfIndex(1), 12u);
    EXPECT_EQ(list.IdOfIndex(2), 0u);
    EXPECT_EQ(list.IdOfIndex(-1), 0u);
    std::string name = "stale";
    EXPECT_EQ(list.IndexOfId(12, &name), 1);
    EXPECT_EQ(name, "[USB 0] Mic");
    EXPECT_EQ(list.IndexOfId(11, &name), -1);
    EXPECT_EQ(name, "");
    EXPECT_EQ(list.IndexOfName("dev12"), 1);
    EXPECT_EQ(list.IndexOfName("dev99"), -1);
    EXPECT_EQ(Names(list.Channels(0)),
              (std::vector<std::string>{"Front Left (Channel 1)", "Front Right (Channel 2)"}));
    EXPECT_TRUE(list.Channels(5).empty());
}

TEST(DeviceList, FailedQueryKeepsEntriesAlreadyMade) {
    FakeEnumerator fake;
    fake.inputs = {Raw(1, "First", "pci", {{""}})};
    fake.failAfterInputs = true;
    auto list = LSoundDeviceList::Query(LDeviceDirection::Input, fake);
    EXPECT_FALSE(list.Ok());
    EXPECT_EQ(list.Error(), "server went away");
    ASSERT_EQ(list.Count(), 1);
    EXPECT_EQ(list.Entry(0).displayName, "[PCI 0] First");
}

}  // namespace
}  // namespace vocarta
