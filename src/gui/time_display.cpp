#include "gui/time_display.h"

#include <QEvent>
#include <QPaintEvent>
#include <QPainter>
#include <algorithm>

namespace vocarta {

namespace {
// The widest text the display is sized for: hours run past 9 on long takes.
const QString& kWidestText() {
    static const QString text = QStringLiteral("000:00:00.000");
    return text;
}
constexpr int kMargin = 4;
}  // namespace

TimeDisplay::TimeDisplay(QWidget* parent) : QWidget(parent) {
    // Everything under the widget is painted here, so nothing behind it is
    // repainted 77 times a second.
    setAttribute(Qt::WA_OpaquePaintEvent);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    setAccessibleName(tr("Recording time"));
}

void TimeDisplay::SetText(const QString& text) {
    if (text == text_) return;
    // Mostly only the milliseconds change: repaint from the first changed
    // character on, so each refresh moves a few glyphs to the screen, not the
    // whole line.
    qsizetype first = 0;
    while (first < text.size() && first < text_.size() && text[first] == text_[first]) ++first;
    const bool sameLength = text.size() == text_.size();
    text_ = text;
    if (!sameLength) {
        update();
        return;
    }
    const int from = TextLeft() + int(first) * CharWidth();
    update(QRect(from, 0, width() - from, height()));
}

void TimeDisplay::SetDimmed(bool dimmed) {
    if (dimmed == dimmed_) return;
    dimmed_ = dimmed;
    update();
}

QSize TimeDisplay::sizeHint() const {
    const QFontMetrics metrics = fontMetrics();
    return QSize(metrics.horizontalAdvance(kWidestText()) + 2 * kMargin,
                 metrics.height() + 2 * kMargin);
}

void TimeDisplay::changeEvent(QEvent* event) {
    if (event->type() == QEvent::FontChange || event->type() == QEvent::PaletteChange ||
        event->type() == QEvent::StyleChange)
        glyphs_.clear();
    QWidget::changeEvent(event);
}

int TimeDisplay::CharWidth() const {
    // The font is fixed-pitch: every character of the time takes one cell.
    return fontMetrics().horizontalAdvance(QLatin1Char('0'));
}

int TimeDisplay::TextLeft() const {
    return (width() - int(text_.size()) * CharWidth()) / 2;
}

// Shaping text 77 times a second costs more than the rest of the refresh;
// each character is drawn once into a picture and copied from then on.
const QPixmap& TimeDisplay::Glyph(QChar c) {
    const auto key = std::make_pair(c.unicode(), dimmed_);
    auto found = glyphs_.find(key);
    if (found != glyphs_.end()) return found->second;
    const qreal ratio = devicePixelRatioF();
    QPixmap glyph(QSize(CharWidth(), height()) * ratio);
    glyph.setDevicePixelRatio(ratio);
    glyph.fill(palette().color(backgroundRole()));
    QPainter painter(&glyph);
    painter.setFont(font());
    // The text stays where it is when paused; only its ink fades.
    painter.setPen(dimmed_ ? QColor(128, 128, 128, 60) : palette().color(foregroundRole()));
    painter.drawText(QRect(0, 0, CharWidth(), height()), Qt::AlignCenter, QString(c));
    return glyphs_.emplace(key, std::move(glyph)).first->second;
}

void TimeDisplay::resizeEvent(QResizeEvent* event) {
    glyphs_.clear();  // the pictures are as high as the widget
    QWidget::resizeEvent(event);
}

void TimeDisplay::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    const QRect area = event->rect();
    painter.fillRect(area, palette().color(backgroundRole()));
    const int cell = CharWidth();
    int x = TextLeft();
    for (QChar c : text_) {
        if (x + cell > area.left() && x < area.right() + 1) painter.drawPixmap(x, 0, Glyph(c));
        x += cell;
    }
}

}  // namespace vocarta
