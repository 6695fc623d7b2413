// vocarta: the sound recorder. A second launch hands its command line to the
// running copy and ends, before it opens any display connection.
#include <cstdio>

#include "app/instance/instance_socket.h"
#include "app/instance/program_options.h"
#include "app/running_copy.h"
#include "app/session/file_naming.h"
#include "app/windowed_entry.h"
#include "audio/capture/device_listing.h"
#include "schedule/process_run.h"
#include "toolkit/paths.h"

namespace {

// The desktop's "Find Recordings": the record folder in the user's file
// manager, with no running copy needed.
int OpenRecordFolder() {
    using namespace vocarta;
    const std::string folder = RecordFolder();
    if (!DirExists(folder)) {
        std::fprintf(stderr,
                     "vocarta: the record folder %s does not exist yet; the first recording "
                     "makes it\n",
                     folder.c_str());
        return 1;
    }
    const LStatus started = StartDetachedProcess({"xdg-open", folder});
    if (!started.Ok()) {
        std::fprintf(stderr, "vocarta: cannot open %s: %s\n", folder.c_str(),
                     started.Error().Message().c_str());
        return 1;
    }
    return 0;
}

}  // namespace

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
    if (options.findRecordings) return OpenRecordFolder();
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
