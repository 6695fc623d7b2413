#pragma once
// The stored hot-key bindings, in the settings section "Hotkey":
//   Hotkey/Enabled                 bool, default true: hot-keys on or off
//   Hotkey/Details/MaxID           one past the highest binding id handed out
//   Hotkey/Details/<id>/Command    the bound command's number
//   Hotkey/Details/<id>/Key        the key value (hotkey_key.h), as "%d"
// A binding's path exists while its key object's marker (Hotkey/Details/<id>)
// or one of its values is stored. A new binding takes the lowest free id below
// MaxID, else MaxID itself, and MaxID grows by one.
//
// Threading contract: any thread (the settings store is); the read-modify-write
// of MaxID is not atomic against another writer, which only the options window is.

#include <string>
#include <string_view>
#include <vector>

#include "hotkeys/hotkey_commands.h"
#include "hotkeys/hotkey_key.h"
#include "toolkit/result.h"

namespace vocarta {

inline constexpr const char* kHotkeySection = "Hotkey";
inline constexpr const char* kHotkeyEnabledKey = "Enabled";
inline constexpr bool kHotkeyEnabledDefault = true;
inline constexpr const char* kHotkeyDetails = "Details";
inline constexpr const char* kHotkeyMaxIdKey = "MaxID";
inline constexpr const char* kHotkeyCommandKey = "Command";
inline constexpr const char* kHotkeyKeyKey = "Key";
// Ids scanned at most: a damaged MaxID must not make every read walk millions.
inline constexpr int kHotkeyIdLimit = 4096;

struct HotkeyBinding {
    int id = -1;          // -1: not stored yet
    int32_t command = 0;  // the stored number (HotkeyCommandFromStored)
    HotkeyValue key = 0;

    HotkeyCommand Command() const { return HotkeyCommandFromStored(command); }
    bool operator==(const HotkeyBinding&) const = default;
};

bool HotkeysEnabled();
bool StoreHotkeysEnabled(bool enabled);

// "path/sub/": a path that already ends in "/" gets "<path><sub>/".
std::string HotkeySubPath(std::string_view path, std::string_view sub);
std::string HotkeyDetailsPath();        // "Hotkey/Details/"
std::string HotkeyBindingPath(int id);  // "Hotkey/Details/<id>/"

int ReadHotkeyMaxId();
bool HotkeyBindingExists(int id);
// Ids 0 .. MaxID-1 whose path exists, in id order.
std::vector<HotkeyBinding> ReadHotkeyBindings();
// The id a new binding gets; raises MaxID when it hands out MaxID itself.
LResult<int> NewHotkeyBindingId();
// Writes Command and Key under the binding's id (a new id when id is -1) and
// returns the id used.
LResult<int> StoreHotkeyBinding(const HotkeyBinding& binding);
// Removes the binding's path and everything under it; MaxID stays.
LStatus DeleteHotkeyBinding(int id);

}  // namespace vocarta
