// Commands carried out on a real session: what the dispatcher settles (formats
// and encoder options saved, scheduled limits, the window switches) and the
// order in which a command line's commands act.
#include <gtest/gtest.h>

#include "app/session/file_naming.h"
#include "audio/codecs/sink_factory.h"
#include "session_fakes.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

const std::string kRecordLine = "Record limit=216000000";

int64_t LimitOf(const std::string& line) {
    EXPECT_EQ(line.rfind("Record limit=", 0), 0u) << line;
    return std::stoll(line.substr(line.find('=') + 1));
}

TEST_F(SessionTest, RecordSwitchesSaveTheFormatAndWriteTheFileAsAsked) {
    Open();
    StoreOutputFormat(OutputFormat::kFlac);
    Run({"-record", "wav", "-s", "16000", "-m", "1", "-b", "8", "-stop"});
    EXPECT_EQ(ReadOutputFormat(), OutputFormat::kWav);
    EXPECT_EQ(LoadWavFormat().sampleRate, 16000u) << "the choice is saved";
    EXPECT_EQ(view.format, "16000Hz 8 Bit Mono") << "the window shows what is written";
    EXPECT_EQ(log.Operations(),
              (std::vector<std::string>{kRecordLine, "Stop", "AfterStop done=true"}));

    // An extension that names no format keeps the stored one; a second file
    // finishes the first.
    const std::string ogg = folder.File("take.ogg");
    const std::string flac = folder.File("Take.FLAC");
    Run({"-recordfile", ogg, "-recordfile", flac});
    EXPECT_EQ(ReadOutputFormat(), OutputFormat::kFlac);
    EXPECT_EQ(dialog->OutputPath(), flac);
    const auto ops = log.Operations();
    EXPECT_EQ(std::vector<std::string>(ops.end() - 3, ops.end()),
              (std::vector<std::string>{"RecordToFile path=" + ogg, "RecordToFile path=" + flac,
                                        "AfterStop done=true"}));
    dialog->Stop();
}

TEST_F(SessionTest, WindowSwitchesAndExitWhileRecording) {
    Open();
    Run({"-outdir", folder.Path(), "-resume", "-pause", "-restart", "-play", "-stop", "-done",
         "-hide", "-show", "-exitifstop"});
    EXPECT_EQ(GetSettingString("FindPlay", "DefaultRecordFolder"), folder.Path());
    // -play is refused while recording; -done after -stop finds nothing left to stop.
    EXPECT_EQ(log.Operations(),
              (std::vector<std::string>{kRecordLine, "Pause", "Restart", "Play", "Stop",
                                        "AfterStop done=true", "AfterStop done=true"}));
    EXPECT_TRUE(view.visible);
    EXPECT_TRUE(dialog->ExitWhenStopped());

    // -exit while recording asks "Close To Tray".
    Run({"-record"});
    view.answers = {2, 0, 1};  // Cancel, Record in Background, Stop Recording and Close
    Run({"-exit"});
    EXPECT_TRUE(view.visible && !view.closed);
    Run({"-exit"});
    EXPECT_FALSE(view.visible || view.closed || !dialog->IsRecordingInProgress());
    ASSERT_EQ(view.messages.size(), 2u);
    EXPECT_EQ(view.messages[1].title, "Close To Tray");
    EXPECT_EQ(
        view.messages[1].buttons,
        (std::vector<std::string>{"Record in Background", "Stop Recording and Close", "Cancel"}));
    const auto before = log.Operations();
    Run({"-EXIT", "-record"});
    EXPECT_TRUE(view.closed && loop.quitStatus == 0);
    auto expected = before;
    expected.push_back("AfterStop done=true");
    EXPECT_EQ(log.Operations(), expected) << "nothing may start once the window has closed";
}

TEST_F(SessionTest, MsStartsTimerFourWhichStopsAndCloses) {
    Open();
    commands->HandleCommandLine({"vocarta", "-record", "-ms", "1500", "-stop"}, 4);
    ASSERT_TRUE(loop.IsTimerRunning(MainDialog::kTimerCloseAfterMs));
    EXPECT_TRUE(dialog->IsRecordingInProgress()) << "only the first `count` arguments are read";
    EXPECT_EQ(loop.timers[MainDialog::kTimerCloseAfterMs], 1500);
    loop.Fire(MainDialog::kTimerCloseAfterMs);
    EXPECT_EQ(log.Operations().back(), "AfterStop done=true");
    EXPECT_TRUE(view.closed && view.messages.empty());  // stopped first, so nothing to ask
}

TEST_F(SessionTest, ScheduledLaunchOnlyMovesARunningEndLater) {
    Open();
    // Launch agents pass end, title and flag as one argument: only the end is read.
    Run({"-scheduled_launch", ClockIn(3600) + " Morning show -RunInBackground"});
    auto ops = log.Operations();
    ASSERT_EQ(ops.size(), 2u);
    EXPECT_NEAR(double(LimitOf(ops[0])), 3600000.0, 2000.0);
    EXPECT_EQ(ops[1], "ScheduledStart");
    EXPECT_EQ(dialog->Guard().ScheduledLimit(), LimitOf(ops[0]));
    Run({"-scheduled_launch", ClockIn(1800), "Other", "-RunInBackground"});
    EXPECT_EQ(dialog->Guard().ScheduledLimit(), LimitOf(ops[0]));
    EXPECT_FALSE(dialog->ExitWhenStopped());
    Run({"-scheduled_launch", ClockIn(7200)});
    EXPECT_NEAR(double(dialog->Guard().ScheduledLimit()), 7200000.0, 2000.0);
    EXPECT_EQ(log.Operations().size(), 2u) << "only the first launch starts anything";
    // Once stopped, the next scheduled launch starts afresh, earlier end included.
    Run({"-stop", "-scheduled_launch", ClockIn(600)});
    EXPECT_NEAR(double(dialog->Guard().ScheduledLimit()), 600000.0, 2000.0);
    dialog->Stop();

    // A title names the file; a minute ago means tomorrow.
    StoreOutputFormat(OutputFormat::kFlac);
    Run({"-scheduled_launch", ClockIn(-60), "News", "-RunInBackground"});
    EXPECT_TRUE(dialog->OutputPath() == folder.File("News.flac") && dialog->ExitWhenStopped());
    EXPECT_NEAR(double(dialog->Guard().ScheduledLimit()), (86400.0 - 60.0) * 1000.0,
                3600000.0 + 2000.0);
}

}  // namespace
