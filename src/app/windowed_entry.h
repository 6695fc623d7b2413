#pragma once
// The windowed program, defined by the GUI library so that nothing in the app
// library depends on Qt Widgets.

#include <string>
#include <vector>

namespace vocarta {

class InstanceSocket;

// True when a display can be opened: DISPLAY (an X server that accepts us) or
// WAYLAND_DISPLAY (a compositor socket that answers), or a Qt platform chosen
// explicitly with QT_QPA_PLATFORM.
bool CanOpenDisplay();

// Runs the running copy with its main window; returns the exit status.
int RunWindowed(InstanceSocket& socket, const std::vector<std::string>& args);

}  // namespace vocarta
