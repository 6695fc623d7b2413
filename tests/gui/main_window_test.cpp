// The main window, run offscreen over a real session (simulated capture of
// silence, playback into nothing, WAV files in a temporary folder) and the Qt
// main loop: its commands reach the controller and it shows what it says.

#include "gui/main_window.h"

#include <QAction>
#include <QLabel>
#include <QProgressBar>
#include <QTimer>
#include <QToolBar>
#include <thread>

#include "app/qt_main_loop.h"
#include "app/session/main_dialog.h"
#include "app/session/session_dispatcher.h"
#include "app/session/view_transmit_ui.h"
#include "app/windowed_entry.h"
#include "audio/codecs/sink_factory.h"
#include "audio/output_format.h"
#include "gui/gui_entry.h"
#include "gui/gui_test_support.h"
#include "gui/level_meter.h"
#include "gui/tray_icon.h"
#include "toolkit/lsignal_object.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

class MainWindowTest : public ::testing::Test {
  protected:
    MainWindowTest() {
        window.AttachCommands(&commands);
        window.show();
    }
    ~MainWindowTest() override {
        window.AttachCommands(nullptr);
        // The controller's Quit outside a running loop leaves Qt refusing every
        // later exec() (dialogs of the next tests); a loop run clears it.
        QTimer::singleShot(0, [] { QCoreApplication::exit(0); });
        QCoreApplication::exec();
    }
    // Before the widgets and controller, which read the settings as they are built.
    static bool Prepare(const std::string& folder) {
        EnsureApplication();
        setenv("VOCARTA_CAPTURE_SOURCE", "silence", 1);
        setenv("VOCARTA_PLAYBACK", "null", 1);
        for (const char* section : {"Settings", "FindPlay", "Recorder"}) DeleteSettingTree(section);
        StoreOutputFormat(OutputFormat::kWav);
        return SetSettingString("FindPlay", "DefaultRecordFolder", folder);
    }
    bool Recording() const { return dialog.RecorderState() == MainDialog::kRecorderRecording; }

    TempDir folder{"vocarta-window"};
    bool prepared = Prepare(folder.Path());
    MainWindow window;
    QtMainLoop loop;
    MainDialog dialog{window, loop};
    SessionDispatcher commands{dialog};
};

}  // namespace

// Title, time display, keys and "Close To Tray" are proven on a real display
// (test_main_window_x11.py), its question and answers in tests/app.
TEST_F(MainWindowTest, ShowsTheSessionAndQuitsWhileRecordingAfterAsking) {
    EXPECT_EQ(window.FormatText().toStdString(), CurrentFormatDisplayText());
    const SessionActions& a = window.Actions();
    EXPECT_TRUE(a.record->isEnabled() && !a.stop->isEnabled());
    a.record->trigger();
    ASSERT_TRUE(RunUntil([&] { return window.StatusText() == "Recording..."; }));
    EXPECT_FALSE(a.record->isEnabled());
    EXPECT_TRUE(a.pause->isEnabled() && a.stop->isEnabled() && a.retake->isEnabled());
    EXPECT_EQ(window.Tray().ToolTip(), "Vocarta - Recording");
    EXPECT_TRUE(RunUntil([&] { return !window.IndicatorLit(); }, 3000));  // it blinks
    EXPECT_TRUE(RunUntil([&] { return window.IndicatorLit(); }, 3000));
    a.pause->trigger();
    ASSERT_TRUE(RunUntil([&] { return dialog.RecorderState() == MainDialog::kRecorderPaused; }));
    // Paused must not look like recording: the button stays pressed, the meters drop.
    EXPECT_FALSE(window.IndicatorLit());
    EXPECT_TRUE(a.pause->isChecked() && a.record->isEnabled());
    EXPECT_EQ(window.MeterLevel(0), LevelMeter::kSilenceDb);
    a.record->trigger();
    ASSERT_TRUE(RunUntil([&] { return Recording(); }));
    a.stop->trigger();
    ASSERT_TRUE(RunUntil([&] { return window.StatusText() == "Ready"; }));
    EXPECT_FALSE(window.IndicatorLit());
    EXPECT_EQ(window.Tray().ToolTip(), "Vocarta Sound Recorder");
    // The recorder's stop notice clears the meters once the stop has finished.
    EXPECT_TRUE(RunUntil([&] { return window.MeterLevel(0) == LevelMeter::kSilenceDb; }));
    EXPECT_TRUE(a.play->isEnabled());

    a.record->trigger();
    ASSERT_TRUE(RunUntil([&] { return Recording(); }));
    Answers answer({Press("Stop Recording and Close")});
    a.quit->trigger();
    ASSERT_TRUE(RunUntil([&] { return dialog.IsClosed(); }));
    EXPECT_FALSE(window.isVisible() || dialog.IsRecordingInProgress());
}

TEST_F(MainWindowTest, LevelBarsAndHeldPlayback) {
    window.SetLevels({-18, 12});
    EXPECT_EQ(window.MeterLevel(0) * 100 + window.MeterLevel(1), -1788);
    window.SetLevels({-40});  // mono: both bars
    EXPECT_EQ(window.MeterLevel(1), -40);
    window.SetLevels({});
    EXPECT_EQ(window.MeterLevel(0), -127);
    EXPECT_EQ(LevelMeter::LevelText(-127) + LevelMeter::LevelText(6), "-inf dB+6 dB");
    for (auto [db, fraction] : {std::pair{12, 1.0}, {-60, 0.0}, {-24, 0.5}})
        EXPECT_DOUBLE_EQ(LevelMeter::FilledFraction(db), fraction) << db;

    // Held playback puts Play where Pause was.
    const SessionActions& a = window.Actions();
    QToolBar* bar = Child<QToolBar>(window, "sessionToolBar");
    SessionButtons held;
    held.play = held.stop = held.playbackPaused = true;
    window.SetButtons(held);
    EXPECT_EQ(bar->actions().indexOf(a.play), 1);
    EXPECT_TRUE(a.play->isEnabled() && !a.pause->isEnabled());
    window.SetButtons(SessionButtons{});
    EXPECT_EQ(bar->actions().indexOf(a.pause) * 10 + bar->actions().indexOf(a.play), 14);
}

TEST(MainWindowSending, TheStatusBarShowsSendingAndTheTitleIsTheSendersWhileAMethodRuns) {
    EnsureApplication();
    MainWindow window;
    window.show();
    auto* status = Child<QLabel>(window, "sendStatus");
    auto* progress = Child<QProgressBar>(window, "sendProgress");
    EXPECT_FALSE(status->isVisible() || progress->isVisible()) << "nothing is being sent";
    window.SetSendStatus("Copying to /media/backup");
    window.SetSendProgress(0.5);
    EXPECT_TRUE(status->isVisible() && progress->isVisible() &&
                status->text() == "Copying to /media/backup");
    EXPECT_EQ(progress->value() * 2, progress->maximum());
    window.SetSendTitle("Vocarta Sound Recorder v 9.00");
    window.SetStatusText("Ready");
    EXPECT_EQ(window.windowTitle(), "Vocarta Sound Recorder v 9.00");
    window.SetSendTitle("");
    EXPECT_EQ(window.windowTitle(), "Vocarta Sound Recorder");
    window.SetSendProgress(0.0);
    window.SetSendStatus("");
    EXPECT_FALSE(status->isVisible() || progress->isVisible());

    // The send thread's question, as the window asks it.
    ViewTransmitUi ui(window);
    Answers answer({Press("No")});
    EXPECT_FALSE(ui.AskYesNo("Would you like to upload this recording?", "Send via FTP?"));
    EXPECT_EQ(answer.shown,
              std::vector<std::string>{
                  "Send via FTP?: Would you like to upload this recording? [Yes|No]"});
}

TEST(GuiEntry, DisplayProbesSayNoWithoutAServer) {
    EnsureApplication();
    // Other tests in this program share the environment: it is put back.
    const std::string display = getenv("DISPLAY") ?: "", wayland = getenv("WAYLAND_DISPLAY") ?: "";
    unsetenv("QT_QPA_PLATFORM");
    setenv("DISPLAY", ":987", 1);  // nothing listens there
    unsetenv("WAYLAND_DISPLAY");
    EXPECT_FALSE(ProbeX11Display());
    EXPECT_FALSE(CanOpenDisplay());
    setenv("WAYLAND_DISPLAY", "wayland-987", 1);
    EXPECT_FALSE(ProbeWaylandDisplay());
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    EXPECT_TRUE(CanOpenDisplay());
    for (auto [name, value] : {std::pair{"DISPLAY", display}, {"WAYLAND_DISPLAY", wayland}})
        value.empty() ? unsetenv(name) : setenv(name, value.c_str(), 1);
}

// The recorder's wake-up signal, set on another thread, brings the handler
// without a timer; a handler that unwatches its own descriptor is not called again.
TEST(QtMainLoopTest, AReadableDescriptorWakesTheLoopUntilUnwatched) {
    EnsureApplication();
    QtMainLoop loop;
    LSignalObject signal;
    int calls = 0;
    loop.SetTimerHandler([&](int id) {
        EXPECT_EQ(id, 7);
        ++calls;
        signal.Reset();
        if (calls == 2) loop.UnwatchReadable(7);
    });
    loop.WatchReadable(7, signal.Descriptor());
    std::thread([&] { signal.Set(); }).join();
    ASSERT_TRUE(RunUntil([&] { return calls == 1; }, 3000));
    signal.Set();
    ASSERT_TRUE(RunUntil([&] { return calls == 2; }, 3000));
    signal.Set();
    RunUntil([] { return false; }, 200);
    EXPECT_TRUE(calls == 2 && signal.IsSet()) << calls << ": drained after the unwatch";
    loop.SetTimerHandler(nullptr);
}
