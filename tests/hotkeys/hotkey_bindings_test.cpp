// The bindings in the settings: paths, ids, enumeration and deletion.

#include "hotkeys/hotkey_bindings.h"

#include <gtest/gtest.h>

#include "settings/settings.h"

using namespace vocarta;

namespace {

class HotkeyBindingsTest : public ::testing::Test {
  protected:
    HotkeyBindingsTest() { DeleteSettingTree(kHotkeySection); }
    static std::vector<int> Ids() {
        std::vector<int> ids;
        for (const auto& b : ReadHotkeyBindings()) ids.push_back(b.id);
        return ids;
    }
    static void Store(int id, HotkeyValue key = MakeHotkey(u'K', kHotkeyControl)) {
        ASSERT_EQ(StoreHotkeyBinding({id, int32_t(HotkeyCommand::kRecord), key}).ValueOr(-1), id);
    }
};

}  // namespace

TEST_F(HotkeyBindingsTest, NewIdTakesTheLowestFreeIdBelowMaxId) {
    SetSettingInt("Hotkey/Details/", "MaxID", 3);
    for (int id : {0, 2}) Store(id);
    EXPECT_EQ(NewHotkeyBindingId().ValueOr(-1), 1);
    EXPECT_EQ(ReadHotkeyMaxId(), 3);
    Store(1);
    EXPECT_EQ(NewHotkeyBindingId().ValueOr(-1), 3);
    EXPECT_EQ(ReadHotkeyMaxId(), 4);
    // Id 3 was handed out but never stored, so a new binding takes it again.
    EXPECT_EQ(StoreHotkeyBinding({-1, 1, MakeVirtualHotkey(kVkF5)}).ValueOr(-1), 3);
    EXPECT_EQ(ReadHotkeyMaxId(), 4);
    EXPECT_EQ(StoreHotkeyBinding({-1, 1, MakeVirtualHotkey(kVkF6)}).ValueOr(-1), 4);
    EXPECT_EQ(ReadHotkeyMaxId(), 5);
}

TEST_F(HotkeyBindingsTest, RoundTripUnderTheSettingsKeysAndPaths) {
    EXPECT_EQ(HotkeySubPath("Hotkey", "Details") + HotkeySubPath("Hotkey/", "Details"),
              "Hotkey/Details/Hotkey/Details/");
    SetSettingInt("Hotkey/Details/", "MaxID", 12);
    const HotkeyValue high = MakeHotkey(0, kHotkeyCommand | kHotkeyShift, 0xF0);
    Store(11, high);
    Store(3, MakeVirtualHotkey(kVkF5));
    EXPECT_EQ(GetSettingInt("Hotkey/Details/11/", "Key", 0), HotkeyToStored(high));
    EXPECT_EQ(GetSettingInt("Hotkey/Details/11/", "Command", 0), 1);
    EXPECT_EQ(GetSettingString("Hotkey/Details", "11"), "11");  // the path's marker
    EXPECT_EQ(ReadHotkeyBindings(),
              (std::vector<HotkeyBinding>{{3, 1, MakeVirtualHotkey(kVkF5)}, {11, 1, high}}));
    EXPECT_EQ(HotkeyBinding({11, 1, high}).Command(), HotkeyCommand::kRecord);
}

TEST_F(HotkeyBindingsTest, EnumerationSkipsMissingIdsAndThoseFromMaxIdOnAndDeletionIsExact) {
    SetSettingInt("Hotkey/Details/", "MaxID", 11);
    for (int id : {1, 4, 10, 11}) Store(id);  // 11: from MaxID on, not listed
    // A binding written by hand without its marker still counts.
    SetSettingInt("Hotkey/Details/2/", "Key", HotkeyToStored(MakeVirtualHotkey(kVkF6)));
    EXPECT_EQ(Ids(), (std::vector<int>{1, 2, 4, 10}));
    EXPECT_TRUE(HotkeyBindingExists(2) && !HotkeyBindingExists(3));
    ASSERT_TRUE(DeleteHotkeyBinding(1).Ok());
    EXPECT_EQ(Ids(), (std::vector<int>{2, 4, 10}));  // "1" is no prefix of "10"
    EXPECT_FALSE(HotkeyBindingExists(1));
    EXPECT_EQ(ReadHotkeyMaxId(), 11);
    EXPECT_EQ(NewHotkeyBindingId().ValueOr(-1), 0);
    for (const std::string& key : AppSettings().KeyList())
        EXPECT_EQ(key.find("Hotkey/Details/1/"), std::string::npos) << key;
}

TEST_F(HotkeyBindingsTest, DamagedMaxIdNeitherHangsNorLosesBindingsAndEnabledDefaultsToTrue) {
    SetSettingString("Hotkey/Details/", "MaxID", "-7");
    EXPECT_TRUE(ReadHotkeyBindings().empty());
    EXPECT_EQ(NewHotkeyBindingId().ValueOr(-1), 0);
    Store(0);
    SetSettingString("Hotkey/Details/", "MaxID", "2000000000");
    EXPECT_EQ(Ids(), (std::vector<int>{0}));
    EXPECT_EQ(NewHotkeyBindingId().ValueOr(-1), 1);
    EXPECT_EQ(GetSettingInt("Hotkey/Details/", "MaxID", 0), 2000000000);

    EXPECT_TRUE(HotkeysEnabled());
    ASSERT_TRUE(StoreHotkeysEnabled(false));
    EXPECT_EQ(GetSettingString("Hotkey", "Enabled"), "0");
    EXPECT_FALSE(HotkeysEnabled());
    SetSettingString("Hotkey", "Enabled", "");
    EXPECT_TRUE(HotkeysEnabled());
}
