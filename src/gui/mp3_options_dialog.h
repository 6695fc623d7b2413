#pragma once
// "MP3 Encoder Options": constant or variable bit rate, the bit rates, "High
// Quality Encoding (Slower)", the VBR quality, "Include CRC to Detect Errors" and
// the channel mode. Opens on the stored MP3 record and saves it on OK; the fields
// it does not show keep their stored values. It also says which LAME library is
// in use, or what to install when there is none.
//
// Threading contract: GUI thread only.

#include <QDialog>

#include "audio/codecs/encoder_settings.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QRadioButton;

namespace vocarta {

class Mp3OptionsDialog final : public QDialog {
    Q_OBJECT

  public:
    explicit Mp3OptionsDialog(QWidget* parent = nullptr);

    void ShowSettings(const Mp3Settings& record);
    Mp3Settings ChosenSettings() const;
    // Saves the chosen record, then closes.
    void accept() override;

  private:
    QWidget* BuildRateBox();
    void UpdateEnabled();
    void ShowLibraryState();

    Mp3Settings shown_;  // the record on display; unshown fields pass through
    QRadioButton* cbr_;
    QRadioButton* vbr_;
    QComboBox* cbrRate_;
    QCheckBox* highQuality_;
    QComboBox* vbrMin_;
    QComboBox* vbrMax_;
    QComboBox* vbrQuality_;
    QCheckBox* crc_;
    QComboBox* channelMode_;
    QLabel* library_;
};

}  // namespace vocarta
