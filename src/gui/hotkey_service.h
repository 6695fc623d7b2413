#pragma once
// The system-wide hot-keys of the windowed program. Keeps the stored bindings
// registered with the desktop while "Hotkey/Enabled" is on and turns each
// pressed hot-key into the session command of the same name, handed to the
// session's dispatcher like a click on the window's button. The headless
// program has none: without a display there is no desktop to take the keys.
//
// The registration follows the settings when the service starts, when a
// binding is saved or deleted on the options' hot-key page and when the options
// window is accepted. While the page's hot-key dialog is open every key is
// released, so that the keys pressed into its "Press Key" box reach it instead
// of starting a recording. A binding the desktop refuses (another program holds
// its key) is reported once, in one message box and in the log, however often
// the bindings are registered again; the others work.
//
// A command acts on the press; the release has nothing left to do. A key held
// down is one press (the registrar sees to that).
//
// Threading contract: main thread only, except HotKeyPressed/HotKeyReleased,
// which the registrar calls on its own thread and which only post to the main
// loop. Posted presses that arrive after the service is gone are dropped.

#include <QPointer>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "app/session/session_command.h"
#include "gui/hotkey_options_page.h"
#include "gui/session_actions.h"
#include "hotkeys/hotkey_registrar.h"

namespace vocarta {

class LMainLoop;
class MainDialogView;
class OptionsDialog;
class SessionDispatcher;

// The session command a hot-key runs; none for kNone.
std::optional<SessionCommandKind> SessionCommandOfHotkey(HotkeyCommand command);

// The main window's own keys (F5, F6, F7, Home, Space, Quit ...) as hot-key
// values with their commands, read from its actions so that the table cannot
// drift from them.
std::vector<WindowShortcut> WindowShortcuts(const SessionActions& actions);

class HotkeyService final : private LHotKeyHandler {
  public:
    using RegistrarFactory =
        std::function<LResult<std::unique_ptr<LHotKeyRegistrar>>(LHotKeyHandler&)>;

    // Messages go through `view`; commands to `commands`. `create` makes the
    // registrar the first time hot-keys are on (the desktop's by default).
    HotkeyService(LMainLoop& loop, MainDialogView& view, SessionDispatcher& commands,
                  RegistrarFactory create = CreateHotKeyRegistrar);
    ~HotkeyService() override;

    // Registers the stored bindings when hot-keys are enabled.
    void Start();
    // Brings the registration in line with the settings; nothing is done when
    // they have not changed since the last time.
    void Apply();

    // Wires the options window's hot-key page: the window's own keys for its
    // checks, the keys as the desktop shows them, the service's state; and
    // registers again as the page and the window change the settings.
    void AttachOptions(OptionsDialog& options, const std::vector<WindowShortcut>& windowShortcuts);

    // What the hot-key page shows about the service (how keys are taken, or
    // why they cannot be, and the bindings the desktop refused).
    std::string StatusText() const;
    bool Registered() const { return active_; }

  private:
    void HotKeyPressed(HotkeyCommand command, int bindingId) override;
    void HotKeyReleased(HotkeyCommand command, int bindingId) override;

    void RunCommand(HotkeyCommand command, int bindingId);
    void SetCapturing(bool capturing);
    bool EnsureRegistrar();
    void ReportRefusals(const std::vector<HotkeyBinding>& bindings,
                        const std::vector<HotkeyRefusal>& refusals);
    void ShowStatus();

    LMainLoop& loop_;
    MainDialogView& view_;
    SessionDispatcher& commands_;
    RegistrarFactory create_;
    std::unique_ptr<LHotKeyRegistrar> registrar_;
    std::optional<LError> unavailable_;  // why no registrar could be made
    bool capturing_ = false;             // the hot-key dialog is open
    bool active_ = false;                // registrations are in place
    std::vector<HotkeyBinding> registered_;
    std::vector<std::string> refusalTexts_;        // of the last registration
    std::set<std::pair<int, HotkeyValue>> shown_;  // refusals already reported
    QPointer<HotkeyOptionsPage> page_;
    // Checked by posted presses: gone with the service.
    std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

}  // namespace vocarta
