#include "gui/recording_options_page.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QVBoxLayout>
#include <algorithm>

#include "app/session/file_naming.h"
#include "app/session/output_folder.h"
#include "audio/codecs/sink_factory.h"
#include "audio/output_format.h"
#include "gui/aiff_options_dialog.h"
#include "gui/dialog_parts.h"
#include "gui/flac_options_dialog.h"
#include "gui/mp3_options_dialog.h"
#include "gui/wave_encoder_options_dialog.h"

namespace vocarta {

namespace {
QString Text(const std::string& s) {
    return QString::fromStdString(s);
}
}  // namespace

RecordingOptionsPage::RecordingOptionsPage(MainDialogView& view, QWidget* parent)
    : QWidget(parent), view_(view) {
    setObjectName("RecordingOptionsPage");
    auto* left = new QVBoxLayout;
    left->addWidget(BuildVoiceBox());
    left->addWidget(BuildMaxTimeBox());
    left->addStretch();
    auto* right = new QVBoxLayout;
    right->addWidget(BuildOutputBox());
    right->addWidget(BuildSoundsBox());
    right->addStretch();
    auto* layout = new QHBoxLayout(this);
    layout->addLayout(left);
    layout->addLayout(right);

    for (QCheckBox* box : {voiceActivate_, checkMaxTime_, intervalTone_})
        connect(box, &QCheckBox::toggled, this, &RecordingOptionsPage::UpdateEnabled);
    ShowOptions(ReadRecordingOptions());
}

QGroupBox* RecordingOptionsPage::BuildVoiceBox() {
    auto* box = new QGroupBox(tr("Voice activation"), this);
    voiceActivate_ = NamedCheckBox(box, "voiceActivate", tr("Record only while there is sound"));
    voiceLevel_ = NumberBox(box, "voiceLevel", kVoiceLevelMinDb, kVoiceLevelMaxDb, tr(" dB"));
    voiceLevel_->setToolTip(
        tr("Sound at or above this level counts as voice (+12 dB is full "
           "scale)"));
    pauseWait_ = NumberBox(box, "pauseWait", 0, kPauseWaitMaxSeconds, tr(" s"));
    voiceRestart_ =
        NamedCheckBox(box, "voiceTimeoutRestart", tr("Start a new file after each pause"));
    auto* form = new QFormLayout(box);
    form->addRow(voiceActivate_);
    form->addRow(tr("Sound level:"), voiceLevel_);
    form->addRow(tr("Wait after silence of:"), pauseWait_);
    form->addRow(voiceRestart_);
    return box;
}

QGroupBox* RecordingOptionsPage::BuildMaxTimeBox() {
    auto* box = new QGroupBox(tr("Maximum recording time"), this);
    checkMaxTime_ = NamedCheckBox(box, "checkMaxTime", tr("Limit the recording time to"));
    maxHours_ = NumberBox(box, "maxHours", 0, kMaxTimeMaxHours, tr(" h"));
    maxMinutes_ = NumberBox(box, "maxMinutes", 0, 59, tr(" min"));
    maxSeconds_ = NumberBox(box, "maxSeconds", 0, 59, tr(" s"));
    stopAtMax_ = new QRadioButton(tr("then stop recording"), box);
    stopAtMax_->setObjectName("stopReachMaxTime");
    newFileAtMax_ = new QRadioButton(tr("then go on in a new file"), box);
    newFileAtMax_->setObjectName("newFileAtMaxTime");
    auto* group = new QButtonGroup(box);
    group->addButton(stopAtMax_);
    group->addButton(newFileAtMax_);
    auto* time = new QHBoxLayout;
    for (QSpinBox* part : {maxHours_, maxMinutes_, maxSeconds_}) time->addWidget(part);
    auto* layout = new QVBoxLayout(box);
    layout->addWidget(checkMaxTime_);
    layout->addLayout(time);
    layout->addWidget(stopAtMax_);
    layout->addWidget(newFileAtMax_);
    return box;
}

QGroupBox* RecordingOptionsPage::BuildSoundsBox() {
    auto* box = new QGroupBox(tr("Tones and after recording"), this);
    recordTone_ = NamedCheckBox(box, "recordTone", tr("Tone when recording starts"));
    stoppedTone_ = NamedCheckBox(box, "stoppedTone", tr("Tone when recording stops"));
    intervalTone_ = NamedCheckBox(box, "intervalTone", tr("Tone while recording, every"));
    intervalSecs_ = NumberBox(box, "intervalSecs", 1, kIntervalMaxSecs, tr(" s"));
    playWhenStop_ =
        NamedCheckBox(box, "launchPlayWhenStop", tr("Play the recording when it is stopped"));
    autoEmpty_ = NamedCheckBox(box, "autoEmpty", tr("Empty the Trash when the disk is full"));
    auto* interval = new QHBoxLayout;
    interval->addWidget(intervalTone_);
    interval->addWidget(intervalSecs_);
    interval->addStretch();
    auto* layout = new QVBoxLayout(box);
    layout->addWidget(recordTone_);
    layout->addWidget(stoppedTone_);
    layout->addLayout(interval);
    layout->addWidget(playWhenStop_);
    layout->addWidget(autoEmpty_);
    return box;
}

QGroupBox* RecordingOptionsPage::BuildOutputBox() {
    auto* box = new QGroupBox(tr("Output"), this);
    folder_ = new QLineEdit(box);
    folder_->setObjectName("outputFolder");
    auto* browse = new QPushButton(tr("Browse..."), box);
    browse->setObjectName("browseFolder");
    pattern_ = new QLineEdit(box);
    pattern_->setObjectName("fileNamePattern");
    pattern_->setToolTip(tr("%YYYY% %MM% %DD% %HH% %MIN% %SS% and %autonumber% are replaced"));
    promptForName_ = NamedCheckBox(box, "promptForName", tr("Ask for a name at each recording"));
    auto* reset = new QPushButton(tr("Reset Auto Number"), box);
    reset->setObjectName("resetAutoNumber");
    format_ = NamedCombo(box, "outputFormat");
    for (const char* name : {"WAV", "MP3", "AIFF", "FLAC"}) format_->addItem(name);
    auto* encoder = new QPushButton(tr("Encoder Options..."), box);
    encoder->setObjectName("encoderOptions");
    formatText_ = new QLabel(box);
    formatText_->setObjectName("formatText");

    auto* folderRow = new QHBoxLayout;
    folderRow->addWidget(folder_);
    folderRow->addWidget(browse);
    auto* formatRow = new QHBoxLayout;
    formatRow->addWidget(format_);
    formatRow->addWidget(encoder);
    auto* form = new QFormLayout(box);
    form->addRow(tr("Folder:"), folderRow);
    form->addRow(tr("File name:"), pattern_);
    form->addRow(promptForName_);
    form->addRow(reset);
    form->addRow(tr("Format:"), formatRow);
    form->addRow(QString(), formatText_);

    connect(browse, &QPushButton::clicked, this, &RecordingOptionsPage::BrowseFolder);
    connect(reset, &QPushButton::clicked, this, [this] { ResetAutoNumber(view_); });
    connect(encoder, &QPushButton::clicked, this, &RecordingOptionsPage::OpenEncoderOptions);
    connect(format_, &QComboBox::currentIndexChanged, this, &RecordingOptionsPage::FormatChosen);
    return box;
}

void RecordingOptionsPage::ShowOptions(const RecordingOptions& o) {
    voiceActivate_->setChecked(o.voiceActivate);
    voiceLevel_->setValue(o.voiceLevelDb);
    pauseWait_->setValue(o.pauseWaitSeconds);
    voiceRestart_->setChecked(o.voiceTimeoutRestart);
    checkMaxTime_->setChecked(o.checkMaxTime);
    maxHours_->setValue(o.maxHours);
    maxMinutes_->setValue(o.maxMinutes);
    maxSeconds_->setValue(o.maxSeconds);
    stopAtMax_->setChecked(o.stopAtMaxTime);
    newFileAtMax_->setChecked(!o.stopAtMaxTime);
    recordTone_->setChecked(o.recordTone);
    stoppedTone_->setChecked(o.stoppedTone);
    intervalTone_->setChecked(o.intervalTone);
    intervalSecs_->setValue(o.intervalSecs);
    playWhenStop_->setChecked(o.launchPlayWhenStop);
    autoEmpty_->setChecked(o.autoEmpty);
    shownFolder_ = o.folder;
    folder_->setText(Text(o.folder));
    pattern_->setText(Text(o.pattern));
    promptForName_->setChecked(o.promptForName);
    format_->setCurrentIndex(int(o.format));
    FormatChosen();
    UpdateEnabled();
}

RecordingOptions RecordingOptionsPage::ChosenOptions() const {
    RecordingOptions o;
    o.voiceActivate = voiceActivate_->isChecked();
    o.voiceLevelDb = voiceLevel_->value();
    o.pauseWaitSeconds = pauseWait_->value();
    o.voiceTimeoutRestart = voiceRestart_->isChecked();
    o.checkMaxTime = checkMaxTime_->isChecked();
    o.maxHours = maxHours_->value();
    o.maxMinutes = maxMinutes_->value();
    o.maxSeconds = maxSeconds_->value();
    o.stopAtMaxTime = stopAtMax_->isChecked();
    o.recordTone = recordTone_->isChecked();
    o.stoppedTone = stoppedTone_->isChecked();
    o.intervalTone = intervalTone_->isChecked();
    o.intervalSecs = intervalSecs_->value();
    o.launchPlayWhenStop = playWhenStop_->isChecked();
    o.autoEmpty = autoEmpty_->isChecked();
    o.folder = folder_->text().trimmed().toStdString();
    o.pattern = pattern_->text().toStdString();
    o.promptForName = promptForName_->isChecked();
    o.format = ChosenFormat();
    return o;
}

bool RecordingOptionsPage::Check() {
    const RecordingOptions o = ChosenOptions();
    if (!CheckFileNamePattern(view_, o.pattern)) {
        pattern_->setFocus();
        return false;
    }
    // A folder left as it was is checked by the record command when it is used.
    if (o.folder != shownFolder_ &&
        CheckOutputFolder(view_, o.folder, OutputFolderUse::OptionsPage) !=
            OutputFolderCheck::Ready) {
        folder_->setFocus();
        return false;
    }
    return true;
}

bool RecordingOptionsPage::Store() const {
    return StoreRecordingOptions(ChosenOptions());
}

void RecordingOptionsPage::BrowseFolder() {
    const QString chosen =
        QFileDialog::getExistingDirectory(this, tr("Output Folder"), folder_->text());
    if (!chosen.isEmpty()) folder_->setText(chosen);
}

void RecordingOptionsPage::OpenEncoderOptions() {
    // Each dialog stores its own settings when it is accepted.
    switch (ChosenFormat()) {
        case OutputFormat::kWav:
            WaveEncoderOptionsDialog(this).exec();
            break;
        case OutputFormat::kMp3:
            Mp3OptionsDialog(this).exec();
            break;
        case OutputFormat::kAiff:
            AiffOptionsDialog(this).exec();
            break;
        case OutputFormat::kFlac:
            FlacOptionsDialog(this).exec();
            break;
    }
    FormatChosen();
}

OutputFormat RecordingOptionsPage::ChosenFormat() const {
    return OutputFormatFromNumber(format_->currentIndex()).value_or(kDefaultOutputFormat);
}

void RecordingOptionsPage::FormatChosen() {
    formatText_->setText(Text(FormatDisplayText(LoadRecordingSpec(ChosenFormat()))));
}

void RecordingOptionsPage::UpdateEnabled() {
    const bool voice = voiceActivate_->isChecked();
    for (QWidget* w : {static_cast<QWidget*>(voiceLevel_), static_cast<QWidget*>(pauseWait_),
                       static_cast<QWidget*>(voiceRestart_)})
        w->setEnabled(voice);
    const bool limit = checkMaxTime_->isChecked();
    for (QWidget* w : {static_cast<QWidget*>(maxHours_), static_cast<QWidget*>(maxMinutes_),
                       static_cast<QWidget*>(maxSeconds_), static_cast<QWidget*>(stopAtMax_),
                       static_cast<QWidget*>(newFileAtMax_)})
        w->setEnabled(limit);
    intervalSecs_->setEnabled(intervalTone_->isChecked());
}

}  // namespace vocarta
