#pragma once
// What the hot-key dialog checks before it saves a binding, in this order:
//   1. a key was captured
//   2. a changed key is neither another binding's key nor one of the
//      application's own shortcuts
//   3. a plain character key has a modifier (function keys may stand alone)
//   4. the key is not reserved (the common editing and file keys, and F2 alone)
//   5. the command has no other binding with a key
// Each refusal has its message and title as the dialog shows them.
//
// Threading contract: pure functions; any thread.

#include <string>
#include <vector>

#include "hotkeys/hotkey_bindings.h"
#include "hotkeys/hotkey_key.h"

namespace vocarta {

enum class HotkeyCheck {
    kOk,
    kNoKey,
    kKeyInUse,
    kNoModifier,
    kReserved,
    kCommandAssigned,
};

struct HotkeyCheckMessage {
    const char* text;
    const char* title;
};

// The message of a refusal; empty texts for kOk.
HotkeyCheckMessage HotkeyCheckText(HotkeyCheck check);

// What the dialog edits: the binding as stored (id -1 and key 0 for a new one)
// and what the user chose.
struct HotkeyEdit {
    HotkeyBinding stored;
    HotkeyValue key = 0;
    int32_t command = 0;
};

// The first check that refuses the edit, or kOk. `bindings` are all stored
// bindings (the edited one among them); `appShortcuts` the application's own
// keyboard shortcuts.
HotkeyCheck CheckHotkeyEdit(const HotkeyEdit& edit, const std::vector<HotkeyBinding>& bindings,
                            const std::vector<HotkeyValue>& appShortcuts);

// The keys that can never be hot-keys.
const std::vector<HotkeyValue>& ReservedHotkeys();
bool IsReservedHotkey(HotkeyValue key);
// A plain character key: no modifier and no virtual key code in bits 24-29.
bool HotkeyNeedsModifier(HotkeyValue key);

}  // namespace vocarta
