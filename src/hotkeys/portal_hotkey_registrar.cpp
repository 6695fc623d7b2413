// Hot-keys through the desktop's GlobalShortcuts portal (Wayland sessions, where
// no program may grab keys). The program proposes each binding with its stored
// key as the preferred trigger; the desktop decides and may ask the user, and
// the key it reports is what the page shows. Bindings are given to the portal
// as one set in a fresh session whenever they change, because portals bind a
// session's shortcuts only once.
//
// The portal answers through Request objects' Response signals; the worker
// thread keeps the exchange as a small state machine and never blocks on the
// user.

#include <systemd/sd-bus.h>

#include <cstring>
#include <map>
#include <mutex>
#include <set>

#include "hotkeys/hotkey_registrar.h"
#include "hotkeys/hotkey_worker.h"
#include "hotkeys/x11_keysyms.h"
#include "toolkit/log.h"
#include "toolkit/text.h"

namespace vocarta {

LResult<std::string> ProbePortalHotKeys();

namespace {

constexpr const char* kPortalService = "org.freedesktop.portal.Desktop";
constexpr const char* kPortalPath = "/org/freedesktop/portal/desktop";
constexpr const char* kShortcutsInterface = "org.freedesktop.portal.GlobalShortcuts";
constexpr const char* kRequestInterface = "org.freedesktop.portal.Request";
constexpr const char* kServiceName = "the desktop's shortcut portal";
constexpr const char* kShortcutPrefix = "hotkey-";
constexpr uint64_t kCallTimeoutUs = 3'000'000;

struct BusDeleter {
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};
using BusPtr = std::unique_ptr<sd_bus, BusDeleter>;

struct MessageDeleter {
    void operator()(sd_bus_message* m) const { sd_bus_message_unref(m); }
};
using MessagePtr = std::unique_ptr<sd_bus_message, MessageDeleter>;

LError BusError(const char* what, int r, const sd_bus_error* error = nullptr) {
    const char* text = error && sd_bus_error_is_set(error) ? error->message : strerror(-r);
    return MakeError(LErrorCode::kUnsupported, "%s: %s", what, text ? text : "failed");
}

LResult<BusPtr> OpenSessionBus() {
    sd_bus* bus = nullptr;
    int r = sd_bus_open_user(&bus);
    if (r < 0) return BusError("no session bus", r);
    BusPtr owned(bus);
    sd_bus_set_method_call_timeout(bus, kCallTimeoutUs);
    return owned;
}

LResult<uint32_t> PortalVersion(sd_bus* bus) {
    sd_bus_error error = SD_BUS_ERROR_NULL;
    uint32_t version = 0;
    int r = sd_bus_get_property_trivial(bus, kPortalService, kPortalPath, kShortcutsInterface,
                                        "version", &error, 'u', &version);
    LResult<uint32_t> result =
        r < 0 ? LResult<uint32_t>(BusError("no answer", r, &error)) : LResult<uint32_t>(version);
    sd_bus_error_free(&error);
    return result;
}

// The trigger as the shortcuts specification writes it: "CTRL+ALT+k".
std::string PreferredTrigger(HotkeyValue key) {
    std::string name = KeysymName(HotkeyKeysym(key));
    if (name.empty()) return {};
    std::string trigger;
    if (key & kHotkeyControl) trigger += "CTRL+";
    if (key & kHotkeyOption) trigger += "ALT+";
    if (key & kHotkeyShift) trigger += "SHIFT+";
    if (key & kHotkeyCommand) trigger += "LOGO+";
    return trigger + name;
}

// Reads a variant holding "s" or "o" (portals differ on session handles).
std::string ReadStringVariant(sd_bus_message* m) {
    char type = 0;
    const char* contents = nullptr;
    const char* value = nullptr;
    if (sd_bus_message_peek_type(m, &type, &contents) < 0 || !contents ||
        (std::string(contents) != "s" && std::string(contents) != "o")) {
        sd_bus_message_skip(m, "v");
        return {};
    }
    sd_bus_message_enter_container(m, 'v', contents);
    sd_bus_message_read_basic(m, contents[0], &value);
    sd_bus_message_exit_container(m);
    return value ? value : "";
}

// a(sa{sv}) into shortcut id -> trigger_description.
std::map<std::string, std::string> ReadShortcuts(sd_bus_message* m) {
    std::map<std::string, std::string> shortcuts;
    if (sd_bus_message_enter_container(m, 'a', "(sa{sv})") <= 0) return shortcuts;
    while (sd_bus_message_enter_container(m, 'r', "sa{sv}") > 0) {
        const char* id = nullptr;
        sd_bus_message_read(m, "s", &id);
        std::string trigger;
        sd_bus_message_enter_container(m, 'a', "{sv}");
        while (sd_bus_message_enter_container(m, 'e', "sv") > 0) {
            const char* key = nullptr;
            sd_bus_message_read(m, "s", &key);
            if (key && std::string(key) == "trigger_description")
                trigger = ReadStringVariant(m);
            else
                sd_bus_message_skip(m, "v");
            sd_bus_message_exit_container(m);
        }
        sd_bus_message_exit_container(m);
        sd_bus_message_exit_container(m);
        if (id) shortcuts[id] = trigger;
    }
    sd_bus_message_exit_container(m);
    return shortcuts;
}

int ShortcutBindingId(const char* shortcutId) {
    std::string text = shortcutId ? shortcutId : "";
    if (text.rfind(kShortcutPrefix, 0) != 0) return -1;
    std::string digits = text.substr(std::string(kShortcutPrefix).size());
    if (digits.empty() || digits.size() > 9) return -1;
    for (char c : digits)
        if (c < '0' || c > '9') return -1;
    return std::stoi(digits);
}

class PortalHotKeyRegistrar final : public LHotKeyRegistrar, private HotkeyWorker {
  public:
    PortalHotKeyRegistrar(LHotKeyHandler& handler, BusPtr bus)
        : HotkeyWorker("HotKeysPortal"), handler_(handler), bus_(std::move(bus)) {}

    ~PortalHotKeyRegistrar() override {
        Stop();
        CloseSession();
        sd_bus_slot_unref(activatedSlot_);
        sd_bus_slot_unref(deactivatedSlot_);
        sd_bus_slot_unref(changedSlot_);
        sd_bus_slot_unref(responseSlot_);
    }

    LStatus Begin() {
        const char* unique = nullptr;
        int r = sd_bus_get_unique_name(bus_.get(), &unique);
        if (r < 0) return BusError("no name on the session bus", r);
        sender_ = std::string(unique + 1);  // without ":" and with "_" for "."
        for (char& c : sender_)
            if (c == '.') c = '_';
        r = sd_bus_match_signal(bus_.get(), &activatedSlot_, nullptr, kPortalPath,
                                kShortcutsInterface, "Activated", &OnActivated, this);
        if (r >= 0)
            r = sd_bus_match_signal(bus_.get(), &deactivatedSlot_, nullptr, kPortalPath,
                                    kShortcutsInterface, "Deactivated", &OnDeactivated, this);
        if (r >= 0)
            r = sd_bus_match_signal(bus_.get(), &changedSlot_, nullptr, kPortalPath,
                                    kShortcutsInterface, "ShortcutsChanged", &OnChanged, this);
        if (r < 0) return BusError("the portal's signals cannot be watched", r);
        if (!Start()) return MakeError(LErrorCode::kFailed, "the hot-key thread did not start");
        return {};
    }

    std::string ServiceName() const override { return kServiceName; }

    LStatus Register(const HotkeyBinding& binding) override {
        Call([this, binding] {
            if (HasKey(binding.key))
                wanted_[binding.id] = binding;
            else
                wanted_.erase(binding.id);
            dirty_ = true;
        });
        return {};
    }

    void Unregister(int bindingId) override {
        Call([this, bindingId] { dirty_ = wanted_.erase(bindingId) > 0 || dirty_; });
    }

    void UnregisterAll() override {
        Call([this] {
            wanted_.clear();
            dirty_ = true;
        });
    }

    std::vector<HotkeyRefusal> RegisterAll(const std::vector<HotkeyBinding>& bindings) override {
        Call([this, bindings] {
            wanted_.clear();
            for (const auto& b : bindings)
                if (HasKey(b.key)) wanted_[b.id] = b;
            dirty_ = true;
        });
        return {};
    }

    std::string ShownKey(int bindingId) const override {
        std::lock_guard lock(shownMutex_);
        auto it = shown_.find(bindingId);
        return it == shown_.end() ? std::string() : it->second;
    }

  private:
    enum class State { kIdle, kCreating, kBinding, kBound };

    int EventDescriptor() override { return sd_bus_get_fd(bus_.get()); }

    int PollTimeoutMs() override {
        uint64_t usec = 0;
        if (sd_bus_get_timeout(bus_.get(), &usec) < 0 || usec == UINT64_MAX) return -1;
        return 100;  // sd-bus has a deadline pending; look again soon
    }

    // Worker thread.
    void HandleEvents() override {
        while (sd_bus_process(bus_.get(), nullptr) > 0) {
        }
        if (dirty_ && (state_ == State::kIdle || state_ == State::kBound)) {
            dirty_ = false;
            CloseSession();
            if (!wanted_.empty()) CreateSession();
        }
    }

    std::string NextToken() { return StringPrintf("vocarta%d", ++tokenCount_); }

    std::string RequestPath(const std::string& token) const {
        return std::string(kPortalPath) + "/request/" + sender_ + "/" + token;
    }

    // Watches the Response of the request that `token` will name, before the
    // call, so that a fast answer is not missed.
    bool WatchResponse(const std::string& token) {
        sd_bus_slot_unref(responseSlot_);
        responseSlot_ = nullptr;
        int r = sd_bus_match_signal(bus_.get(), &responseSlot_, nullptr, RequestPath(token).c_str(),
                                    kRequestInterface, "Response", &OnResponse, this);
        if (r < 0) LogError("PortalHotKeyRegistrar: Response cannot be watched: %s", strerror(-r));
        return r >= 0;
    }

    bool CallPortal(sd_bus_message* m, const char* what) {
        sd_bus_error error = SD_BUS_ERROR_NULL;
        sd_bus_message* reply = nullptr;
        int r = sd_bus_call(bus_.get(), m, kCallTimeoutUs, &error, &reply);
        if (r < 0)
            LogError("PortalHotKeyRegistrar: %s", BusError(what, r, &error).Message().c_str());
        sd_bus_error_free(&error);
        sd_bus_message_unref(reply);
        return r >= 0;
    }

    void CreateSession() {
        const std::string token = NextToken();
        if (!WatchResponse(token)) return;
        sd_bus_message* m = nullptr;
        int r = sd_bus_message_new_method_call(bus_.get(), &m, kPortalService, kPortalPath,
                                               kShortcutsInterface, "CreateSession");
        if (r >= 0)
            r = sd_bus_message_append(m, "a{sv}", 2, "handle_token", "s", token.c_str(),
                                      "session_handle_token", "s", token.c_str());
        MessagePtr owned(m);
        if (r >= 0 && CallPortal(m, "CreateSession")) state_ = State::kCreating;
    }

    void BindShortcuts() {
        const std::string token = NextToken();
        if (!WatchResponse(token)) return;
        sd_bus_message* m = nullptr;
        int r = sd_bus_message_new_method_call(bus_.get(), &m, kPortalService, kPortalPath,
                                               kShortcutsInterface, "BindShortcuts");
        MessagePtr owned(m);
        if (r >= 0) r = sd_bus_message_append(m, "o", session_.c_str());
        if (r >= 0) r = sd_bus_message_open_container(m, 'a', "(sa{sv})");
        for (const auto& [id, b] : wanted_) {
            if (r < 0) break;
            const std::string shortcutId = kShortcutPrefix + std::to_string(id);
            const std::string description = HotkeyCommandName(b.Command());
            const std::string trigger = PreferredTrigger(b.key);
            r = sd_bus_message_open_container(m, 'r', "sa{sv}");
            if (r >= 0) r = sd_bus_message_append(m, "s", shortcutId.c_str());
            if (r >= 0) r = sd_bus_message_open_container(m, 'a', "{sv}");
            if (r >= 0)
                r = sd_bus_message_append(m, "{sv}", "description", "s",
                                          description.empty() ? "Vocarta" : description.c_str());
            if (r >= 0 && !trigger.empty())
                r = sd_bus_message_append(m, "{sv}", "preferred_trigger", "s", trigger.c_str());
            if (r >= 0) r = sd_bus_message_close_container(m);
            if (r >= 0) r = sd_bus_message_close_container(m);
        }
        if (r >= 0) r = sd_bus_message_close_container(m);
        if (r >= 0)
            r = sd_bus_message_append(m, "sa{sv}", "", 1, "handle_token", "s", token.c_str());
        if (r >= 0 && CallPortal(m, "BindShortcuts")) {
            state_ = State::kBinding;
        } else {
            state_ = State::kIdle;
        }
    }

    void CloseSession() {
        if (!session_.empty()) {
            sd_bus_error error = SD_BUS_ERROR_NULL;
            sd_bus_call_method(bus_.get(), kPortalService, session_.c_str(),
                               "org.freedesktop.portal.Session", "Close", &error, nullptr, "");
            sd_bus_error_free(&error);
            session_.clear();
        }
        bound_.clear();
        held_.clear();
        state_ = State::kIdle;
        std::lock_guard lock(shownMutex_);
        shown_.clear();
    }

    // Worker thread (inside sd_bus_process).
    static int OnResponse(sd_bus_message* m, void* self, sd_bus_error*) {
        static_cast<PortalHotKeyRegistrar*>(self)->Response(m);
        return 0;
    }

    void Response(sd_bus_message* m) {
        uint32_t response = 2;
        sd_bus_message_read(m, "u", &response);
        std::string session;
        std::map<std::string, std::string> shortcuts;
        if (sd_bus_message_enter_container(m, 'a', "{sv}") > 0) {
            while (sd_bus_message_enter_container(m, 'e', "sv") > 0) {
                const char* key = nullptr;
                sd_bus_message_read(m, "s", &key);
                std::string name = key ? key : "";
                if (name == "session_handle") {
                    session = ReadStringVariant(m);
                } else if (name == "shortcuts" &&
                           sd_bus_message_enter_container(m, 'v', "a(sa{sv})") > 0) {
                    shortcuts = ReadShortcuts(m);
                    sd_bus_message_exit_container(m);
                } else {
                    sd_bus_message_skip(m, "v");
                }
                sd_bus_message_exit_container(m);
            }
        }
        if (response != 0) {
            LogError("PortalHotKeyRegistrar: the portal refused the hot-keys (response %u)",
                     response);
            state_ = State::kIdle;
            return;
        }
        if (state_ == State::kCreating) {
            session_ = session;
            if (session_.empty()) {
                LogError("PortalHotKeyRegistrar: the portal gave no session");
                state_ = State::kIdle;
                return;
            }
            BindShortcuts();
        } else if (state_ == State::kBinding) {
            bound_ = wanted_;
            state_ = State::kBound;
            Shown(shortcuts);
            LogEvent("Hot-keys: %zu bound through the desktop's shortcut portal", bound_.size());
        }
    }

    void Shown(const std::map<std::string, std::string>& shortcuts) {
        std::lock_guard lock(shownMutex_);
        shown_.clear();
        for (const auto& [shortcutId, trigger] : shortcuts) {
            int id = ShortcutBindingId(shortcutId.c_str());
            if (id >= 0) shown_[id] = trigger;
        }
    }

    static int OnActivated(sd_bus_message* m, void* self, sd_bus_error*) {
        static_cast<PortalHotKeyRegistrar*>(self)->Deliver(m, true);
        return 0;
    }
    static int OnDeactivated(sd_bus_message* m, void* self, sd_bus_error*) {
        static_cast<PortalHotKeyRegistrar*>(self)->Deliver(m, false);
        return 0;
    }
    static int OnChanged(sd_bus_message* m, void* self, sd_bus_error*) {
        auto* me = static_cast<PortalHotKeyRegistrar*>(self);
        const char* session = nullptr;
        if (sd_bus_message_read(m, "o", &session) >= 0 && session && me->session_ == session)
            me->Shown(ReadShortcuts(m));
        return 0;
    }

    // Worker thread. Shortcuts of another session or an unknown id are ignored.
    void Deliver(sd_bus_message* m, bool pressed) {
        const char* session = nullptr;
        const char* shortcutId = nullptr;
        if (sd_bus_message_read(m, "os", &session, &shortcutId) < 0 || !session ||
            session_ != session)
            return;
        auto it = bound_.find(ShortcutBindingId(shortcutId));
        if (it == bound_.end()) return;
        const int id = it->first;
        if (pressed) {
            if (!held_.insert(id).second) return;
            handler_.HotKeyPressed(it->second.Command(), id);
        } else {
            if (!held_.erase(id)) return;
            handler_.HotKeyReleased(it->second.Command(), id);
        }
    }

    LHotKeyHandler& handler_;
    BusPtr bus_;
    std::string sender_;
    sd_bus_slot* activatedSlot_ = nullptr;
    sd_bus_slot* deactivatedSlot_ = nullptr;
    sd_bus_slot* changedSlot_ = nullptr;
    sd_bus_slot* responseSlot_ = nullptr;
    // Worker thread only:
    State state_ = State::kIdle;
    bool dirty_ = false;
    int tokenCount_ = 0;
    std::string session_;
    std::map<int, HotkeyBinding> wanted_;
    std::map<int, HotkeyBinding> bound_;
    std::set<int> held_;
    mutable std::mutex shownMutex_;
    std::map<int, std::string> shown_;  // guarded by shownMutex_
};

}  // namespace

LResult<std::unique_ptr<LHotKeyRegistrar>> CreatePortalHotKeyRegistrar(LHotKeyHandler& handler) {
    auto bus = OpenSessionBus();
    if (!bus) return bus.Error();
    auto version = PortalVersion(bus.Value().get());
    if (!version) return version.Error();
    auto registrar = std::make_unique<PortalHotKeyRegistrar>(handler, std::move(bus).Value());
    LStatus begun = registrar->Begin();
    if (!begun) return begun.Error();
    return std::unique_ptr<LHotKeyRegistrar>(std::move(registrar));
}

LResult<std::string> ProbePortalHotKeys() {
    auto bus = OpenSessionBus();
    if (!bus) return bus.Error();
    auto version = PortalVersion(bus.Value().get());
    if (!version) return version.Error();
    return std::string(kServiceName);
}

}  // namespace vocarta
