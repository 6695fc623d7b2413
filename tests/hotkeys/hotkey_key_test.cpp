// Key values, their names, and the mapping to X keysyms both ways.

#include "hotkeys/hotkey_key.h"

#include <X11/keysym.h>
#include <gtest/gtest.h>

#include "hotkeys/x11_keysyms.h"

using namespace vocarta;

TEST(HotkeyKey, NamesPutTheModifierSymbolsInTheirOrderBeforeTheKey) {
    const HotkeyValue all = kHotkeyCommand | kHotkeyShift | kHotkeyOption | kHotkeyControl;
    const std::pair<HotkeyValue, const char*> rows[] = {
        {MakeHotkey(u'k', all), "⌃⌥⇧⌘K"},
        {MakeVirtualHotkey(kVkF5, kHotkeyControl), "⌃F5"},
        {MakeVirtualHotkey(kVkReturn, kHotkeyCommand), "⌘↩"},
        // Shift is left out where the character already is the shifted form.
        {MakeHotkey(u'!', kHotkeyShift | kHotkeyControl), "⌃!"},
        {MakeHotkey(u'1', kHotkeyShift | kHotkeyControl), "⌃⇧1"},
        // Caps Lock has no symbol; modifiers alone show alone; nothing shows nothing.
        {MakeHotkey(u'A', kHotkeyCapsLock | kHotkeyOption), "⌥A"},
        {kHotkeyControl | kHotkeyCommand, "⌃⌘"},
        {0, ""},
        {MakeHotkey(0xE9, kHotkeyControl), "⌃É"}};
    for (const auto& [value, name] : rows) EXPECT_EQ(HotkeyName(value), name) << name;
    EXPECT_TRUE(IsModifiersOnly(kHotkeyControl | kHotkeyCommand));
}

TEST(HotkeyKey, TableCodesHaveNamesAndOthersAreUnknown) {
    ASSERT_EQ(NamedVirtualKeys().size(), 42u);
    for (uint8_t code : NamedVirtualKeys()) {
        EXPECT_NE(VirtualKeyName(code), "Unknown") << int(code);
        EXPECT_EQ(HotkeyName(MakeVirtualHotkey(code)), VirtualKeyName(code)) << int(code);
    }
    const std::pair<uint8_t, const char*> some[] = {
        {36, "↩"},  {49, "␣"},     {57, "Caps Lock"}, {72, "Volume Up"},
        {96, "F5"}, {114, "Help"}, {115, "↖"},        {126, "↑"}};
    for (const auto& [code, name] : some) EXPECT_EQ(VirtualKeyName(code), name) << int(code);
    for (int code : {0, 50, 65, 102, 112, 127, 200}) EXPECT_EQ(VirtualKeyName(code), "Unknown");
}

TEST(HotkeyKey, StoredIntegerKeepsEveryBit) {
    for (HotkeyValue v : {0u, 0x7E1F0000u, 0xFF1F0041u, 0x80000000u, 0xFFFFFFFFu})
        EXPECT_EQ(HotkeyFromStored(HotkeyToStored(v)), v);
}

TEST(HotkeyKeysyms, EveryTableCodeMapsToItsKeysymAndBack) {
    for (uint8_t code : NamedVirtualKeys()) {
        const Keysym keysym = VirtualKeyToKeysym(code);
        ASSERT_NE(keysym, 0u) << int(code);
        EXPECT_EQ(KeysymToHotkey(keysym), MakeVirtualHotkey(code)) << int(code);
        EXPECT_EQ(HotkeyKeysym(MakeVirtualHotkey(code, kHotkeyControl)), keysym);
    }
    EXPECT_EQ(VirtualKeyToKeysym(kVkF5), Keysym(XK_F5));
    EXPECT_EQ(VirtualKeyToKeysym(kVkReturn), Keysym(XK_Return));
    EXPECT_EQ(VirtualKeyToKeysym(121), Keysym(XK_Next));
    EXPECT_EQ(VirtualKeyToKeysym(50), 0u);
    // Keys that reach the same code by another keysym: Shift+Tab, Insert for Help.
    EXPECT_EQ(KeysymToHotkey(XK_ISO_Left_Tab), MakeVirtualHotkey(kVkTab));
    EXPECT_EQ(KeysymToHotkey(XK_Insert), MakeVirtualHotkey(114));
    EXPECT_EQ(VirtualKeyKeysyms(114), (std::vector<Keysym>{XK_Help, XK_Insert}));
    EXPECT_EQ(KeysymName(XK_F5), "F5");
}

TEST(HotkeyKeysyms, LettersDigitsAndPunctuationMapBothWays) {
    for (char16_t c = u'A'; c <= u'Z'; ++c) {
        EXPECT_EQ(CharacterToKeysym(c), Keysym(XK_a + (c - u'A')));
        EXPECT_EQ(KeysymToHotkey(XK_a + (c - u'A')), MakeHotkey(c, 0));
        EXPECT_EQ(KeysymToHotkey(XK_A + (c - u'A')), MakeHotkey(c, 0));
    }
    const std::u16string others = u"0123456789`-=[]\\;',./~!@#$%^&*()_+{}|:\"<>?";
    for (char16_t c : others) {
        EXPECT_EQ(CharacterToKeysym(c), Keysym(c));
        EXPECT_EQ(KeysymToHotkey(CharacterToKeysym(c)), MakeHotkey(c, 0)) << char(c);
    }
    EXPECT_EQ(KeysymToHotkey(XK_eacute), MakeHotkey(0xC9, 0));
    EXPECT_EQ(CharacterToKeysym(0xC9), Keysym(XK_eacute));
    EXPECT_EQ(KeysymToHotkey(0x01000416), MakeHotkey(0x0416, 0));  // Cyrillic Zhe
    EXPECT_EQ(CharacterToKeysym(0x0416), 0x01000416u);
    // A modifier key itself is no hot-key.
    for (Keysym k : {XK_Shift_L, XK_Control_R, XK_Super_L, XK_Alt_L})
        EXPECT_EQ(KeysymToHotkey(k), 0u);
}
