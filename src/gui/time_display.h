#pragma once
// The main window's recording time ("1:02:03.456"), refreshed every 13 ms while
// recording. A label would ask its layout to recompute and lay out its text on
// every change; this widget keeps one size (wide enough for 999 hours), paints
// its own background and text, and repaints only itself, only when the text
// changed, copying each character from a picture drawn once.
//
// Threading contract: GUI thread only.

#include <QPixmap>
#include <QString>
#include <QWidget>
#include <map>
#include <utility>

namespace vocarta {

class TimeDisplay final : public QWidget {
    Q_OBJECT

  public:
    explicit TimeDisplay(QWidget* parent = nullptr);

    // Repaints when `text` differs from the text shown.
    void SetText(const QString& text);
    const QString& Text() const { return text_; }
    // A faded text for a time that is not counting (paused).
    void SetDimmed(bool dimmed);
    bool Dimmed() const { return dimmed_; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    int CharWidth() const;
    int TextLeft() const;
    const QPixmap& Glyph(QChar c);

    QString text_;
    bool dimmed_ = false;
    // One picture per character and ink, drawn on first use.
    std::map<std::pair<char16_t, bool>, QPixmap> glyphs_;
};

}  // namespace vocarta
