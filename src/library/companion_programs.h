#pragma once
// Handing recordings to other programs: the disc burner ("Burn"), the audio
// editor ("Edit") and the format converter ("Convert") the user chose, or,
// when none is chosen, a burner found on PATH and the desktop's default program
// for audio files. Every program is started with an argument vector, never
// through a shell, and is left running on its own.
//
// The programs are settings of the recordings window, each a program with
// optional arguments written as a shell user would ("k3b", "/opt/x/burn -v",
// "'/opt/My Editor/editor'"); the recordings follow as arguments of their own.
//
// Threading contract: any thread; nothing is shared between calls.

#include <string>
#include <vector>

#include "library/library_settings.h"
#include "toolkit/result.h"

namespace vocarta {

namespace companion_settings {
// Beside the window's own values (library_settings.h).
inline constexpr const char* kSection = find_play::kSection;
inline constexpr const char* kBurnProgramKey = "BurnProgram";
inline constexpr const char* kEditProgramKey = "EditProgram";
inline constexpr const char* kConvertProgramKey = "ConvertProgram";

std::string BurnProgram();     // default empty: the first of kDefaultBurners on PATH
std::string EditProgram();     // default empty: the desktop's program for audio
std::string ConvertProgram();  // default empty: the desktop's program for audio
}  // namespace companion_settings

// Burners tried in this order when none is set; each is given its own
// arguments for an audio or a data disc.
inline constexpr const char* kDefaultBurners[] = {"brasero", "k3b", "xfburn"};

enum class DiscType { kAudio, kData };

// "audio" or "data", as the burner's "-type" argument.
const char* DiscTypeWord(DiscType type);

// The list file for the burner: each path followed by CR LF.
std::string BurnListText(const std::vector<std::string>& paths);

// The full path of `program` as PATH finds it (or `program` itself when it
// holds a "/" and can be run); "" when not found.
std::string FindProgram(const std::string& program);

// What was started, for the caller's log and for tests.
struct CompanionStart {
    std::vector<std::vector<std::string>> commands;  // each argument vector run
    std::string listFile;                            // burning: the list file
};

// Burns `paths` with the chosen burner. A configured program is run as
//   <program> -clear -show -type audio|data -label RECORDINGBACKUP -list <list> -burn -exit
// where <list> is "temp.txt" in a private temporary folder (mode 0700) holding
// the paths; the folder is removed once the burner has ended. Without one, the
// first of kDefaultBurners on PATH is given the files directly (brasero
// --audio/--data, k3b --audiocd/--datacd, xfburn --audio-composition/
// --data-composition). Errors: kNotFound (no burner: the message says what to
// install or set), kInvalid (a path holding a line break cannot be listed), kIo.
LResult<CompanionStart> BurnRecordings(const std::vector<std::string>& paths, DiscType type);

// Opens `paths` in the editor ("EditProgram") or converter ("ConvertProgram").
// A program whose arguments hold "%s" is run once per file with the path in
// its place; otherwise once with all the files after its arguments. When none
// is set: "gio open" with all the files, or where there is no gio, "xdg-open"
// once per file. kNotFound when the program (or gio and xdg-open) is missing;
// kInvalid for a setting that cannot be read as a command.
LResult<CompanionStart> EditRecordings(const std::vector<std::string>& paths);
LResult<CompanionStart> ConvertRecordings(const std::vector<std::string>& paths);

// The shared step: `program` (a setting's text, may be empty) for `paths`;
// `what` names the program in messages ("editor").
LResult<CompanionStart> OpenWithProgram(const std::string& program,
                                        const std::vector<std::string>& paths, const char* what);

}  // namespace vocarta
