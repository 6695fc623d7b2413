// Schedules under a real systemd user manager, started by the test in a mount
// namespace of its own (it needs root; systemd refuses to run a user manager on
// a machine not booted with systemd unless /run/systemd/system is there, which
// the namespace provides). The service of every hostile name hands the program
// its argument and variables byte for byte, runs nothing else, and the manager
// names the next start the calendar promises.

#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "schedule/job_start.h"
#include "schedule/schedule_time.h"
#include "schedule/systemd_job_launcher.h"
#include "schedule_test_support.h"
#include "toolkit/paths.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

class UserManager {
  public:
    // Empty on success, else why the manager could not be had.
    std::string Start() {
        if (geteuid() != 0) return "a private mount namespace needs root";
        if (unshare(CLONE_NEWNS) != 0) return std::string("unshare: ") + strerror(errno);
        if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            return std::string("mount private: ") + strerror(errno);
        if (mount(run_.Path().c_str(), "/run", nullptr, MS_BIND, nullptr) != 0)
            return std::string("mount /run: ") + strerror(errno);
        mkdir("/run/systemd", 0755);
        mkdir("/run/systemd/system", 0755);
        unsetenv("DBUS_SESSION_BUS_ADDRESS");
        pid_ = fork();
        if (pid_ == 0) {
            const int null = open("/dev/null", O_WRONLY);
            dup2(null, 1);
            dup2(null, 2);
            execl("/lib/systemd/systemd", "systemd", "--user", nullptr);
            _exit(127);
        }
        for (int i = 0; i < 150; ++i) {
            LResult<ProcessOutput> state = RunProcess({"systemctl", "--user", "is-system-running"});
            if (state && (state.Value().out == "running\n" || state.Value().out == "degraded\n"))
                return {};
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return "systemd --user did not answer within 15 s";
    }
    ~UserManager() {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            waitpid(pid_, nullptr, 0);
        }
        umount2("/run", MNT_DETACH);
    }

  private:
    TempDir run_{"vocarta-run"};
    pid_t pid_ = -1;
};

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

}  // namespace

TEST(SystemdManager, HostileNamesReachTheProgramExactly) {
    ScopedTimeZone zone("Europe/Berlin");
    UserManager manager;
    const std::string failure = manager.Start();
    ASSERT_EQ(failure, "") << "a real systemd user manager is needed";
    ASSERT_TRUE(UserManagerAnswers());
    unlink("/tmp/vocarta-pwned");

    TempDir plain("vocarta-prog");
    TempDir odd("vocarta prog 'quoted' \\ $HOME %h");
    const std::string outFile = plain.File("out");
    const std::string programs[] = {ArgumentDumper(plain, "vocarta", outFile),
                                    ArgumentDumper(odd, "vocarta", outFile)};
    const int64_t start = InstantFromTexts("2030-12-01", "00:30:20");
    const int64_t end = InstantFromTexts("2030-12-01", "01:00:00");
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
        ScheduledRecording record;
        record.SetOneTime(name, start, end);
        record.SetRunIfNotLoggedIn(index % 2 == 0);
        const ScheduleJob job = JobForRecord(record, programs[index++ % 2]);
        ASSERT_TRUE(launcher.CreateScheduleJob(job));
        LResult<JobListing> listing = launcher.List(job.Label());
        ASSERT_TRUE(listing);
        EXPECT_TRUE(listing.Value().listed);
        // No year: the next 1 December, at the start minute.
        EXPECT_EQ(listing.Value().nextStart, nextFirstOfDecember);

        unlink(outFile.c_str());
        const std::string service = JobId(job.Label()) + ".service";
        ASSERT_EQ(RunTool({"systemctl", "--user", "start", service}).exitCode, 0);
        for (int i = 0; i < 100 && ReadFile(outFile).find("WINDOW=") == std::string::npos; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_EQ(Lines(ReadFile(outFile)),
                  std::vector<std::string>({Hex("-scheduled_launch"), Hex(job.argument),
                                            "JOB=" + JobId(job.Label()), "WINDOW=" + job.window}));
        EXPECT_EQ(job.argument, "01:00:00 " + name + (index % 2 ? " -RunInBackground" : ""));

        launcher.RemoveScheduleJob(name);
        listing = launcher.List(job.Label());
        ASSERT_TRUE(listing);
        EXPECT_FALSE(listing.Value().listed);
        EXPECT_FALSE(launcher.HasJobFile(job.Label()));
    }
    EXPECT_FALSE(FileExists("/tmp/vocarta-pwned"));

    // A program that stays on in a child after its job's process ended: the job
    // ends, the child lives (KillMode=process), and the job starts again.
    const std::string stays = plain.File("stays");
    WriteFile(stays, "#!/bin/sh\nsleep 60 </dev/null >/dev/null 2>&1 &\necho $! >> '" +
                         plain.File("children") + "'\n");
    chmod(stays.c_str(), 0755);
    ScheduledRecording daily;
    daily.SetDaily("stays", ReferenceDayInstant(3, 0, 0), ReferenceDayInstant(4, 0, 0));
    const ScheduleJob job = JobForRecord(daily, stays);
    ASSERT_TRUE(launcher.CreateScheduleJob(job));
    const std::string service = JobId(job.Label()) + ".service";
    for (int start = 1; start <= 2; ++start) {
        ASSERT_EQ(RunTool({"systemctl", "--user", "start", service}).exitCode, 0);
        for (int i = 0;
             i < 100 && Lines(ReadFile(plain.File("children"))).size() < std::size_t(start); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        for (int i = 0;
             i < 100 && RunTool({"systemctl", "--user", "is-active", service}).out != "inactive\n";
             ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    const std::vector<std::string> children = Lines(ReadFile(plain.File("children")));
    ASSERT_EQ(children.size(), 2u);
    for (const std::string& child : children) {
        EXPECT_EQ(kill(std::stoi(child), 0), 0) << "the job's stop ended the program's child";
        kill(std::stoi(child), SIGTERM);
    }
    launcher.RemoveScheduleJob("stays");
}
