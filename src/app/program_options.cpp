#include "app/program_options.h"

#include <unistd.h>

#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
bool TakesPath(const std::string& sw) {
    return EqualsNoCase(sw, "-outdir") || EqualsNoCase(sw, "-recordfile");
}
}  // namespace

ProgramOptions ParseProgramOptions(int argc, const char* const* argv, const std::string& cwd) {
    ProgramOptions options;
    options.args.emplace_back(argc > 0 && argv[0] ? argv[0] : "vocarta");
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i] ? argv[i] : "";
        if (EqualsNoCase(arg, "-nogui")) {
            options.noGui = true;
        } else if (EqualsNoCase(arg, "-devices")) {
            options.listDevices = true;
        } else if (arg == "--help" || arg == "-help") {
            options.help = true;
        } else {
            options.args.push_back(arg);
            if (TakesPath(arg) && i + 1 < argc && argv[i + 1]) {
                std::string path = argv[++i];
                if (!path.empty() && path[0] != '/' && !cwd.empty()) path = JoinPath(cwd, path);
                options.args.push_back(path);
            }
        }
    }
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

void PrintUsage(std::FILE* out) {
    std::fputs(
        "Usage: vocarta [-nogui] [switches]\n"
        "       vocarta -devices\n"
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
        "Program options (not forwarded):\n"
        "  -nogui              run without windows\n"
        "  -devices            list the input devices and quit\n",
        out);
}

}  // namespace vocarta
