#pragma once
// "Run Vocarta when computer starts": the XDG autostart entry
// $XDG_CONFIG_HOME/autostart/<bundle id>.desktop, which the desktop session
// starts at log-in. The entry carries "X-Vocarta-Label=<bundle id>" so that only
// an entry Vocarta wrote is ever replaced or deleted.
//
// Threading: any thread; the calls touch only that one file.

#include <string>

#include "toolkit/result.h"

namespace vocarta {

std::string LoginItemPath();

// True only when the entry exists and reads as a desktop entry whose
// X-Vocarta-Label is the bundle identifier, with an Exec line, and which the
// session has not been told to skip (Hidden=true or
// X-GNOME-Autostart-enabled=false, as a desktop's own settings write them).
bool RunAtLoginEnabled();

// Writes the entry (folder made with mode 0700, file 0644) starting
// `executablePath`. Refused when a file Vocarta did not write is in the way.
LStatus EnableRunAtLogin(const std::string& executablePath);

// Deletes the entry when RunAtLoginEnabled() holds; nothing otherwise.
LStatus DisableRunAtLogin();

// The entry's text, and an Exec value quoted by the desktop entry rules (one
// argument in double quotes, "\"", "`", "$" and "\" escaped, "%" doubled, then
// the value's own escapes; a path with a "%" goes to /usr/bin/env, as GLib
// looks for the program before undoing "%%"). An error for a path no entry can
// carry.
LResult<std::string> LoginItemText(const std::string& executablePath);
LResult<std::string> DesktopExecValue(const std::string& argument);

}  // namespace vocarta
