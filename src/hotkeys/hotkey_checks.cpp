#include "hotkeys/hotkey_checks.h"

namespace vocarta {

namespace {

// Deliberately only bits 24-29: a code with none of them set (F17, 64) counts
// as a plain key and needs a modifier.
constexpr HotkeyValue kVirtualKeyCheckBits = 0x3F000000u;

bool AnyBindingHasKey(const std::vector<HotkeyBinding>& bindings, HotkeyValue key) {
    for (const auto& b : bindings)
        if (SameHotkey(b.key, key)) return true;
    return false;
}

bool IsAppShortcut(const std::vector<HotkeyValue>& shortcuts, HotkeyValue key) {
    for (HotkeyValue s : shortcuts)
        if (SameHotkey(s, key)) return true;
    return false;
}

bool CommandHasOtherKey(const HotkeyEdit& edit, const std::vector<HotkeyBinding>& bindings) {
    for (const auto& b : bindings) {
        if (b.id == edit.stored.id && edit.stored.id >= 0) continue;
        if (b.command != edit.command || !HasKey(b.key)) continue;
        if (!SameHotkey(b.key, edit.stored.key)) return true;
    }
    return false;
}

}  // namespace

HotkeyCheckMessage HotkeyCheckText(HotkeyCheck check) {
    switch (check) {
        case HotkeyCheck::kOk:
            return {"", ""};
        case HotkeyCheck::kNoKey:
            return {"Please click here to assign the hot-key.", "Hot-key Required"};
        case HotkeyCheck::kKeyInUse:
            return {
                "Sorry, the key you have chosen is already in use as a hot-key. Please choose "
                "another key.",
                "Key Already In Use"};
        case HotkeyCheck::kNoModifier:
            return {
                "Please add one or more modifier keys (Command, Option, Shift, and Control) or "
                "you can use function keys e.g. F3, F4, F5 etc.",
                "Key Has No Modifier"};
        case HotkeyCheck::kReserved:
            return {
                "Sorry, the key you have chosen can't be used as a hot-key. Please choose "
                "another key.",
                "Key Is Reserved"};
        case HotkeyCheck::kCommandAssigned:
            return {
                "Sorry, the command you have chosen already has a hot-key associated with it. "
                "Please choose another command.",
                "Command Already Assigned A Key"};
    }
    return {"", ""};
}

const std::vector<HotkeyValue>& ReservedHotkeys() {
    constexpr HotkeyValue cmd = kHotkeyCommand;
    constexpr HotkeyValue shiftCmd = kHotkeyShift | kHotkeyCommand;
    static const std::vector<HotkeyValue> reserved = {
        MakeHotkey(u'W', cmd),
        MakeHotkey(u'Q', cmd),
        MakeHotkey(u'N', cmd),
        MakeHotkey(u'O', cmd),
        MakeHotkey(u'S', cmd),
        MakeHotkey(u'S', shiftCmd),
        MakeVirtualHotkey(kVkF2),
        MakeHotkey(u'P', cmd),
        MakeHotkey(u',', cmd),
        MakeHotkey(u'/', shiftCmd),
        MakeHotkey(u'R', cmd),
        MakeHotkey(u'Z', cmd),
        MakeHotkey(u'Z', shiftCmd),
        MakeHotkey(u'X', cmd),
        MakeHotkey(u'C', cmd),
        MakeHotkey(u'V', cmd),
        MakeVirtualHotkey(kVkBackspace, cmd),
        MakeHotkey(u'A', cmd),
    };
    return reserved;
}

bool IsReservedHotkey(HotkeyValue key) {
    for (HotkeyValue r : ReservedHotkeys())
        if (SameHotkey(r, key)) return true;
    return false;
}

bool HotkeyNeedsModifier(HotkeyValue key) {
    return (key & kHotkeyModifierMask) == 0 && (key & kVirtualKeyCheckBits) == 0;
}

HotkeyCheck CheckHotkeyEdit(const HotkeyEdit& edit, const std::vector<HotkeyBinding>& bindings,
                            const std::vector<HotkeyValue>& appShortcuts) {
    if (!HasKey(edit.key)) return HotkeyCheck::kNoKey;
    if (!SameHotkey(edit.key, edit.stored.key) &&
        (AnyBindingHasKey(bindings, edit.key) || IsAppShortcut(appShortcuts, edit.key)))
        return HotkeyCheck::kKeyInUse;
    if (HotkeyNeedsModifier(edit.key)) return HotkeyCheck::kNoModifier;
    if (IsReservedHotkey(edit.key)) return HotkeyCheck::kReserved;
    if (CommandHasOtherKey(edit, bindings)) return HotkeyCheck::kCommandAssigned;
    return HotkeyCheck::kOk;
}

}  // namespace vocarta
