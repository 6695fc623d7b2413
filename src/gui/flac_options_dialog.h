#pragma once
// "FLAC Encoder Options": compression level 0 (fastest) to 8 (smallest), bit
// depth, channels and sample rate (each may match the source). Opens on the
// stored FLAC record (defaults: 44100 Hz stereo, 16 bits, level 5) and saves it
// on OK. With "Match Source" the stored rate or channel count is kept as it was.
//
// Threading contract: GUI thread only.

#include <QDialog>

#include "audio/codecs/encoder_settings.h"

class QComboBox;

namespace vocarta {

class FlacOptionsDialog final : public QDialog {
    Q_OBJECT

  public:
    explicit FlacOptionsDialog(QWidget* parent = nullptr);

    void ShowSettings(const FlacSettings& record);
    FlacSettings ChosenSettings() const;
    // Saves the chosen record, then closes.
    void accept() override;

  private:
    FlacSettings shown_;
    QComboBox* compression_;
    QComboBox* bitDepth_;
    QComboBox* channels_;
    QComboBox* rate_;
};

}  // namespace vocarta
