// vocarta: the sound recorder. A second launch hands its command line to the
// running copy and ends, before it opens any display connection.
#include <cstdio>

#include "app/instance/instance_socket.h"
#include "app/instance/program_options.h"
#include "app/running_copy.h"
#include "app/windowed_entry.h"
#include "audio/capture/device_listing.h"
#include "toolkit/paths.h"

int main(int argc, char** argv) {
    using namespace vocarta;
    const ProgramOptions options = ParseProgramOptions(argc, argv, CurrentFolder());
    if (options.help) {
        PrintUsage(stdout);
        return 0;
    }
    if (options.version) {
        PrintVersion(stdout);
        return 0;
    }
    // A line the running copy would misread is refused whole, before anything runs.
    if (!options.errors.empty()) {
        for (const std::string& error : options.errors)
            std::fprintf(stderr, "vocarta: %s\n", error.c_str());
        std::fprintf(stderr, "Try 'vocarta --help'.\n");
        return 2;
    }
    for (const std::string& note : options.notes)
        std::fprintf(stderr, "vocarta: %s\n", note.c_str());
    // Listing devices needs no running copy and must not become one.
    if (options.listDevices) return PrintInputDeviceList(stdout);
    InstanceSocket socket;
    switch (socket.Elect(options.args)) {
        case InstanceRole::Forwarded:
            // A bare launch asks for the window, which a copy without one cannot show.
            if (options.args.size() == 1 && FileExists(HeadlessMarkerPath(socket.Path()))) {
                std::fprintf(stderr,
                             "vocarta: Vocarta is already running without a window, so there "
                             "is no window to show. Give it switches instead, e.g. "
                             "\"vocarta -stop\".\n");
                return 1;
            }
            return 0;
        case InstanceRole::ForwardFailed:
            std::fprintf(stderr, "vocarta: the running copy did not take the command line\n");
            return 1;
        case InstanceRole::RunningCopy:
            break;
    }
    if (!options.noGui && CanOpenDisplay()) return RunWindowed(socket, options.args);
    return RunHeadless(socket, options.args);
}
