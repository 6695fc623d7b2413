#include "gui/aiff_options_dialog.h"

#include <QComboBox>
#include <QFormLayout>
#include <QVBoxLayout>

#include "gui/dialog_parts.h"
#include "gui/encoder_combo.h"

namespace vocarta {

namespace {

constexpr int kMaxAiffChannels = 64;

}  // namespace

void FillChannelsCombo(QComboBox* combo, int stored, bool matchSource, int maxChannels) {
    std::vector<int> counts = {0, 1, 2};
    bool odd = stored > 2 && stored <= maxChannels;
    FillNumberCombo(combo, counts, odd ? stored : 2, [](int n) {
        return n == 0 ? std::string(kMatchSourceLabel) : ChannelsLabel(n);
    });
    SelectComboNumber(combo, matchSource ? 0 : (stored >= 1 && stored <= maxChannels ? stored : 2));
}

void FillRateCombo(QComboBox* combo, int stored, bool matchSource) {
    std::vector<int> rates = SampleRateChoices();
    rates.insert(rates.begin(), 0);
    bool usable = stored >= 1000 && stored <= 768000;
    FillNumberCombo(combo, rates, usable ? stored : 44100, [](int hz) {
        return hz == 0 ? std::string(kMatchSourceLabel) : SampleRateLabel(hz);
    });
    SelectComboNumber(combo, matchSource ? 0 : (usable ? stored : 44100));
}

AiffOptionsDialog::AiffOptionsDialog(QWidget* parent) : QDialog(parent) {
    setWindowTitle(tr("AIFF Encoder Options"));
    setObjectName("AiffOptionsDialog");
    channels_ = NamedCombo(this, "channels");
    rate_ = NamedCombo(this, "sampleRate");
    size_ = NamedCombo(this, "sampleSize");
    compression_ = NamedCombo(this, "compression");
    for (const char* name : kAiffSampleSizeNames) size_->addItem(tr(name));
    for (const char* name : kAiffCompressionNames) compression_->addItem(tr(name));

    auto* form = new QFormLayout;
    form->addRow(tr("Channels:"), channels_);
    form->addRow(tr("Sample Rate:"), rate_);
    form->addRow(tr("Sample Size:"), size_);
    form->addRow(tr("Compression:"), compression_);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    AddOkCancel(this, layout);

    connect(size_, &QComboBox::currentIndexChanged, this, &AiffOptionsDialog::OnSizeChosen);
    connect(compression_, &QComboBox::currentIndexChanged, this,
            &AiffOptionsDialog::OnCompressionChosen);

    AiffSettings stored;
    LoadAiffSettings(stored, kDefaultRecordingRate, kDefaultRecordingChannels,
                     kDefaultRecordingBits, kAiffNone);
    ShowSettings(stored);
}

void AiffOptionsDialog::ShowSettings(const AiffSettings& record) {
    shown_ = record;
    FillChannelsCombo(channels_, record.channels, record.matchSourceChannels, kMaxAiffChannels);
    FillRateCombo(rate_, record.sampleRate, record.matchSourceSampleRate);
    ShowChoice(AiffChoiceFor(record));
}

void AiffOptionsDialog::ShowChoice(const AiffChoice& choice) {
    showing_ = true;
    size_->setCurrentIndex(choice.sizeIndex);
    compression_->setCurrentIndex(choice.compression);
    size_->setEnabled(AiffSizeIsFree(choice.compression));
    showing_ = false;
}

void AiffOptionsDialog::OnSizeChosen(int index) {
    if (showing_ || index < 0) return;
    ShowChoice(AiffChoiceAfterSizeChange({index, compression_->currentIndex()}, index));
}

void AiffOptionsDialog::OnCompressionChosen(int index) {
    if (showing_ || index < 0) return;
    ShowChoice(AiffChoiceAfterCompressionChange({size_->currentIndex(), index}, index));
}

AiffSettings AiffOptionsDialog::ChosenSettings() const {
    AiffSettings r = shown_;
    int channels = ComboNumber(channels_, r.channels);
    r.matchSourceChannels = channels == 0;
    if (channels > 0) r.channels = uint8_t(channels);
    int rate = ComboNumber(rate_, r.sampleRate);
    r.matchSourceSampleRate = rate == 0;
    if (rate > 0) r.sampleRate = rate;
    ApplyAiffChoice({size_->currentIndex(), compression_->currentIndex()}, r);
    return r;
}

void AiffOptionsDialog::accept() {
    SaveAiffSettings(ChosenSettings());
    QDialog::accept();
}

}  // namespace vocarta
