// The systemd user units of schedules: names as systemd-escape makes them, units
// that systemd-analyze accepts and whose calendar gives the expected next start,
// the exact systemctl commands of each operation (against a stand-in first on
// PATH), and a real user manager that hands hostile names to the program byte
// for byte and runs nothing else.

#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <set>
#include <thread>

#include "schedule/job_start.h"
#include "schedule/schedule_time.h"
#include "schedule/systemd_job_launcher.h"
#include "schedule_test_support.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

ScheduleJob MakeJob(const std::string& name, ScheduleType type, const std::string& program,
                    int64_t start, int64_t end, int weekdays = 0) {
    ScheduledRecording record;
    if (type == ScheduleType::OneTime) record.SetOneTime(name, start, end);
    if (type == ScheduleType::Daily) record.SetDaily(name, start, end);
    if (type == ScheduleType::Weekly) record.SetWeekly(name, weekdays, start, end);
    record.SetRunIfNotLoggedIn(true);
    return JobForRecord(record, program);
}

std::string Unit(const std::string& name, const char* suffix) {
    return JobId(JobLabel(name)) + suffix;
}

std::string Call(const std::vector<std::string>& words) {
    std::string line = "systemctl [--user]";
    for (const std::string& w : words) line += " [" + w + "]";
    return line;
}

std::vector<std::string> Calls(std::initializer_list<std::vector<std::string>> calls) {
    std::vector<std::string> out;
    for (const auto& c : calls) out.push_back(Call(c));
    return out;
}

std::string NextElapse(const std::string& calendar, const char* baseTime) {
    const ProcessOutput out = RunTool({"systemd-analyze", "calendar", "--iterations=1",
                                       std::string("--base-time=") + baseTime, calendar});
    const std::size_t at = out.out.find("Next elapse: ");
    if (at == std::string::npos) return "<none> " + out.err;
    return out.out.substr(at + 13, out.out.find('\n', at) - at - 13);
}

}  // namespace

TEST(SystemdJob, IdsAreWhatSystemdEscapeMakes) {
    for (const std::string& name : HostileNames()) {
        const std::string label = JobLabel(name);
        EXPECT_EQ(label.rfind("com.vocarta.SoundRecorder.schedule.", 0), 0u);
        const ProcessOutput out = RunTool({"systemd-escape", "--", label});
        EXPECT_EQ(JobId(label) + "\n", out.out) << name;
        EXPECT_EQ(JobId(label).find('/'), std::string::npos);
    }
    // Too long for a unit name: cut at an escape, told apart by a hash.
    const std::string a = JobId(JobLabel(std::string(200, '\xe2') + "a"));
    const std::string b = JobId(JobLabel(std::string(200, '\xe2') + "b"));
    EXPECT_LE((a + ".service").size(), 255u);
    EXPECT_NE(a, b);
    EXPECT_EQ(a.size() - a.rfind('_'), 17u);
    EXPECT_EQ(a.substr(0, a.rfind('_')).size() % 4, JobId(JobLabel("")).size() % 4);
}

TEST(SystemdJob, UnitsPassVerifyAndGiveTheExpectedNextStart) {
    ScopedTimeZone zone("Europe/Berlin");
    ToolRecorder tools;
    tools.Add("systemctl");
    TempDir programs("vocarta prog 'dir' $x %y");
    const std::string program = ArgumentDumper(programs, "vocarta", programs.File("out"));
    const int64_t base = InstantFromTexts("2030-06-05", "12:00:00");  // a Wednesday
    const std::string baseTime = StringPrintf("@%lld", (long long)base);
    int64_t s = 0, e = 0;
    ReferenceDaySpan(23 * 3600 + 30 * 60, 1800, s, e);  // daily past midnight
    int64_t ws = 0, we = 0;
    ReferenceDaySpan(10 * 3600 + 15, 11 * 3600, ws, we);  // seconds are not carried
    const struct {
        ScheduleJob job;
        std::vector<std::string> next;
    } cases[] = {
        {MakeJob("once", ScheduleType::OneTime, program, InstantFromTexts("2030-12-01", "00:30:59"),
                 InstantFromTexts("2030-12-01", "01:00:00")),
         {"Sun 2030-12-01 00:30:00 CET"}},
        {MakeJob("night", ScheduleType::Daily, program, s, e), {"Wed 2030-06-05 23:30:00 CEST"}},
        {MakeJob("after midnight", ScheduleType::Daily, program, ReferenceDayInstant(0, 30, 0),
                 ReferenceDayInstant(1, 0, 0)),
         {"Thu 2030-06-06 00:30:00 CEST"}},
        {MakeJob("Morning news", ScheduleType::Weekly, program, ws, we, (1 << 1) | (1 << 5)),
         {"Mon 2030-06-10 10:00:00 CEST", "Fri 2030-06-07 10:00:00 CEST"}},
    };
    SystemdJobLauncher launcher;
    for (const auto& c : cases) {
        ASSERT_TRUE(launcher.CreateScheduleJob(c.job));
        const std::vector<std::string> calendar = SystemdJobLauncher::CalendarLines(c.job);
        ASSERT_EQ(calendar.size(), c.next.size()) << c.job.name;
        for (std::size_t i = 0; i < calendar.size(); ++i)
            EXPECT_EQ(NextElapse(calendar[i], baseTime.c_str()), c.next[i]) << calendar[i];
        const std::string timer = ReadFile(SystemdJobLauncher::TimerPath(c.job.Label()));
        for (const std::string& line : calendar)
            EXPECT_NE(timer.find("OnCalendar=" + line + "\n"), std::string::npos) << timer;
    }
    // Monday's line before Friday's, as the days run from Sunday.
    EXPECT_EQ(SystemdJobLauncher::CalendarLines(cases[3].job),
              std::vector<std::string>({"Mon *-*-* 10:00:00", "Fri *-*-* 10:00:00"}));

    // Every unit, hostile names included, passes systemd's own check.
    for (const std::string& name : HostileNames())
        ASSERT_TRUE(
            launcher.CreateScheduleJob(MakeJob(name, ScheduleType::Weekly, program, ws, we, 0x7f)));
    std::vector<std::string> verify = {"systemd-analyze", "--user", "verify", "--man=no",
                                       "--generators=no"};
    for (const auto& entry : std::filesystem::directory_iterator(SystemdJobLauncher::UnitFolder()))
        verify.push_back(entry.path().string());
    std::set<std::string> names = {"once", "night", "after midnight"};
    for (const std::string& name : HostileNames()) names.insert(name);
    EXPECT_EQ(verify.size(), 5 + 2 * names.size());
    const ProcessOutput verified = RunTool(verify);
    EXPECT_EQ(verified.exitCode, 0) << verified.err;
    EXPECT_EQ(verified.err, "");
}

TEST(SystemdJob, CommandSequencesOfCreateEditRemove) {
    ToolRecorder tools;
    tools.Add("systemctl");
    ClearStartedByJob();
    TempDir programs;
    const std::string program = ArgumentDumper(programs, "vocarta", programs.File("out"));
    SystemdJobLauncher launcher;
    const ScheduleJob job = MakeJob("Morning news", ScheduleType::Daily, program,
                                    ReferenceDayInstant(7, 0, 0), ReferenceDayInstant(8, 0, 0));
    const std::string timer = Unit("Morning news", ".timer");
    const std::string service = Unit("Morning news", ".service");
    EXPECT_EQ(timer, "com.vocarta.SoundRecorder.schedule.Morning\\x20news.timer");

    ASSERT_TRUE(launcher.CreateScheduleJob(job));
    EXPECT_EQ(tools.Take(), Calls({{"disable", "--now", timer},
                                   {"stop", service},
                                   {"daemon-reload"},
                                   {"enable", "--now", timer}}));
    EXPECT_TRUE(FileExists(JoinPath(ConfigHome(), "systemd/user/" + service)));

    // Listed: removal unloads, forgets the timer's stamp and deletes both files.
    tools.Answer("systemctl", "show", 0, "ActiveState=active\nUnitFileState=enabled\n");
    tools.Answer("systemctl", "list-timers", 0,
                 "[{\"next\":1906884000000000,\"left\":1,\"last\":0,\"passed\":0,"
                 "\"unit\":\"x\",\"activates\":\"y\"}]\n");
    LResult<JobListing> listing = launcher.List(job.Label());
    ASSERT_TRUE(listing);
    EXPECT_TRUE(listing.Value().listed);
    EXPECT_EQ(listing.Value().nextStart, 1906884000);
    tools.Take();
    launcher.RemoveScheduleJob("Morning news");
    EXPECT_EQ(tools.Take(), Calls({{"show", timer, "--property=ActiveState,UnitFileState"},
                                   {"list-timers", "--no-pager", "--output=json", timer},
                                   {"disable", "--now", timer},
                                   {"stop", service},
                                   {"clean", "--what=state", timer}}));
    EXPECT_FALSE(launcher.HasJobFile(job.Label()));
    EXPECT_FALSE(FileExists(JoinPath(ConfigHome(), "systemd/user/" + service)));

    // Not listed (the manager cannot be asked): the files go without an unload,
    // with the link an earlier `enable` left.
    ASSERT_TRUE(launcher.CreateScheduleJob(job));
    tools.Take();
    const std::string wants = JoinPath(ConfigHome(), "systemd/user/timers.target.wants");
    std::filesystem::create_directories(wants);
    std::filesystem::create_symlink(SystemdJobLauncher::TimerPath(job.Label()),
                                    wants + "/" + timer);
    std::filesystem::create_symlink("/elsewhere", wants + "/" + Unit("other", ".timer"));
    tools.Answer("systemctl", "show", 0, "ActiveState=inactive\nUnitFileState=disabled\n");
    launcher.RemoveScheduleJob("Morning news");
    EXPECT_EQ(tools.Take().size(), 1u);
    EXPECT_FALSE(launcher.HasJobFile(job.Label()));
    EXPECT_FALSE(std::filesystem::is_symlink(wants + "/" + timer));
    EXPECT_TRUE(std::filesystem::is_symlink(wants + "/" + Unit("other", ".timer")));

    // Unload and load fail quietly without the file; failed tools still report
    // success from Create, and the failure is logged.
    EXPECT_FALSE(launcher.Unload(job.Label()));
    EXPECT_FALSE(launcher.Load(job.Label()));
    EXPECT_TRUE(tools.Take().empty());
    tools.Answer("systemctl", "daemon-reload", 1);
    EXPECT_TRUE(launcher.CreateScheduleJob(job));
    EXPECT_EQ(tools.Take().back(), Call({"daemon-reload"}));
    EXPECT_NE(ReadFile(ErrorLogPath()).find("daemon-reload FAILED: exit 1"), std::string::npos);
}

TEST(SystemdJob, UnloadFromInsideWaitsForTheProcessToEnd) {
    ToolRecorder tools;
    tools.Add("systemctl");
    TempDir programs;
    const std::string program = ArgumentDumper(programs, "vocarta", programs.File("out"));
    SystemdJobLauncher launcher;
    const ScheduleJob job = MakeJob("inside", ScheduleType::Daily, program,
                                    ReferenceDayInstant(7, 0, 0), ReferenceDayInstant(8, 0, 0));
    ASSERT_TRUE(launcher.CreateScheduleJob(job));
    tools.Take();
    // This process's stand-in: a child that lives until we end it.
    const pid_t self = fork();
    if (self == 0) {
        execlp("sleep", "sleep", "30", nullptr);
        _exit(127);
    }
    SetStartedByJob(JobId(job.Label()), self);
    ASSERT_TRUE(launcher.Unload(job.Label()));
    // The timer goes at once; the service, whose process would end, not yet.
    EXPECT_EQ(tools.Take(), Calls({{"disable", "--now", Unit("inside", ".timer")}}));
    std::string script;
    for (const auto& entry : std::filesystem::directory_iterator(getenv("XDG_RUNTIME_DIR")))
        if (entry.path().filename().string().rfind("vocarta-unload-", 0) == 0)
            script = entry.path().string();
    ASSERT_FALSE(script.empty());
    EXPECT_EQ(std::filesystem::status(script).permissions() & std::filesystem::perms::all,
              std::filesystem::perms(0770));
    EXPECT_EQ(ReadFile(script),
              "echo \"Waiting for process $1\"\n"
              "# Wait until the process is not alive any more\n"
              "while kill -0 \"$1\"; do\n"
              "  sleep 0.5\n"
              "done\n"
              "\n"
              "echo \"Process $1 has terminated, unloading it from systemd\"\n"
              "systemctl --user stop \"$2\"\n"
              "rm -f \"$0\"\n");
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    EXPECT_TRUE(tools.Take().empty()) << "stopped while the process still runs";
    kill(self, SIGTERM);
    waitpid(self, nullptr, 0);
    std::vector<std::string> later;
    for (int i = 0; i < 50 && later.empty(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        later = tools.Take();
    }
    EXPECT_EQ(later, Calls({{"stop", Unit("inside", ".service")}}));
    for (int i = 0; i < 20 && FileExists(script); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(FileExists(script));
    // Another job than the one that started us is unloaded at once.
    const ScheduleJob other = MakeJob("other", ScheduleType::Daily, program,
                                      ReferenceDayInstant(9, 0, 0), ReferenceDayInstant(9, 30, 0));
    ASSERT_TRUE(launcher.CreateScheduleJob(other));
    tools.Take();
    ASSERT_TRUE(launcher.Unload(other.Label()));
    EXPECT_EQ(tools.Take(), Calls({{"disable", "--now", Unit("other", ".timer")},
                                   {"stop", Unit("other", ".service")}}));
    ClearStartedByJob();
}
