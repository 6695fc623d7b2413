// The "Schedule Recording" window and the schedule list, run offscreen: a new
// schedule shows its name and the stored type, a refusal comes with the
// library's text and title and keeps the window open, OK saves and makes the
// job, the list shows the rows and deletes after asking; and the "General"
// options page writes and removes the autostart entry.

#include <QPushButton>
#include <QTimeEdit>
#include <QTreeWidget>
#include <ctime>
#include <filesystem>

#include "gui/gui_test_support.h"
#include "gui/options_dialog.h"
#include "gui/schedule_dialog.h"
#include "gui/schedule_list_window.h"
#include "schedule/login_autostart.h"
#include "schedule/schedule_test_support.h"
#include "schedule/schedule_time.h"
#include "schedule/systemd_job_launcher.h"
#include "toolkit/paths.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

void SetTime(QObject& parent, const char* name, int h, int m, int s) {
    if (auto* edit = Child<QTimeEdit>(parent, name)) edit->setTime(QTime(h, m, s));
}

class ScheduleWindowsTest : public ::testing::Test {
  protected:
    ScheduleWindowsTest() {
        EnsureApplication();
        std::filesystem::remove_all(JoinPath(AppDataDir(), ScheduledRecordingList::kListName));
        DeleteSettingTree(kScheduleDialogSection);
        tools_.Add("systemctl");
    }
    ToolRecorder tools_;
    FakeView view_;
};

}  // namespace

TEST_F(ScheduleWindowsTest, NewScheduleIsCheckedSavedAndGetsItsJob) {
    SetSettingInt(kScheduleDialogSection, kScheduleTypeKey, 1);
    ScheduledRecordingList list;
    list.Load();
    SystemdJobLauncher launcher;
    ScheduleDialog dialog(view_, list, launcher);
    dialog.show();
    const std::string name = NewScheduleName(int64_t(time(nullptr)));
    EXPECT_EQ(Shown(dialog, "scheduleName").substr(0, 10), name.substr(0, 10));
    ExpectShown(dialog,
                "active=1;runIfNotLoggedIn=0;oneTime=0;daily=1;weekly=0;"
                "startDate.enabled=0;Monday.enabled=0");
    // A refusal: its text and title, the window stays, the type is stored.
    // The new schedule starts with today's weekday ticked; only Monday is wanted.
    Enter(dialog,
          "scheduleName=Night;weekly=1;Sunday=0;Monday=1;Tuesday=0;Wednesday=0;Thursday=0;"
          "Friday=0;Saturday=0");
    SetTime(dialog, "startTime", 22, 0, 0);
    SetTime(dialog, "endTime", 8, 0, 1);
    dialog.accept();  // the rule and its texts: schedule_record_test.cpp
    ASSERT_EQ(view_.messages.size(), 1u);
    EXPECT_EQ(view_.messages[0].title, "Invalid start or end time.");
    EXPECT_NE(dialog.result(), QDialog::Accepted);
    EXPECT_EQ(GetSettingInt(kScheduleDialogSection, kScheduleTypeKey, -1), 2);
    EXPECT_TRUE(tools_.Take().empty());
    // Exactly ten hours passes: saved, and its timer is loaded.
    SetTime(dialog, "endTime", 8, 0, 0);
    dialog.accept();
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    ScheduledRecordingList disk;
    disk.Load();
    ASSERT_NE(disk.FindByName("Night"), nullptr);
    EXPECT_EQ(disk.FindByName("Night")->Weekdays(), 1 << 1);
    EXPECT_EQ(tools_.Take().back(),
              "systemctl [--user] [enable] [--now] "
              "[com.vocarta.SoundRecorder.schedule.Night.timer]");
}

TEST_F(ScheduleWindowsTest, ListShowsRowsEditsAndDeletesAfterAsking) {
    {
        ScheduledRecordingList list;
        list.Load();
        ScheduledRecording& r = *list.AddNamed("Morning news");
        r.SetWeekly("Morning news", (1 << 1) | (1 << 5), ReferenceDayInstant(7, 0, 0),
                    ReferenceDayInstant(8, 0, 0));
        r.SetActive(false);
        ASSERT_TRUE(list.Save().Ok());
    }
    ScheduleListWindow window(view_, nullptr, std::make_unique<SystemdJobLauncher>());
    auto* table = Child<QTreeWidget>(window, "schedules");
    ASSERT_EQ(table->topLevelItemCount(), 1);
    QStringList row;
    for (int c = 0; c < 5; ++c) row << table->topLevelItem(0)->text(c);
    EXPECT_EQ(row.join("|").toStdString(),
              "Morning news|07:00:00 (Friday, Monday)|08:00:00 (Same day)|Inactive|01-00-00");
    ExpectShown(window, "deleteSchedule.enabled=0");
    // "No" keeps it; "Yes" deletes it.
    for (int answer : {1, 0}) {
        table->setCurrentItem(table->topLevelItem(0));
        view_.answers = {answer};
        window.DeleteSchedule();
        EXPECT_EQ(table->topLevelItemCount(), answer);
    }
    EXPECT_EQ(view_.messages.back().text, "Delete the schedule \"Morning news\"?");
    ScheduledRecordingList disk;
    disk.Load();
    EXPECT_EQ(disk.Count(), 0u);
}

TEST_F(ScheduleWindowsTest, GeneralPageWritesAndRemovesTheAutostartEntry) {
    unlink(LoginItemPath().c_str());
    // {shown on opening, ticked, OK (else Cancel), entry there afterwards}
    const struct {
        const char *shown, *entered;
        bool ok, entry;
    } steps[] = {{"runAtLogin=0", "runAtLogin=1", false, false},
                 {"runAtLogin=0", "runAtLogin=1", true, true},
                 {"runAtLogin=1", "runAtLogin=0", true, false}};
    for (const auto& step : steps) {
        OptionsDialog options(view_);
        ExpectShown(options, step.shown);
        Enter(options, step.entered);
        step.ok ? options.accept() : options.reject();
        EXPECT_EQ(FileExists(LoginItemPath()), step.entry) << step.entered << " " << step.ok;
    }
}
