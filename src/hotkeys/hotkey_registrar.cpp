#include "hotkeys/hotkey_registrar.h"

#include <cstdlib>
#include <cstring>

#include "toolkit/log.h"

namespace vocarta {

namespace {

bool IsWaylandSession() {
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    const char* type = std::getenv("XDG_SESSION_TYPE");
    return (wayland && *wayland) || (type && std::strcmp(type, "wayland") == 0);
}

bool HasXDisplay() {
    const char* display = std::getenv("DISPLAY");
    return display && *display;
}

}  // namespace

// Declared with the portal's files; kept out of the interface.
LResult<std::string> ProbePortalHotKeys();
LResult<std::string> ProbeX11HotKeys();

std::vector<HotkeyRefusal> LHotKeyRegistrar::RegisterAll(
    const std::vector<HotkeyBinding>& bindings) {
    UnregisterAll();
    std::vector<HotkeyRefusal> refusals;
    for (const auto& b : bindings) {
        LStatus status = Register(b);
        if (!status) refusals.push_back({b.id, status.Error()});
    }
    return refusals;
}

LResult<std::unique_ptr<LHotKeyRegistrar>> CreateHotKeyRegistrar(LHotKeyHandler& handler) {
    std::string reasons;
    if (IsWaylandSession()) {
        auto portal = CreatePortalHotKeyRegistrar(handler);
        if (portal) return portal;
        reasons = "the desktop's shortcut portal: " + portal.Error().Message();
        LogEvent("Hot-keys: %s", reasons.c_str());
    }
    if (HasXDisplay()) {
        auto x11 = CreateX11HotKeyRegistrar(handler);
        if (x11) return x11;
        reasons += (reasons.empty() ? "" : "; ") + x11.Error().Message();
    } else {
        reasons += std::string(reasons.empty() ? "" : "; ") + "no X display";
    }
    return MakeError(LErrorCode::kUnsupported,
                     "System-wide hot-keys are not available on this desktop (%s).",
                     reasons.c_str());
}

LResult<std::string> ProbeHotKeyService() {
    std::string reasons;
    if (IsWaylandSession()) {
        auto portal = ProbePortalHotKeys();
        if (portal) return portal;
        reasons = "the desktop's shortcut portal: " + portal.Error().Message();
    }
    if (HasXDisplay()) {
        auto x11 = ProbeX11HotKeys();
        if (x11)
            return IsWaylandSession() ? x11.Value() + ", only while an X11 window has the focus"
                                      : x11.Value();
        reasons += (reasons.empty() ? "" : "; ") + x11.Error().Message();
    } else {
        reasons += std::string(reasons.empty() ? "" : "; ") + "no X display";
    }
    return MakeError(LErrorCode::kUnsupported,
                     "System-wide hot-keys are not available on this desktop (%s).",
                     reasons.c_str());
}

std::string HotkeyServiceStatusText(const LResult<std::string>& probe) {
    if (probe) return "System-wide hot-keys work through " + probe.Value() + ".";
    return probe.Error().Message() + " Your hot-keys stay stored and work again where they can.";
}

}  // namespace vocarta
