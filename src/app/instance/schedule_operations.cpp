#include "app/instance/schedule_operations.h"

#include <ctime>

#include "schedule/schedule_command_line.h"
#include "schedule/schedule_time.h"
#include "schedule/utf8_text.h"
#include "toolkit/log.h"

namespace vocarta {

namespace {

// Names come from the user and may hold control bytes: a terminal shows them
// harmlessly.
void PrintLine(std::FILE* to, const std::string& text) {
    std::fprintf(to, "%s\n", PrintableUtf8(text).c_str());
}

int Report(const ScheduleCommandResult& result, std::FILE* out, std::FILE* err) {
    if (result.ok) {
        PrintLine(out, result.message);
        return kScheduleOperationDone;
    }
    const std::string title = result.title.empty() ? std::string() : " (" + result.title + ")";
    PrintLine(err, "vocarta: " + result.message + title);
    return result.badInput ? kScheduleOperationRefused : kScheduleOperationFailed;
}

// After an add: what the launcher itself now holds for the schedule.
void PrintNextStart(const std::string& name, LJobLauncher& launcher, std::FILE* out) {
    LResult<JobListing> listing = launcher.List(JobLabel(name));
    if (!listing || !listing.Value().listed) {
        std::fprintf(out, "The %s job is not loaded; see the error log.\n", launcher.Kind());
        return;
    }
    if (listing.Value().nextStart != 0)
        std::fprintf(out, "Next start (%s): %s\n", launcher.Kind(),
                     LocalStampText(listing.Value().nextStart).c_str());
}

}  // namespace

int RunScheduleOperation(ScheduleOperation operation, const std::vector<std::string>& args,
                         ScheduledRecordingList& list, LJobLauncher& launcher, int64_t now,
                         std::FILE* out, std::FILE* err) {
    if (!list.Load()) {
        std::fprintf(err, "vocarta: the schedule list in %s cannot be read\n",
                     list.Folder().c_str());
        return kScheduleOperationFailed;
    }
    switch (operation) {
        case ScheduleOperation::kList:
            for (const std::string& line : ScheduleListingLines(list, launcher))
                std::fprintf(out, "%s\n", line.c_str());
            return kScheduleOperationDone;
        case ScheduleOperation::kAdd: {
            std::size_t index = 0;
            const ScheduleCommandResult added =
                AddScheduleFromCommandLine(args, index, list, launcher, now);
            const int status = Report(added, out, err);
            const ScheduledRecording* record = added.ok ? list.FindByName(args[0]) : nullptr;
            if (record && record->Active()) PrintNextStart(args[0], launcher, out);
            return status;
        }
        case ScheduleOperation::kRemove:
            return Report(RemoveScheduleFromCommandLine(args.empty() ? std::string() : args[0],
                                                        list, launcher),
                          out, err);
        case ScheduleOperation::kNone:
            break;
    }
    return kScheduleOperationDone;
}

int RunScheduleOperation(const ProgramOptions& options, std::FILE* out, std::FILE* err) {
    std::unique_ptr<LJobLauncher> launcher = ChooseJobLauncher();
    LogEvent("Schedule operation from the command line (%s job launcher)", launcher->Kind());
    ScheduledRecordingList list;
    return RunScheduleOperation(options.scheduleOperation, options.scheduleArgs, list, *launcher,
                                int64_t(std::time(nullptr)), out, err);
}

}  // namespace vocarta
