#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "app/main_dialog.h"
#include "app/scheduled_end.h"
#include "app_fakes.h"
#include "audio/codecs/sink_factory.h"
#include "audio/output_format.h"
#include "settings/settings.h"
#include "toolkit/text.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

// The switches drive a real session: simulated capture of silence, playback
// into nothing, recordings in a temporary folder.
struct SimulatedSession {
    SimulatedSession() {
        setenv("VOCARTA_CAPTURE", "simulated", 1);
        setenv("VOCARTA_CAPTURE_SOURCE", "silence", 1);
        setenv("VOCARTA_PLAYBACK", "null", 1);
        DeleteSettingTree("Settings");
        DeleteSettingTree("FindPlay");
        DeleteSettingTree("AIFFEncode");
        SetSettingString("FindPlay", "DefaultRecordFolder", folder.Path());
    }
    TempDir folder{"vocarta-takes"};
};

class CommandLineTest : public ::testing::Test {
  protected:
    SimulatedSession session;
    void Run(std::vector<std::string> args) {
        args.insert(args.begin(), "vocarta");
        dialog.HandleCommandLine(args, int(args.size()));
    }
    FakeView view;
    FakeMainLoop loop;
    MainDialog dialog{view, loop};
    LogTail log;
};

// "HH:MM:SS" of the local clock `offset` seconds from now.
std::string ClockIn(int offset) {
    std::time_t t = std::time(nullptr) + offset;
    std::tm tm{};
    localtime_r(&t, &tm);
    return StringPrintf("%d:%d:%d", tm.tm_hour, tm.tm_min, tm.tm_sec);
}

int64_t LimitOf(const std::string& line) {
    return std::stoll(line.substr(line.find('=') + 1));
}

}  // namespace

TEST_F(CommandLineTest, SwitchesIgnoreCaseButRunInBackgroundMustMatchExactly) {
    StoreOutputFormat(kFormatWav);
    Run({"-RECORD", "MP3"});
    EXPECT_EQ(ReadOutputFormat(), kFormatMp3);
    EXPECT_EQ(log.Operations(), std::vector<std::string>{"Record limit=216000000"});
    EXPECT_EQ(view.format, CurrentFormatDisplayText());
    EXPECT_EQ(view.time, "0:00:00.000");
    EXPECT_EQ(MainDialog::TimeDisplayText(3723004), "1:02:03.004");

    Run({"-runinbackground"});
    EXPECT_FALSE(dialog.ExitWhenStopped());
    EXPECT_TRUE(log.Has("Command line: unknown argument \"-runinbackground\" skipped"));
    Run({"-RunInBackground"});
    EXPECT_TRUE(dialog.ExitWhenStopped());
}

TEST_F(CommandLineTest, RecordWithoutAFormatWordRecordsInTheStoredFormat) {
    StoreOutputFormat(kFormatFlac);
    Run({"-record"});
    Run({"-record", "ogg"});  // not a format word: left for the loop, which skips it
    EXPECT_EQ(ReadOutputFormat(), kFormatFlac);
    EXPECT_EQ(log.Operations(),
              (std::vector<std::string>{"Record limit=216000000", "Record limit=216000000"}));
    EXPECT_TRUE(log.Has("Command line: unknown argument \"ogg\" skipped"));
}

TEST_F(CommandLineTest, RecordFormatWordStoresFormatAndReadsItsEncoderOptions) {
    Run({"-record", "AIF", "-s", "22050", "-m", "1", "-hide"});
    EXPECT_EQ(ReadOutputFormat(), kFormatAiff);
    EXPECT_EQ(GetSettingInt("AIFFEncode", "SampleRate", 0), 22050);
    EXPECT_EQ(GetSettingInt("AIFFEncode", "Channels", 0), 1);
    // The switch after the options is still obeyed.
    EXPECT_TRUE(log.Has("HideWindow"));
    // A truncated option list at the very end neither crashes nor loses the start.
    Run({"-record", "wav", "-s"});
    EXPECT_EQ(log.Operations().size(), 2u);
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
    std::vector<std::string> args = {"vocarta", "-stop", "-play"};
    dialog.HandleCommandLine(args, 2);
    EXPECT_EQ(log.Operations(), std::vector<std::string>{"Stop"});
}

TEST_F(CommandLineTest, OperationsAndWindowSwitches) {
    const std::string takes = session.folder.Path();
    Run({"-outdir", takes, "-resume", "-pause", "-restart", "-play", "-stop", "-done", "-hide",
         "-show", "-exitifstop"});
    EXPECT_EQ(GetSettingString("FindPlay", "DefaultRecordFolder"), takes);
    // -play is refused while recording; -done after -stop finds nothing left to stop.
    EXPECT_EQ(log.Operations(),
              (std::vector<std::string>{"Record limit=216000000", "Pause", "Restart", "Play",
                                        "Stop", "AfterStop done=true", "AfterStop done=true"}));
    EXPECT_TRUE(view.visible);
    EXPECT_TRUE(dialog.ExitWhenStopped());
    EXPECT_FALSE(view.closed);
    const auto before = log.Operations();
    Run({"-EXIT", "-record"});
    EXPECT_TRUE(view.closed);
    EXPECT_EQ(loop.quitStatus, 0);
    EXPECT_EQ(log.Operations(), before) << "nothing may start once the window has closed";
}

TEST_F(CommandLineTest, ExitWhileRecordingAsksAndHonoursTheAnswer) {
    Run({"-record"});
    view.answers = {2};  // Cancel
    Run({"-exit"});
    ASSERT_EQ(view.messages.size(), 1u);
    EXPECT_EQ(view.messages[0].title, "Close To Tray");
    EXPECT_EQ(view.messages[0].text,
              "Vocarta Sound Recorder is currently recording. Would you like to continue to "
              "record in the background?");
    EXPECT_EQ(
        view.messages[0].buttons,
        (std::vector<std::string>{"Record in Background", "Stop Recording and Close", "Cancel"}));
    EXPECT_FALSE(view.closed);
    view.visible = true;
    view.answers = {0};  // Record in Background: hidden, still recording
    Run({"-exit"});
    EXPECT_FALSE(view.closed);
    EXPECT_FALSE(view.visible);
    EXPECT_TRUE(dialog.IsRecordingInProgress());
    view.answers = {1};  // Stop Recording and Close
    Run({"-exit"});
    EXPECT_TRUE(view.closed);
    EXPECT_EQ(log.Operations().back(), "AfterStop done=true");
}

TEST_F(CommandLineTest, MsStartsTimerFourWhichStopsAndCloses) {
    Run({"-ms", "abc", "-ms", "-5"});
    EXPECT_FALSE(loop.IsTimerRunning(MainDialog::kTimerCloseAfterMs));
    Run({"-record", "-ms", "1500"});
    ASSERT_EQ(loop.timers.count(MainDialog::kTimerCloseAfterMs), 1u);
    EXPECT_EQ(loop.timers[MainDialog::kTimerCloseAfterMs], 1500);
    loop.Fire(MainDialog::kTimerCloseAfterMs);
    EXPECT_EQ(log.Operations().back(), "AfterStop done=true");
    EXPECT_TRUE(view.closed);
    EXPECT_TRUE(view.messages.empty());  // stopped first, so nothing to ask
    EXPECT_TRUE(loop.timers.empty());
}

TEST_F(CommandLineTest, ForwardedBareLaunchBringsWindowToFront) {
    dialog.HandleForwardedCommandLine({"vocarta"});
    EXPECT_EQ(view.fronts, 1);
    EXPECT_TRUE(view.visible);
    dialog.HandleForwardedCommandLine({"vocarta", "-surveysched"});
    dialog.HandleForwardedCommandLine({"vocarta", "-stop"});
    EXPECT_EQ(log.Operations(), std::vector<std::string>{"Stop"});
    EXPECT_EQ(view.fronts, 1);
}

TEST(ScheduledEnd, DateArithmetic) {
    EXPECT_EQ(FullYear(24), 2024);
    EXPECT_EQ(FullYear(69), 2069);
    EXPECT_EQ(FullYear(99), 1999);
    EXPECT_EQ(FullYear(2031), 2031);

    std::tm noon{};
    noon.tm_year = 124, noon.tm_mon = 4, noon.tm_mday = 1, noon.tm_hour = 12, noon.tm_isdst = -1;
    const std::time_t now = std::mktime(&noon);
    std::time_t end = 0;
    ASSERT_TRUE(ScheduledEndTime("13:30:00", "24-5-1", now, end));
    EXPECT_EQ(end - now, 5400);
    // Already past today: the same time tomorrow.
    ASSERT_TRUE(ScheduledEndTime("11:00:00", "2024-5-1", now, end));
    EXPECT_EQ(end - now, 23 * 3600);
    // Only the end time at the front of one argument is read.
    ASSERT_TRUE(ScheduledEndTime("13:00:00 Morning show -RunInBackground", "2024-5-1", now, end));
    EXPECT_EQ(end - now, 3600);
    EXPECT_FALSE(ScheduledEndTime("13:00", "2024-5-1", now, end));
    EXPECT_FALSE(ScheduledEndTime("25:00:00", "2024-5-1", now, end));
    EXPECT_FALSE(ScheduledEndTime("soon", "2024-5-1", now, end));
}

TEST_F(CommandLineTest, ScheduledLaunchAsOneArgumentRecordsIntoTheUsualFile) {
    Run({"-scheduled_launch", ClockIn(3600) + " Morning show -RunInBackground"});
    auto ops = log.Operations();
    ASSERT_EQ(ops.size(), 2u);
    EXPECT_EQ(ops[0].rfind("Record limit=", 0), 0u);
    EXPECT_NEAR(double(LimitOf(ops[0])), 3600000.0, 2000.0);
    EXPECT_EQ(ops[1], "ScheduledStart");
    EXPECT_FALSE(dialog.ExitWhenStopped());
    EXPECT_EQ(dialog.ScheduledLimit(), LimitOf(ops[0]));
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

TEST_F(CommandLineTest, SecondScheduledLaunchOnlyMovesTheEndLater) {
    Run({"-scheduled_launch", ClockIn(7200)});
    const int64_t first = dialog.ScheduledLimit();
    EXPECT_NEAR(double(first), 7200000.0, 2000.0);
    Run({"-scheduled_launch", ClockIn(3600), "Other", "-RunInBackground"});
    EXPECT_EQ(dialog.ScheduledLimit(), first);
    EXPECT_FALSE(dialog.ExitWhenStopped());
    Run({"-scheduled_launch", ClockIn(10800)});
    EXPECT_NEAR(double(dialog.ScheduledLimit()), 10800000.0, 2000.0);
    // Only the first launch started anything.
    EXPECT_EQ(log.Operations().size(), 2u);

    // Once stopped, the next scheduled launch starts afresh, earlier end included.
    Run({"-stop", "-scheduled_launch", ClockIn(600)});
    EXPECT_NEAR(double(dialog.ScheduledLimit()), 600000.0, 2000.0);
}
