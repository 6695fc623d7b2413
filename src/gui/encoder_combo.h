#pragma once
// Combo boxes of numeric choices for the MP3, AIFF and FLAC option dialogs: each
// item carries its number, and a stored value that is not among the choices is
// added in order, so opening a dialog and pressing OK never changes a setting.
//
// Threading contract: GUI thread only.

#include <QComboBox>
#include <QString>
#include <functional>
#include <string>
#include <vector>

namespace vocarta {

// Fills `combo` with `values` (ascending) labelled by `label`, plus `selected`
// when it is not one of them (and `keepOdd` allows it), and selects `selected`.
inline void FillNumberCombo(QComboBox* combo, std::vector<int> values, int selected,
                            const std::function<std::string(int)>& label, bool keepOdd = true) {
    combo->clear();
    bool present = false;
    for (int v : values) present = present || v == selected;
    if (!present && keepOdd) {
        auto at = values.begin();
        while (at != values.end() && *at < selected) ++at;
        values.insert(at, selected);
    }
    for (int v : values) combo->addItem(QString::fromStdString(label(v)), v);
    int index = combo->findData(selected);
    combo->setCurrentIndex(index >= 0 ? index : 0);
}

// The number of the current item (`fallback` when nothing is selected).
inline int ComboNumber(const QComboBox* combo, int fallback = 0) {
    QVariant data = combo->currentData();
    return data.isValid() ? data.toInt() : fallback;
}

// Selects the item carrying `value`; false when there is none.
inline bool SelectComboNumber(QComboBox* combo, int value) {
    int index = combo->findData(value);
    if (index < 0) return false;
    combo->setCurrentIndex(index);
    return true;
}

}  // namespace vocarta
