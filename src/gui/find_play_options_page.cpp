#include "gui/find_play_options_page.h"

#include <QFormLayout>
#include <QKeySequence>
#include <QLabel>
#include <QSpinBox>

#include "gui/dialog_parts.h"
#include "gui/find_play_keys.h"
#include "library/library_settings.h"

namespace vocarta {

namespace {
// The explanation over the key's name as this desktop writes it.
QLabel* Explanation(QWidget* parent, const char* name, const char* text, const char* key) {
    const QString keyName = QKeySequence(key).toString(QKeySequence::NativeText);
    auto* label = new QLabel(QString(text).replace("%s", keyName), parent);
    label->setObjectName(name);
    label->setWordWrap(true);
    return label;
}
}  // namespace

FindPlayOptionsPage::FindPlayOptionsPage(QWidget* parent) : QWidget(parent) {
    setObjectName("FindPlayOptionsPage");
    slow_ = NumberBox(this, "slowSpeed", find_play::kSpeedMin, find_play::kSpeedMax);
    fast_ = NumberBox(this, "fastSpeed", find_play::kSpeedMin, find_play::kSpeedMax);
    slow_->setValue(find_play::SlowSpeed());
    fast_->setValue(find_play::FastSpeed());
    auto* layout = new QFormLayout(this);
    layout->addRow(tr("Variable Speed Slow (%):"), slow_);
    layout->addRow(Explanation(this, "slowSpeedText", kSlowSpeedExplanation, kPlaySlowKey));
    layout->addRow(tr("Variable Speed Fast (%):"), fast_);
    layout->addRow(Explanation(this, "fastSpeedText", kFastSpeedExplanation, kPlayFastKey));
}

void FindPlayOptionsPage::Store() {
    find_play::StoreSlowSpeed(slow_->value());
    find_play::StoreFastSpeed(fast_->value());
}

}  // namespace vocarta
