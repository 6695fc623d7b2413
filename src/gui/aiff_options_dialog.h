#pragma once
// "AIFF Encoder Options": channels and sample rate (each may match the source),
// the sample size ("8 bits Integer" ... "64 bits Floating Point") and the
// compression ("not compressed", "32-bit floating point", "64-bit floating
// point", "ALaw 2:1", "uLaw 2:1"). Size and compression always describe one
// encoding (rules in audio/codecs/encoder_choices.h). Opens on the stored AIFF
// record (defaults: the recording format, 44100 Hz stereo 16 bits) and saves it
// on OK. With "Match Source" the stored rate or channel count is kept as it was.
//
// Threading contract: GUI thread only.

#include <QDialog>

#include "audio/codecs/encoder_choices.h"
#include "audio/codecs/encoder_settings.h"

class QComboBox;

namespace vocarta {

class AiffOptionsDialog final : public QDialog {
    Q_OBJECT

  public:
    explicit AiffOptionsDialog(QWidget* parent = nullptr);

    void ShowSettings(const AiffSettings& record);
    AiffSettings ChosenSettings() const;
    // Saves the chosen record, then closes.
    void accept() override;

  private:
    void ShowChoice(const AiffChoice& choice);
    void OnSizeChosen(int index);
    void OnCompressionChosen(int index);

    AiffSettings shown_;
    bool showing_ = false;  // set while the dialog itself moves the two lists
    QComboBox* channels_;
    QComboBox* rate_;
    QComboBox* size_;
    QComboBox* compression_;
};

// The channel and rate lists the AIFF and FLAC dialogs share: "Match Source"
// (number 0) first, then the choices, then a stored odd value.
void FillChannelsCombo(QComboBox* combo, int stored, bool matchSource, int maxChannels);
void FillRateCombo(QComboBox* combo, int stored, bool matchSource);

}  // namespace vocarta
