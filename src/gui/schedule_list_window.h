#pragma once
// The list of scheduled recordings: one row per schedule in list order (name,
// start, end, "Active" or "Inactive", duration as the schedule library writes
// them), with New..., Edit... (or a double click) and Delete, each going
// through the "Schedule Recording" window or the library. The list is read
// from disk when the window opens and after every change, so schedules added
// from the command line show up too.
//
// Threading contract: GUI thread only.

#include <QDialog>
#include <memory>

#include "schedule/job_launcher.h"
#include "schedule/scheduled_recording.h"

class QPushButton;
class QTreeWidget;

namespace vocarta {

class MainDialogView;

class ScheduleListWindow final : public QDialog {
    Q_OBJECT

  public:
    // Uses the job launcher of this session (ChooseJobLauncher) unless one is given.
    ScheduleListWindow(MainDialogView& view, QWidget* parent = nullptr,
                       std::unique_ptr<LJobLauncher> launcher = nullptr);

    void Reload();
    void NewSchedule();
    void EditSchedule();
    void DeleteSchedule();

  private:
    std::string SelectedName() const;
    void UpdateEnabled();

    MainDialogView& view_;
    std::unique_ptr<LJobLauncher> launcher_;
    ScheduledRecordingList list_;
    QTreeWidget* table_;
    QPushButton* edit_;
    QPushButton* delete_;
};

// Opens the list over `parent` and returns when it is closed; what the main
// window's menu item calls.
void OpenScheduleListWindow(MainDialogView& view, QWidget* parent);

}  // namespace vocarta
