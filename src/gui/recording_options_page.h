#pragma once
// The "Recording" page of the options window: voice activation, the maximum
// recording time and what happens when it is reached, the tones, play after
// stop, emptying the Trash on a full disk, the output folder, the file name
// pattern and the name prompt, Reset Auto Number, and the output format with
// its "Encoder Options..." and the text of the format chosen.
//
// Check() makes the checks of an accepted page with the product's messages,
// shown through the view: the pattern first, then a folder that was changed.
//
// Threading contract: GUI thread only.

#include <QWidget>

#include "gui/recording_options.h"

class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QSpinBox;

namespace vocarta {

class MainDialogView;

class RecordingOptionsPage final : public QWidget {
    Q_OBJECT

  public:
    RecordingOptionsPage(MainDialogView& view, QWidget* parent = nullptr);

    void ShowOptions(const RecordingOptions& options);
    RecordingOptions ChosenOptions() const;
    // False (after telling the user) when the page must not be accepted.
    bool Check();
    bool Store() const;

  private:
    QGroupBox* BuildVoiceBox();
    QGroupBox* BuildMaxTimeBox();
    QGroupBox* BuildSoundsBox();
    QGroupBox* BuildOutputBox();
    void BrowseFolder();
    void OpenEncoderOptions();
    OutputFormat ChosenFormat() const;
    void FormatChosen();
    void UpdateEnabled();

    MainDialogView& view_;
    std::string shownFolder_;

    QCheckBox* voiceActivate_;
    QSpinBox* voiceLevel_;
    QSpinBox* pauseWait_;
    QCheckBox* voiceRestart_;
    QCheckBox* checkMaxTime_;
    QSpinBox* maxHours_;
    QSpinBox* maxMinutes_;
    QSpinBox* maxSeconds_;
    QRadioButton* stopAtMax_;
    QRadioButton* newFileAtMax_;
    QCheckBox* recordTone_;
    QCheckBox* stoppedTone_;
    QCheckBox* intervalTone_;
    QSpinBox* intervalSecs_;
    QCheckBox* playWhenStop_;
    QCheckBox* autoEmpty_;
    QLineEdit* folder_;
    QLineEdit* pattern_;
    QCheckBox* promptForName_;
    QComboBox* format_;
    QLabel* formatText_;
};

}  // namespace vocarta
