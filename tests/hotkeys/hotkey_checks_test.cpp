// The dialog's five checks, each in its place in the order, with the product's
// texts and titles.

#include "hotkeys/hotkey_checks.h"

#include <gtest/gtest.h>

using namespace vocarta;

namespace {

constexpr int32_t kRecord = int32_t(HotkeyCommand::kRecord);
constexpr int32_t kStop = int32_t(HotkeyCommand::kStop);
const HotkeyValue kCtrl = kHotkeyControl;
const HotkeyValue kCmd = kHotkeyCommand;

HotkeyCheck CheckNew(HotkeyValue key, int32_t command = kRecord,
                     const std::vector<HotkeyBinding>& bindings = {},
                     const std::vector<HotkeyValue>& app = {}) {
    return CheckHotkeyEdit({HotkeyBinding{}, key, command}, bindings, app);
}

}  // namespace

TEST(HotkeyChecks, ModifierRuleLetsFunctionKeysStandAloneButNotCharacters) {
    EXPECT_EQ(CheckNew(MakeVirtualHotkey(kVkF5)), HotkeyCheck::kOk);
    EXPECT_EQ(CheckNew(MakeHotkey(u'A', 0)), HotkeyCheck::kNoModifier);
    EXPECT_EQ(CheckNew(MakeHotkey(u'A', kCtrl)), HotkeyCheck::kOk);
    EXPECT_EQ(CheckNew(MakeHotkey(u'1', 0)), HotkeyCheck::kNoModifier);
    EXPECT_EQ(CheckNew(MakeVirtualHotkey(kVkLeft)), HotkeyCheck::kOk);
    // Only bits 24-29 count as a key code, so F17 (64) alone needs a modifier.
    EXPECT_EQ(CheckNew(MakeVirtualHotkey(kVkF17)), HotkeyCheck::kNoModifier);
    EXPECT_EQ(CheckNew(MakeVirtualHotkey(kVkF17, kCtrl)), HotkeyCheck::kOk);
}

TEST(HotkeyChecks, ReservedKeysAreRefusedEvenWhenUnused) {
    EXPECT_EQ(CheckNew(MakeHotkey(u'Q', kCmd)), HotkeyCheck::kReserved);
    EXPECT_EQ(CheckNew(MakeVirtualHotkey(kVkF2)), HotkeyCheck::kReserved);
    EXPECT_EQ(CheckNew(MakeVirtualHotkey(kVkF2, kCtrl)), HotkeyCheck::kOk);
    EXPECT_EQ(CheckNew(MakeVirtualHotkey(kVkBackspace, kCmd)), HotkeyCheck::kReserved);
    EXPECT_EQ(CheckNew(MakeHotkey(u',', kCmd)), HotkeyCheck::kReserved);
    EXPECT_EQ(CheckNew(MakeHotkey(u's', kCmd | kHotkeyShift)), HotkeyCheck::kReserved);
    // Shift+Command+/ arrives as "?" from the keyboard: still the reserved key.
    EXPECT_EQ(CheckNew(MakeHotkey(u'?', kCmd | kHotkeyShift)), HotkeyCheck::kReserved);
    EXPECT_EQ(CheckNew(MakeHotkey(u'Q', kCmd | kCtrl)), HotkeyCheck::kOk);
    EXPECT_EQ(ReservedHotkeys().size(), 18u);
}

TEST(HotkeyChecks, KeyInUseExceptTheBindingsOwnStoredKey) {
    const HotkeyBinding record{0, kRecord, MakeHotkey(u'R', kCtrl)};
    const HotkeyBinding stop{1, kStop, MakeVirtualHotkey(100)};
    const std::vector<HotkeyBinding> all = {record, stop};
    // Re-confirming an unchanged binding is no clash with itself.
    EXPECT_EQ(CheckHotkeyEdit({record, record.key, kRecord}, all, {}), HotkeyCheck::kOk);
    EXPECT_EQ(CheckHotkeyEdit({record, stop.key, kRecord}, all, {}), HotkeyCheck::kKeyInUse);
    EXPECT_EQ(CheckNew(record.key, kStop, all), HotkeyCheck::kKeyInUse);
    // The application's own shortcuts count as in use.
    const std::vector<HotkeyValue> app = {MakeVirtualHotkey(kVkF5), MakeVirtualHotkey(kVkHome),
                                          MakeVirtualHotkey(kVkSpace)};
    EXPECT_EQ(CheckNew(MakeVirtualHotkey(kVkF5), kRecord, {}, app), HotkeyCheck::kKeyInUse);
    EXPECT_EQ(CheckNew(MakeVirtualHotkey(kVkF6), kRecord, {}, app), HotkeyCheck::kOk);
    // In use is found before the modifier rule and the reserved list.
    EXPECT_EQ(CheckNew(MakeHotkey(u'A', 0), kRecord, {{2, kStop, MakeHotkey(u'A', 0)}}),
              HotkeyCheck::kKeyInUse);
    EXPECT_EQ(CheckNew(MakeVirtualHotkey(kVkF2), kRecord, {}, {MakeVirtualHotkey(kVkF2)}),
              HotkeyCheck::kKeyInUse);
}

TEST(HotkeyChecks, NoKeyComesFirstAndModifiersAloneAreNoKey) {
    const std::vector<HotkeyBinding> all = {{0, kRecord, MakeHotkey(u'R', kCtrl)}};
    EXPECT_EQ(CheckNew(0, kRecord, all), HotkeyCheck::kNoKey);
    EXPECT_EQ(CheckNew(kCtrl | kCmd, kRecord, all), HotkeyCheck::kNoKey);
}

TEST(HotkeyChecks, ACommandTakesOneKey) {
    const HotkeyBinding record{0, kRecord, MakeHotkey(u'R', kCtrl)};
    const HotkeyBinding stopNoKey{1, kStop, 0};
    const std::vector<HotkeyBinding> all = {record, stopNoKey};
    EXPECT_EQ(CheckNew(MakeHotkey(u'T', kCtrl), kRecord, all), HotkeyCheck::kCommandAssigned);
    // A binding of the command without a key does not count.
    EXPECT_EQ(CheckNew(MakeHotkey(u'T', kCtrl), kStop, all), HotkeyCheck::kOk);
    // Changing the key of the command's own binding is fine.
    EXPECT_EQ(CheckHotkeyEdit({record, MakeHotkey(u'T', kCtrl), kRecord}, all, {}),
              HotkeyCheck::kOk);
    // Moving the stop binding onto the record command is not.
    EXPECT_EQ(CheckHotkeyEdit({stopNoKey, MakeHotkey(u'T', kCtrl), kRecord}, all, {}),
              HotkeyCheck::kCommandAssigned);
}

TEST(HotkeyChecks, MessagesAndTitles) {
    const std::pair<HotkeyCheck, HotkeyCheckMessage> expected[] = {
        {HotkeyCheck::kNoKey, {"Please click here to assign the hot-key.", "Hot-key Required"}},
        {HotkeyCheck::kKeyInUse,
         {"Sorry, the key you have chosen is already in use as a hot-key. Please choose another "
          "key.",
          "Key Already In Use"}},
        {HotkeyCheck::kNoModifier,
         {"Please add one or more modifier keys (Command, Option, Shift, and Control) or you can "
          "use function keys e.g. F3, F4, F5 etc.",
          "Key Has No Modifier"}},
        {HotkeyCheck::kReserved,
         {"Sorry, the key you have chosen can't be used as a hot-key. Please choose another key.",
          "Key Is Reserved"}},
        {HotkeyCheck::kCommandAssigned,
         {"Sorry, the command you have chosen already has a hot-key associated with it. Please "
          "choose another command.",
          "Command Already Assigned A Key"}}};
    for (const auto& [check, message] : expected) {
        EXPECT_STREQ(HotkeyCheckText(check).text, message.text);
        EXPECT_STREQ(HotkeyCheckText(check).title, message.title);
    }
}
