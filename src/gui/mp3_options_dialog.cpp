#include "gui/mp3_options_dialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QRadioButton>
#include <QVBoxLayout>

#include "audio/codecs/encoder_choices.h"
#include "audio/codecs/lame_library.h"
#include "gui/dialog_parts.h"
#include "gui/encoder_combo.h"

namespace vocarta {

Mp3OptionsDialog::Mp3OptionsDialog(QWidget* parent) : QDialog(parent) {
    setWindowTitle(tr("MP3 Encoder Options"));
    setObjectName("Mp3OptionsDialog");

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(BuildRateBox());

    auto* general = new QFormLayout;
    highQuality_ = NamedCheckBox(this, "highQuality", tr("High Quality Encoding (Slower)"));
    crc_ = NamedCheckBox(this, "crc", tr("Include CRC to Detect Errors"));
    channelMode_ = NamedCombo(this, "channelMode");
    for (int mode = 0; mode < 4; ++mode)
        channelMode_->addItem(tr(kMp3ChannelModeLabels[mode]), mode);
    general->addRow(highQuality_);
    general->addRow(crc_);
    general->addRow(tr("Channel Mode:"), channelMode_);
    layout->addLayout(general);

    library_ = new QLabel(this);
    library_->setObjectName("library");
    library_->setWordWrap(true);
    layout->addWidget(library_);

    AddOkCancel(this, layout);

    Mp3Settings stored;
    LoadMp3Settings(stored);
    ShowSettings(stored);
    ShowLibraryState();
}

QWidget* Mp3OptionsDialog::BuildRateBox() {
    auto* box = new QGroupBox(tr("Bit Rate"), this);
    auto* form = new QFormLayout(box);
    cbr_ = new QRadioButton(tr("Constant Bit Rate (CBR)"), box);
    cbr_->setObjectName("cbr");
    vbr_ = new QRadioButton(tr("Variable Bit Rate (VBR)"), box);
    vbr_->setObjectName("vbr");
    cbrRate_ = NamedCombo(box, "cbrRate");
    vbrMin_ = NamedCombo(box, "vbrMin");
    vbrMax_ = NamedCombo(box, "vbrMax");
    vbrQuality_ = NamedCombo(box, "vbrQuality");
    for (int q = 0; q <= 9; ++q)
        vbrQuality_->addItem(QString::fromStdString(VbrQualityLabel(q)), q);

    form->addRow(cbr_);
    form->addRow(tr("Bit Rate:"), cbrRate_);
    form->addRow(vbr_);
    form->addRow(tr("Minimum Bit Rate:"), vbrMin_);
    form->addRow(tr("Maximum Bit Rate:"), vbrMax_);
    form->addRow(tr("Quality:"), vbrQuality_);
    connect(cbr_, &QRadioButton::toggled, this, &Mp3OptionsDialog::UpdateEnabled);
    return box;
}

void Mp3OptionsDialog::ShowSettings(const Mp3Settings& record) {
    shown_ = record;
    (record.constantBitRate ? cbr_ : vbr_)->setChecked(true);
    FillNumberCombo(cbrRate_, Mp3BitRateChoices(), record.cbrBitRate, BitRateLabel);
    FillNumberCombo(vbrMin_, Mp3BitRateChoices(), record.vbrMinBitRate, BitRateLabel);
    FillNumberCombo(vbrMax_, Mp3BitRateChoices(), record.vbrMaxBitRate, BitRateLabel);
    SelectComboNumber(vbrQuality_, record.vbrQuality > 9 ? 9 : record.vbrQuality);
    highQuality_->setChecked(record.highQuality);
    crc_->setChecked(record.errorProtection);
    SelectComboNumber(channelMode_, record.channelMode > 3 ? 0 : record.channelMode);
    UpdateEnabled();
}

Mp3Settings Mp3OptionsDialog::ChosenSettings() const {
    Mp3Settings r = shown_;
    r.constantBitRate = cbr_->isChecked();
    r.cbrBitRate = uint16_t(ComboNumber(cbrRate_, r.cbrBitRate));
    r.vbrMinBitRate = uint16_t(ComboNumber(vbrMin_, r.vbrMinBitRate));
    r.vbrMaxBitRate = uint16_t(ComboNumber(vbrMax_, r.vbrMaxBitRate));
    if (r.vbrMinBitRate > r.vbrMaxBitRate) std::swap(r.vbrMinBitRate, r.vbrMaxBitRate);
    r.vbrQuality = uint8_t(ComboNumber(vbrQuality_, r.vbrQuality));
    r.highQuality = highQuality_->isChecked();
    r.errorProtection = crc_->isChecked();
    r.channelMode = uint8_t(ComboNumber(channelMode_, r.channelMode));
    return r;
}

void Mp3OptionsDialog::accept() {
    Mp3Settings r = ChosenSettings();
    std::string version = Mp3LibraryVersion();
    if (!version.empty()) r.versionStr = version;
    SaveMp3Settings(r);
    QDialog::accept();
}

void Mp3OptionsDialog::UpdateEnabled() {
    bool constant = cbr_->isChecked();
    cbrRate_->setEnabled(constant);
    vbrMin_->setEnabled(!constant);
    vbrMax_->setEnabled(!constant);
    vbrQuality_->setEnabled(!constant);
}

void Mp3OptionsDialog::ShowLibraryState() {
    std::string error;
    if (Mp3Functions(&error)) {
        library_->setText(tr("Encoder: LAME %1").arg(QString::fromStdString(Mp3LibraryVersion())));
    } else {
        library_->setText(QString::fromStdString(error));
    }
}

}  // namespace vocarta
