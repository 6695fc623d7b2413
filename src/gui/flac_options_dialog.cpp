#include "gui/flac_options_dialog.h"

#include <QComboBox>
#include <QFormLayout>
#include <QVBoxLayout>
#include <algorithm>

#include "audio/codecs/encoder_choices.h"
#include "audio/codecs/flac_sink.h"
#include "gui/aiff_options_dialog.h"
#include "gui/dialog_parts.h"
#include "gui/encoder_combo.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
constexpr int kMaxFlacChannels = 8;
}  // namespace

FlacOptionsDialog::FlacOptionsDialog(QWidget* parent) : QDialog(parent) {
    setWindowTitle(tr("FLAC Encoder Options"));
    setObjectName("FlacOptionsDialog");
    compression_ = NamedCombo(this, "compression");
    for (int level = 0; level <= 8; ++level)
        compression_->addItem(QString::fromStdString(FlacCompressionLabel(level)), level);
    bitDepth_ = NamedCombo(this, "bitDepth");
    channels_ = NamedCombo(this, "channels");
    rate_ = NamedCombo(this, "sampleRate");

    auto* form = new QFormLayout;
    form->addRow(tr("Compression Level:"), compression_);
    form->addRow(tr("Bit Depth:"), bitDepth_);
    form->addRow(tr("Channels:"), channels_);
    form->addRow(tr("Sample Rate:"), rate_);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    AddOkCancel(this, layout);

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
