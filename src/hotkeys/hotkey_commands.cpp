#include "hotkeys/hotkey_commands.h"

namespace vocarta {

const std::vector<HotkeyCommandInfo>& BindableHotkeyCommands() {
    static const std::vector<HotkeyCommandInfo> commands = {
        {HotkeyCommand::kRecord, "Start Recording"},
        {HotkeyCommand::kPause, "Pause Recording"},
        {HotkeyCommand::kStop, "Stop and Mark Done"},
        {HotkeyCommand::kRetake, "Retake Recording/Replay"},
        {HotkeyCommand::kPlay, "Play Recording"},
        {HotkeyCommand::kShowWindow, "Show Window"},
    };
    return commands;
}

HotkeyCommand HotkeyCommandFromStored(int32_t stored) {
    for (const auto& info : BindableHotkeyCommands())
        if (int32_t(info.command) == stored) return info.command;
    return HotkeyCommand::kNone;
}

std::string HotkeyCommandName(HotkeyCommand command) {
    for (const auto& info : BindableHotkeyCommands())
        if (info.command == command) return info.name;
    return {};
}

}  // namespace vocarta
