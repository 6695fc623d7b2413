#pragma once
// The "General" page of the options window: "Run Vocarta when computer
// starts". It shows whether the autostart entry is in place; when the options
// window is accepted, a checked box writes the entry if it is not there and a
// cleared box removes it if it is (schedule/login_autostart.h).
//
// Threading contract: GUI thread only.

#include <QWidget>

class QCheckBox;
class QDialog;

namespace vocarta {

class GeneralOptionsPage final : public QWidget {
    Q_OBJECT

  public:
    // Stores itself when `dialog` is accepted.
    explicit GeneralOptionsPage(QDialog* dialog);

    void Store() const;

  private:
    QCheckBox* runAtLogin_;
};

}  // namespace vocarta
