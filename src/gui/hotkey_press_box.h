#pragma once
// The "Press Key" box of the hot-key dialog: it takes the next key or key
// combination pressed while it has the focus (Tab and Escape included) and shows
// its name; the modifiers show while they are held. Prompt when empty: "Press a
// key or a key combination."
//
// Threading contract: GUI thread only.

#include <QLineEdit>

#include "hotkeys/hotkey_key.h"

class QKeyEvent;

namespace vocarta {

class HotkeyPressBox final : public QLineEdit {
    Q_OBJECT

  public:
    explicit HotkeyPressBox(QWidget* parent = nullptr);

    HotkeyValue Key() const { return key_; }
    void SetKey(HotkeyValue key);

    // The hot-key value of a key event; 0 for a modifier key alone or a key
    // that cannot be a hot-key.
    static HotkeyValue KeyOfEvent(const QKeyEvent& event);
    // The hot-key value of a key combination as Qt names it (a window
    // shortcut); 0 where a hot-key value cannot hold it.
    static HotkeyValue KeyOfCombination(QKeyCombination combination);

  signals:
    void KeyChanged(HotkeyValue key);
    // A key was pressed and taken (not set by the program).
    void KeyTaken();

  protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;

  private:
    void ShowKey();
    HotkeyValue key_ = 0;
};

}  // namespace vocarta
