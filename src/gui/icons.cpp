#include "gui/icons.h"

#include <QPainter>
#include <QPainterPath>

namespace vocarta {

namespace {
constexpr int kIconSize = 32;
const QColor kInk(50, 50, 55);
const QColor kRecordRed(215, 30, 30);

QPixmap Blank(int size) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    return pixmap;
}

void DrawRetake(QPainter& p) {
    // A circular arrow going back to the start.
    QPen pen(kInk, 3.5, Qt::SolidLine, Qt::RoundCap);
    p.setPen(pen);
    p.drawArc(QRectF(7, 7, 18, 18), 100 * 16, 280 * 16);
    QPainterPath head;
    head.moveTo(11, 3);
    head.lineTo(18, 8);
    head.lineTo(11, 13);
    head.closeSubpath();
    p.setPen(Qt::NoPen);
    p.setBrush(kInk);
    p.drawPath(head);
}

void DrawCommand(QPainter& p, CommandPicture picture) {
    p.setPen(Qt::NoPen);
    p.setBrush(kInk);
    switch (picture) {
        case CommandPicture::Record:
            p.setBrush(kRecordRed);
            p.drawEllipse(QRectF(6, 6, 20, 20));
            break;
        case CommandPicture::Pause:
            p.drawRect(QRectF(8, 6, 6, 20));
            p.drawRect(QRectF(18, 6, 6, 20));
            break;
        case CommandPicture::Stop:
            p.drawRect(QRectF(7, 7, 18, 18));
            break;
        case CommandPicture::Retake:
            DrawRetake(p);
            break;
        case CommandPicture::Play: {
            const QPointF triangle[] = {{9, 5}, {27, 16}, {9, 27}};
            p.drawPolygon(triangle, 3);
            break;
        }
    }
}
}  // namespace

QIcon CommandIcon(CommandPicture picture) {
    QPixmap pixmap = Blank(kIconSize);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    DrawCommand(p, picture);
    p.end();
    QIcon icon(pixmap);
    // The disabled look: the same shape, faded.
    QPixmap faded = Blank(kIconSize);
    QPainter f(&faded);
    f.setOpacity(0.3);
    f.drawPixmap(0, 0, pixmap);
    f.end();
    icon.addPixmap(faded, QIcon::Disabled);
    return icon;
}

QPixmap IndicatorPixmap(bool lit, int size) {
    QPixmap pixmap = Blank(size);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(kInk, 1));
    p.setBrush(lit ? kRecordRed : QColor(70, 30, 30));
    p.drawEllipse(QRectF(1.5, 1.5, size - 3, size - 3));
    return pixmap;
}

QIcon ProgramIcon(ProgramBadge badge) {
    QPixmap pixmap = Blank(kIconSize);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    // A microphone: head, stand and foot.
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(60, 90, 150));
    p.drawRoundedRect(QRectF(11, 2, 10, 18), 5, 5);
    p.setPen(QPen(QColor(60, 90, 150), 2.5));
    p.setBrush(Qt::NoBrush);
    p.drawArc(QRectF(7, 6, 18, 18), 180 * 16, 180 * 16);
    p.drawLine(QPointF(16, 24), QPointF(16, 29));
    p.drawLine(QPointF(10, 29.5), QPointF(22, 29.5));
    if (badge == ProgramBadge::RecordingLit) {
        p.setPen(QPen(Qt::white, 1.5));
        p.setBrush(kRecordRed);
        p.drawEllipse(QRectF(18, 17, 13, 13));
    } else if (badge == ProgramBadge::Paused) {
        p.setPen(QPen(Qt::white, 1.5));
        p.setBrush(QColor(230, 160, 20));
        p.drawRoundedRect(QRectF(17, 16, 14, 14), 3, 3);
        p.setPen(Qt::NoPen);
        p.setBrush(Qt::white);
        p.drawRect(QRectF(20.5, 19, 2.5, 8));
        p.drawRect(QRectF(25, 19, 2.5, 8));
    }
    p.end();
    return QIcon(pixmap);
}

}  // namespace vocarta
