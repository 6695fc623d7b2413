// X11 key grabs under a private Xvfb, with keys sent by xdotool: presses and
// releases arrive with their commands on the registrar's thread, also with
// Caps Lock or Num Lock on; a key another client holds is refused by name while
// the other bindings work; disabling releases every grab.

#include <gtest/gtest.h>

#include "hotkey_test_support.h"
#include "hotkeys/hotkey_registrar.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

const HotkeyValue kCtrlAltK = MakeHotkey(u'K', kHotkeyControl | kHotkeyOption);
const HotkeyValue kCtrlAltM = MakeHotkey(u'M', kHotkeyControl | kHotkeyOption);

void Press(const std::string& keys) {
    ASSERT_EQ(RunProgram({"xdotool", "key", keys}), 0) << "xdotool key " << keys;
}

std::vector<Delivery> Both(HotkeyCommand command, int id) {
    return {{true, command, id}, {false, command, id}};
}

class X11RegistrarTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(xvfb_.Ok()) << "Xvfb (package xvfb) is needed for this test";
        ASSERT_EQ(RunProgram({"xdotool", "version"}), 0) << "xdotool is needed for this test";
    }
    std::unique_ptr<LHotKeyRegistrar> Make(LHotKeyHandler& handler) {
        auto made = CreateX11HotKeyRegistrar(handler);
        EXPECT_TRUE(made.Ok()) << (made.Ok() ? "" : made.Error().Message());
        return made.Ok() ? std::move(made).Value() : nullptr;
    }
    Xvfb xvfb_;
};

}  // namespace

TEST_F(X11RegistrarTest, PressAndReleaseArriveWithTheirCommandUnderEitherLock) {
    RecordingHandler handler;
    auto reg = Make(handler);
    ASSERT_TRUE(reg);
    EXPECT_EQ(reg->ServiceName(), "X11 key grabs");
    ASSERT_TRUE(reg->RegisterAll({{0, 1, kCtrlAltK},
                                  {1, 3, MakeVirtualHotkey(100)},  // F8 alone
                                  {2, 2, MakeHotkey(u'J', kHotkeyShift | kHotkeyCommand)},
                                  {3, 5, MakeHotkey(u'?', kHotkeyShift | kHotkeyControl)}})
                    .empty());

    std::vector<Delivery> expected;
    auto expect = [&](const std::string& keys, HotkeyCommand command, int id) {
        Press(keys);
        for (const auto& d : Both(command, id)) expected.push_back(d);
        EXPECT_EQ(handler.WaitFor(expected.size()), expected) << keys;
    };
    expect("ctrl+alt+k", HotkeyCommand::kRecord, 0);
    expect("F8", HotkeyCommand::kStop, 1);
    expect("super+shift+j", HotkeyCommand::kPause, 2);
    expect("ctrl+question", HotkeyCommand::kPlay, 3);
    Press("Caps_Lock");
    expect("ctrl+alt+k", HotkeyCommand::kRecord, 0);
    Press("Caps_Lock");
    Press("Num_Lock");
    expect("F8", HotkeyCommand::kStop, 1);
    Press("Num_Lock");
    EXPECT_TRUE(handler.OnRegistrarThread());

    // Plain K and Ctrl+K are not the binding.
    Press("k");
    Press("ctrl+k");
    reg->Unregister(1);
    Press("F8");
    expect("ctrl+alt+k", HotkeyCommand::kRecord, 0);

    // Registering an id again moves it to the new key.
    ASSERT_TRUE(reg->Register({0, 1, MakeVirtualHotkey(101)}).Ok());  // F9
    Press("ctrl+alt+k");
    expect("F9", HotkeyCommand::kRecord, 0);

    // A key the keyboard lacks is refused by name; no key is nothing to register.
    LStatus refused = reg->Register({4, 1, MakeVirtualHotkey(200, kHotkeyControl)});
    EXPECT_EQ(refused ? "" : refused.Error().Message(),
              "The hot-key ⌃Unknown cannot be used: this keyboard has no such key.");
    EXPECT_TRUE(reg->Register({5, 1, 0}).Ok());
}

// Another client holds a key: refused by name, and disabling lets it have ours.
TEST_F(X11RegistrarTest, AHeldKeyIsRefusedAndDisablingReleasesEveryGrab) {
    RecordingHandler otherHandler;
    auto other = Make(otherHandler);
    RecordingHandler handler;
    auto reg = Make(handler);
    ASSERT_TRUE(other && reg);
    ASSERT_TRUE(other->Register({0, 1, kCtrlAltM}).Ok());
    auto refusals = reg->RegisterAll({{0, 3, kCtrlAltM}, {1, 1, kCtrlAltK}});
    ASSERT_EQ(refusals.size(), 1u);
    EXPECT_EQ(refusals[0].bindingId, 0);
    EXPECT_EQ(refusals[0].error.Code(), LErrorCode::kExists);
    EXPECT_EQ(refusals[0].error.Message(),
              "The hot-key ⌃⌥M could not be registered: another program already uses it. Please "
              "choose another key.");

    // While ours holds Ctrl+Alt+K the other client cannot have it; once hot-keys
    // are disabled it can, and ours hears nothing more.
    EXPECT_FALSE(other->Register({1, 2, kCtrlAltK}).Ok());
    reg->UnregisterAll();
    ASSERT_TRUE(other->Register({1, 2, kCtrlAltK}).Ok());
    Press("ctrl+alt+k");
    EXPECT_EQ(otherHandler.WaitFor(2), Both(HotkeyCommand::kPause, 1));
    EXPECT_TRUE(handler.WaitFor(0).empty()) << "the key still reached us";
}
