#pragma once
// Registration of hot-keys with the desktop, so that they work while another
// program is in front. One small interface; each desktop service in its own
// files (X11 key grabs, the desktop's GlobalShortcuts portal on Wayland), chosen
// by CreateHotKeyRegistrar().
//
// Threading contract: a registrar is created, used and destroyed on one owner
// thread (the main thread). Each registrar runs its own thread with its own
// connection to the desktop; the handler is called on THAT thread, never on the
// owner's, so it must only hand the command over (post it to the main loop) and
// must not call back into the registrar. Destroying the registrar stops its
// thread before it returns, after which the handler is not called again.

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "hotkeys/hotkey_bindings.h"
#include "hotkeys/hotkey_commands.h"
#include "toolkit/result.h"

namespace vocarta {

class LHotKeyHandler {
  public:
    virtual ~LHotKeyHandler() = default;
    // The registrar's thread. A key held down is reported pressed once.
    virtual void HotKeyPressed(HotkeyCommand command, int bindingId) = 0;
    virtual void HotKeyReleased(HotkeyCommand command, int bindingId) = 0;
};

// A binding that could not be registered, and why (the message names the key).
struct HotkeyRefusal {
    int bindingId;
    LError error;
};

class LHotKeyRegistrar {
  public:
    virtual ~LHotKeyRegistrar() = default;

    // How hot-keys are registered here ("X11 key grabs", ...), for the page.
    virtual std::string ServiceName() const = 0;

    // Registers one binding under its id, replacing an earlier registration of
    // that id; a binding without a key only unregisters. A key that another
    // program holds is refused with a message naming the key (kExists); the
    // other registrations stay as they are.
    virtual LStatus Register(const HotkeyBinding& binding) = 0;
    virtual void Unregister(int bindingId) = 0;
    // Releases every registration at once (hot-keys disabled).
    virtual void UnregisterAll() = 0;
    // Replaces every registration by `bindings`; returns the refusals, while
    // the others work.
    virtual std::vector<HotkeyRefusal> RegisterAll(const std::vector<HotkeyBinding>& bindings);
    // The registered key as the desktop shows it to the user, where the
    // desktop chooses the keys itself; "" where the stored key is what counts.
    virtual std::string ShownKey(int bindingId) const { return {}; }
};

// The registrar of this desktop: the GlobalShortcuts portal on a Wayland session
// when one answers, else X11 key grabs when an X display opens, else an error
// (kUnsupported) whose message says that hot-keys are not available and why.
LResult<std::unique_ptr<LHotKeyRegistrar>> CreateHotKeyRegistrar(LHotKeyHandler& handler);

// One service each. `displayName` null means $DISPLAY.
LResult<std::unique_ptr<LHotKeyRegistrar>> CreateX11HotKeyRegistrar(
    LHotKeyHandler& handler, const char* displayName = nullptr);
LResult<std::unique_ptr<LHotKeyRegistrar>> CreatePortalHotKeyRegistrar(LHotKeyHandler& handler);

// Whether a registrar could be made here, without making one: the service's
// name, or the kUnsupported error CreateHotKeyRegistrar() would give. Any thread.
LResult<std::string> ProbeHotKeyService();

// The text the hot-key page shows for a probe or a registrar's failure.
std::string HotkeyServiceStatusText(const LResult<std::string>& probe);

}  // namespace vocarta
