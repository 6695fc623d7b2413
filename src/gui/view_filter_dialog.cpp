#include "gui/view_filter_dialog.h"

#include <QDateEdit>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QRegularExpressionValidator>
#include <QVBoxLayout>

#include "gui/dialog_parts.h"
#include "library/library_settings.h"

namespace vocarta {

namespace {
constexpr const char* kDateDisplay = "yyyy-MM-dd";

QDate ToQDate(const CalendarDay& day) {
    return QDate(day.year, day.month, day.day);
}
CalendarDay ToDay(const QDate& date) {
    return CalendarDay{date.year(), date.month(), date.day()};
}

QLineEdit* DurationField(QWidget* parent, const char* name) {
    auto* field = new QLineEdit(parent);
    field->setObjectName(name);
    // Digits only; the range is applied (and shown) when the filter is taken.
    field->setValidator(new QRegularExpressionValidator(QRegularExpression("[0-9]{0,6}"), field));
    field->setMaximumWidth(60);
    return field;
}

QDateEdit* DateField(QWidget* parent, const char* name) {
    auto* field = new QDateEdit(parent);
    field->setObjectName(name);
    field->setDisplayFormat(kDateDisplay);
    field->setCalendarPopup(true);
    return field;
}

// The field's number held to its range, written back when it changed.
int ClampedField(QLineEdit* field, int max) {
    const int value = ClampDurationField(field->text().toInt(), max);
    if (field->text() != QString::number(value)) field->setText(QString::number(value));
    return value;
}
}  // namespace

ViewFilterDialog::ViewFilterDialog(QWidget* parent) : QDialog(parent) {
    setObjectName("ViewFilterDialog");
    setWindowTitle(tr("View Filter"));

    dateOn_ = NamedCheckBox(this, "dateOn", tr("Only recordings made between these days:"));
    from_ = DateField(this, "fromDate");
    to_ = DateField(this, "toDate");
    dateError_ = new QLabel(this);
    dateError_->setObjectName("toDateError");
    dateError_->setStyleSheet("color: #b00020");
    auto* dates = new QFormLayout;
    dates->addRow(dateOn_);
    dates->addRow(tr("From:"), from_);
    dates->addRow(tr("To:"), to_);
    dates->addRow(QString(), dateError_);

    criterion_ = NamedCombo(this, "durationCriterion");
    for (const char* text : kDurationCriterionTexts) criterion_->addItem(text);
    hours_ = DurationField(this, "hours");
    minutes_ = DurationField(this, "minutes");
    seconds_ = DurationField(this, "seconds");
    auto* duration = new QHBoxLayout;
    duration->addWidget(hours_);
    duration->addWidget(new QLabel(tr("h"), this));
    duration->addWidget(minutes_);
    duration->addWidget(new QLabel(tr("m"), this));
    duration->addWidget(seconds_);
    duration->addWidget(new QLabel(tr("s"), this));
    duration->addStretch();

    searchOn_ = NamedCheckBox(this, "searchOn", tr("Find what:"));
    searchText_ = new QLineEdit(this);
    searchText_->setObjectName("findWhat");
    findIn_ = NamedCombo(this, "findIn");
    for (int i = 0; i < kSearchableColumns; ++i) findIn_->addItem(kColumnTitles[i]);
    auto* search = new QFormLayout;
    search->addRow(searchOn_, searchText_);
    search->addRow(tr("Find in:"), findIn_);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(dates);
    layout->addWidget(criterion_);
    layout->addLayout(duration);
    layout->addLayout(search);
    AddOkCancel(this, layout);

    connect(dateOn_, &QCheckBox::toggled, this, &ViewFilterDialog::UpdateEnabled);
    connect(searchOn_, &QCheckBox::toggled, this, &ViewFilterDialog::UpdateEnabled);
    connect(criterion_, &QComboBox::currentIndexChanged, this, &ViewFilterDialog::UpdateEnabled);
    for (QLineEdit* field : {hours_, minutes_, seconds_}) {
        connect(field, &QLineEdit::editingFinished, this, [this] { Chosen(); });
    }
    Show(ReadViewFilter());
}

void ViewFilterDialog::Show(const ViewFilter& filter) {
    const ViewFilter f = ClampedFilter(filter);
    dateOn_->setChecked(f.dateOn);
    from_->setDate(ToQDate(f.from));
    to_->setDate(ToQDate(f.to));
    criterion_->setCurrentIndex(int(f.criterion));
    hours_->setText(QString::number(f.hours));
    minutes_->setText(QString::number(f.minutes));
    seconds_->setText(QString::number(f.seconds));
    searchOn_->setChecked(f.searchOn);
    searchText_->setText(QString::fromStdString(f.searchText));
    findIn_->setCurrentIndex(f.findIn);
    dateError_->clear();
    UpdateEnabled();
}

ViewFilter ViewFilterDialog::Chosen() {
    ViewFilter f;
    f.dateOn = dateOn_->isChecked();
    f.from = ToDay(from_->date());
    f.to = ToDay(to_->date());
    f.criterion = DurationCriterion(criterion_->currentIndex());
    f.hours = ClampedField(hours_, kMaxFilterHours);
    f.minutes = ClampedField(minutes_, kMaxFilterMinutes);
    f.seconds = ClampedField(seconds_, kMaxFilterSeconds);
    f.searchOn = searchOn_->isChecked();
    f.searchText = searchText_->text().toStdString();
    f.findIn = findIn_->currentIndex();
    return f;
}

void ViewFilterDialog::accept() {
    const ViewFilter f = Chosen();
    if (auto message = CheckFilterDates(f)) {
        dateError_->setText(QString::fromStdString(*message));
        to_->setFocus();
        return;
    }
    dateError_->clear();
    StoreViewFilter(f);
    QDialog::accept();
}

void ViewFilterDialog::UpdateEnabled() {
    from_->setEnabled(dateOn_->isChecked());
    to_->setEnabled(dateOn_->isChecked());
    const bool duration = criterion_->currentIndex() != int(DurationCriterion::kAny);
    for (QLineEdit* field : {hours_, minutes_, seconds_}) field->setEnabled(duration);
    searchText_->setEnabled(searchOn_->isChecked());
    findIn_->setEnabled(searchOn_->isChecked());
}

}  // namespace vocarta
