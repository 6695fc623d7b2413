#include "app/session/command_line.h"

#include <cerrno>
#include <climits>
#include <cstdlib>

#include "app/session/scheduled_end.h"
#include "schedule/schedule_command_line.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

// Compared exactly, unlike every other switch: "-runinbackground" does nothing.
constexpr const char* kRunInBackground = "-RunInBackground";
// Read only by the product's services (a start at log-in, a survey step).
constexpr const char* kLogon = "-logon";
constexpr const char* kSurveySchedule = "-surveysched";

struct SimpleSwitch {
    const char* name;
    SessionCommandKind kind;
};
constexpr SimpleSwitch kSimpleSwitches[] = {
    {"-resume", SessionCommandKind::kRecord},
    {"-pause", SessionCommandKind::kPause},
    {"-restart", SessionCommandKind::kRestart},
    {"-stop", SessionCommandKind::kStop},
    {"-play", SessionCommandKind::kPlay},
    {"-done", SessionCommandKind::kDone},
    {"-exitifstop", SessionCommandKind::kExitIfStop},
    {"-hide", SessionCommandKind::kHide},
    {"-show", SessionCommandKind::kShow},
    {"-exit", SessionCommandKind::kExit},
};
constexpr const char* kValueSwitches[] = {"-scheduled_launch", "-record", "-recordfile",
                                          "-outdir",           "-ms",     "-playfile"};
constexpr const char* kProcessOptions[] = {
    "-nogui",    "-devices", "-findrecordings", "--help",        "-help",
    "--version", "-V",       "-schedules",      "-schedule-add", "-schedule-remove"};

class Parser {
  public:
    explicit Parser(const std::vector<std::string>& args) : args_(args) {
        out_.forward.push_back(args.empty() ? std::string("vocarta") : args[0]);
    }

    ParsedCommandLine Run() {
        for (i_ = 1; i_ < int(args_.size()); ++i_) Switch();
        ScheduleOperationAlone();
        return std::move(out_);
    }

  private:
    const std::string& At(int i) const { return args_[size_t(i)]; }
    bool HasNext() const { return i_ + 1 < int(args_.size()); }
    void Forward(int from, int to) {
        for (int k = from; k <= to; ++k) out_.forward.push_back(At(k));
    }
    void Error(std::string text) { out_.errors.push_back(std::move(text)); }

    // The argument of a switch at i_: false (reported) when it stands last or
    // the next word is another switch.
    bool TakeValue(const char* what) {
        const std::string& sw = At(i_);
        if (!HasNext()) {
            Error(StringPrintf("%s needs %s; ignored", sw.c_str(), what));
            return false;
        }
        if (IsProgramSwitch(At(i_ + 1))) {
            Error(StringPrintf("%s needs %s, not the switch \"%s\"", sw.c_str(), what,
                               At(i_ + 1).c_str()));
            return false;
        }
        return true;
    }

    bool ProcessOption(const std::string& sw) {
        auto is = [&sw](const char* name) { return EqualsNoCase(sw, name); };
        if (is("-nogui"))
            out_.noGui = true;
        else if (is("-devices"))
            out_.listDevices = true;
        else if (is("-findrecordings"))
            out_.findRecordings = true;
        else if (is("-h") || is("--help") || is("-help"))
            out_.help = true;
        else if (sw == "-V" || is("--version"))
            out_.version = true;
        else if (is("-schedules"))
            SetScheduleOperation(ScheduleOperation::kList);
        else if (is("-schedule-add"))
            ScheduleAdd();
        else if (is("-schedule-remove"))
            ScheduleRemove();
        else
            return false;
        return true;
    }

    bool SetScheduleOperation(ScheduleOperation operation) {
        if (out_.scheduleOperation != ScheduleOperation::kNone) {
            Error(
                StringPrintf("%s: only one of -schedules, -schedule-add and -schedule-remove "
                             "may be given",
                             At(i_).c_str()));
            return false;
        }
        out_.scheduleOperation = operation;
        return true;
    }

    // -schedule-add NAME once|daily|weekly ...: the words are read here as the
    // schedule library reads them, so a line it cannot use is refused before
    // anything is looked at; the checks against the list come later.
    void ScheduleAdd() {
        const int from = i_;
        if (!TakeValue("a schedule name and its times") ||
            !SetScheduleOperation(ScheduleOperation::kAdd))
            return;
        std::size_t index = size_t(i_ + 1);
        LResult<ScheduleForm> form = ParseScheduleAdd(args_, index);
        if (!form) {
            Error(StringPrintf("-schedule-add: %s", form.Error().Message().c_str()));
            // The rest of the schedule's words are not separate arguments.
            while (HasNext() && !IsProgramSwitch(At(i_ + 1))) ++i_;
            return;
        }
        out_.scheduleArgs.assign(args_.begin() + from + 1, args_.begin() + long(index) + 1);
        i_ = int(index);
    }

    void ScheduleRemove() {
        if (!TakeValue("a schedule name") || !SetScheduleOperation(ScheduleOperation::kRemove))
            return;
        out_.scheduleArgs = {At(++i_)};
    }

    // A schedule operation runs instead of a session: switches for a session
    // beside it would be silently lost.
    void ScheduleOperationAlone() {
        if (out_.scheduleOperation == ScheduleOperation::kNone) return;
        if (out_.forward.size() > 1 || out_.listDevices)
            Error(
                StringPrintf("-schedules, -schedule-add and -schedule-remove cannot be combined "
                             "with \"%s\"",
                             out_.listDevices ? "-devices" : out_.forward[1].c_str()));
    }

    void Switch() {
        const std::string& sw = At(i_);
        if (ProcessOption(sw)) return;
        auto is = [&sw](const char* name) { return EqualsNoCase(sw, name); };
        if (is("-scheduled_launch")) return ScheduledLaunch();
        if (is("-record")) return Record();
        if (is("-recordfile")) return RecordFile();
        if (is("-ms")) return CloseAfter();
        if (is("-outdir")) return Outdir();
        if (is("-playfile")) return PlayFile();
        if (sw == kRunInBackground) return Simple(SessionCommandKind::kExitIfStop);
        for (const SimpleSwitch& s : kSimpleSwitches)
            if (is(s.name)) return Simple(s.kind);
        Forward(i_, i_);
        if (is(kLogon) || sw == kSurveySchedule) return;
        out_.notes.push_back(StringPrintf("unknown argument \"%s\" skipped", sw.c_str()));
    }

    void Simple(SessionCommandKind kind) {
        Forward(i_, i_);
        out_.commands.push_back(SessionCommand::Of(kind));
    }

    // Encoder options after the format word or the path at i_.
    void EncoderOptions(SessionCommand& command) {
        if (!command.format) return;
        command.encoderOptions = ParseEncoderOptions(*command.format, args_, i_, IsProgramSwitch);
    }

    // -record [wav|mp3|aif|aiff|flac [encoder options]]; another word is not
    // consumed and is left for the switch loop.
    void Record() {
        const int from = i_;
        SessionCommand command = SessionCommand::Of(SessionCommandKind::kRecord);
        if (HasNext()) command.format = OutputFormatFromWord(At(i_ + 1));
        if (command.format) {
            ++i_;
            EncoderOptions(command);
        }
        Forward(from, i_);
        out_.commands.push_back(std::move(command));
    }

    // -recordfile path [encoder options]: an extension that names no format keeps
    // the stored one and still records into the named file.
    void RecordFile() {
        const int from = i_;
        if (!TakeValue("a file name")) return Forward(from, from);
        SessionCommand command = SessionCommand::Of(SessionCommandKind::kRecordToFile);
        command.text = At(++i_);
        command.format = OutputFormatFromPath(command.text);
        out_.pathPositions.push_back(out_.forward.size() + 1);
        EncoderOptions(command);
        Forward(from, i_);
        out_.commands.push_back(std::move(command));
    }

    void Outdir() {
        const int from = i_;
        if (!TakeValue("a folder")) return Forward(from, from);
        SessionCommand command = SessionCommand::Of(SessionCommandKind::kSetRecordFolder);
        command.text = At(++i_);
        out_.pathPositions.push_back(out_.forward.size() + 1);
        Forward(from, i_);
        out_.commands.push_back(std::move(command));
    }

    // -playfile path: what a file manager's "Open With" hands over.
    void PlayFile() {
        const int from = i_;
        if (!TakeValue("a file name")) return Forward(from, from);
        SessionCommand command = SessionCommand::Of(SessionCommandKind::kPlayFile);
        command.text = At(++i_);
        out_.pathPositions.push_back(out_.forward.size() + 1);
        Forward(from, i_);
        out_.commands.push_back(std::move(command));
    }

    void CloseAfter() {
        const int from = i_;
        if (!TakeValue("a number of milliseconds")) return Forward(from, from);
        const std::string& text = At(++i_);
        Forward(from, i_);
        SessionCommand command = SessionCommand::Of(SessionCommandKind::kCloseAfter);
        if (!ParseMilliseconds(text, command.periodMs)) {
            Error(StringPrintf("-ms \"%s\" is not a whole number of milliseconds (0 to %d)",
                               text.c_str(), INT_MAX));
            return;
        }
        out_.commands.push_back(std::move(command));
    }

    // -scheduled_launch end [title [-RunInBackground]]. The launch agents pass all
    // three as one argument: only the end time at its front is read then, so the
    // recording goes to the usual file and the program stays. That is intended.
    void ScheduledLaunch() {
        const int from = i_;
        if (!TakeValue("an end time (hours:minutes:seconds)")) return Forward(from, from);
        const std::string& endText = At(++i_);
        SessionCommand command = SessionCommand::Of(SessionCommandKind::kScheduledLaunch);
        const bool valid =
            ParseClockTime(endText, command.end.hours, command.end.minutes, command.end.seconds);
        if (HasNext() && !IsProgramSwitch(At(i_ + 1))) {
            command.hasTitle = true;
            command.text = At(++i_);
            if (HasNext() && At(i_ + 1) == kRunInBackground) {
                command.runInBackground = true;
                ++i_;
            }
        }
        Forward(from, i_);
        if (!valid) {
            Error(StringPrintf(
                "-scheduled_launch \"%s\" is not a time of day (hours:minutes:seconds, "
                "0:00:00 to 23:59:59)",
                endText.c_str()));
            return;
        }
        out_.commands.push_back(std::move(command));
    }

    const std::vector<std::string>& args_;
    int i_ = 1;
    ParsedCommandLine out_;
};

}  // namespace

ParsedCommandLine ParseCommandLine(const std::vector<std::string>& args) {
    return Parser(args).Run();
}

bool IsProgramSwitch(std::string_view word) {
    if (word == kRunInBackground) return true;
    for (const SimpleSwitch& s : kSimpleSwitches)
        if (EqualsNoCase(word, s.name)) return true;
    for (const char* name : kValueSwitches)
        if (EqualsNoCase(word, name)) return true;
    for (const char* name : kProcessOptions)
        if (EqualsNoCase(word, name)) return true;
    return false;
}

bool ParseMilliseconds(const std::string& text, int& value) {
    if (text.empty() || text.size() > 10) return false;
    for (char c : text)
        if (c < '0' || c > '9') return false;
    errno = 0;
    const long long n = std::strtoll(text.c_str(), nullptr, 10);
    if (errno == ERANGE || n > INT_MAX) return false;
    value = int(n);
    return true;
}

}  // namespace vocarta
