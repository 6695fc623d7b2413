// Hot-keys as passive key grabs on the X root window. The registrar's thread has
// its own display connection; every binding is grabbed four times, with and
// without Caps Lock and Num Lock, so that neither lock stops a hot-key.
// Command is grabbed as Super and Option as Alt.

#include <map>
#include <mutex>
#include <set>

#include "hotkeys/hotkey_registrar.h"
#include "hotkeys/hotkey_worker.h"
#include "hotkeys/x11_keysyms.h"
#include "toolkit/log.h"

// After our own headers: Xlib defines macros (Success, None, Status) that
// would clash with their names.
#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/keysym.h>

namespace vocarta {

LResult<std::string> ProbeX11HotKeys();

namespace {

// X reports errors through one process-wide handler; errors on a registrar's
// own display go to the registrar of the thread that made the request.
struct XErrorSink {
    Display* display = nullptr;
    int firstError = 0;  // Success (0) until an error arrives
};
thread_local XErrorSink* tErrorSink = nullptr;
XErrorHandler gPreviousErrorHandler = nullptr;
std::once_flag gErrorHandlerOnce;

int OnXError(Display* display, XErrorEvent* event) {
    if (tErrorSink && tErrorSink->display == display) {
        if (tErrorSink->firstError == 0) tErrorSink->firstError = event->error_code;
        return 0;
    }
    return gPreviousErrorHandler ? gPreviousErrorHandler(display, event) : 0;
}

void InstallErrorHandler() {
    std::call_once(gErrorHandlerOnce, [] {
        XInitThreads();
        gPreviousErrorHandler = XSetErrorHandler(&OnXError);
    });
}

constexpr const char* kServiceName = "X11 key grabs";

struct Grab {
    int bindingId;
    HotkeyCommand command;
    HotkeyValue key;
    KeyCode keycode;
    unsigned int modifiers;  // without Lock and Num Lock
};

struct ModifierMasks {
    unsigned int numLock = Mod2Mask;
    unsigned int alt = Mod1Mask;
    unsigned int super = Mod4Mask;
};

class X11HotKeyRegistrar final : public LHotKeyRegistrar, private HotkeyWorker {
  public:
    X11HotKeyRegistrar(LHotKeyHandler& handler, Display* display)
        : HotkeyWorker("HotKeysX11"), handler_(handler), display_(display) {
        root_ = DefaultRootWindow(display_);
        XSetIOErrorExitHandler(display_, &X11HotKeyRegistrar::OnConnectionLost, this);
        Bool detectable = False;
        XkbSetDetectableAutoRepeat(display_, True, &detectable);
        masks_ = ReadModifierMasks();
    }

    ~X11HotKeyRegistrar() override {
        Stop();
        if (!lost_) XCloseDisplay(display_);  // also ends every grab of the connection
    }

    bool StartThread() { return Start(); }

    std::string ServiceName() const override { return kServiceName; }

    LStatus Register(const HotkeyBinding& binding) override {
        auto result = std::make_shared<LStatus>(
            MakeError(LErrorCode::kTimedOut, "the X server did not answer"));
        Call([this, binding, result] { *result = GrabBinding(binding); });
        return *result;
    }

    void Unregister(int bindingId) override {
        Call([this, bindingId] { UngrabBinding(bindingId); });
    }

    void UnregisterAll() override {
        Call([this] {
            while (!grabs_.empty()) UngrabBinding(grabs_.begin()->first, false);
            if (!lost_) XSync(display_, False);
        });
    }

  private:
    static void OnConnectionLost(Display*, void* self) {
        auto* me = static_cast<X11HotKeyRegistrar*>(self);
        me->lost_ = true;
        LogError("X11HotKeyRegistrar: the connection to the X server was lost; hot-keys stop");
    }

    int EventDescriptor() override { return lost_ ? -1 : ConnectionNumber(display_); }

    // Worker thread.
    void HandleEvents() override {
        while (!lost_ && XPending(display_) > 0) {
            XEvent event;
            XNextEvent(display_, &event);
            if (event.type == KeyPress || event.type == KeyRelease) {
                Deliver(event.xkey);
            } else if (event.type == MappingNotify) {
                XRefreshKeyboardMapping(&event.xmapping);
                if (event.xmapping.request != MappingPointer) Regrab();
            }
        }
    }

    // Worker thread. A key that matches no grab (one just released) is dropped.
    void Deliver(const XKeyEvent& key) {
        if (key.type == KeyRelease) {
            // The modifiers may be let go first, so the key alone ends the press.
            for (int id : held_) {
                const Grab& grab = grabs_.at(id);
                if (grab.keycode != key.keycode) continue;
                held_.erase(id);
                handler_.HotKeyReleased(grab.command, id);
                return;
            }
            return;
        }
        const unsigned int state = key.state & ~(LockMask | masks_.numLock) & kModifierBits;
        for (const auto& [id, grab] : grabs_) {
            if (grab.keycode != key.keycode || grab.modifiers != state) continue;
            if (!held_.insert(id).second) return;  // auto-repeat of a held key
            handler_.HotKeyPressed(grab.command, id);
            return;
        }
    }

    ModifierMasks ReadModifierMasks() {
        ModifierMasks masks;
        XModifierKeymap* map = XGetModifierMapping(display_);
        if (!map) return masks;
        for (int mod = 0; mod < 8; ++mod) {
            for (int k = 0; k < map->max_keypermod; ++k) {
                KeyCode code = map->modifiermap[mod * map->max_keypermod + k];
                if (code == 0) continue;
                KeySym sym = XkbKeycodeToKeysym(display_, code, 0, 0);
                if (sym == XK_Num_Lock) masks.numLock = 1u << mod;
                if (sym == XK_Super_L || sym == XK_Super_R) masks.super = 1u << mod;
                if (sym == XK_Alt_L || sym == XK_Alt_R) masks.alt = 1u << mod;
            }
        }
        XFreeModifiermap(map);
        return masks;
    }

    // The key to grab and its modifiers; Shift is added for a character that
    // only the shifted level of its key gives.
    LResult<Grab> KeyOf(const HotkeyBinding& binding) {
        std::vector<Keysym> keysyms;
        if (HotkeyCharacter(binding.key) != 0)
            keysyms.push_back(CharacterToKeysym(HotkeyCharacter(binding.key)));
        else
            keysyms = VirtualKeyKeysyms(HotkeyVirtualKey(binding.key));
        Grab grab{binding.id, binding.Command(), binding.key, 0, 0};
        for (Keysym sym : keysyms) {
            if (sym == 0) continue;
            grab.keycode = XKeysymToKeycode(display_, sym);
            if (grab.keycode == 0) continue;
            if (XkbKeycodeToKeysym(display_, grab.keycode, 0, 0) != sym &&
                XkbKeycodeToKeysym(display_, grab.keycode, 0, 1) == sym)
                grab.modifiers |= ShiftMask;
            break;
        }
        if (grab.keycode == 0)
            return MakeError(LErrorCode::kUnsupported,
                             "The hot-key %s cannot be used: this keyboard has no such key.",
                             HotkeyName(binding.key).c_str());
        if (binding.key & kHotkeyShift) grab.modifiers |= ShiftMask;
        if (binding.key & kHotkeyControl) grab.modifiers |= ControlMask;
        if (binding.key & kHotkeyOption) grab.modifiers |= masks_.alt;
        if (binding.key & kHotkeyCommand) grab.modifiers |= masks_.super;
        return grab;
    }

    std::set<unsigned int> LockVariants(unsigned int modifiers) const {
        return {modifiers, modifiers | LockMask, modifiers | masks_.numLock,
                modifiers | LockMask | masks_.numLock};
    }

    // Worker thread.
    LStatus GrabBinding(const HotkeyBinding& binding) {
        UngrabBinding(binding.id);
        if (!HasKey(binding.key)) return {};
        if (lost_)
            return MakeError(LErrorCode::kNetwork,
                             "The hot-key %s could not be registered: the X server is gone.",
                             HotkeyName(binding.key).c_str());
        auto grab = KeyOf(binding);
        if (!grab) return grab.Error();
        XErrorSink sink{display_, 0};
        tErrorSink = &sink;
        for (unsigned int mods : LockVariants(grab.Value().modifiers))
            XGrabKey(display_, grab.Value().keycode, mods, root_, True, GrabModeAsync,
                     GrabModeAsync);
        XSync(display_, False);
        tErrorSink = nullptr;
        if (sink.firstError != 0) {
            ReleaseKey(grab.Value());
            if (sink.firstError == BadAccess)
                return MakeError(LErrorCode::kExists,
                                 "The hot-key %s could not be registered: another program "
                                 "already uses it. Please choose another key.",
                                 HotkeyName(binding.key).c_str());
            return MakeError(LErrorCode::kFailed,
                             "The hot-key %s could not be registered (X error %d).",
                             HotkeyName(binding.key).c_str(), sink.firstError);
        }
        grabs_[binding.id] = grab.Value();
        return {};
    }

    void ReleaseKey(const Grab& grab) {
        XErrorSink sink{display_, 0};
        tErrorSink = &sink;
        for (unsigned int mods : LockVariants(grab.modifiers))
            XUngrabKey(display_, grab.keycode, mods, root_);
        XSync(display_, False);
        tErrorSink = nullptr;
    }

    // Worker thread.
    void UngrabBinding(int bindingId, bool sync = true) {
        auto it = grabs_.find(bindingId);
        if (it == grabs_.end()) return;
        if (!lost_) {
            if (sync) {
                ReleaseKey(it->second);
            } else {
                for (unsigned int mods : LockVariants(it->second.modifiers))
                    XUngrabKey(display_, it->second.keycode, mods, root_);
            }
        }
        held_.erase(bindingId);
        grabs_.erase(it);
    }

    // Worker thread: the keyboard changed, so keycodes may have moved.
    void Regrab() {
        masks_ = ReadModifierMasks();
        std::vector<HotkeyBinding> bindings;
        for (const auto& [id, grab] : grabs_)
            bindings.push_back({id, int32_t(grab.command), grab.key});
        for (const auto& b : bindings) {
            LStatus status = GrabBinding(b);
            if (!status) LogError("X11HotKeyRegistrar: %s", status.Error().Message().c_str());
        }
    }

    static constexpr unsigned int kModifierBits =
        ShiftMask | LockMask | ControlMask | Mod1Mask | Mod2Mask | Mod3Mask | Mod4Mask | Mod5Mask;

    LHotKeyHandler& handler_;
    Display* display_;
    Window root_;
    ModifierMasks masks_;
    bool lost_ = false;          // worker thread (set in Xlib's I/O error path)
    std::map<int, Grab> grabs_;  // worker thread only
    std::set<int> held_;         // worker thread only: pressed, not yet released
};

}  // namespace

LResult<std::unique_ptr<LHotKeyRegistrar>> CreateX11HotKeyRegistrar(LHotKeyHandler& handler,
                                                                    const char* displayName) {
    InstallErrorHandler();
    Display* display = XOpenDisplay(displayName);
    if (!display)
        return MakeError(LErrorCode::kUnsupported, "the X display \"%s\" could not be opened",
                         XDisplayName(displayName));
    auto registrar = std::make_unique<X11HotKeyRegistrar>(handler, display);
    if (!registrar->StartThread())
        return MakeError(LErrorCode::kFailed, "the hot-key thread could not be started");
    return std::unique_ptr<LHotKeyRegistrar>(std::move(registrar));
}

LResult<std::string> ProbeX11HotKeys() {
    InstallErrorHandler();
    Display* display = XOpenDisplay(nullptr);
    if (!display)
        return MakeError(LErrorCode::kUnsupported, "the X display \"%s\" could not be opened",
                         XDisplayName(nullptr));
    XCloseDisplay(display);
    return std::string(kServiceName);
}

}  // namespace vocarta
