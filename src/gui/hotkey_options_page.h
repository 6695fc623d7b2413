#pragma once
// The "Hot-Keys" page of the options window: whether system-wide hot-keys are
// on, whether this desktop lets them work, and the list of bindings with Add,
// Change and Delete. Bindings are saved by their dialog and deleted at once;
// "Enabled" is stored with the rest of the options (Store()).
//
// What the main window gives the page: its own keyboard shortcuts, so that no
// hot-key takes one and the user sees which keys are the window's
// (SetWindowShortcuts; SetAppShortcuts for the keys alone), how the running registrar shows a key
// where the desktop chooses it (SetKeyDescriber), and the registrar's state
// (ShowServiceStatus); until then the page probes the desktop itself.
//
// Threading contract: GUI thread only.

#include <QWidget>
#include <functional>
#include <string>
#include <vector>

#include "hotkeys/hotkey_bindings.h"
#include "hotkeys/hotkey_commands.h"

class QCheckBox;
class QLabel;
class QPushButton;
class QTreeWidget;

namespace vocarta {

class MainDialogView;

// One of the main window's own keyboard shortcuts: its command, as the menu
// names it, and its key.
struct WindowShortcut {
    std::string command;
    HotkeyValue key = 0;
};

class HotkeyOptionsPage final : public QWidget {
    Q_OBJECT

  public:
    explicit HotkeyOptionsPage(MainDialogView& view, QWidget* parent = nullptr);

    void SetAppShortcuts(std::vector<HotkeyValue> shortcuts) {
        appShortcuts_ = std::move(shortcuts);
    }
    // The window's shortcuts: kept from hot-keys and listed below the bindings.
    void SetWindowShortcuts(const std::vector<WindowShortcut>& shortcuts);
    void SetCommands(std::vector<HotkeyCommandInfo> commands) { commands_ = std::move(commands); }
    // Returns the key as the desktop shows it for a binding id, or "".
    void SetKeyDescriber(std::function<std::string(int bindingId)> describer);
    void ShowServiceStatus(const QString& text);

    // Reads the bindings again and shows them.
    void Reload();
    // Opens the dialog for a new binding / the current one; true when saved.
    bool AddBinding();
    bool ChangeBinding();
    // Asks, then deletes the selected bindings; true when any were deleted.
    bool DeleteSelected();
    const std::vector<HotkeyBinding>& Bindings() const { return bindings_; }

    void Store() const;

  signals:
    // A binding was saved or deleted: registrations must follow.
    void BindingsChanged();
    // The hot-key dialog opens (true) or closes (false): while it is open the
    // keys pressed into its "Press Key" box must reach it, not a registration.
    void KeyCaptureChanged(bool capturing);

  private:
    bool Edit(const HotkeyBinding& binding);
    void UpdateButtons();

    MainDialogView& view_;
    std::vector<HotkeyValue> appShortcuts_;
    std::vector<HotkeyCommandInfo> commands_;
    std::function<std::string(int)> describer_;
    std::vector<HotkeyBinding> bindings_;
    QCheckBox* enabled_;
    QLabel* status_;
    QTreeWidget* list_;
    QLabel* windowKeys_;
    QPushButton* add_;
    QPushButton* change_;
    QPushButton* delete_;
};

}  // namespace vocarta
