#pragma once
// How the windowed program finds out whether it can have windows at all. Each
// probe opens and closes its own connection, so a failure is a clean "no"
// rather than Qt ending the process.

#include <string>

namespace vocarta {

// An X server at $DISPLAY accepts a connection (authorisation included).
bool ProbeX11Display();
// A compositor listens at $WAYLAND_DISPLAY (relative names under
// $XDG_RUNTIME_DIR) and Qt has a Wayland platform plugin.
bool ProbeWaylandDisplay();
// QT_QPA_PLATFORM names a platform that needs no display server.
bool DisplaylessPlatformChosen();

}  // namespace vocarta
