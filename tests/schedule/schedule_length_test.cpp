// An end given as a length after the start: the same fields the window would
// hold for that end, across midnight and the end of a month included.
#include <gtest/gtest.h>

#include "schedule/schedule_command_line.h"
#include "schedule_test_support.h"

using namespace vocarta;

namespace {

struct Parsed {
    bool ok = false;
    ScheduleForm form;
};

Parsed Parse(std::vector<std::string> args) {
    std::size_t index = 0;
    LResult<ScheduleForm> form = ParseScheduleAdd(args, index);
    if (!form) return {};
    return {true, form.Value()};
}

TEST(ScheduleCommandLine, LengthsGiveTheEndTheWindowWouldHold) {
    test::ScopedTimeZone zone("Europe/Berlin");
    struct Row {
        std::vector<std::string> args;
        ScheduleDate endDate;  // one time only
        int endSeconds;
    };
    const Row rows[] = {
        {{"n", "once", "2030-06-30", "23:30", "+1h"}, {2030, 7, 1}, 30 * 60},
        {{"n", "once", "2030-06-05", "10:00:00", "+8s"}, {2030, 6, 5}, 10 * 3600 + 8},
        {{"n", "once", "2030-06-05", "10:00", "+0:45"}, {2030, 6, 5}, 10 * 3600 + 45 * 60},
        // Daylight saving ends that night: a length is wall time passed.
        {{"n", "once", "2030-10-27", "01:30", "+2h"}, {2030, 10, 27}, 2 * 3600 + 30 * 60},
        {{"n", "daily", "22:00", "+600m"}, {}, 8 * 3600},
        {{"n", "weekly", "sun", "23:59:59", "+1s"}, {}, 0},
    };
    for (const Row& row : rows) {
        const Parsed parsed = Parse(row.args);
        ASSERT_TRUE(parsed.ok) << row.args[3];
        EXPECT_EQ(parsed.form.endSeconds, row.endSeconds) << row.args[3];
        if (parsed.form.type == ScheduleType::OneTime)
            EXPECT_EQ(parsed.form.endDate, row.endDate) << row.args[3];
    }
    for (const char* bad : {"+", "+1", "+24h", "+1440m", "+86400s", "+1d", "+-1h", "+1:60", "+x:00",
                            "+1234567s", "1h"})
        EXPECT_FALSE(Parse({"n", "daily", "07:00", bad}).ok) << bad;
}

}  // namespace
