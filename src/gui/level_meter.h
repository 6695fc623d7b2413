#pragma once
// One level bar of the main window: a peak level in whole decibels on the
// recorder's scale (-127 silence, 0 the reference, +12 full scale), drawn from
// kShownFloorDb to +12 in green, yellow and red, with the value as text. Levels
// below the shown floor draw an empty bar.
//
// Threading contract: GUI thread only.

#include <QWidget>

namespace vocarta {

class LevelMeter final : public QWidget {
    Q_OBJECT

  public:
    static constexpr int kSilenceDb = -127;
    static constexpr int kFullScaleDb = 12;
    // The quietest level the bar draws: 72 dB below full scale.
    static constexpr int kShownFloorDb = -60;

    explicit LevelMeter(QWidget* parent = nullptr);

    // Clamped to -127..+12.
    void SetLevel(int db);
    int Level() const { return level_; }
    // The text shown beside the bar: "-18 dB", "+12 dB", or "-inf dB" for silence.
    static QString LevelText(int db);
    // Fraction of the bar lit for a level, 0 to 1.
    static double FilledFraction(int db);

    QSize sizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    int level_ = kSilenceDb;
};

}  // namespace vocarta
