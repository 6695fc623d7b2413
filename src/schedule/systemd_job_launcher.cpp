#include "schedule/systemd_job_launcher.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>

#include "schedule/job_start.h"
#include "schedule/process_run.h"
#include "schedule/schedule_time.h"
#include "schedule/unload_script.h"
#include "schedule/utf8_text.h"
#include "toolkit/lfile.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

constexpr const char* kDayNames[7] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr const char* kEnvProgram = "/usr/bin/env";

bool HasControlByte(std::string_view text) {
    for (char ch : text)
        if (static_cast<unsigned char>(ch) < 0x20 || ch == 0x7f) return true;
    return false;
}

// What a systemctl command printed; an error (logged) when it failed.
LResult<std::string> SystemctlOutput(const char* operation, std::vector<std::string> words) {
    words.insert(words.begin(), {"systemctl", "--user"});
    LResult<ProcessOutput> run = RunProcess(words);
    if (run && !run.Value().Succeeded())
        run = MakeError(LErrorCode::kFailed, "exit %d: %s", run.Value().exitCode,
                        TrimBlanks(run.Value().err).c_str());
    if (!run) {
        LogError("SystemdJobLauncher::%s %s FAILED: %s", operation, CommandText(words).c_str(),
                 run.Error().Message().c_str());
        return run.Error();
    }
    return run.Value().out;
}

LStatus Systemctl(const char* operation, std::vector<std::string> words) {
    LResult<std::string> out = SystemctlOutput(operation, std::move(words));
    return out ? LStatus::Success() : LStatus(out.Error());
}

std::string TimerUnit(const std::string& label) {
    return JobId(label) + ".timer";
}

std::string ServiceUnit(const std::string& label) {
    return JobId(label) + ".service";
}

// The schedule's name as a description: readable, on one line, no specifier.
std::string DescriptionLine(const std::string& name) {
    std::string shown;
    for (char c : PrintableUtf8(name)) shown += c == '%' ? std::string("%%") : std::string(1, c);
    return "Description=Vocarta scheduled recording \"" + shown + "\"\n";
}

void AppendEscapedByte(std::string& out, unsigned char c) {
    switch (c) {
        case '\n':
            out += "\\n";
            return;
        case '\t':
            out += "\\t";
            return;
        case '\r':
            out += "\\r";
            return;
        default:
            out += StringPrintf("\\x%02x", unsigned(c));
    }
}

// "next" of the one timer list-timers names: microseconds since the epoch.
int64_t NextElapseOfJson(const std::string& json) {
    const std::size_t at = json.find("\"next\":");
    if (at == std::string::npos) return 0;
    return std::strtoll(json.c_str() + at + 7, nullptr, 10) / 1000000;
}

bool LingerEnabled() {
    passwd entry{};
    passwd* user = nullptr;
    char buffer[4096];
    if (getpwuid_r(getuid(), &entry, buffer, sizeof buffer, &user) != 0 || !user) return false;
    return FileExists(std::string("/var/lib/systemd/linger/") + user->pw_name);
}

}  // namespace

std::string SystemdJobLauncher::UnitFolder() {
    return JoinPath(ConfigHome(), "systemd/user");
}

std::string SystemdJobLauncher::TimerPath(const std::string& label) {
    return JoinPath(UnitFolder(), TimerUnit(label));
}

std::string SystemdJobLauncher::ServicePath(const std::string& label) {
    return JoinPath(UnitFolder(), ServiceUnit(label));
}

bool SystemdJobLauncher::HasJobFile(const std::string& label) const {
    return FileExists(TimerPath(label));
}

std::string SystemdJobLauncher::QuoteWord(std::string_view word, Word kind) {
    const bool utf8 = IsValidUtf8(word);
    std::string out = "\"";
    for (char ch : word) {
        const unsigned char c = static_cast<unsigned char>(ch);
        if (c == '\\' || c == '"') {
            out += '\\';
            out += ch;
        } else if (c == '%') {
            out += "%%";
        } else if (c == '$' && kind == Word::Argument) {
            out += "$$";
        } else if (c < 0x20 || c == 0x7f || (c >= 0x80 && !utf8)) {
            AppendEscapedByte(out, c);
        } else {
            out += ch;
        }
    }
    return out + "\"";
}

std::vector<std::string> SystemdJobLauncher::CalendarLines(const ScheduleJob& job) {
    const std::time_t start = std::time_t(job.start);
    std::tm tm{};
    localtime_r(&start, &tm);
    std::vector<std::string> lines;
    switch (job.type) {
        case ScheduleType::OneTime:
            lines.push_back(StringPrintf("*-%.2d-%.2d %.2d:%.2d:00", tm.tm_mon + 1, tm.tm_mday,
                                         tm.tm_hour, tm.tm_min));
            break;
        case ScheduleType::Daily:
            lines.push_back(StringPrintf("*-*-* %.2d:%.2d:00", tm.tm_hour, tm.tm_min));
            break;
        case ScheduleType::Weekly:
            for (int day = kSunday; day <= kSaturday; ++day)
                if (job.weekdays & (1 << day))
                    lines.push_back(StringPrintf("%s *-*-* %.2d:%.2d:00", kDayNames[day],
                                                 tm.tm_hour, tm.tm_min));
            break;
        case ScheduleType::None:
            break;
    }
    return lines;
}

std::string SystemdJobLauncher::TimerText(const ScheduleJob& job) {
    std::string text = "[Unit]\n" + DescriptionLine(job.name) + "\n[Timer]\n";
    for (const std::string& line : CalendarLines(job)) text += "OnCalendar=" + line + "\n";
    text +=
        "AccuracySec=1s\n"
        "Persistent=true\n"
        "\n[Install]\n"
        "WantedBy=timers.target\n";
    return text;
}

LResult<std::string> SystemdJobLauncher::ExecStartLine(const ScheduleJob& job) {
    const std::string& path = job.programPath;
    std::string line;
    if (path.find_first_of("\"'\\") == std::string::npos && !HasControlByte(path)) {
        line = QuoteWord(path, Word::Executable);
    } else if (path.find('=') == std::string::npos) {
        line = QuoteWord(kEnvProgram, Word::Executable) + " " + QuoteWord(path, Word::Argument);
    } else {
        return MakeError(LErrorCode::kInvalid, "systemd cannot start the program \"%s\"",
                         path.c_str());
    }
    return line + " " + QuoteWord(kScheduledLaunchSwitch, Word::Argument) + " " +
           QuoteWord(job.argument, Word::Argument);
}

LResult<std::string> SystemdJobLauncher::ServiceText(const ScheduleJob& job) {
    LResult<std::string> exec = ExecStartLine(job);
    if (!exec) return exec.Error();
    const std::string id = JobId(job.Label());
    return "[Unit]\n" + DescriptionLine(job.name) +
           "\n[Service]\n"
           "Type=exec\n"
           "KillMode=process\n"
           "Environment=" +
           QuoteWord(std::string(kJobIdVariable) + "=" + id, Word::Environment) + "\n" +
           "Environment=" +
           QuoteWord(std::string(kJobWindowVariable) + "=" + job.window, Word::Environment) + "\n" +
           "ExecStart=" + exec.Value() + "\n";
}

LStatus SystemdJobLauncher::WriteJobFiles(const ScheduleJob& job) {
    const std::string label = job.Label();
    // The user manager runs while the user is logged in, or always when the user
    // "lingers"; worth a line when a schedule asks to record without a login.
    if (job.runIfNotLoggedIn && !LingerEnabled())
        LogEvent(
            "Schedule \"%s\" records only while you are logged in: run "
            "\"loginctl enable-linger\" to record when you are not",
            job.name.c_str());
    if (!MakeDirs(UnitFolder())) {
        LogSystemFailure("SystemdJobLauncher::WriteJobFiles", "mkdir");
        return MakeError(LErrorCode::kIo, "%s cannot be made", UnitFolder().c_str());
    }
    LResult<std::string> service = ServiceText(job);
    if (!service) return service.Error();
    // The service first: a timer must never be there without what it starts.
    if (!LFile::WriteAtomically(ServicePath(label), service.Value(), 0644) ||
        !LFile::WriteAtomically(TimerPath(label), TimerText(job), 0644))
        return MakeError(LErrorCode::kIo, "the units of %s cannot be written in %s", label.c_str(),
                         UnitFolder().c_str());
    return LStatus::Success();
}

LStatus SystemdJobLauncher::Load(const std::string& label) {
    (void)Unload(label);
    if (!HasJobFile(label))
        return MakeError(LErrorCode::kNotFound, "%s does not exist", TimerPath(label).c_str());
    LStatus reloaded = Systemctl("Load", {"daemon-reload"});
    if (!reloaded) return reloaded;
    return Systemctl("Load", {"enable", "--now", TimerUnit(label)});
}

LStatus SystemdJobLauncher::Unload(const std::string& label) {
    if (!HasJobFile(label)) {
        LogError("SystemdJobLauncher::Unload: %s does not exist", TimerPath(label).c_str());
        return MakeError(LErrorCode::kNotFound, "%s does not exist", TimerPath(label).c_str());
    }
    // Taking the timer away never ends a running program; stopping the service
    // would end the one it started.
    LStatus disabled = Systemctl("Unload", {"disable", "--now", TimerUnit(label)});
    pid_t self = 0;
    if (StartedByJob(JobId(label), &self)) {
        LResult<std::string> script = StartUnloadAfterExit(
            UnloadScriptText("systemd", "systemctl --user stop"), self, ServiceUnit(label));
        if (!script) return script.Error();
        return disabled;
    }
    LStatus stopped = Systemctl("Unload", {"stop", ServiceUnit(label)});
    return disabled ? stopped : disabled;
}

LResult<JobListing> SystemdJobLauncher::List(const std::string& label) {
    LResult<std::string> shown =
        SystemctlOutput("List", {"show", TimerUnit(label), "--property=ActiveState,UnitFileState"});
    if (!shown) return shown.Error();
    JobListing listing;
    const std::string& text = shown.Value();
    const bool active = text.find("ActiveState=active\n") != std::string::npos;
    listing.listed = active || text.find("UnitFileState=enabled\n") != std::string::npos;
    if (!active) return listing;
    // `show` prints the next start in local words; the JSON of list-timers has
    // it in microseconds.
    LResult<std::string> timers =
        SystemctlOutput("List", {"list-timers", "--no-pager", "--output=json", TimerUnit(label)});
    if (timers) listing.nextStart = NextElapseOfJson(timers.Value());
    return listing;
}

void SystemdJobLauncher::ForgetJob(const std::string& label) {
    // The timer's stamp of its last start: without it, a new schedule of this
    // name is not "caught up" at once for a start the old one made.
    (void)Systemctl("RemoveScheduleJob", {"clean", "--what=state", TimerUnit(label)});
}

void SystemdJobLauncher::DeleteJobFiles(const std::string& label) {
    // The link `enable` made is left behind when the manager could not be asked
    // to disable the timer; it is ours only while it points at our timer.
    const std::string wanted = JoinPath(UnitFolder(), "timers.target.wants/" + TimerUnit(label));
    char target[4096];
    const ssize_t n = readlink(wanted.c_str(), target, sizeof target - 1);
    std::vector<std::string> paths = {TimerPath(label), ServicePath(label)};
    if (n > 0 && std::string(target, std::size_t(n)) == TimerPath(label)) paths.push_back(wanted);
    for (const std::string& path : paths)
        if (unlink(path.c_str()) != 0 && errno != ENOENT)
            LogSystemFailure("SystemdJobLauncher::RemoveScheduleJob", "unlink");
}

}  // namespace vocarta
