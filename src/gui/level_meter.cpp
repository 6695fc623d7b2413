#include "gui/level_meter.h"

#include <QPainter>
#include <algorithm>

namespace vocarta {

namespace {
// Above the reference the sound is loud; the last 3 dB before full scale clip.
constexpr int kYellowFromDb = 0;
constexpr int kRedFromDb = 9;
constexpr int kTextGap = 6;
}  // namespace

LevelMeter::LevelMeter(QWidget* parent) : QWidget(parent) {
    // The meter paints all of itself, so its five repaints a second do not
    // repaint the window behind it.
    setAttribute(Qt::WA_OpaquePaintEvent);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(LevelText(level_));
}

void LevelMeter::SetLevel(int db) {
    db = std::clamp(db, kSilenceDb, kFullScaleDb);
    if (db == level_) return;
    level_ = db;
    setAccessibleName(LevelText(db));
    update();
}

QString LevelMeter::LevelText(int db) {
    if (db <= kSilenceDb) return QStringLiteral("-inf dB");
    return db > 0 ? QStringLiteral("+%1 dB").arg(db) : QStringLiteral("%1 dB").arg(db);
}

double LevelMeter::FilledFraction(int db) {
    if (db <= kShownFloorDb) return 0.0;
    return double(std::min(db, kFullScaleDb) - kShownFloorDb) / (kFullScaleDb - kShownFloorDb);
}

QSize LevelMeter::sizeHint() const {
    const int text = fontMetrics().horizontalAdvance(LevelText(-100)) + kTextGap;
    return QSize(200 + text, fontMetrics().height() + 4);
}

void LevelMeter::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(backgroundRole()));
    const int textWidth = fontMetrics().horizontalAdvance(LevelText(-100)) + kTextGap;
    const QRect bar(0, 2, std::max(10, width() - textWidth), height() - 4);
    painter.fillRect(bar, palette().color(QPalette::Base).darker(140));
    // Each zone is lit up to the level; the colours stay where they are on the bar.
    struct Zone {
        int from, to;
        QColor color;
    };
    const Zone zones[] = {{kShownFloorDb, kYellowFromDb, QColor(40, 180, 60)},
                          {kYellowFromDb, kRedFromDb, QColor(230, 200, 30)},
                          {kRedFromDb, kFullScaleDb, QColor(220, 40, 30)}};
    for (const Zone& z : zones) {
        if (level_ <= z.from) break;
        const int x0 = bar.left() + int(bar.width() * FilledFraction(z.from));
        const int x1 = bar.left() + int(bar.width() * FilledFraction(std::min(level_, z.to)));
        painter.fillRect(QRect(x0, bar.top(), x1 - x0, bar.height()), z.color);
    }
    painter.setPen(palette().color(QPalette::WindowText));
    painter.drawText(QRect(bar.right() + kTextGap, 0, textWidth, height()),
                     Qt::AlignLeft | Qt::AlignVCenter, LevelText(level_));
}

}  // namespace vocarta
