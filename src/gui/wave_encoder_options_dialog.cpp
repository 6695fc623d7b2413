#include "gui/wave_encoder_options_dialog.h"

#include <QComboBox>
#include <QFormLayout>
#include <QMessageBox>
#include <QSignalBlocker>
#include <QStandardItemModel>
#include <QVBoxLayout>

#include "gui/dialog_parts.h"

namespace vocarta {

namespace {

int Number(const QComboBox* combo, int fallback) {
    QVariant data = combo->currentData();
    return data.isValid() ? data.toInt() : fallback;
}

void Select(QComboBox* combo, int value) {
    int index = combo->findData(value);
    combo->setCurrentIndex(index >= 0 ? index : 0);
}

// Greys out the "Match Source" entry (data 0) where the encoding cannot follow
// the source.
void EnableMatchSource(QComboBox* combo, bool enabled) {
    auto* model = qobject_cast<QStandardItemModel*>(combo->model());
    int index = combo->findData(0);
    if (model != nullptr && index >= 0) model->item(index)->setEnabled(enabled);
}

}  // namespace

WaveEncoderOptionsDialog::WaveEncoderOptionsDialog(QWidget* parent) : QDialog(parent) {
    setWindowTitle(tr("Wave Encoder Options"));
    setObjectName("WaveEncoderOptionsDialog");
    preset_ = NamedCombo(this, "preset");
    for (int i = 0; i < kWavPresetCount; ++i)
        preset_->addItem(QString::fromUtf8(WavPresetName(WavPreset(i))), i);
    encoding_ = NamedCombo(this, "encoding");
    for (int i = 0; i < kWavEncodingCount; ++i)
        encoding_->addItem(QString::fromUtf8(WavEncodingAt(i).name), i);
    channels_ = NamedCombo(this, "channels");
    for (uint16_t n : {0, 1, 2}) channels_->addItem(QString::fromUtf8(WavChannelsText(n)), n);
    rate_ = NamedCombo(this, "sampleRate");
    size_ = NamedCombo(this, "sampleSize");

    auto* form = new QFormLayout;
    form->addRow(tr("Preset:"), preset_);
    form->addRow(tr("Encoding:"), encoding_);
    form->addRow(tr("Channels:"), channels_);
    form->addRow(tr("Sample Rate:"), rate_);
    form->addRow(tr("Sample Size:"), size_);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    AddOkCancel(this, layout);

    connect(preset_, &QComboBox::activated, this, &WaveEncoderOptionsDialog::PresetPicked);
    for (QComboBox* combo : {encoding_, channels_, rate_, size_})
        connect(combo, &QComboBox::activated, this, &WaveEncoderOptionsDialog::ControlChanged);

    ShowChoice(LoadWavEncoderChoice());
}

void WaveEncoderOptionsDialog::FillControls(const WavEncoderChoice& choice) {
    shown_ = ConformWavChoice(choice);
    QSignalBlocker blockers[] = {QSignalBlocker(encoding_), QSignalBlocker(channels_),
                                 QSignalBlocker(rate_), QSignalBlocker(size_)};
    const bool follows = WavEncodingFollowsSource(shown_.codecIndex);
    Select(encoding_, shown_.codecIndex);
    EnableMatchSource(channels_, follows);
    Select(channels_, shown_.matchChannels ? 0 : shown_.channels);

    rate_->clear();
    rate_->addItem(QString::fromUtf8(kWavMatchSourceText), 0);
    for (uint32_t hz : WavSampleRates(shown_.sampleRate))
        rate_->addItem(QString::fromStdString(WavSampleRateText(hz)), int(hz));
    EnableMatchSource(rate_, follows);
    Select(rate_, shown_.matchRate ? 0 : int(shown_.sampleRate));

    size_->clear();
    for (uint16_t bits : WavSampleSizes(shown_.codecIndex))
        size_->addItem(QString::fromStdString(WavSampleSizeText(bits)), bits);
    size_->setEnabled(size_->count() > 0);  // GSM 6.10 has no sample size
    Select(size_, shown_.bits);
}

void WaveEncoderOptionsDialog::ShowChoice(const WavEncoderChoice& choice) {
    FillControls(choice);
    QSignalBlocker blocker(preset_);
    Select(preset_, int(DeriveWavPreset(shown_)));
}

WavEncoderChoice WaveEncoderOptionsDialog::Choice() const {
    WavEncoderChoice c = shown_;
    c.codecIndex = Number(encoding_, c.codecIndex);
    int channels = Number(channels_, c.channels);
    c.matchChannels = channels == 0;
    if (channels > 0) c.channels = uint16_t(channels);
    int rate = Number(rate_, int(c.sampleRate));
    c.matchRate = rate == 0;
    if (rate > 0) c.sampleRate = uint32_t(rate);
    c.bits = uint16_t(Number(size_, 0));
    return c;
}

WavPreset WaveEncoderOptionsDialog::Preset() const {
    return WavPreset(Number(preset_, int(WavPreset::Custom)));
}

void WaveEncoderOptionsDialog::PresetPicked(int index) {
    // "Custom" stays shown though the controls may still match a preset: the
    // user asked to change them.
    FillControls(ApplyWavPreset(WavPreset(preset_->itemData(index).toInt()), Choice()));
}

void WaveEncoderOptionsDialog::ControlChanged() {
    ShowChoice(Choice());
}

void WaveEncoderOptionsDialog::accept() {
    if (!SaveWavEncoderChoice(Preset(), Choice())) {
        QMessageBox::warning(this, windowTitle(),
                             tr("The Wave encoder options could not be saved. Check that the "
                                "settings folder can be written to."));
        return;
    }
    QDialog::accept();
}

}  // namespace vocarta
