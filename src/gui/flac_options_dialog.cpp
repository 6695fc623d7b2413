#include "gui/flac_options_dialog.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QVBoxLayout>
#include <algorithm>

#include "audio/codecs/encoder_choices.h"
#include "audio/codecs/flac_sink.h"
#include "gui/aiff_options_dialog.h"
#include "gui/encoder_combo.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
constexpr int kMaxFlacChannels = 8;
}  // namespace

FlacOptionsDialog::FlacOptionsDialog(QWidget* parent) : QDialog(parent) {
    setWindowTitle(tr("FLAC Encoder Options"));
    setObjectName("FlacOptionsDialog");
    compression_ = new QComboBox(this);
    compression_->setObjectName("compression");
    for (int level = 0; level <= 8; ++level)
        compression_->addItem(QString::fromStdString(FlacCompressionLabel(level)), level);
    bitDepth_ = new QComboBox(this);
    bitDepth_->setObjectName("bitDepth");
    channels_ = new QComboBox(this);
    channels_->setObjectName("channels");
    rate_ = new QComboBox(this);
    rate_->setObjectName("sampleRate");

    auto* form = new QFormLayout;
    form->addRow(tr("Compression Level:"), compression_);
    form->addRow(tr("Bit Depth:"), bitDepth_);
    form->addRow(tr("Channels:"), channels_);
    form->addRow(tr("Sample Rate:"), rate_);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &FlacOptionsDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &FlacOptionsDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(buttons);

    FlacSettings stored;
    LoadFlacSettings(stored, kDefaultRecordingRate, kDefaultRecordingChannels);
    ShowSettings(stored);
}

void FlacOptionsDialog::ShowSettings(const FlacSettings& record) {
    shown_ = record;
    SelectComboNumber(compression_, std::clamp(record.compression, 0, 8));
    // Only depths a FLAC file gets are offered; an odd stored one shows as what it records.
    FillNumberCombo(bitDepth_, FlacBitDepthChoices(), FlacBitDepthFor(record.bitDepth),
                    [](int bits) { return StringPrintf("%d bits", bits); });
    FillChannelsCombo(channels_, record.channels, record.matchSourceChannels, kMaxFlacChannels);
    FillRateCombo(rate_, record.sampleRate, record.matchSourceSampleRate);
}

FlacSettings FlacOptionsDialog::ChosenSettings() const {
    FlacSettings r = shown_;
    r.compression = ComboNumber(compression_, r.compression);
    r.bitDepth = uint8_t(ComboNumber(bitDepth_, r.bitDepth));
    int channels = ComboNumber(channels_, r.channels);
    r.matchSourceChannels = channels == 0;
    if (channels > 0) r.channels = uint8_t(channels);
    int rate = ComboNumber(rate_, r.sampleRate);
    r.matchSourceSampleRate = rate == 0;
    if (rate > 0) r.sampleRate = rate;
    return r;
}

void FlacOptionsDialog::accept() {
    SaveFlacSettings(ChosenSettings());
    QDialog::accept();
}

}  // namespace vocarta
