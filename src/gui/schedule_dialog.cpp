#include "gui/schedule_dialog.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QDateEdit>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QTimeEdit>
#include <QVBoxLayout>
#include <ctime>

#include "app/session/main_dialog_view.h"
#include "gui/dialog_parts.h"
#include "schedule/schedule_display.h"
#include "schedule/scheduled_recording.h"

namespace vocarta {

namespace {

QDate ToQDate(const ScheduleDate& d) {
    return QDate(d.year, d.month, d.day);
}

ScheduleDate FromQDate(const QDate& d) {
    return {d.year(), d.month(), d.day()};
}

QTime ToQTime(int seconds) {
    return QTime(0, 0).addSecs(seconds);
}

int FromQTime(const QTime& t) {
    return QTime(0, 0).secsTo(t);
}

template <typename Edit>
Edit* NamedEdit(QWidget* parent, const char* name, const char* format) {
    auto* edit = new Edit(parent);
    edit->setObjectName(name);
    edit->setDisplayFormat(format);
    return edit;
}

}  // namespace

ScheduleDialog::ScheduleDialog(MainDialogView& view, ScheduledRecordingList& list,
                               LJobLauncher& launcher, const std::string& editedName,
                               QWidget* parent)
    : QDialog(parent), view_(view), list_(list), launcher_(launcher) {
    setObjectName("ScheduleDialog");
    setWindowTitle(kScheduleWindowTitle);
    name_ = new QLineEdit(this);
    name_->setObjectName("scheduleName");
    name_->setMaxLength(259);
    active_ = NamedCheckBox(this, "active", tr("Active"));
    runIfNotLoggedIn_ =
        NamedCheckBox(this, "runIfNotLoggedIn", tr("Record even if the user is not logged in"));
    auto* form = new QFormLayout;
    form->addRow(tr("Name:"), name_);
    form->addRow(active_);
    form->addRow(runIfNotLoggedIn_);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(BuildTimes());
    layout->addWidget(BuildDays());
    AddOkCancel(this, layout);

    const ScheduledRecording* record = editedName.empty() ? nullptr : list_.FindByName(editedName);
    if (record) editedName_ = editedName;
    ShowForm(record ? FormOfRecord(*record) : NewScheduleForm(int64_t(std::time(nullptr))));
    for (QRadioButton* type : {oneTime_, daily_, weekly_})
        connect(type, &QRadioButton::toggled, this, &ScheduleDialog::UpdateEnabled);
}

QWidget* ScheduleDialog::BuildTimes() {
    auto* box = new QGroupBox(tr("When"), this);
    oneTime_ = new QRadioButton(tr("One time"), box);
    oneTime_->setObjectName("oneTime");
    daily_ = new QRadioButton(tr("Daily"), box);
    daily_->setObjectName("daily");
    weekly_ = new QRadioButton(tr("Weekly"), box);
    weekly_->setObjectName("weekly");
    auto* group = new QButtonGroup(box);
    for (QRadioButton* type : {oneTime_, daily_, weekly_}) group->addButton(type);
    startDate_ = NamedEdit<QDateEdit>(box, "startDate", "yyyy-MM-dd");
    startTime_ = NamedEdit<QTimeEdit>(box, "startTime", "HH:mm:ss");
    endDate_ = NamedEdit<QDateEdit>(box, "endDate", "yyyy-MM-dd");
    endTime_ = NamedEdit<QTimeEdit>(box, "endTime", "HH:mm:ss");
    for (QDateEdit* date : {startDate_, endDate_}) date->setCalendarPopup(true);
    auto* types = new QHBoxLayout;
    for (QRadioButton* type : {oneTime_, daily_, weekly_}) types->addWidget(type);
    auto* grid = new QGridLayout;
    grid->addWidget(new QLabel(tr("Start:"), box), 0, 0);
    grid->addWidget(startDate_, 0, 1);
    grid->addWidget(startTime_, 0, 2);
    grid->addWidget(new QLabel(tr("End:"), box), 1, 0);
    grid->addWidget(endDate_, 1, 1);
    grid->addWidget(endTime_, 1, 2);
    auto* layout = new QVBoxLayout(box);
    layout->addLayout(types);
    layout->addLayout(grid);
    return box;
}

QWidget* ScheduleDialog::BuildDays() {
    auto* box = new QGroupBox(tr("Days"), this);
    auto* layout = new QHBoxLayout(box);
    for (int day = kSunday; day <= kSaturday; ++day) {
        days_[size_t(day)] = NamedCheckBox(box, WeekdayName(day), tr(WeekdayName(day)));
        layout->addWidget(days_[size_t(day)]);
    }
    return box;
}

void ScheduleDialog::ShowForm(const ScheduleForm& form) {
    name_->setText(QString::fromStdString(form.name));
    active_->setChecked(form.active);
    runIfNotLoggedIn_->setChecked(form.runIfNotLoggedIn);
    oneTime_->setChecked(form.type == ScheduleType::OneTime);
    daily_->setChecked(form.type == ScheduleType::Daily);
    weekly_->setChecked(form.type == ScheduleType::Weekly);
    startDate_->setDate(ToQDate(form.startDate));
    endDate_->setDate(ToQDate(form.endDate));
    startTime_->setTime(ToQTime(form.startSeconds));
    endTime_->setTime(ToQTime(form.endSeconds));
    for (int day = kSunday; day <= kSaturday; ++day)
        days_[size_t(day)]->setChecked(form.weekdays & (1 << day));
    UpdateEnabled();
}

ScheduleForm ScheduleDialog::ChosenForm() const {
    ScheduleForm form;
    form.name = name_->text().toStdString();
    form.active = active_->isChecked();
    form.runIfNotLoggedIn = runIfNotLoggedIn_->isChecked();
    form.type = oneTime_->isChecked() ? ScheduleType::OneTime
                : daily_->isChecked() ? ScheduleType::Daily
                                      : ScheduleType::Weekly;
    form.startDate = FromQDate(startDate_->date());
    form.endDate = FromQDate(endDate_->date());
    form.startSeconds = FromQTime(startTime_->time());
    form.endSeconds = FromQTime(endTime_->time());
    for (int day = kSunday; day <= kSaturday; ++day)
        if (days_[size_t(day)]->isChecked()) form.weekdays |= 1 << day;
    return form;
}

void ScheduleDialog::accept() {
    const ScheduleForm form = ChosenForm();
    const std::string* edited = editedName_ ? &*editedName_ : nullptr;
    if (auto refused = CheckScheduleForm(form, list_, edited, int64_t(std::time(nullptr)))) {
        ShowMessage(view_, refused->text, refused->title, MessageBoxRequest::Icon::Warning);
        FocusField(refused->field);
        return;
    }
    switch (SaveScheduleForm(form, list_, edited, launcher_)) {
        case ScheduleSaved::Done:
            QDialog::accept();
            return;
        case ScheduleSaved::JobFailed:  // the schedule was dropped again: try once more
            return;
        case ScheduleSaved::NotStored:
            ShowMessage(view_, kScheduleNotStoredText, kScheduleWindowTitle,
                        MessageBoxRequest::Icon::Error);
            return;
    }
}

void ScheduleDialog::UpdateEnabled() {
    const bool once = oneTime_->isChecked();
    startDate_->setEnabled(once);
    endDate_->setEnabled(once);
    for (QCheckBox* day : days_) day->setEnabled(weekly_->isChecked());
}

void ScheduleDialog::FocusField(ScheduleField field) {
    switch (field) {
        case ScheduleField::Name:
            name_->setFocus();
            name_->selectAll();
            break;
        case ScheduleField::Start:
            startTime_->setFocus();
            break;
        case ScheduleField::End:
            endTime_->setFocus();
            break;
        case ScheduleField::Weekdays:
            days_[kSunday]->setFocus();
            break;
    }
}

}  // namespace vocarta
