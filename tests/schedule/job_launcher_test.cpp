// The two job launchers. systemd user units: names as systemd-escape makes
// them, units that systemd-analyze accepts and whose calendar gives the expected
// next start, the exact systemctl commands of each operation (against a
// stand-in first on PATH). The user's crontab, with Debian's own crontab: the
// user's own lines stay byte for byte, only tagged lines change, nothing is
// written when the crontab cannot be read. And the real daemons, each in a
// mount namespace of the test (it needs root): a systemd user manager (it runs
// on a machine not booted with systemd when /run/systemd/system is there) and
// cron (on a clock moved to just before a minute, so it fires within seconds)
// hand every hostile name to the program byte for byte and run nothing else.

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>
#include <sstream>

#include "schedule/crontab_job_launcher.h"
#include "schedule/schedule_time.h"
#include "schedule/systemd_job_launcher.h"
#include "schedule_test_support.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"

using namespace vocarta;
using namespace vocarta::test;
namespace fs = std::filesystem;

namespace {

constexpr const char* kFakeTimeLibrary = "/usr/lib/x86_64-linux-gnu/faketime/libfaketime.so.1";

// The user's crontab before Vocarta touches it: comments, variables, a "%",
// a blank line, a tag-like text that is not a tag, a trailing tab.
constexpr const char* kUsersLines =
    "# my jobs\n"
    "MAILTO=\"\"\n"
    "SHELL=/bin/sh\n"
    "\n"
    "0 5 * * * /usr/bin/backup --date=$(date +\\%F) # vocarta-schedule: mine\n"
    "*/5 * * * * echo 'still here' >/dev/null\t\n";

// A daemon in the test's own mount namespace, with private folders bound over
// system ones; both go with the object, so a later test meets neither.
class PrivateDaemon {
  public:
    // Empty on success, else why the folders could not be had.
    std::string Mount(const std::vector<std::pair<std::string, std::string>>& binds) {
        if (geteuid() != 0) return "a private mount namespace needs root";
        if (unshare(CLONE_NEWNS) != 0 ||
            mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            return std::string("private mounts: ") + strerror(errno);
        for (const auto& [from, to] : binds) {
            if (mount(from.c_str(), to.c_str(), nullptr, MS_BIND, nullptr) != 0)
                return "mount " + to + ": " + strerror(errno);
            targets_.push_back(to);
        }
        return {};
    }
    void Start(std::vector<const char*> argv, const std::string& fakeTime = {}) {
        if ((pid_ = fork()) == 0) {
            if (!fakeTime.empty()) {
                setenv("LD_PRELOAD", kFakeTimeLibrary, 1);
                setenv("FAKETIME", fakeTime.c_str(), 1);
            }
            const int null = open("/dev/null", O_WRONLY);
            dup2(null, 1), dup2(null, 2);
            argv.push_back(nullptr);
            execv(argv[0], const_cast<char* const*>(argv.data()));
            _exit(127);
        }
    }
    ~PrivateDaemon() {
        if (pid_ > 0) kill(pid_, SIGTERM), waitpid(pid_, nullptr, 0);
        for (const std::string& target : targets_) umount2(target.c_str(), MNT_DETACH);
    }

  private:
    std::vector<std::string> targets_;
    pid_t pid_ = -1;
};

// Debian's crontab and cron with this test's own spool, cron tables and /run.
class PrivateCron : public PrivateDaemon {
  public:
    std::string Setup() {
        if (!FileExists("/usr/bin/crontab") || !FileExists("/usr/sbin/cron"))
            return "Debian's cron package is not installed";
        const group* crontab = getgrnam("crontab");
        chown(spool_.Path().c_str(), 0, crontab ? crontab->gr_gid : 0);
        chmod(spool_.Path().c_str(), 01730);
        WriteFile(tables_.File("crontab"), "");
        mkdir(tables_.File("cron.d").c_str(), 0755);
        return Mount({{spool_.Path(), "/var/spool/cron/crontabs"},
                      {tables_.File("crontab"), "/etc/crontab"},
                      {tables_.File("cron.d"), "/etc/cron.d"},
                      {run_.Path(), "/run"}});
    }
    // Starts cron with its clock `offset` seconds ahead of ours.
    void StartDaemon(int offset) { Start({"/usr/sbin/cron", "-f"}, StringPrintf("+%ds", offset)); }

  private:
    TempDir spool_{"vocarta-spool"}, tables_{"vocarta-crontables"}, run_{"vocarta-run"};
};

// A systemd user manager of the test's own.
class UserManager : public PrivateDaemon {
  public:
    std::string Setup() {
        if (std::string failure = Mount({{run_.Path(), "/run"}}); !failure.empty()) return failure;
        fs::create_directories("/run/systemd/system");
        unsetenv("DBUS_SESSION_BUS_ADDRESS");
        Start({"/lib/systemd/systemd", "--user"});
        const bool up = WaitUntil(
            [] {
                const std::string state = RunTool({"systemctl", "--user", "is-system-running"}).out;
                return state == "running\n" || state == "degraded\n";
            },
            15000);
        return up ? "" : "systemd --user did not answer within 15 s";
    }

  private:
    TempDir run_{"vocarta-run"};
};

// "listed <next start>", "not listed" or the error of the listing.
std::string Listed(LJobLauncher& launcher, const std::string& label) {
    LResult<JobListing> l = launcher.List(label);
    if (!l) return "error: " + l.Error().Message();
    return l.Value().listed ? "listed " + std::to_string(l.Value().nextStart) : "not listed";
}

ScheduleJob OneTimeJob(const std::string& name, const std::string& program, int64_t start) {
    return TestJob(name, ScheduleType::OneTime, program, start, start + 600, 0, false);
}

std::string CrontabNow() {
    return RunTool({"crontab", "-l"}).out;
}

std::string Unit(const std::string& name, const char* suffix) {
    return JobId(JobLabel(name)) + suffix;
}

std::vector<std::string> Calls(std::initializer_list<std::vector<std::string>> calls) {
    std::vector<std::string> out;
    for (const auto& c : calls) {
        out.push_back("systemctl [--user]");
        for (const std::string& w : c) out.back() += " [" + w + "]";
    }
    return out;
}

std::string NextElapse(const std::string& calendar, int64_t base) {
    const ProcessOutput out =
        RunTool({"systemd-analyze", "calendar", "--iterations=1",
                 StringPrintf("--base-time=@%lld", (long long)base), calendar});
    const std::size_t at = out.out.find("Next elapse: ");
    if (at == std::string::npos) return "<none> " + out.err;
    return out.out.substr(at + 13, out.out.find('\n', at) - at - 13);
}

// A daily job from 07:00 to 08:00 under `name`.
ScheduleJob Daily(const std::string& name, const std::string& program) {
    return TestJob(name, ScheduleType::Daily, program, ReferenceDayInstant(7, 0, 0),
                   ReferenceDayInstant(8, 0, 0));
}

}  // namespace

TEST(SystemdJob, IdsAreWhatSystemdEscapeMakes) {
    for (const std::string& name : HostileNames()) {
        const std::string label = JobLabel(name);
        EXPECT_EQ(label.rfind("com.vocarta.SoundRecorder.schedule.", 0), 0u);
        EXPECT_EQ(JobId(label) + "\n", RunTool({"systemd-escape", "--", label}).out) << name;
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
    int64_t s = 0, e = 0, ws = 0, we = 0;
    ReferenceDaySpan(23 * 3600 + 30 * 60, 1800, s, e);    // daily past midnight
    ReferenceDaySpan(10 * 3600 + 15, 11 * 3600, ws, we);  // seconds are not carried
    const int64_t once = InstantFromTexts("2030-12-01", "00:30:59");
    using T = ScheduleType;
    // Monday's line before Friday's, as the days run from Sunday.
    const struct {
        ScheduleJob job;
        std::vector<std::string> next;
    } cases[] = {
        {TestJob("once", T::OneTime, program, once, once + 1741), {"Sun 2030-12-01 00:30:00 CET"}},
        {TestJob("night", T::Daily, program, s, e), {"Wed 2030-06-05 23:30:00 CEST"}},
        {TestJob("after midnight", T::Daily, program, ReferenceDayInstant(0, 30, 0),
                 ReferenceDayInstant(1, 0, 0)),
         {"Thu 2030-06-06 00:30:00 CEST"}},
        {TestJob("Morning news", T::Weekly, program, ws, we, (1 << 1) | (1 << 5)),
         {"Mon 2030-06-10 10:00:00 CEST", "Fri 2030-06-07 10:00:00 CEST"}},
    };
    SystemdJobLauncher launcher;
    for (const auto& c : cases) {
        ASSERT_TRUE(launcher.CreateScheduleJob(c.job));
        const std::vector<std::string> calendar = SystemdJobLauncher::CalendarLines(c.job);
        ASSERT_EQ(calendar.size(), c.next.size()) << c.job.name;
        const std::string timer = ReadFile(SystemdJobLauncher::TimerPath(c.job.Label()));
        for (std::size_t i = 0; i < calendar.size(); ++i) {
            EXPECT_EQ(NextElapse(calendar[i], base), c.next[i]) << calendar[i];
            EXPECT_NE(timer.find("OnCalendar=" + calendar[i] + "\n"), std::string::npos) << timer;
        }
    }
    // Every unit, hostile names included, passes systemd's own check.
    for (const std::string& name : HostileNames())
        ASSERT_TRUE(launcher.CreateScheduleJob(TestJob(name, T::Weekly, program, ws, we, 0x7f)));
    std::vector<std::string> verify = {"systemd-analyze", "--user", "verify", "--man=no",
                                       "--generators=no"};
    for (const auto& entry : fs::directory_iterator(SystemdJobLauncher::UnitFolder()))
        verify.push_back(entry.path().string());
    const ProcessOutput verified = RunTool(verify);
    EXPECT_EQ(verified.exitCode, 0) << verified.err;
    EXPECT_EQ(verified.err, "");
}

TEST(SystemdJob, CommandSequencesOfCreateEditRemove) {
    ToolRecorder tools;
    tools.Add("systemctl");
    ClearStartedByJob();
    const ScheduleJob job = Daily("Morning news", "/opt/vocarta");
    const std::string timer = Unit("Morning news", ".timer");
    const std::string service = Unit("Morning news", ".service");
    EXPECT_EQ(timer, "com.vocarta.SoundRecorder.schedule.Morning\\x20news.timer");
    SystemdJobLauncher launcher;
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
    EXPECT_EQ(Listed(launcher, job.Label()), "listed 1906884000");
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
    fs::create_directories(wants);
    fs::create_symlink(SystemdJobLauncher::TimerPath(job.Label()), wants + "/" + timer);
    fs::create_symlink("/elsewhere", wants + "/" + Unit("other", ".timer"));
    tools.Answer("systemctl", "show", 0, "ActiveState=inactive\nUnitFileState=disabled\n");
    launcher.RemoveScheduleJob("Morning news");
    EXPECT_EQ(tools.Take().size(), 1u);
    EXPECT_FALSE(launcher.HasJobFile(job.Label()));
    EXPECT_FALSE(fs::is_symlink(wants + "/" + timer));
    EXPECT_TRUE(fs::is_symlink(wants + "/" + Unit("other", ".timer")));

    // Unload and load fail quietly without the file; failed tools still report
    // success from Create, and the failure is logged.
    EXPECT_FALSE(launcher.Unload(job.Label()));
    EXPECT_FALSE(launcher.Load(job.Label()));
    EXPECT_TRUE(tools.Take().empty());
    tools.Answer("systemctl", "daemon-reload", 1);
    EXPECT_TRUE(launcher.CreateScheduleJob(job));
    EXPECT_EQ(tools.Take().back(), Calls({{"daemon-reload"}})[0]);
    EXPECT_NE(ReadFile(ErrorLogPath()).find("daemon-reload FAILED: exit 1"), std::string::npos);
}

TEST(SystemdJob, UnloadFromInsideWaitsForTheProcessToEnd) {
    ToolRecorder tools;
    tools.Add("systemctl");
    SystemdJobLauncher launcher;
    const ScheduleJob job = Daily("inside", "/opt/vocarta"), other = Daily("other", "/opt/v");
    ASSERT_TRUE(launcher.CreateScheduleJob(job));
    ASSERT_TRUE(launcher.CreateScheduleJob(other));
    tools.Take();
    // This process's stand-in: a child that lives until we end it.
    const pid_t self = fork();
    if (self == 0) execlp("sleep", "sleep", "30", nullptr), _exit(127);
    SetStartedByJob(JobId(job.Label()), self);
    ASSERT_TRUE(launcher.Unload(job.Label()));
    // The timer goes at once; the service, whose process would end, not yet.
    EXPECT_EQ(tools.Take(), Calls({{"disable", "--now", Unit("inside", ".timer")}}));
    std::string script;
    for (const auto& entry : fs::directory_iterator(getenv("XDG_RUNTIME_DIR")))
        if (entry.path().filename().string().rfind("vocarta-unload-", 0) == 0)
            script = entry.path().string();
    ASSERT_FALSE(script.empty());
    EXPECT_EQ(fs::status(script).permissions() & fs::perms::all, fs::perms(0770));
    EXPECT_FALSE(WaitUntil([&] { return !tools.Take().empty(); }, 700))
        << "stopped while the process still runs";
    kill(self, SIGTERM);
    waitpid(self, nullptr, 0);
    std::vector<std::string> later;
    WaitUntil([&] { return !(later = tools.Take()).empty(); });
    EXPECT_EQ(later, Calls({{"stop", Unit("inside", ".service")}}));
    EXPECT_TRUE(WaitUntil([&] { return !FileExists(script); }, 1000)) << "the script stays";
    // Another job than the one that started us is unloaded at once.
    ASSERT_TRUE(launcher.Unload(other.Label()));
    EXPECT_EQ(tools.Take(), Calls({{"disable", "--now", Unit("other", ".timer")},
                                   {"stop", Unit("other", ".service")}}));
    ClearStartedByJob();
}

TEST(SystemdManager, HostileNamesReachTheProgramExactly) {
    ScopedTimeZone zone("Europe/Berlin");
    UserManager manager;
    const std::string failure = manager.Setup();
    ASSERT_EQ(failure, "") << "a real systemd user manager is needed";
    ASSERT_TRUE(UserManagerAnswers());
    unlink("/tmp/vocarta-pwned");
    TempDir plain("vocarta-prog"), odd("vocarta prog 'quoted' \\ $HOME %h");
    const std::string out = plain.File("out");
    const std::string programs[] = {ArgumentDumper(plain, "vocarta", out),
                                    ArgumentDumper(odd, "vocarta", out)};
    const int64_t start = InstantFromTexts("2030-12-01", "00:30:20");
    const std::time_t now = time(nullptr);
    std::tm today{};
    localtime_r(&now, &today);
    int64_t nextFirstOfDecember = LocalInstant(today.tm_year + 1900, 12, 1, 0, 30, 0);
    if (nextFirstOfDecember <= now)
        nextFirstOfDecember = LocalInstant(today.tm_year + 1901, 12, 1, 0, 30, 0);
    SystemdJobLauncher launcher;
    int index = 0;
    for (const std::string& name : HostileNames()) {
        SCOPED_TRACE(name);
        const bool background = index % 2 == 0;
        const ScheduleJob job = TestJob(name, ScheduleType::OneTime, programs[index++ % 2], start,
                                        start + 1780, 0, background);
        EXPECT_EQ(job.argument, "01:00:00 " + name + (background ? " -RunInBackground" : ""));
        ASSERT_TRUE(launcher.CreateScheduleJob(job));
        // No year: the next 1 December, at the start minute.
        EXPECT_EQ(Listed(launcher, job.Label()), "listed " + std::to_string(nextFirstOfDecember));
        unlink(out.c_str());
        ASSERT_EQ(
            RunTool({"systemctl", "--user", "start", JobId(job.Label()) + ".service"}).exitCode, 0);
        WaitUntil([&] { return ReadFile(out).find("WINDOW=") != std::string::npos; });
        EXPECT_EQ(ReadFile(out), DumpOf(job));
        launcher.RemoveScheduleJob(name);
        EXPECT_EQ(Listed(launcher, job.Label()), "not listed");
        EXPECT_FALSE(launcher.HasJobFile(job.Label()));
    }
    EXPECT_FALSE(FileExists("/tmp/vocarta-pwned"));

    // A program that stays on in a child after its job's process ended: the job
    // ends, the child lives (KillMode=process), and the job starts again.
    const std::string stays = plain.File("stays"), children = plain.File("children");
    WriteFile(stays,
              "#!/bin/sh\nsleep 60 </dev/null >/dev/null 2>&1 &\necho $! >> '" + children + "'\n");
    chmod(stays.c_str(), 0755);
    const ScheduleJob job = Daily("stays", stays);
    ASSERT_TRUE(launcher.CreateScheduleJob(job));
    const std::string service = JobId(job.Label()) + ".service";
    std::vector<int> pids;
    for (int start = 1; start <= 2; ++start) {
        ASSERT_EQ(RunTool({"systemctl", "--user", "start", service}).exitCode, 0);
        WaitUntil([&] {
            std::istringstream in(ReadFile(children));
            pids.assign(std::istream_iterator<int>(in), std::istream_iterator<int>());
            return pids.size() >= std::size_t(start);
        });
        WaitUntil([&] {
            return RunTool({"systemctl", "--user", "is-active", service}).out == "inactive\n";
        });
    }
    ASSERT_EQ(pids.size(), 2u);
    for (int child : pids) {
        EXPECT_EQ(kill(child, 0), 0) << "the job's stop ended the program's child";
        kill(child, SIGTERM);
    }
    launcher.RemoveScheduleJob("stays");
}

TEST(CrontabJob, LineFormatAndNextStart) {
    ScopedTimeZone zone("Europe/Berlin");
    LResult<std::string> line = CrontabJobLauncher::CronLine(TestJob(
        "Morning news", ScheduleType::Weekly, "/opt/voc/vocarta", ReferenceDayInstant(7, 30, 45),
        ReferenceDayInstant(8, 0, 0), (1 << 1) | (1 << 5), false));
    ASSERT_TRUE(line);
    EXPECT_EQ(
        line.Value(),
        "30 7 * * 1,5 VOCARTA_SCHEDULE_JOB='com.vocarta.SoundRecorder.schedule.Morning\\x20news' "
        "VOCARTA_SCHEDULE_WINDOW='2 34 1999-11-30 07:30:45 1999-11-30 08:00:00' "
        "'/opt/voc/vocarta' '-scheduled_launch' '08:00:00 Morning news' "
        "# vocarta-schedule:com.vocarta.SoundRecorder.schedule.Morning\\x20news");
    const int64_t wednesday = InstantFromTexts("2030-06-05", "12:00:00");
    for (auto [text, next] : {std::pair{line.Value(), "2030-06-07 07:30:00"},
                              {"0 0 29 2 * x", "2032-02-29 00:00:00"},
                              {"5 12 * * * x", "2030-06-05 12:05:00"},
                              {"*/5 12 * * * x", ""}}) {
        const int64_t at = CrontabJobLauncher::NextStartOfLine(text, wednesday);
        EXPECT_EQ(ScheduleDateText(at) + (at ? " " : "") + ScheduleTimeText(at), next) << text;
    }
    // Cron takes no command longer than 999 bytes: refused, not cut.
    EXPECT_FALSE(CrontabJobLauncher::CronLine(OneTimeJob(std::string(259, '\n'), "/v", wednesday)));
}

TEST(CrontabJob, OnlyTaggedLinesChangeAndUsersLinesStay) {
    PrivateCron cron;
    const std::string failure = cron.Setup();
    ASSERT_EQ(failure, "") << "Debian's crontab with a private spool is needed";
    ASSERT_EQ(RunTool({"crontab", "-"}, kUsersLines).exitCode, 0);
    const std::string users = kUsersLines;
    ASSERT_EQ(CrontabNow(), users);  // as the user wrote it

    CrontabJobLauncher launcher;
    const int64_t start = InstantFromTexts("2030-06-05", "12:00:00");
    const ScheduleJob a = OneTimeJob("a", "/opt/vocarta", start);
    const ScheduleJob b = OneTimeJob("a; b", "/opt/vocarta", start + 3600);
    for (const ScheduleJob* job : {&a, &b, &a})  // loading again replaces, never doubles
        ASSERT_TRUE(launcher.CreateScheduleJob(*job));
    const std::string lineA = CrontabJobLauncher::CronLine(a).Value();
    const std::string lineB = CrontabJobLauncher::CronLine(b).Value();
    EXPECT_EQ(CrontabNow(), users + lineB + "\n" + lineA + "\n");
    EXPECT_EQ(ReadFile(CrontabJobLauncher::JobFilePath(a.Label())), lineA + "\n");
    EXPECT_EQ(
        Listed(launcher, a.Label()),
        "listed " + std::to_string(CrontabJobLauncher::NextStartOfLine(lineA, time(nullptr))));

    launcher.RemoveScheduleJob("a");
    EXPECT_EQ(CrontabNow(), users + lineB + "\n");
    EXPECT_FALSE(launcher.HasJobFile(a.Label()));
    EXPECT_EQ(Listed(launcher, a.Label()), "not listed");
    // Unload from inside the job's own process: removing the line ends nothing,
    // so it is made at once.
    SetStartedByJob(JobId(b.Label()), getpid());
    ASSERT_TRUE(launcher.Unload(b.Label()));
    ClearStartedByJob();
    EXPECT_EQ(CrontabNow(), users);
    EXPECT_FALSE(launcher.Unload(b.Label()));  // not in the crontab any more
    launcher.RemoveScheduleJob("a; b");
    EXPECT_FALSE(launcher.Unload(b.Label()));  // no job file
    EXPECT_EQ(CrontabNow(), users);
}

TEST(CrontabJob, NothingIsWrittenWhenTheCrontabCannotBeRead) {
    ToolRecorder tools;
    tools.Add("crontab");
    tools.Answer("crontab", "-l", 1, "", "crontab: cannot open your crontab: Permission denied\n");
    CrontabJobLauncher launcher;
    const ScheduleJob job =
        OneTimeJob("x", "/opt/vocarta", InstantFromTexts("2030-06-05", "12:00:00"));
    EXPECT_TRUE(launcher.CreateScheduleJob(job));  // reports success always
    for (const std::string& call : tools.Take()) EXPECT_EQ(call, "crontab [-l]");
    EXPECT_NE(ReadFile(ErrorLogPath()).find("crontab -l FAILED"), std::string::npos);
    // "no crontab for" is an empty crontab, not a failure.
    tools.Answer("crontab", "-l", 1, "", "no crontab for root\n");
    EXPECT_TRUE(launcher.CreateScheduleJob(job));
    EXPECT_EQ(tools.Take().back(), "crontab [-]");
    EXPECT_EQ(tools.Input("crontab"), CrontabJobLauncher::CronLine(job).Value() + "\n");
}

TEST(CrontabJob, CronHandsHostileNamesOverExactly) {
    PrivateCron cron;
    const std::string failure = cron.Setup();
    ASSERT_EQ(failure, "") << "Debian's crontab and cron with a private spool are needed";
    ASSERT_TRUE(FileExists(kFakeTimeLibrary)) << "libfaketime (package faketime) is needed";
    ASSERT_EQ(RunTool({"crontab", "-"}, kUsersLines).exitCode, 0);
    unlink("/tmp/vocarta-pwned");
    // Cron's clock two seconds before a minute: the jobs are set for that minute.
    const std::time_t now = time(nullptr);
    const int offset = int(58 - now % 60 + 60) % 60;
    const int64_t minute = (int64_t(now) + offset) / 60 * 60 + 60;
    TempDir dir("vocarta cron 'progs'");
    CrontabJobLauncher launcher;
    std::vector<std::pair<ScheduleJob, std::string>> jobs;
    for (const std::string& name : HostileNames()) {
        const std::string out = dir.File(StringPrintf("out%zu", jobs.size()));
        const std::string program =
            ArgumentDumper(dir, StringPrintf("vocarta %zu $x", jobs.size()), out);
        jobs.emplace_back(OneTimeJob(name, program, minute), out);
        ASSERT_TRUE(launcher.CreateScheduleJob(jobs.back().first));
        ASSERT_EQ(Listed(launcher, jobs.back().first.Label()).substr(0, 6), "listed") << name;
    }
    cron.StartDaemon(offset);
    for (const auto& [job, out] : jobs) {
        const std::string& file = out;  // clang 14 cannot capture a structured binding
        WaitUntil([&] { return ReadFile(file).find("WINDOW=") != std::string::npos; }, 15000);
        EXPECT_EQ(ReadFile(out), DumpOf(job)) << job.name;
    }
    EXPECT_FALSE(FileExists("/tmp/vocarta-pwned"));
}
