#include "app/instance/program_options.h"

#include <unistd.h>

#include "app/instance/command_record.h"
#include "app/session/command_line.h"
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
    std::fputs(
        "Usage: vocarta [-nogui] [switches]\n"
        "       vocarta -devices | -h | --version\n"
        "       vocarta -schedules | -schedule-add NAME ... | -schedule-remove NAME\n"
        "\n"
        "A second launch hands its switches to the running copy and ends.\n"
        "  -record [wav|mp3|aiff|flac [encoder options]]  start recording\n"
        "  -recordfile FILE [encoder options]  record into FILE (format from its extension)\n"
        "  -pause  -resume  -restart  -stop  -done  -play\n"
        "  -outdir FOLDER      set the record folder\n"
        "  -ms N               stop and quit after N milliseconds\n"
        "  -exitifstop         quit when the recording stops\n"
        "  -scheduled_launch HH:MM:SS [TITLE [-RunInBackground]]  record until that time\n"
        "  -hide  -show  -exit\n"
        "Encoder options end at the next switch of the program's own:\n"
        "  wav  -s RATE -m CHANNELS -b BITS\n"
        "  mp3  -cbr [-b KBPS] [-h] [-m s|j|f|m] -p  |  -vbr [-b MIN] [-B MAX] [-q 0-9] [-m MODE] "
        "-p\n"
        "  aiff -s RATE -m CHANNELS\n"
        "  flac -s RATE, -m CHANNELS, -c LEVEL (any order)\n"
        "Program options (not forwarded):\n"
        "  -nogui              run without windows\n"
        "  -devices            list the input devices and quit\n"
        "  -h, --help          show this text and quit\n"
        "  -V, --version       show the version and quit\n"
        "Scheduled recordings (the system starts Vocarta for them; no window needed):\n"
        "  -schedules          list the schedules with their next start\n"
        "  -schedule-add NAME once YYYY-MM-DD HH:MM[:SS] END\n"
        "  -schedule-add NAME daily HH:MM[:SS] END\n"
        "  -schedule-add NAME weekly DAY[,DAY...] HH:MM[:SS] END\n"
        "      END: the end time HH:MM[:SS] (once: optionally after its date\n"
        "      YYYY-MM-DD), or a length +H:MM[:SS] or +N with s, m or h (\"+90m\").\n"
        "      DAY: Sunday..Saturday or Sun..Sat. Then optionally -inactive and\n"
        "      -runifnotloggedin. The checks of the Schedule Recording window apply.\n"
        "  -schedule-remove NAME  delete a schedule and its job\n"
        "  These end with status 0 when done, 2 when the arguments are refused and 1\n"
        "  when the schedule could not be stored.\n"
        "A switch without its value, a value it cannot use, or an argument longer than 259\n"
        "bytes ends the launch with status 2; nothing is handed to the running copy.\n",
        out);
}

}  // namespace vocarta
