#include "app/instance/program_options.h"

#include <unistd.h>

#include "app/instance/command_record.h"
#include "app/session/command_line.h"
#include "help/vocarta_help.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

#ifndef VOCARTA_VERSION
#define VOCARTA_VERSION "unknown"
#endif

namespace vocarta {

namespace {
// What the forwarded record can carry whole.
void CheckForwardable(ProgramOptions& options) {
    if (options.args.size() > size_t(kMaxForwardedArgs))
        options.errors.push_back(
            StringPrintf("too many arguments: at most %d can be handed to the running copy",
                         kMaxForwardedArgs - 1));
    for (std::size_t i = 1; i < options.args.size(); ++i) {
        const std::string& arg = options.args[i];
        if (arg.size() > kForwardedArgSize - 1)
            options.errors.push_back(
                StringPrintf("argument %zu is %zu bytes long; at most %zu can be handed to the "
                             "running copy: \"%.40s...\"",
                             i, arg.size(), kForwardedArgSize - 1, arg.c_str()));
    }
}
}  // namespace

ProgramOptions ParseProgramOptions(int argc, const char* const* argv, const std::string& cwd) {
    std::vector<std::string> words;
    words.emplace_back(argc > 0 && argv[0] ? argv[0] : "vocarta");
    for (int i = 1; i < argc; ++i) words.emplace_back(argv[i] ? argv[i] : "");
    ParsedCommandLine parsed = ParseCommandLine(words);

    ProgramOptions options;
    options.noGui = parsed.noGui;
    options.listDevices = parsed.listDevices;
    options.findRecordings = parsed.findRecordings;
    options.help = parsed.help;
    options.version = parsed.version;
    options.scheduleOperation = parsed.scheduleOperation;
    options.scheduleArgs = std::move(parsed.scheduleArgs);
    options.args = std::move(parsed.forward);
    options.errors = std::move(parsed.errors);
    options.notes = std::move(parsed.notes);
    for (size_t at : parsed.pathPositions) {
        std::string& path = options.args[at];
        if (!path.empty() && path[0] != '/' && !cwd.empty()) path = JoinPath(cwd, path);
    }
    CheckForwardable(options);
    return options;
}

std::string CurrentFolder() {
    char buffer[4096];
    if (!getcwd(buffer, sizeof buffer)) {
        LogSystemFailure("CurrentFolder", "getcwd");
        return {};
    }
    return buffer;
}

void PrintVersion(std::FILE* out) {
    std::fprintf(out, "Vocarta Sound Recorder %s\n", VOCARTA_VERSION);
}

void PrintUsage(std::FILE* out) {
    std::fputs(kVocartaHelp, out);
}

}  // namespace vocarta
