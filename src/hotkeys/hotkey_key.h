#pragma once
// A hot-key as one 32-bit word, the form in which bindings are stored:
//   bits 0-15   the key's character, upper-cased (0 for a key without one)
//   bits 16-23  modifiers: 16 Command, 17 Shift, 18 Caps Lock, 19 Option,
//               20 Control
//   bits 24-31  the virtual key code of a key without a character (function
//               keys, arrows, Return ...); 0 for character keys, whose key is
//               found from the character through the keyboard layout
// Command is the Super (logo) key on Linux and Option is Alt.
//
// Key names for the dialog and lists: the modifier symbols "⌃⌥⇧⌘" first, then
// the upper-cased character or the name of the virtual key code.
//
// Threading contract: plain values and pure functions; any thread.

#include <cstdint>
#include <string>
#include <vector>

namespace vocarta {

using HotkeyValue = uint32_t;

inline constexpr HotkeyValue kHotkeyCharacterMask = 0x0000FFFFu;
inline constexpr HotkeyValue kHotkeyModifierMask = 0x00FF0000u;
inline constexpr HotkeyValue kHotkeyVirtualKeyMask = 0xFF000000u;
inline constexpr int kHotkeyVirtualKeyShift = 24;

inline constexpr HotkeyValue kHotkeyCommand = 1u << 16;
inline constexpr HotkeyValue kHotkeyShift = 1u << 17;
inline constexpr HotkeyValue kHotkeyCapsLock = 1u << 18;
inline constexpr HotkeyValue kHotkeyOption = 1u << 19;
inline constexpr HotkeyValue kHotkeyControl = 1u << 20;

// Virtual key codes that the code names (the rest live in the name table).
enum VirtualKey : uint8_t {
    kVkReturn = 36,
    kVkTab = 48,
    kVkSpace = 49,
    kVkBackspace = 51,
    kVkEscape = 53,
    kVkF17 = 64,
    kVkF5 = 96,
    kVkF6 = 97,
    kVkF7 = 98,
    kVkF3 = 99,
    kVkF4 = 118,
    kVkHome = 115,
    kVkF2 = 120,
    kVkF1 = 122,
    kVkLeft = 123,
    kVkUp = 126,
};

constexpr HotkeyValue MakeHotkey(char16_t character, HotkeyValue modifiers,
                                 uint8_t virtualKey = 0) {
    return HotkeyValue(character) | (modifiers & kHotkeyModifierMask) |
           (HotkeyValue(virtualKey) << kHotkeyVirtualKeyShift);
}
// A key without a character, by its virtual key code.
constexpr HotkeyValue MakeVirtualHotkey(uint8_t virtualKey, HotkeyValue modifiers = 0) {
    return MakeHotkey(0, modifiers, virtualKey);
}

constexpr char16_t HotkeyCharacter(HotkeyValue key) {
    return char16_t(key & kHotkeyCharacterMask);
}
constexpr HotkeyValue HotkeyModifiers(HotkeyValue key) {
    return key & kHotkeyModifierMask;
}
constexpr uint8_t HotkeyVirtualKey(HotkeyValue key) {
    return uint8_t(key >> kHotkeyVirtualKeyShift);
}
// Non-zero with no bit outside the modifier byte.
constexpr bool IsModifiersOnly(HotkeyValue key) {
    return key != 0 && (key & ~kHotkeyModifierMask) == 0;
}
// A key that can be registered: something besides modifiers.
constexpr bool HasKey(HotkeyValue key) {
    return (key & ~kHotkeyModifierMask) != 0;
}

// The upper-case form of a character (ASCII and Latin-1 letters; others as given).
char16_t UpperCaseCharacter(char16_t character);
// True for the characters that the Shift key makes on the keyboard's number and
// punctuation keys ("!", "?", "{" ...): their names leave the Shift symbol out.
bool IsShiftedCharacter(char16_t character);
// The unshifted key's character of a shifted one ('?' -> '/'), else 0.
char16_t UnshiftedCharacter(char16_t shifted);

// The name of a virtual key code from the table ("F5", "↩", "Volume Up"), or
// "Unknown". Every code that the table names is listed by NamedVirtualKeys().
std::string VirtualKeyName(uint8_t code);
std::vector<uint8_t> NamedVirtualKeys();

// "⌃⌥⇧⌘" modifier symbols followed by the key, in UTF-8; the symbols alone for a
// value of modifiers only; "" for 0.
std::string HotkeyName(HotkeyValue key);

// The value in one comparable form: Caps Lock dropped, a shifted character turned
// into its unshifted key with Shift, so that "⇧⌘/" and "⇧⌘?" are one key.
HotkeyValue NormalizedHotkey(HotkeyValue key);
bool SameHotkey(HotkeyValue a, HotkeyValue b);

// The stored integer form and back (the bits unchanged).
int32_t HotkeyToStored(HotkeyValue key);
HotkeyValue HotkeyFromStored(int32_t stored);

}  // namespace vocarta
