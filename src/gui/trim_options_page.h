#pragma once
// The "Trimming" page of the options window: whether finished recordings are
// cleared of long pauses, and how silence is found and shortened (threshold,
// absolute or relative to the peak, shortest silence, new length as a fixed part
// plus a fraction, start and end only). Shows the stored options when built and
// stores them on Store(); the ranges are those the trim clamps to.
//
// Threading contract: GUI thread only.

#include <QWidget>

#include "audio/trim/trim_settings.h"

class QCheckBox;
class QDoubleSpinBox;
class QRadioButton;
class QSpinBox;

namespace vocarta {

class TrimOptionsPage final : public QWidget {
    Q_OBJECT

  public:
    explicit TrimOptionsPage(QWidget* parent = nullptr);

    void ShowSettings(const TrimSettings& settings, bool afterRecording);
    TrimSettings ChosenSettings() const;
    bool AfterRecordingChosen() const;
    // Stores what the page shows.
    void Store() const;

  private:
    QCheckBox* afterRecording_;
    QSpinBox* threshold_;
    QRadioButton* absolute_;
    QRadioButton* relative_;
    QSpinBox* shortestSilence_;
    QSpinBox* fixedLength_;
    QDoubleSpinBox* fraction_;
    QCheckBox* startAndEndOnly_;
};

}  // namespace vocarta
