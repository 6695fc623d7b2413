// The schedule switches of the launching process: how a line is read (a table),
// and what -schedules, -schedule-add and -schedule-remove do and end with.
#include "app/instance/schedule_operations.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <cstdio>
#include <filesystem>

#include "app/session/command_line.h"
#include "schedule/schedule_test_support.h"
#include "schedule/schedule_time.h"
#include "toolkit/paths.h"

using namespace vocarta;

namespace {

std::vector<std::string> Words(std::initializer_list<const char*> words) {
    std::vector<std::string> args = {"vocarta"};
    for (const char* w : words) args.emplace_back(w);
    return args;
}

std::string Joined(const std::vector<std::string>& words) {
    std::string out;
    for (const std::string& w : words) out += (out.empty() ? "" : "|") + w;
    return out;
}

TEST(ScheduleSwitches, AreReadAsTheLaunchingProcesssOwnOperation) {
    using Op = ScheduleOperation;
    struct Row {
        std::vector<std::string> args;
        Op operation;
        const char* scheduleArgs;
        bool error;  // the line is refused (status 2)
    };
    const Row rows[] = {
        {Words({"-schedules"}), Op::kList, "", false},
        {Words({"-SCHEDULES", "-nogui"}), Op::kList, "", false},
        {Words({"-schedule-add", "News at ten", "once", "2030-06-05", "22:00", "+90m",
                "-runifnotloggedin"}),
         Op::kAdd, "News at ten|once|2030-06-05|22:00|+90m|-runifnotloggedin", false},
        {Words({"-Schedule-Add", "n", "weekly", "mon,fri", "07:00", "+1:30", "-nogui"}), Op::kAdd,
         "n|weekly|mon,fri|07:00|+1:30", false},
        {Words({"-schedule-remove", "$(rm -rf ~) ;"}), Op::kRemove, "$(rm -rf ~) ;", false},
        // Words the schedule cannot use, or no name at all.
        {Words({"-schedule-add", "n", "daily", "22:00"}), Op::kAdd, "", true},
        {Words({"-schedule-add", "n", "daily", "22:00", "+24h"}), Op::kAdd, "", true},
        {Words({"-schedule-add", "n", "hourly", "1", "2"}), Op::kAdd, "", true},
        {Words({"-schedule-add", "-record"}), Op::kNone, "", true},
        {Words({"-schedule-remove"}), Op::kNone, "", true},
        // A schedule operation replaces the session: nothing may ride along.
        {Words({"-schedule-remove", "n", "-record"}), Op::kRemove, "n", true},
        {Words({"-record", "-schedules"}), Op::kList, "", true},
        {Words({"-schedules", "-devices"}), Op::kList, "", true},
        {Words({"-schedules", "-schedule-remove", "n"}), Op::kList, "", true},
    };
    for (const Row& row : rows) {
        const ParsedCommandLine parsed = ParseCommandLine(row.args);
        const std::string line = Joined(row.args);
        EXPECT_EQ(parsed.scheduleOperation, row.operation) << line;
        EXPECT_EQ(!parsed.errors.empty(), row.error) << line;
        if (row.error) continue;
        EXPECT_EQ(Joined(parsed.scheduleArgs), row.scheduleArgs) << line;
        // A schedule's words never reach a running copy.
        EXPECT_EQ(parsed.forward.size(), 1u) << line;
    }
    // The words are never taken as another switch's value.
    EXPECT_FALSE(ParseCommandLine(Words({"-outdir", "-schedules"})).errors.empty());
}

class ScheduleOperationTest : public ::testing::Test {
  protected:
    ScheduleOperationTest() {
        std::filesystem::remove_all(JoinPath(AppDataDir(), ScheduledRecordingList::kListName));
    }
    // Runs the operation of `args`; the exit status, with what was printed.
    int Run(std::initializer_list<const char*> words) {
        const ParsedCommandLine parsed = ParseCommandLine(Words(words));
        EXPECT_TRUE(parsed.errors.empty());
        char* text[2] = {};
        size_t size[2] = {};
        std::FILE* out = open_memstream(&text[0], &size[0]);
        std::FILE* err = open_memstream(&text[1], &size[1]);
        ScheduledRecordingList list;
        const int status = RunScheduleOperation(parsed.scheduleOperation, parsed.scheduleArgs, list,
                                                launcher_, now_, out, err);
        std::fclose(out), std::fclose(err);
        out_ = text[0], err_ = text[1];
        free(text[0]), free(text[1]);
        return status;
    }

    test::ScopedTimeZone zone_{"Europe/Berlin"};
    test::MemoryLauncher launcher_;
    int64_t now_ = InstantFromTexts("2030-06-05", "12:00:00");
    std::string out_, err_;
};

TEST_F(ScheduleOperationTest, AddListRemoveEndWithTheirStatusAndTheWindowsTexts) {
    EXPECT_EQ(Run({"-schedule-add", "Night\nline", "daily", "22:00", "+10h"}), 0);
    // Control bytes of a name never reach the terminal.
    EXPECT_EQ(out_, "Schedule \"Night?line\" added.\nNext start (memory): 2030-06-05 12:00:00\n");
    EXPECT_EQ(Run({"-schedules"}), 0);
    EXPECT_EQ(out_,
              "Name\tStart\tEnd\tState\tDuration\tNext start\n"
              "Night?line\tEveryday 22:00:00\t08:00:00\tActive\t10-00-00\t2030-06-05 12:00:00\n");

    // The window's checks and titles, each refusal ending with 2 (the texts:
    // schedule_record_test.cpp); one line as a whole.
    EXPECT_EQ(Run({"-schedule-add", "Late", "daily", "23:00", "+10:00:01"}), 2);
    EXPECT_NE(err_.find("10 hours. (Invalid start or end time.)\n"), std::string::npos) << err_;
    EXPECT_EQ(Run({"-schedule-add", "Overlap", "daily", "23:00", "23:30"}), 2);
    EXPECT_EQ(err_,
              "vocarta: An overlap detected between this schedule and Night?line. "
              "(Overlap Detected)\n");
    EXPECT_EQ(Run({"-schedule-add", "Past", "once", "2030-06-05", "11:59:59", "+1m"}), 2);
    EXPECT_NE(err_.find("current time. (Invalid start time.)\n"), std::string::npos) << err_;
    // An inactive schedule is not looked at for overlaps and gets no job.
    EXPECT_EQ(Run({"-schedule-add", "Spare", "daily", "07:00", "07:30", "-inactive"}), 0);
    EXPECT_EQ(out_, "Schedule \"Spare\" added.\n");
    EXPECT_EQ(launcher_.jobs.size(), 1u);

    EXPECT_EQ(Run({"-schedule-remove", "Spare"}), 0);
    EXPECT_EQ(Run({"-schedule-remove", "Spare"}), 2);
    EXPECT_EQ(err_, "vocarta: No schedule is named \"Spare\".\n");
    EXPECT_EQ(Run({"-schedule-remove", "Night\nline"}), 0);
    EXPECT_TRUE(launcher_.jobs.empty());
}

TEST_F(ScheduleOperationTest, ListThatCannotBeWrittenEndsWithOne) {
    const std::string folder = JoinPath(AppDataDir(), ScheduledRecordingList::kListName);
    std::filesystem::create_directories(AppDataDir());
    // A file where the list's folder belongs: nothing can be stored.
    std::fclose(std::fopen(folder.c_str(), "w"));
    EXPECT_EQ(Run({"-schedule-add", "n", "daily", "07:00", "08:00"}), 1);
    EXPECT_TRUE(!err_.empty() && launcher_.jobs.empty());
    std::filesystem::remove(folder);
}

}  // namespace
