#pragma once
// The per-user and per-machine folders Vocarta keeps its files in, following the
// XDG base-directory rules. Every function reads the environment at call time so
// tests (and a user's own overrides) take effect without a restart.

#include <string>

namespace vocarta {

std::string HomeDir();
std::string ConfigHome();  // $XDG_CONFIG_HOME or ~/.config
std::string DataHome();    // $XDG_DATA_HOME or ~/.local/share
std::string CacheHome();   // $XDG_CACHE_HOME or ~/.cache

std::string AppConfigDir();     // ConfigHome()/vocarta: preferences, WavCodec.wff
std::string AppDataDir();       // DataHome()/vocarta: logs, queues, schedule records
std::string HomeTrashFolder();  // DataHome()/Trash: the desktop's Trash for the home disk
std::string MusicDir();         // XDG_MUSIC_DIR from user-dirs.dirs, else ~/Music
// Folder every user of the machine can write: $VOCARTA_SHARED_DIR (created if
// missing), else /var/tmp/vocarta-shared created with mode 1777.
std::string SharedDir();

// Creates `path` and its missing parents (mode 0777 before umask). True when the
// folder exists afterwards.
bool MakeDirs(const std::string& path);
bool DirExists(const std::string& path);
bool FileExists(const std::string& path);

// "a" + "/" + "b" without doubling the slash.
std::string JoinPath(const std::string& folder, const std::string& name);
// Last component of a path ("/a/b.wav" -> "b.wav").
std::string BaseName(const std::string& path);
// Folder part of a path ("/a/b.wav" -> "/a"; "b.wav" -> ".").
std::string DirName(const std::string& path);
// Extension with its dot, as written ("x.WAV" -> ".WAV"), or empty.
std::string Extension(const std::string& path);

}  // namespace vocarta
