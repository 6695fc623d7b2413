// The GlobalShortcuts portal registrar against a stand-in portal on a private
// session bus: the bindings are proposed with their keys as preferred triggers,
// the key the desktop reports is what is shown, activations arrive as press and
// release, unknown shortcuts are ignored, and disabling closes the session.
// Without a portal or an X display, hot-keys are plainly not available.

#include <gtest/gtest.h>

#include <thread>

#include "hotkey_test_support.h"
#include "hotkeys/hotkey_registrar.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

class PortalTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_FALSE(bus_.Line().empty()) << "dbus-daemon (package dbus-daemon) is needed";
        setenv("DBUS_SESSION_BUS_ADDRESS", bus_.Line().c_str(), 1);
    }
    std::unique_ptr<Helper> StartPortal() {
        auto portal = std::make_unique<Helper>(std::vector<std::string>{
            "/usr/bin/python3", VOCARTA_SOURCE_DIR "/tests/hotkeys/fake_portal.py", "{fd}"});
        EXPECT_EQ(portal->Line(), "ready") << "python3-dbus and python3-gi are needed";
        return portal;
    }
    static void Press(const std::string& shortcut) {
        ASSERT_EQ(
            RunProgram({"dbus-send", "--session", "--print-reply=literal",
                        "--dest=org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop",
                        "org.vocarta.test.Control.Press", "string:" + shortcut}),
            0);
    }
    // Waits until the registrar shows `id` as bound, or unbound (10 s at most).
    static std::string WaitShown(LHotKeyRegistrar& reg, int id, bool bound = true) {
        for (int i = 0; i < 200 && reg.ShownKey(id).empty() == bound; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        return reg.ShownKey(id);
    }

    Helper bus_{{"dbus-daemon", "--session", "--nofork", "--print-address={fd}"}};
};

}  // namespace

TEST_F(PortalTest, BindsThroughThePortalAndDeliversActivations) {
    auto portal = StartPortal();
    RecordingHandler handler;
    auto made = CreatePortalHotKeyRegistrar(handler);
    ASSERT_TRUE(made.Ok()) << made.Error().Message();
    auto& reg = *made.Value();
    EXPECT_EQ(reg.ServiceName(), "the desktop's shortcut portal");
    auto refusals =
        reg.RegisterAll({{0, 1, MakeHotkey(u'K', kHotkeyControl | kHotkeyOption)},
                         {3, 3, MakeVirtualHotkey(kVkF5, kHotkeyCommand | kHotkeyShift)},
                         {4, 2, 0}});
    EXPECT_TRUE(refusals.empty());
    EXPECT_EQ(WaitShown(reg, 0), "CTRL+ALT+k (test desktop)");
    EXPECT_EQ(reg.ShownKey(3), "SHIFT+LOGO+F5 (test desktop)");
    EXPECT_EQ(reg.ShownKey(4), "");  // no key: not given to the desktop

    Press("hotkey-99");
    Press("someone-else");
    Press("hotkey-3");
    EXPECT_EQ(handler.WaitFor(2), (std::vector<Delivery>{{true, HotkeyCommand::kStop, 3},
                                                         {false, HotkeyCommand::kStop, 3}}));
    EXPECT_TRUE(handler.OnRegistrarThread());

    // A changed set is bound again in a fresh session; the old one is closed.
    ASSERT_TRUE(reg.Register({5, 5, MakeVirtualHotkey(100)}).Ok());
    EXPECT_EQ(WaitShown(reg, 5), "F8 (test desktop)");
    Press("hotkey-5");
    ASSERT_EQ(handler.WaitFor(4).size(), 4u);
    EXPECT_EQ(handler.WaitFor(4)[2], (Delivery{true, HotkeyCommand::kPlay, 5}));

    // Disabled: the session is closed and a press of the old session counts for nothing.
    reg.UnregisterAll();
    EXPECT_EQ(WaitShown(reg, 5, false), "");
    Press("hotkey-5");
    Press("hotkey-0");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(handler.WaitFor(4).size(), 4u);
}

TEST_F(PortalTest, WithoutPortalOrXDisplayHotKeysAreNotAvailable) {
    RecordingHandler handler;
    EXPECT_FALSE(CreatePortalHotKeyRegistrar(handler).Ok());
    unsetenv("DISPLAY");
    setenv("WAYLAND_DISPLAY", "wayland-test", 1);
    auto made = CreateHotKeyRegistrar(handler);
    ASSERT_FALSE(made.Ok());
    EXPECT_EQ(made.Error().Code(), LErrorCode::kUnsupported);
    const std::string message = made.Error().Message();
    EXPECT_EQ(message.rfind("System-wide hot-keys are not available on this desktop (the "
                            "desktop's shortcut portal: ",
                            0),
              0u)
        << message;
    EXPECT_NE(message.find("; no X display)."), std::string::npos) << message;
    EXPECT_EQ(ProbeHotKeyService().Error().Message(), message);

    // With a portal answering, the same desktop has hot-keys.
    auto portal = StartPortal();
    auto withPortal = CreateHotKeyRegistrar(handler);
    ASSERT_TRUE(withPortal.Ok()) << withPortal.Error().Message();
    EXPECT_EQ(withPortal.Value()->ServiceName(), "the desktop's shortcut portal");
    EXPECT_EQ(HotkeyServiceStatusText(ProbeHotKeyService()),
              "System-wide hot-keys work through the desktop's shortcut portal.");
}
