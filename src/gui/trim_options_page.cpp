#include "gui/trim_options_page.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QRadioButton>
#include <QSpinBox>
#include <QVBoxLayout>
#include <cmath>

#include "gui/dialog_parts.h"

namespace vocarta {

TrimOptionsPage::TrimOptionsPage(QWidget* parent) : QWidget(parent) {
    setObjectName("TrimOptionsPage");
    afterRecording_ = NamedCheckBox(this, "afterRecordingTrim",
                                    tr("Remove silence from each recording when it stops"));
    threshold_ =
        NumberBox(this, "trimThreshold", kTrimThresholdMinDb, kTrimThresholdMaxDb, tr(" dB"));
    absolute_ = new QRadioButton(tr("Absolute level"), this);
    absolute_->setObjectName("trimAbsolute");
    relative_ = new QRadioButton(tr("Relative to the loudest sample"), this);
    relative_->setObjectName("trimRelative");
    auto* group = new QButtonGroup(this);
    group->addButton(absolute_);
    group->addButton(relative_);
    shortestSilence_ = NumberBox(this, "trimShortestSilence", kTrimShortestSilenceMinMs,
                                 kTrimShortestSilenceMaxMs, tr(" ms"));
    fixedLength_ = NumberBox(this, "trimFixedLength", kTrimNewFixedLengthMinMs,
                             kTrimNewFixedLengthMaxMs, tr(" ms"));
    fraction_ = new QDoubleSpinBox(this);
    fraction_->setObjectName("trimFraction");
    fraction_->setDecimals(3);
    fraction_->setSingleStep(0.05);
    fraction_->setRange(kTrimFractionMinThousandths / 1000.0, kTrimFractionMaxThousandths / 1000.0);
    startAndEndOnly_ = NamedCheckBox(this, "trimStartAndEndOnly",
                                     tr("Only remove silence at the start and the end"));

    auto* kind = new QHBoxLayout;
    kind->addWidget(absolute_);
    kind->addWidget(relative_);
    auto* length = new QHBoxLayout;
    length->addWidget(fixedLength_);
    length->addWidget(new QLabel(tr("plus"), this));
    length->addWidget(fraction_);
    length->addWidget(new QLabel(tr("× the silence"), this));
    auto* form = new QFormLayout;
    form->addRow(tr("Silence threshold:"), threshold_);
    form->addRow(QString(), kind);
    form->addRow(tr("Shortest silence to shorten:"), shortestSilence_);
    form->addRow(tr("Shorten each silence to:"), length);
    form->addRow(QString(), startAndEndOnly_);
    auto* note = new QLabel(tr("After a recording, the threshold is 1 dB below the voice "
                               "activation level."),
                            this);
    note->setWordWrap(true);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(afterRecording_);
    layout->addLayout(form);
    layout->addWidget(note);
    layout->addStretch();

    ShowSettings(ReadTrimSettings(), AfterRecordingTrimEnabled());
}

void TrimOptionsPage::ShowSettings(const TrimSettings& s, bool afterRecording) {
    afterRecording_->setChecked(afterRecording);
    threshold_->setValue(s.thresholdDb);
    absolute_->setChecked(s.thresholdIsAbsolute);
    relative_->setChecked(!s.thresholdIsAbsolute);
    shortestSilence_->setValue(s.shortestSilenceMs);
    fixedLength_->setValue(s.newFixedLengthMs);
    fraction_->setValue(s.newLengthFractionThousandths / 1000.0);
    startAndEndOnly_->setChecked(s.startAndEndOnly);
}

TrimSettings TrimOptionsPage::ChosenSettings() const {
    TrimSettings s;
    s.thresholdDb = threshold_->value();
    s.thresholdIsAbsolute = absolute_->isChecked();
    s.shortestSilenceMs = shortestSilence_->value();
    s.newFixedLengthMs = fixedLength_->value();
    s.newLengthFractionThousandths = int(std::lround(fraction_->value() * 1000.0));
    s.startAndEndOnly = startAndEndOnly_->isChecked();
    return s;
}

bool TrimOptionsPage::AfterRecordingChosen() const {
    return afterRecording_->isChecked();
}

void TrimOptionsPage::Store() const {
    StoreTrimSettings(ChosenSettings());
    StoreAfterRecordingTrimEnabled(AfterRecordingChosen());
}

}  // namespace vocarta
