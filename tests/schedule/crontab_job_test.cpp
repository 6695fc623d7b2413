// Schedules in the user's crontab, with Debian's own crontab and cron in a
// private spool (a mount namespace of the test; it needs root): the user's own
// lines stay byte for byte, only tagged lines change, nothing is written when
// the crontab cannot be read, and the real cron daemon (on a clock moved to just
// before a minute, so it fires within seconds) hands every hostile name to the
// program exactly and runs nothing else.

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "schedule/crontab_job_launcher.h"
#include "schedule/schedule_time.h"
#include "schedule_test_support.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"

using namespace vocarta;
using namespace vocarta::test;

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

ScheduleJob OneTimeJob(const std::string& name, const std::string& program, int64_t start) {
    return TestJob(name, ScheduleType::OneTime, program, start, start + 600, 0, false);
}

// Debian's crontab and cron with this test's own spool, cron tables and /run.
class PrivateCron {
    static constexpr const char* kMounts[] = {"/var/spool/cron/crontabs", "/etc/crontab",
                                              "/etc/cron.d", "/run"};

  public:
    std::string Setup() {
        if (geteuid() != 0) return "a private cron spool needs root";
        if (!FileExists("/usr/bin/crontab") || !FileExists("/usr/sbin/cron"))
            return "Debian's cron package is not installed";
        if (unshare(CLONE_NEWNS) != 0 ||
            mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            return std::string("private mounts: ") + strerror(errno);
        const group* crontab = getgrnam("crontab");
        chown(spool_.Path().c_str(), 0, crontab ? crontab->gr_gid : 0);
        chmod(spool_.Path().c_str(), 01730);
        WriteFile(tables_.File("crontab"), "");
        mkdir(tables_.File("cron.d").c_str(), 0755);
        for (const auto& [from, to] : {std::pair{spool_.Path(), kMounts[0]},
                                       {tables_.File("crontab"), kMounts[1]},
                                       {tables_.File("cron.d"), kMounts[2]},
                                       {run_.Path(), kMounts[3]}})
            if (mount(from.c_str(), to, nullptr, MS_BIND, nullptr) != 0)
                return std::string("mount ") + to + ": " + strerror(errno);
        return {};
    }
    // Starts cron with its clock `offset` seconds ahead of ours.
    void StartDaemon(int offset) {
        if ((daemon_ = fork()) == 0) {
            setenv("LD_PRELOAD", kFakeTimeLibrary, 1);
            setenv("FAKETIME", StringPrintf("+%ds", offset).c_str(), 1);
            const int null = open("/dev/null", O_WRONLY);
            dup2(null, 1), dup2(null, 2);
            execl("/usr/sbin/cron", "cron", "-f", nullptr);
            _exit(127);
        }
    }
    ~PrivateCron() {
        if (daemon_ > 0) kill(daemon_, SIGTERM), waitpid(daemon_, nullptr, 0);
        // The folders go with this object: a later test must not meet their mounts.
        for (const char* target : kMounts) umount2(target, MNT_DETACH);
    }

  private:
    TempDir spool_{"vocarta-spool"}, tables_{"vocarta-crontables"}, run_{"vocarta-run"};
    pid_t daemon_ = -1;
};

std::string CrontabNow() {
    return RunTool({"crontab", "-l"}).out;
}

}  // namespace

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
    LResult<JobListing> listing = launcher.List(a.Label());
    ASSERT_TRUE(listing);
    EXPECT_TRUE(listing.Value().listed);
    EXPECT_EQ(listing.Value().nextStart, CrontabJobLauncher::NextStartOfLine(lineA, time(nullptr)));

    launcher.RemoveScheduleJob("a");
    EXPECT_EQ(CrontabNow(), users + lineB + "\n");
    EXPECT_FALSE(launcher.HasJobFile(a.Label()));
    EXPECT_FALSE(launcher.List(a.Label()).Value().listed);
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
        ASSERT_TRUE(launcher.List(jobs.back().first.Label()).Value().listed) << name;
    }
    cron.StartDaemon(offset);
    for (const auto& [job, out] : jobs) {
        WaitUntil([&] { return ReadFile(out).find("WINDOW=") != std::string::npos; }, 15000);
        EXPECT_EQ(ReadFile(out), DumpOf(job)) << job.name;
    }
    EXPECT_FALSE(FileExists("/tmp/vocarta-pwned"));
}
