// The main window, run offscreen over a real session (simulated capture of
// silence, playback into nothing, WAV files in a temporary folder) and the Qt
// main loop: its commands reach the controller and it shows what it says.

#include "gui/main_window.h"

#include <QAbstractButton>
#include <QAction>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QTimer>
#include <QToolBar>
#include <chrono>
#include <functional>
#include <optional>
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

// Runs the event loop until `done` holds or `limitMs` passed; false on time-out.
bool RunUntil(const std::function<bool()>& done, int limitMs = 10000) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMs);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        QApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    return true;
}

// Answers the next message box with the button `text`, keeping what it asked.
struct MessageBoxAnswer {
    QString title, text;
    QStringList buttons;
    explicit MessageBoxAnswer(const QString& press) {
        auto* timer = new QTimer;
        QObject::connect(timer, &QTimer::timeout, [this, timer, press] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box) return;
            title = box->windowTitle();
            text = box->text();
            for (QAbstractButton* b : box->buttons()) buttons << b->text();
            for (QAbstractButton* b : box->buttons())
                if (b->text() == press) {
                    timer->stop();
                    timer->deleteLater();
                    b->click();
                    return;
                }
        });
        timer->start(5);
    }
};

// Made before the fixture's widgets and controller, which read the settings as
// they are built.
struct ApplicationFirst {
    ApplicationFirst() {
        EnsureApplication();
        setenv("VOCARTA_CAPTURE_SOURCE", "silence", 1);
        setenv("VOCARTA_PLAYBACK", "null", 1);
        for (const char* section : {"Settings", "FindPlay", "Recorder"}) DeleteSettingTree(section);
        StoreOutputFormat(OutputFormat::kWav);
    }
};

class MainWindowTest : public ::testing::Test, private ApplicationFirst {
  protected:
    MainWindowTest() {
        SetSettingString("FindPlay", "DefaultRecordFolder", folder.Path());
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

    bool Recording() const { return dialog.RecorderState() == MainDialog::kRecorderRecording; }

    TempDir folder{"vocarta-window"};
    MainWindow window;
    QtMainLoop loop;
    MainDialog dialog{window, loop};
    SessionDispatcher commands{dialog};
};

}  // namespace

// Title, time, keys and "Record in Background" are proven on a real display
// (test_main_window_x11.py).
TEST_F(MainWindowTest, ShowsTheSessionAndAsksCloseToTrayWhileRecording) {
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
    EXPECT_FALSE(window.IndicatorLit());
    // Paused must not look like recording: the button stays pressed, the title
    // says so, the time blinks and the meters drop.
    EXPECT_TRUE(a.pause->isChecked());
    EXPECT_TRUE(window.windowTitle().startsWith("Paused "));
    EXPECT_EQ(window.MeterLevel(0), LevelMeter::kSilenceDb);
    EXPECT_TRUE(RunUntil([&] { return window.TimeDimmed(); }, 2000));
    EXPECT_TRUE(a.record->isEnabled());
    a.record->trigger();
    ASSERT_TRUE(RunUntil([&] { return Recording(); }));
    {
        MessageBoxAnswer answer("Cancel");
        window.close();
        ASSERT_TRUE(RunUntil([&] { return !answer.text.isEmpty(); }));
        EXPECT_EQ(answer.title, "Close To Tray");
        EXPECT_EQ(answer.text,
                  "Vocarta Sound Recorder is currently recording. Would you like to continue "
                  "to record in the background?");
        EXPECT_EQ(answer.buttons,
                  QStringList({"Record in Background", "Stop Recording and Close", "Cancel"}));
        RunUntil([] { return false; }, 50);
        EXPECT_TRUE(window.isVisible() && !window.isMinimized() && Recording());
    }
    a.stop->trigger();
    ASSERT_TRUE(RunUntil([&] { return window.StatusText() == "Ready"; }));
    EXPECT_EQ(window.windowTitle(), "Vocarta Sound Recorder");
    EXPECT_FALSE(window.IndicatorLit());
    EXPECT_EQ(window.Tray().ToolTip(), "Vocarta Sound Recorder");
    // The recorder's stop notice clears the meters once the stop has finished.
    EXPECT_TRUE(RunUntil([&] { return window.MeterLevel(0) == LevelMeter::kSilenceDb; }));
    EXPECT_TRUE(a.play->isEnabled());

    a.record->trigger();
    ASSERT_TRUE(RunUntil([&] { return Recording(); }));
    MessageBoxAnswer answer("Stop Recording and Close");
    a.quit->trigger();
    ASSERT_TRUE(RunUntil([&] { return dialog.IsClosed(); }));
    EXPECT_FALSE(window.isVisible());
    EXPECT_FALSE(dialog.IsRecordingInProgress());
}

TEST_F(MainWindowTest, LevelBarsAndHeldPlayback) {
    window.SetLevels({-18, 12});
    EXPECT_EQ(window.MeterLevel(0), -18);
    EXPECT_EQ(window.MeterLevel(1), 12);
    window.SetLevels({-40});  // mono: both bars
    EXPECT_EQ(window.MeterLevel(1), -40);
    window.SetLevels({});
    EXPECT_EQ(window.MeterLevel(0), -127);
    EXPECT_EQ(LevelMeter::LevelText(-127), "-inf dB");
    EXPECT_EQ(LevelMeter::LevelText(6), "+6 dB");
    EXPECT_DOUBLE_EQ(LevelMeter::FilledFraction(12), 1.0);
    EXPECT_DOUBLE_EQ(LevelMeter::FilledFraction(-60), 0.0);
    EXPECT_DOUBLE_EQ(LevelMeter::FilledFraction(-24), 0.5);

    // Held playback puts Play where Pause was.
    const SessionActions& a = window.Actions();
    QToolBar* bar = Child<QToolBar>(window, "sessionToolBar");
    SessionButtons held;
    held.play = held.stop = held.playbackPaused = true;
    window.SetButtons(held);
    EXPECT_EQ(bar->actions().indexOf(a.play), 1);
    EXPECT_TRUE(a.play->isEnabled());
    EXPECT_FALSE(a.pause->isEnabled());
    window.SetButtons(SessionButtons{});
    EXPECT_EQ(bar->actions().indexOf(a.pause), 1);
    EXPECT_EQ(bar->actions().indexOf(a.play), 4);
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
    EXPECT_TRUE(status->isVisible() && progress->isVisible());
    EXPECT_EQ(status->text(), "Copying to /media/backup");
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
    MessageBoxAnswer answer("No");
    EXPECT_FALSE(ui.AskYesNo("Would you like to upload this recording?", "Send via FTP?"));
    EXPECT_EQ(answer.title, "Send via FTP?");
    EXPECT_EQ(answer.buttons, QStringList({"Yes", "No"}));
}

TEST(GuiEntry, DisplayProbesSayNoWithoutAServer) {
    EnsureApplication();
    // Other tests in this program share the environment: it is put back.
    std::vector<std::pair<const char*, std::optional<std::string>>> saved;
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY"}) {
        const char* value = std::getenv(name);
        saved.emplace_back(name, value ? std::optional<std::string>(value) : std::nullopt);
    }
    unsetenv("QT_QPA_PLATFORM");
    setenv("DISPLAY", ":987", 1);  // nothing listens there
    unsetenv("WAYLAND_DISPLAY");
    EXPECT_FALSE(ProbeX11Display());
    EXPECT_FALSE(CanOpenDisplay());
    setenv("WAYLAND_DISPLAY", "wayland-987", 1);
    EXPECT_FALSE(ProbeWaylandDisplay());
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    EXPECT_TRUE(CanOpenDisplay());
    for (const auto& [name, value] : saved)
        value ? setenv(name, value->c_str(), 1) : unsetenv(name);
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
    EXPECT_EQ(calls, 2);
    EXPECT_TRUE(signal.IsSet()) << "nobody drained it";
    loop.SetTimerHandler(nullptr);
}
