#pragma once
// The keys of the recordings window that play the selected recording, shared by
// the window (its shortcuts and tooltips) and the options page (its texts).

namespace vocarta {

// Return/Enter and Space play at normal speed; these two at the preset speeds.
inline constexpr const char* kPlaySlowKey = "Ctrl+Left";
inline constexpr const char* kPlayFastKey = "Ctrl+Right";

inline constexpr const char* kSlowSpeedExplanation =
    "Press '%s' to play the selected file at a slow speed.";
inline constexpr const char* kFastSpeedExplanation =
    "Press '%s' to play the selected file at a fast speed.";

}  // namespace vocarta
