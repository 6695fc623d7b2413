// The dialog's five checks, each in its place in the order (their titles, as the
// dialog shows them: hotkey_dialog_test.cpp).

#include "hotkeys/hotkey_checks.h"

#include <gtest/gtest.h>

using namespace vocarta;

TEST(HotkeyChecks, EachRuleInItsPlaceInTheOrder) {
    using C = HotkeyCheck;
    const auto V = [](uint8_t code, HotkeyValue mods = 0) { return MakeVirtualHotkey(code, mods); };
    const auto K = [](char16_t c, HotkeyValue mods = 0) { return MakeHotkey(c, mods); };
    const int32_t rec = int32_t(HotkeyCommand::kRecord), stop = int32_t(HotkeyCommand::kStop);
    const HotkeyValue ctl = kHotkeyControl, cmd = kHotkeyCommand, shift = kHotkeyShift;
    const HotkeyBinding r{0, rec, K(u'R', ctl)}, s{1, stop, V(100)}, keyless{1, stop, 0};
    const std::vector<HotkeyBinding> none, rs = {r, s}, rk = {r, keyless}, a = {{2, stop, K(u'A')}};
    const std::vector<HotkeyValue> noApp, app = {V(kVkF5), V(kVkHome), V(kVkSpace)},
                                          f2 = {V(kVkF2)};
    // {binding edited ({} when new), key, command, stored bindings, window keys, result}
    const struct {
        HotkeyBinding edited;
        HotkeyValue key;
        int32_t command;
        const std::vector<HotkeyBinding>& bindings;
        const std::vector<HotkeyValue>& app;
        C expected;
    } rows[] = {
        // Function keys stand alone, characters need a modifier; only bits 24-29
        // count as a key code, so F17 (64) alone needs one too.
        {{}, V(kVkF5), rec, none, noApp, C::kOk},
        {{}, K(u'A'), rec, none, noApp, C::kNoModifier},
        {{}, K(u'A', ctl), rec, none, noApp, C::kOk},
        {{}, K(u'1'), rec, none, noApp, C::kNoModifier},
        {{}, V(kVkLeft), rec, none, noApp, C::kOk},
        {{}, V(kVkF17), rec, none, noApp, C::kNoModifier},
        {{}, V(kVkF17, ctl), rec, none, noApp, C::kOk},
        // Reserved keys, even unused; Shift+Command+/ arrives as "?".
        {{}, K(u'Q', cmd), rec, none, noApp, C::kReserved},
        {{}, V(kVkF2), rec, none, noApp, C::kReserved},
        {{}, V(kVkF2, ctl), rec, none, noApp, C::kOk},
        {{}, V(kVkBackspace, cmd), rec, none, noApp, C::kReserved},
        {{}, K(u',', cmd), rec, none, noApp, C::kReserved},
        {{}, K(u's', cmd | shift), rec, none, noApp, C::kReserved},
        {{}, K(u'?', cmd | shift), rec, none, noApp, C::kReserved},
        {{}, K(u'Q', cmd | ctl), rec, none, noApp, C::kOk},
        // In use, except the binding's own stored key; the window's keys count; in
        // use is found before the modifier rule and the reserved list.
        {r, r.key, rec, rs, noApp, C::kOk},
        {r, s.key, rec, rs, noApp, C::kKeyInUse},
        {{}, r.key, stop, rs, noApp, C::kKeyInUse},
        {{}, V(kVkF5), rec, none, app, C::kKeyInUse},
        {{}, V(kVkF6), rec, none, app, C::kOk},
        {{}, K(u'A'), rec, a, noApp, C::kKeyInUse},
        {{}, V(kVkF2), rec, none, f2, C::kKeyInUse},
        // No key comes first; modifiers alone are no key.
        {{}, 0, rec, rk, noApp, C::kNoKey},
        {{}, ctl | cmd, rec, rk, noApp, C::kNoKey},
        // A command takes one key (a binding without one does not count); its own
        // binding may change its key, another may not move onto it.
        {{}, K(u'T', ctl), rec, rk, noApp, C::kCommandAssigned},
        {{}, K(u'T', ctl), stop, rk, noApp, C::kOk},
        {r, K(u'T', ctl), rec, rk, noApp, C::kOk},
        {keyless, K(u'T', ctl), rec, rk, noApp, C::kCommandAssigned},
    };
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        const auto& row = rows[i];
        EXPECT_EQ(CheckHotkeyEdit({row.edited, row.key, row.command}, row.bindings, row.app),
                  row.expected)
            << "row " << i;
    }
    EXPECT_EQ(ReservedHotkeys().size(), 18u);
}
