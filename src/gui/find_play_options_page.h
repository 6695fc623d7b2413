#pragma once
// The options page of the recordings window: the two preset speeds that the
// slow and fast keys play at.
//
// Threading contract: GUI thread only.

#include <QWidget>

class QSpinBox;

namespace vocarta {

class FindPlayOptionsPage final : public QWidget {
    Q_OBJECT

  public:
    explicit FindPlayOptionsPage(QWidget* parent = nullptr);

    // Stores both speeds (the options window's OK).
    void Store();

  private:
    QSpinBox* slow_;
    QSpinBox* fast_;
};

}  // namespace vocarta
