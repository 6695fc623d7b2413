#include "gui/main_window.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <cstdlib>
#include <string>

#include "app/app_fakes.h"
#include "app/main_dialog.h"
#include "app/windowed_entry.h"
#include "gui/gui_entry.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

void App() {
    if (QApplication::instance()) return;
    static int argc = 1;
    static char name[] = "main_window_test";
    static char* argv[] = {name, nullptr};
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    new QApplication(argc, argv);  // lives as long as the test program
}

// Presses the button with `text` in the next message box that opens.
void PressInNextMessageBox(const QString& text) {
    auto* timer = new QTimer;
    QObject::connect(timer, &QTimer::timeout, [timer, text] {
        for (QWidget* w : QApplication::topLevelWidgets()) {
            auto* box = qobject_cast<QMessageBox*>(w);
            if (!box || !box->isVisible()) continue;
            for (QAbstractButton* b : box->buttons()) {
                if (b->text() != text) continue;
                timer->stop();
                timer->deleteLater();
                b->click();
                return;
            }
        }
    });
    timer->start(5);
}

}  // namespace

TEST(MainWindow, ShowsTheControllersTextsAndAsksWithItsButtons) {
    App();
    MainWindow window;
    FakeMainLoop loop;
    MainDialog dialog(window, loop);
    window.AttachDialog(&dialog);
    EXPECT_EQ(window.windowTitle(), "Vocarta Sound Recorder");
    EXPECT_EQ(window.StatusText(), "Ready");
    EXPECT_EQ(window.TimeText(), "0:00:00.000");
    EXPECT_EQ(window.FormatText(), "Mp3");

    dialog.ShowWindow();
    EXPECT_TRUE(window.isVisible());
    dialog.HideWindow();
    EXPECT_FALSE(window.isVisible());
    dialog.BringToFront();
    EXPECT_TRUE(window.isVisible());

    MessageBoxRequest request;
    request.text = "Question?";
    request.title = "Title";
    request.buttons = {"Go", "Middle", "Cancel"};
    request.safeButton = 2;
    PressInNextMessageBox("Middle");
    EXPECT_EQ(window.MessageBox(request), 1);
    window.AttachDialog(nullptr);
}

TEST(MainWindow, UserCloseGoesThroughTheController) {
    App();
    MainWindow window;
    FakeMainLoop loop;
    MainDialog dialog(window, loop);
    window.AttachDialog(&dialog);
    window.show();
    dialog.Record(MainDialog::kDefaultLimitMs);

    // Recording: the close asks, and "Cancel" keeps the window.
    PressInNextMessageBox("Cancel");
    window.close();
    for (int i = 0; i < 5; ++i) QApplication::processEvents();
    EXPECT_TRUE(window.isVisible());
    EXPECT_FALSE(dialog.IsClosed());

    PressInNextMessageBox("Stop Recording and Close");
    window.close();
    for (int i = 0; i < 5; ++i) QApplication::processEvents();
    EXPECT_FALSE(window.isVisible());
    EXPECT_TRUE(dialog.IsClosed());
    EXPECT_EQ(loop.quitStatus, 0);
    EXPECT_FALSE(dialog.IsRecordingInProgress());
    window.AttachDialog(nullptr);
}

TEST(GuiEntry, DisplayProbesSayNoWithoutAServer) {
    App();
    const char* display = std::getenv("DISPLAY");
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    const std::string savedDisplay = display ? display : "";
    const std::string savedWayland = wayland ? wayland : "";
    unsetenv("QT_QPA_PLATFORM");
    setenv("DISPLAY", ":987", 1);  // nothing listens there
    unsetenv("WAYLAND_DISPLAY");
    EXPECT_FALSE(ProbeX11Display());
    EXPECT_FALSE(CanOpenDisplay());
    setenv("WAYLAND_DISPLAY", "wayland-987", 1);
    EXPECT_FALSE(ProbeWaylandDisplay());
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    EXPECT_TRUE(CanOpenDisplay());

    // Other tests in this program share the environment.
    if (display)
        setenv("DISPLAY", savedDisplay.c_str(), 1);
    else
        unsetenv("DISPLAY");
    if (wayland)
        setenv("WAYLAND_DISPLAY", savedWayland.c_str(), 1);
    else
        unsetenv("WAYLAND_DISPLAY");
}
