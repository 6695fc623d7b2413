// A program started by a schedule's job: the flag taken from the environment,
// and the check of a late start (after the machine was off or asleep), which
// must record only inside the occurrence and never into the next day.

#include "schedule/job_start.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <random>

#include "schedule/crontab_job_launcher.h"
#include "schedule/schedule_command_line.h"
#include "schedule/schedule_job.h"
#include "schedule/schedule_time.h"
#include "schedule/utf8_text.h"
#include "schedule_test_support.h"
#include "toolkit/text.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

std::string Window(ScheduleType type, int start, int end, int weekdays = 0) {
    int64_t s = 0, e = 0;
    ReferenceDaySpan(start, end, s, e);
    return TestJob("x", type, "/v", s, e, weekdays).window;
}

bool Records(const std::string& window, const char* date, const char* time) {
    return CheckLaunchWindow(window, InstantFromTexts(date, time)).record;
}

}  // namespace

TEST(JobStart, FlagComesFromTheEnvironmentOnce) {
    ClearStartedByJob();
    EXPECT_FALSE(TakeJobStartFromEnvironment());
    setenv(kJobIdVariable, "com.vocarta.SoundRecorder.schedule.a\\x20b", 1);
    setenv(kJobWindowVariable, "1 0 1999-11-30 22:00:00 1999-12-01 08:00:00", 1);
    std::optional<JobStart> start = TakeJobStartFromEnvironment();
    ASSERT_TRUE(start);
    EXPECT_EQ(start->window, "1 0 1999-11-30 22:00:00 1999-12-01 08:00:00");
    // Nothing this process starts inherits them.
    EXPECT_EQ(getenv(kJobIdVariable), nullptr);
    EXPECT_EQ(getenv(kJobWindowVariable), nullptr);
    pid_t pid = 0;
    EXPECT_TRUE(StartedByJob(JobId(JobLabel("a b")), &pid));
    EXPECT_EQ(pid, getpid());
    EXPECT_FALSE(StartedByJob(JobId(JobLabel("other"))));
    ClearStartedByJob();
    EXPECT_FALSE(StartedByJob(JobId(JobLabel("a b"))));
}

TEST(JobStart, LateStartRecordsOnlyInsideItsOccurrence) {
    ScopedTimeZone zone("Europe/Berlin");
    // Daily 22:00 to 08:00: on time, late at 07:00 next morning, never after 08:00
    // (the end alone would be read as tomorrow's 08:00). Weekly Monday 23:00 to
    // 01:00: Tuesday 00:30 belongs to Monday's, Wednesday's does not. One time:
    // only on its own date (the timer has no year), before its end. A window that
    // cannot be read leaves the end time in charge.
    const std::string night = Window(ScheduleType::Daily, 22 * 3600, 8 * 3600);
    const std::string monday = Window(ScheduleType::Weekly, 23 * 3600, 3600, 1 << 1);
    const int64_t ten = InstantFromTexts("2030-06-05", "10:00:00");
    const std::string once = TestJob("x", ScheduleType::OneTime, "/v", ten, ten + 3600).window;
    const std::string garbage = "garbage";
    const struct {
        const std::string& window;
        const char *date, *time;
        bool records;
    } rows[] = {
        {night, "2030-06-05", "22:00:00", true},   {night, "2030-06-05", "21:59:30", true},
        {night, "2030-06-06", "07:00:00", true},   {night, "2030-06-06", "08:00:00", false},
        {night, "2030-06-06", "09:30:00", false},  {monday, "2030-06-04", "00:30:00", true},
        {monday, "2030-06-05", "00:30:00", false}, {monday, "2030-06-04", "23:30:00", false},
        {once, "2030-06-05", "10:59:59", true},    {once, "2030-06-05", "11:00:00", false},
        {once, "2031-06-05", "10:00:00", false},   {garbage, "2030-06-05", "10:00:00", true}};
    for (const auto& row : rows)
        EXPECT_EQ(Records(row.window, row.date, row.time), row.records)
            << row.window << " at " << row.date << " " << row.time;
    EXPECT_EQ(CheckLaunchWindow(night, InstantFromTexts("2030-06-06", "07:00:00")).occurrenceEnd,
              InstantFromTexts("2030-06-06", "08:00:00"));
}

TEST(ScheduleCommandLine, AddArgumentsAreReadAsTheWindowWouldHoldThem) {
    auto parse = [](std::vector<std::string> args) {
        std::size_t index = 0;
        LResult<ScheduleForm> form = ParseScheduleAdd(args, index);
        return std::make_pair(std::move(form), index);
    };
    auto [once, used] = parse({"News at ten", "once", "2030-06-05", "22:00", "2030-06-06",
                               "06:30:15", "-runifnotloggedin", "-record"});
    ASSERT_TRUE(once);
    EXPECT_EQ(used, 6u);  // stops before the next switch
    EXPECT_EQ(once.Value().name, "News at ten");
    EXPECT_TRUE(once.Value().runIfNotLoggedIn);
    auto [weekly, _] = parse({"n", "weekly", "mon,FRIDAY", "07:00", "08:00", "-inactive"});
    ASSERT_TRUE(weekly);
    EXPECT_EQ(weekly.Value().weekdays, (1 << 1) | (1 << 5));
    EXPECT_FALSE(weekly.Value().active);

    // The end, given or as a length after the start: the fields the window would
    // hold, across midnight, a month's end and a change of daylight saving (a
    // length is wall time passed).
    ScopedTimeZone zone("Europe/Berlin");
    const struct {
        std::vector<std::string> args;
        ScheduleDate endDate;  // one time only
        int endSeconds;
    } rows[] = {
        {{"n", "once", "2030-06-05", "22:00", "2030-06-06", "06:30:15"}, {2030, 6, 6}, 23415},
        {{"n", "ONCE", "2030-06-05", "10:00", "11:00"}, {2030, 6, 5}, 11 * 3600},
        {{"n", "once", "2030-06-30", "23:30", "+1h"}, {2030, 7, 1}, 30 * 60},
        {{"n", "once", "2030-06-05", "10:00:00", "+8s"}, {2030, 6, 5}, 10 * 3600 + 8},
        {{"n", "once", "2030-06-05", "10:00", "+0:45"}, {2030, 6, 5}, 10 * 3600 + 45 * 60},
        {{"n", "once", "2030-10-27", "01:30", "+2h"}, {2030, 10, 27}, 2 * 3600 + 30 * 60},
        {{"n", "daily", "22:00", "+600m"}, {}, 8 * 3600},
        {{"n", "weekly", "sun", "23:59:59", "+1s"}, {}, 0},
    };
    for (const auto& row : rows) {
        const auto [form, index] = parse(row.args);
        ASSERT_TRUE(form) << row.args[3];
        EXPECT_EQ(form.Value().endSeconds, row.endSeconds) << row.args[3];
        const bool once = form.Value().type == ScheduleType::OneTime;
        EXPECT_EQ(once ? form.Value().endDate : row.endDate, row.endDate) << row.args[3];
    }
    for (const auto& bad :
         std::vector<std::vector<std::string>>{{"n"},
                                               {"n", "hourly"},
                                               {"n", "daily", "25:00", "26:00"},
                                               {"n", "daily", "07:00"},
                                               {"n", "weekly", "funday", "07:00", "08:00"},
                                               {"n", "once", "2030-13-01", "1:00", "2:00"}})
        EXPECT_FALSE(parse(bad).first) << bad.size();
    for (const char* bad : {"+", "+1", "+24h", "+1440m", "+86400s", "+1d", "+-1h", "+1:60", "+x:00",
                            "+1234567s", "1h"})
        EXPECT_FALSE(parse({"n", "daily", "07:00", bad}).first) << bad;
}

TEST(ScheduleParsers, SurviveMutatedInput) {
    // Texts from outside the program: the job's variable, crontab lines (the
    // user may edit them), command lines, names. Mutations must never crash,
    // and a printable name must always be clean UTF-8.
    std::mt19937 random(16);
    const std::string seeds[] = {"2 34 1999-11-30 22:00:00 1999-12-01 08:00:00",
                                 "0 7 * * 1,5 X='a' 'b' # vocarta-schedule:x",
                                 "N\xc3\xa4me \xf0\x9f\x8e\x99 once 2030-06-05 10:00 11:00"};
    for (int round = 0; round < 3000; ++round) {
        std::string text = seeds[round % 3];
        for (int edits = 1 + int(random() % 4); edits > 0; --edits) {
            const std::size_t at = random() % (text.size() + 1);
            const unsigned op = random() % 3;
            if (op == 0)
                text.insert(at, 1, char(random() % 256));
            else if (at < text.size() && op == 1)
                text.erase(at, 1);
            else if (at < text.size())
                text[at] = char(random() % 256);
        }
        (void)CheckLaunchWindow(text, 1906884000);
        (void)CrontabJobLauncher::NextStartOfLine(text, 1906884000);
        std::vector<std::string> words = {text, "once", text, "10:00", text};
        std::size_t index = 0;
        (void)ParseScheduleAdd(words, index);
        const std::string shown = PrintableUtf8(text);
        EXPECT_TRUE(IsValidUtf8(shown)) << Hex(text);
        for (char c : shown) EXPECT_FALSE(static_cast<unsigned char>(c) < 0x20) << Hex(text);
    }
}

TEST(JobStart, DetachLetsTheJobsProcessEndAndGoesOnInAChild) {
    TempDir dir;
    const std::string out = dir.File("child");
    const pid_t job = fork();
    if (job == 0) {
        SetStartedByJob("id", getpid());
        if (!DetachFromJob()) _exit(2);
        pid_t flagged = 0;
        StartedByJob("id", &flagged);
        WriteFile(out, StringPrintf("%d %d %d", int(getpid()), int(getsid(0)), int(flagged)));
        _exit(0);
    }
    int status = -1;
    waitpid(job, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    for (int i = 0; i < 50 && ReadFile(out).empty(); ++i) usleep(20000);
    int pid = 0, sid = 0, flagged = 0;
    ASSERT_EQ(std::sscanf(ReadFile(out).c_str(), "%d %d %d", &pid, &sid, &flagged), 3);
    EXPECT_NE(pid, job);
    EXPECT_EQ(sid, pid);      // a session of its own
    EXPECT_EQ(flagged, pid);  // an unload from inside waits for the child
}
