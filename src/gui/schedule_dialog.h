#pragma once
// "Schedule Recording": the name of a schedule, whether it is active and
// records when nobody is logged in, one time / daily / weekly, the start and
// end (dates for one time only), and the days of a weekly schedule. OK runs the
// checks of the schedule library in their order and shows the first refusal
// with its text and title on its field; what passes is saved, and an active
// schedule gets its job from the launcher.
//
// Threading contract: GUI thread only.

#include <QDialog>
#include <array>
#include <optional>
#include <string>

#include "schedule/schedule_form.h"

class QCheckBox;
class QDateEdit;
class QLineEdit;
class QRadioButton;
class QTimeEdit;

namespace vocarta {

class LJobLauncher;
class MainDialogView;
class ScheduledRecordingList;

class ScheduleDialog final : public QDialog {
    Q_OBJECT

  public:
    // A new schedule when `editedName` is empty, else the one of that name.
    // The list and launcher must outlive the dialog; messages go through `view`.
    ScheduleDialog(MainDialogView& view, ScheduledRecordingList& list, LJobLauncher& launcher,
                   const std::string& editedName = {}, QWidget* parent = nullptr);

    void ShowForm(const ScheduleForm& form);
    ScheduleForm ChosenForm() const;

    void accept() override;

  private:
    QWidget* BuildTimes();
    QWidget* BuildDays();
    void UpdateEnabled();
    void FocusField(ScheduleField field);

    MainDialogView& view_;
    ScheduledRecordingList& list_;
    LJobLauncher& launcher_;
    std::optional<std::string> editedName_;

    QLineEdit* name_;
    QCheckBox* active_;
    QCheckBox* runIfNotLoggedIn_;
    QRadioButton* oneTime_;
    QRadioButton* daily_;
    QRadioButton* weekly_;
    QDateEdit* startDate_;
    QTimeEdit* startTime_;
    QDateEdit* endDate_;
    QTimeEdit* endTime_;
    std::array<QCheckBox*, 7> days_{};
};

}  // namespace vocarta
