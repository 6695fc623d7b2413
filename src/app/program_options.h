#pragma once
// The options that belong to this process rather than to the running copy:
// -nogui (run without windows), -devices (print the input devices and end) and
// --help. They are taken out of the command line before it is forwarded; the
// rest goes to the running copy as it was typed, except that the folder of
// -outdir and the file of -recordfile are made absolute here, because the
// running copy may have been started from another folder.

#include <cstdio>
#include <string>
#include <vector>

namespace vocarta {

struct ProgramOptions {
    bool noGui = false;
    bool listDevices = false;
    bool help = false;
    std::vector<std::string> args;  // args[0] is the program
};

// `cwd` is the folder relative paths are taken from.
ProgramOptions ParseProgramOptions(int argc, const char* const* argv, const std::string& cwd);

// The current folder, or "" when it cannot be read.
std::string CurrentFolder();

void PrintUsage(std::FILE* out);

}  // namespace vocarta
