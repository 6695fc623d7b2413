#pragma once
// Pieces every options dialog builds the same way.
//
// Threading contract: GUI thread only.

#include <QBoxLayout>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QSpinBox>
#include <QString>

namespace vocarta {

// A combo box that tests and the window-driving tests find by `name`.
inline QComboBox* NamedCombo(QWidget* parent, const char* name) {
    auto* combo = new QComboBox(parent);
    combo->setObjectName(name);
    return combo;
}

inline QCheckBox* NamedCheckBox(QWidget* parent, const char* name, const QString& text) {
    auto* box = new QCheckBox(text, parent);
    box->setObjectName(name);
    return box;
}

// A named whole-number box with its range and unit.
inline QSpinBox* NumberBox(QWidget* parent, const char* name, int min, int max,
                           const QString& suffix = {}) {
    auto* box = new QSpinBox(parent);
    box->setObjectName(name);
    box->setRange(min, max);
    box->setSuffix(suffix);
    return box;
}

// OK and Cancel at the bottom of `layout`, wired to the dialog's own (possibly
// overridden) accept and reject.
inline void AddOkCancel(QDialog* dialog, QBoxLayout* layout) {
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, dialog);
    QObject::connect(buttons, &QDialogButtonBox::accepted, dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
    layout->addWidget(buttons);
}

}  // namespace vocarta
