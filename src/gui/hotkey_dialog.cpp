#include "gui/hotkey_dialog.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/session/main_dialog_view.h"
#include "gui/dialog_parts.h"
#include "gui/hotkey_press_box.h"
#include "hotkeys/hotkey_checks.h"
#include "toolkit/log.h"

namespace vocarta {

namespace {
constexpr const char* kAddTitle = "Add New Hot-Key";
constexpr const char* kChangeTitle = "Change Hot-Key Command";
constexpr const char* kSaveFailedText =
    "The hot-key could not be saved. Check that the settings folder can be written to.";
}  // namespace

HotkeyDialog::HotkeyDialog(MainDialogView& view, const HotkeyBinding& stored,
                           std::vector<HotkeyBinding> bindings,
                           std::vector<HotkeyValue> appShortcuts,
                           const std::vector<HotkeyCommandInfo>& commands, QWidget* parent)
    : QDialog(parent),
      view_(view),
      stored_(stored),
      bindings_(std::move(bindings)),
      appShortcuts_(std::move(appShortcuts)) {
    setObjectName("HotkeyDialog");
    setWindowTitle(stored_.id < 0 ? kAddTitle : kChangeTitle);
    command_ = NamedCombo(this, "hotkeyCommand");
    for (const auto& info : commands)
        command_->addItem(QString::fromStdString(info.name), int(info.command));
    const int current = command_->findData(int(stored_.command));
    if (current >= 0) command_->setCurrentIndex(current);
    pressBox_ = new HotkeyPressBox(this);
    pressBox_->SetKey(stored_.key);

    auto* form = new QFormLayout;
    form->addRow(tr("Command:"), command_);
    form->addRow(tr("Press Key:"), pressBox_);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    AddOkCancel(this, layout);
    // The box takes every key, Tab and Return too: once it has one, OK takes
    // the focus, so that the keyboard alone can confirm (the form top down:
    // the command, Tab, the key, Return). Clicking the box takes another key.
    if (auto* ok = findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok))
        connect(pressBox_, &HotkeyPressBox::KeyTaken, ok, qOverload<>(&QWidget::setFocus));
    command_->setFocus();
}

int32_t HotkeyDialog::ChosenCommand() const {
    return command_->currentIndex() >= 0 ? command_->currentData().toInt() : 0;
}

void HotkeyDialog::accept() {
    const HotkeyEdit edit{stored_, pressBox_->Key(), ChosenCommand()};
    const HotkeyCheck check = CheckHotkeyEdit(edit, bindings_, appShortcuts_);
    if (check != HotkeyCheck::kOk) {
        const HotkeyCheckMessage message = HotkeyCheckText(check);
        ShowMessage(view_, message.text, message.title, MessageBoxRequest::Icon::Warning);
        if (check == HotkeyCheck::kCommandAssigned)
            command_->setFocus();
        else
            pressBox_->setFocus();
        return;
    }
    HotkeyBinding binding{stored_.id, edit.command, edit.key};
    auto id = StoreHotkeyBinding(binding);
    if (!id) {
        LogError("HotkeyDialog::accept: %s", id.Error().Message().c_str());
        ShowMessage(view_, kSaveFailedText, windowTitle().toStdString(),
                    MessageBoxRequest::Icon::Error);
        return;
    }
    binding.id = id.Value();
    saved_ = binding;
    LogEvent("Hot-key %s saved for \"%s\"", HotkeyName(binding.key).c_str(),
             HotkeyCommandName(binding.Command()).c_str());
    QDialog::accept();
}

}  // namespace vocarta
