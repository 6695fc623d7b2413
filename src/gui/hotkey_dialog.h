#pragma once
// "Add New Hot-Key" / "Change Hot-Key Command": a command and the key that runs
// it. OK runs the checks of hotkey_checks.h in order and shows the first
// refusal with its title; a binding that passes is saved under its own id (a
// new id when added).
//
// Threading contract: GUI thread only.

#include <QDialog>
#include <vector>

#include "hotkeys/hotkey_bindings.h"
#include "hotkeys/hotkey_commands.h"

class QComboBox;

namespace vocarta {

class HotkeyPressBox;
class MainDialogView;

class HotkeyDialog final : public QDialog {
    Q_OBJECT

  public:
    // `stored` is the binding being changed, or one with id -1 to add a binding.
    // `bindings` are all stored bindings; `appShortcuts` the main window's own
    // keys; `commands` those the user may choose.
    HotkeyDialog(MainDialogView& view, const HotkeyBinding& stored,
                 std::vector<HotkeyBinding> bindings, std::vector<HotkeyValue> appShortcuts,
                 const std::vector<HotkeyCommandInfo>& commands, QWidget* parent = nullptr);

    // What was saved when the dialog was accepted.
    const HotkeyBinding& Saved() const { return saved_; }
    HotkeyPressBox& PressBox() { return *pressBox_; }

    void accept() override;

  private:
    int32_t ChosenCommand() const;

    MainDialogView& view_;
    HotkeyBinding stored_;
    HotkeyBinding saved_;
    std::vector<HotkeyBinding> bindings_;
    std::vector<HotkeyValue> appShortcuts_;
    QComboBox* command_;
    HotkeyPressBox* pressBox_;
};

}  // namespace vocarta
