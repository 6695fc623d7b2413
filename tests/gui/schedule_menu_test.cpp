// The main window's way to the schedules: Recording > Scheduled Recordings...
// opens the list of schedules over the window.

#include <QAction>
#include <QDialog>
#include <QMenu>
#include <QMenuBar>
#include <QTimer>

#include "gui/gui_test_support.h"
#include "gui/main_window.h"

using namespace vocarta;
using namespace vocarta::test;

TEST(ScheduleMenu, ScheduledRecordingsOpensTheListOverTheWindow) {
    EnsureApplication();
    setenv("VOCARTA_JOB_LAUNCHER", "crontab", 1);  // no tool is run until a schedule changes
    MainWindow window;
    auto* action = window.findChild<QAction*>("scheduledRecordings");
    ASSERT_NE(action, nullptr);
    bool inRecordingMenu = false;
    for (QAction* menu : window.menuBar()->actions())
        if (menu->menu() && menu->menu()->actions().contains(action))
            inRecordingMenu = menu->text() == "&Recording";
    EXPECT_TRUE(inRecordingMenu);

    QString opened;
    QWidget* parent = nullptr;
    QTimer::singleShot(0, [&] {
        QWidget* modal = QApplication::activeModalWidget();
        if (!modal) return;
        opened = modal->objectName();
        parent = modal->parentWidget();
        qobject_cast<QDialog*>(modal)->reject();
    });
    action->trigger();
    unsetenv("VOCARTA_JOB_LAUNCHER");
    EXPECT_EQ(opened, "ScheduleListWindow");
    EXPECT_EQ(parent, &window);
}
