#pragma once
// The commands a hot-key can run: the main window's session commands. The
// numbers are stored in the bindings ("Command"), so they never change; the
// application turns each into its own session command.
//
// Threading contract: plain values and pure functions; any thread.

#include <cstdint>
#include <string>
#include <vector>

namespace vocarta {

enum class HotkeyCommand : int32_t {
    kNone = 0,
    kRecord = 1,      // "Start Recording"
    kPause = 2,       // "Pause Recording"
    kStop = 3,        // "Stop and Mark Done"
    kRetake = 4,      // "Retake Recording/Replay"
    kPlay = 5,        // "Play Recording"
    kShowWindow = 6,  // "Show Window"
};

struct HotkeyCommandInfo {
    HotkeyCommand command;
    std::string name;  // as the hot-key list and dialog show it
};

// Every command that can be bound, in the order the dialog lists them.
const std::vector<HotkeyCommandInfo>& BindableHotkeyCommands();

// The command of a stored number; kNone for a number that names no command.
HotkeyCommand HotkeyCommandFromStored(int32_t stored);
// The name of a command; "" for kNone.
std::string HotkeyCommandName(HotkeyCommand command);

}  // namespace vocarta
