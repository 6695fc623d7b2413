#pragma once
// "View Filter": which recordings the recordings window lists - by the day
// they were made, by duration and by text in one column. Opens with the stored
// filter; OK checks the dates, clamps the duration fields (rewriting them), and
// stores the filter. OK is refused while the to date lies before the from date.
//
// Threading contract: GUI thread only.

#include <QDialog>

#include "library/view_filter.h"

class QCheckBox;
class QComboBox;
class QDateEdit;
class QLabel;
class QLineEdit;

namespace vocarta {

class ViewFilterDialog final : public QDialog {
    Q_OBJECT

  public:
    explicit ViewFilterDialog(QWidget* parent = nullptr);

    // The filter as the fields show it, duration fields clamped and rewritten.
    ViewFilter Chosen();
    void Show(const ViewFilter& filter);
    void accept() override;

  private:
    void UpdateEnabled();

    QCheckBox* dateOn_;
    QDateEdit* from_;
    QDateEdit* to_;
    QLabel* dateError_;
    QComboBox* criterion_;
    QLineEdit* hours_;
    QLineEdit* minutes_;
    QLineEdit* seconds_;
    QCheckBox* searchOn_;
    QLineEdit* searchText_;
    QComboBox* findIn_;
};

}  // namespace vocarta
