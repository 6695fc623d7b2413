// vocarta: the sound recorder. A second launch hands its command line to the
// running copy and ends, before it opens any display connection.
#include <cstdio>
#include <ctime>

#include "app/instance/instance_socket.h"
#include "app/instance/program_options.h"
#include "app/instance/schedule_operations.h"
#include "app/instance/scheduled_start.h"
#include "app/running_copy.h"
#include "app/session/file_naming.h"
#include "app/windowed_entry.h"
#include "audio/capture/device_listing.h"
#include "schedule/process_run.h"
#include "schedule/schedule_job.h"
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
    // Before anything else: the job's variables must not reach what we start.
    const std::optional<JobStart> job = TakeScheduledStart();
    const std::string cwd = CurrentFolder();
    const ProgramOptions options = ParseProgramOptions(argc, argv, cwd);
    // Jobs made by this process start the program as it was started now.
    SetScheduleProgramPath(AbsoluteProgramPath(argc > 0 && argv[0] ? argv[0] : "", cwd));
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
    // None of these needs a running copy, and none may become one.
    if (options.scheduleOperation != ScheduleOperation::kNone)
        return RunScheduleOperation(options, stdout, stderr);
    if (options.listDevices) return PrintInputDeviceList(stdout);
    if (options.findRecordings) return OpenRecordFolder();
    if (!ScheduledStartMayRecord(job, int64_t(std::time(nullptr)))) return 0;
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
            LeaveJobProcess(job);
            break;
    }
    if (!options.noGui && CanOpenDisplay()) return RunWindowed(socket, options.args);
    return RunHeadless(socket, options.args);
}
