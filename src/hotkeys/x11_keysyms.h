#pragma once
// Between hot-key values and X keysyms. A key without a character maps by its
// virtual key code (F5 <-> XK_F5, ↩ <-> XK_Return, Volume Up <->
// XF86AudioRaiseVolume ...); a character key by its character (letters to the
// lower-case keysym that the key itself produces, Latin-1 as is, the rest as
// Unicode keysyms). Keysyms are plain numbers here so that callers need no X
// header.
//
// Threading contract: pure functions; any thread.

#include <cstdint>
#include <string>
#include <vector>

#include "hotkeys/hotkey_key.h"

namespace vocarta {

using Keysym = uint32_t;

// The keysym of a virtual key code from the name table, 0 for others.
Keysym VirtualKeyToKeysym(uint8_t code);
// Further keysyms the same key may produce on a PC keyboard (Insert for Help):
// tried in order when the keyboard has no key for the first.
std::vector<Keysym> VirtualKeyKeysyms(uint8_t code);
// The keysym that the key of a character produces without Shift for letters
// ('A' -> XK_a), the character's own keysym otherwise; 0 for no character.
Keysym CharacterToKeysym(char16_t character);
// The keysym to grab for a hot-key value: its character's, else its code's.
Keysym HotkeyKeysym(HotkeyValue key);

// The key part of a hot-key value (character or virtual key code, no modifiers)
// for a keysym a key press reported; 0 for a keysym no hot-key can use
// (a modifier key itself, an unnamed special key).
HotkeyValue KeysymToHotkey(Keysym keysym);

// The keysym's name as X spells it ("F5", "Return", "k"), "" when unknown.
std::string KeysymName(Keysym keysym);

}  // namespace vocarta
