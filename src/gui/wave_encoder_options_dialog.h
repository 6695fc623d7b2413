#pragma once
// "Wave Encoder Options": a preset list, the encoding (PCM, GSM 6.10, A-LAW,
// MU-LAW), channels, sample rate and sample size. The preset shown follows from
// the controls; choosing a preset sets them. OK stores the choice (see
// SaveWavEncoderChoice); the logic itself lives in audio/wav/wav_presets.h.
//
// Threading contract: GUI thread only.

#include <QDialog>

#include "audio/wav/wav_presets.h"

class QComboBox;

namespace vocarta {

class WaveEncoderOptionsDialog final : public QDialog {
    Q_OBJECT

  public:
    // Opens on the stored choice.
    explicit WaveEncoderOptionsDialog(QWidget* parent = nullptr);

    void ShowChoice(const WavEncoderChoice& choice);
    WavEncoderChoice Choice() const;
    WavPreset Preset() const;
    // Stores the choice, then closes; stays open with a message if it cannot.
    void accept() override;

  private:
    void PresetPicked(int index);
    void ControlChanged();
    void FillControls(const WavEncoderChoice& choice);

    WavEncoderChoice shown_;
    QComboBox* preset_;
    QComboBox* encoding_;
    QComboBox* channels_;
    QComboBox* rate_;
    QComboBox* size_;
};

}  // namespace vocarta
