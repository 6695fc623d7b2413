#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "app/main_dialog.h"
#include "app/scheduled_end.h"
#include "app_fakes.h"
#include "audio/codecs/sink_factory.h"
#include "audio/output_format.h"
#include "settings/settings.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

const std::string kRecordLine = "Record limit=216000000";

// The switches drive a real session: simulated capture of silence, playback into
// nothing, recordings in a temporary folder.
struct SimulatedSession {
    SimulatedSession() {
        setenv("VOCARTA_CAPTURE", "simulated", 1);
        setenv("VOCARTA_CAPTURE_SOURCE", "silence", 1);
        setenv("VOCARTA_PLAYBACK", "null", 1);
        for (const char* section : {"Settings", "FindPlay", "AIFFEncode"})
            DeleteSettingTree(section);
        SetSettingString("FindPlay", "DefaultRecordFolder", folder.Path());
    }
    TempDir folder{"vocarta-takes"};
};

class CommandLineTest : public ::testing::Test {
  protected:
    void Run(std::vector<std::string> args) {
        args.insert(args.begin(), "vocarta");
        dialog.HandleCommandLine(args, int(args.size()));
    }
    SimulatedSession session;
    FakeView view;
    FakeMainLoop loop;
    MainDialog dialog{view, loop};
    LogTail log;
};

int64_t LimitOf(const std::string& line) {
    EXPECT_EQ(line.rfind("Record limit=", 0), 0u) << line;
    return std::stoll(line.substr(line.find('=') + 1));
}

}  // namespace

TEST_F(CommandLineTest, SwitchesIgnoreCaseButRunInBackgroundMustMatchExactly) {
    StoreOutputFormat(kFormatWav);
    Run({"-RECORD", "MP3"});
    EXPECT_EQ(ReadOutputFormat(), kFormatMp3);
    EXPECT_EQ(log.Operations(), std::vector<std::string>{kRecordLine});
    EXPECT_EQ(view.format, CurrentFormatDisplayText());
    EXPECT_EQ(MainDialog::TimeDisplayText(3723004), "1:02:03.004");

    Run({"-runinbackground"});
    EXPECT_FALSE(dialog.ExitWhenStopped());
    EXPECT_TRUE(log.Has("Command line: unknown argument \"-runinbackground\" skipped"));
    Run({"-RunInBackground"});
    EXPECT_TRUE(dialog.ExitWhenStopped());
}

TEST_F(CommandLineTest, RecordTakesAFormatWordAndItsEncoderOptions) {
    StoreOutputFormat(kFormatFlac);
    Run({"-record"});         // last: the stored format
    Run({"-record", "ogg"});  // not a format word: left for the loop, which skips it
    EXPECT_EQ(ReadOutputFormat(), kFormatFlac);
    EXPECT_TRUE(log.Has("Command line: unknown argument \"ogg\" skipped"));
    Run({"-record", "AIF", "-s", "22050", "-m", "1", "-hide"});
    EXPECT_EQ(ReadOutputFormat(), kFormatAiff);
    EXPECT_EQ(GetSettingInt("AIFFEncode", "SampleRate", 0), 22050);
    EXPECT_EQ(GetSettingInt("AIFFEncode", "Channels", 0), 1);
    EXPECT_TRUE(log.Has("HideWindow")) << "the switch after the options is still obeyed";
    // A truncated option list at the very end neither crashes nor loses the start.
    Run({"-record", "wav", "-s"});
    EXPECT_EQ(log.Operations(), std::vector<std::string>(4, kRecordLine));
}

TEST_F(CommandLineTest, RecordFileTakesTheFormatFromTheExtensionOrKeepsTheStoredOne) {
    StoreOutputFormat(kFormatAiff);
    const std::string ogg = session.folder.File("take.ogg");
    const std::string flac = session.folder.File("Take.FLAC");
    Run({"-recordfile", ogg});
    EXPECT_EQ(ReadOutputFormat(), kFormatAiff);
    Run({"-recordfile", flac});
    EXPECT_EQ(ReadOutputFormat(), kFormatFlac);
    // The second file takes over: the first recording is finished first.
    EXPECT_EQ(log.Operations(),
              (std::vector<std::string>{"RecordToFile path=" + ogg, "RecordToFile path=" + flac,
                                        "AfterStop done=true"}));
    EXPECT_EQ(dialog.OutputPath(), flac);
}

TEST_F(CommandLineTest, SwitchNeedingAnArgumentIsIgnoredWhenLast) {
    DeleteSetting("FindPlay", "DefaultRecordFolder");
    for (const char* sw : {"-outdir", "-ms", "-recordfile", "-scheduled_launch"}) Run({sw});
    EXPECT_FALSE(SettingExists("FindPlay", "DefaultRecordFolder"));
    EXPECT_FALSE(loop.IsTimerRunning(MainDialog::kTimerCloseAfterMs));
    EXPECT_TRUE(log.Operations().empty());
    // Only the first `count` arguments are read.
    dialog.HandleCommandLine({"vocarta", "-stop", "-play"}, 2);
    EXPECT_EQ(log.Operations(), std::vector<std::string>{"Stop"});
}

TEST_F(CommandLineTest, OperationsWindowSwitchesAndExit) {
    const std::string takes = session.folder.Path();
    Run({"-outdir", takes, "-resume", "-pause", "-restart", "-play", "-stop", "-done", "-hide",
         "-show", "-exitifstop"});
    EXPECT_EQ(GetSettingString("FindPlay", "DefaultRecordFolder"), takes);
    // -play is refused while recording; -done after -stop finds nothing left to stop.
    EXPECT_EQ(log.Operations(),
              (std::vector<std::string>{kRecordLine, "Pause", "Restart", "Play", "Stop",
                                        "AfterStop done=true", "AfterStop done=true"}));
    EXPECT_TRUE(view.visible);
    EXPECT_TRUE(dialog.ExitWhenStopped());

    // -exit while recording asks "Close To Tray" (its texts: the window test).
    Run({"-record"});
    view.answers = {2, 0, 1};  // Cancel, Record in Background, Stop Recording and Close
    Run({"-exit"});
    EXPECT_TRUE(view.visible && !view.closed);
    Run({"-exit"});
    EXPECT_FALSE(view.visible || view.closed);
    EXPECT_TRUE(dialog.IsRecordingInProgress());
    ASSERT_EQ(view.messages.size(), 2u);
    EXPECT_EQ(view.messages[1].title, "Close To Tray");
    const auto before = log.Operations();
    Run({"-EXIT", "-record"});
    EXPECT_TRUE(view.closed);
    EXPECT_EQ(loop.quitStatus, 0);
    auto expected = before;
    expected.push_back("AfterStop done=true");
    EXPECT_EQ(log.Operations(), expected) << "nothing may start once the window has closed";
}

TEST_F(CommandLineTest, MsStartsTimerFourWhichStopsAndCloses) {
    Run({"-ms", "abc", "-ms", "-5"});
    EXPECT_FALSE(loop.IsTimerRunning(MainDialog::kTimerCloseAfterMs));
    Run({"-record", "-ms", "1500"});
    ASSERT_TRUE(loop.IsTimerRunning(MainDialog::kTimerCloseAfterMs));
    EXPECT_EQ(loop.timers[MainDialog::kTimerCloseAfterMs], 1500);
    loop.Fire(MainDialog::kTimerCloseAfterMs);
    EXPECT_EQ(log.Operations().back(), "AfterStop done=true");
    EXPECT_TRUE(view.closed);
    EXPECT_TRUE(view.messages.empty());  // stopped first, so nothing to ask
    EXPECT_TRUE(loop.timers.empty());
}

TEST(ScheduledEnd, DateArithmetic) {
    for (const auto& [two, four] :
         {std::pair{24, 2024}, std::pair{69, 2069}, std::pair{99, 1999}, std::pair{2031, 2031}})
        EXPECT_EQ(FullYear(two), four);
    std::tm noon{};
    noon.tm_year = 124, noon.tm_mon = 4, noon.tm_mday = 1, noon.tm_hour = 12, noon.tm_isdst = -1;
    const std::time_t now = std::mktime(&noon);
    // Already past today: the same time tomorrow. Only the time at the front is read.
    const struct {
        const char *time, *date;
        int seconds;  // -1: refused
    } cases[] = {{"13:30:00", "24-5-1", 5400},
                 {"11:00:00", "2024-5-1", 23 * 3600},
                 {"13:00:00 Morning show -RunInBackground", "2024-5-1", 3600},
                 {"13:00", "2024-5-1", -1},
                 {"25:00:00", "2024-5-1", -1},
                 {"soon", "2024-5-1", -1}};
    for (const auto& c : cases) {
        std::time_t end = 0;
        const bool read = ScheduledEndTime(c.time, c.date, now, end);
        EXPECT_EQ(read ? int(end - now) : -1, c.seconds) << c.time;
    }
}

TEST_F(CommandLineTest, ScheduledLaunchOnlyMovesARunningEndLater) {
    // Launch agents pass end, title and flag as one argument: only the end is read.
    Run({"-scheduled_launch", ClockIn(3600) + " Morning show -RunInBackground"});
    auto ops = log.Operations();
    ASSERT_EQ(ops.size(), 2u);
    EXPECT_NEAR(double(LimitOf(ops[0])), 3600000.0, 2000.0);
    EXPECT_EQ(ops[1], "ScheduledStart");
    EXPECT_EQ(dialog.ScheduledLimit(), LimitOf(ops[0]));
    Run({"-scheduled_launch", ClockIn(1800), "Other", "-RunInBackground"});
    EXPECT_EQ(dialog.ScheduledLimit(), LimitOf(ops[0]));
    EXPECT_FALSE(dialog.ExitWhenStopped());
    Run({"-scheduled_launch", ClockIn(7200)});
    EXPECT_NEAR(double(dialog.ScheduledLimit()), 7200000.0, 2000.0);
    EXPECT_EQ(log.Operations().size(), 2u) << "only the first launch starts anything";
    // Once stopped, the next scheduled launch starts afresh, earlier end included.
    Run({"-stop", "-scheduled_launch", ClockIn(600)});
    EXPECT_NEAR(double(dialog.ScheduledLimit()), 600000.0, 2000.0);
}

TEST_F(CommandLineTest, ScheduledLaunchWithTitleRecordsIntoItAndMayEndTheProgram) {
    SetSettingString("FindPlay", "DefaultRecordFolder", session.folder.Path() + "/");
    StoreOutputFormat(kFormatFlac);
    Run({"-scheduled_launch", ClockIn(-60), "News", "-RunInBackground"});
    auto ops = log.Operations();
    ASSERT_EQ(ops.size(), 2u);
    EXPECT_EQ(ops[0], "RecordToFile path=" + session.folder.File("News.flac"));
    EXPECT_TRUE(dialog.ExitWhenStopped());
    // A minute ago means tomorrow.
    EXPECT_NEAR(double(dialog.ScheduledLimit()), (86400.0 - 60.0) * 1000.0, 3600000.0 + 2000.0);
}
