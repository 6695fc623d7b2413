// The windowed program's hot-keys over a stand-in registrar: what is registered
// when, that a refusal is reported once, and that a press reaches the session
// only through the main loop. The real registrars and keys on a real display:
// tests/hotkeys and test_hotkeys_x11.py.

#include "gui/hotkey_service.h"

#include <QAction>
#include <map>
#include <thread>

#include "app/session/main_dialog.h"
#include "app/session/session_dispatcher.h"
#include "gui/gui_test_support.h"
#include "gui/hotkey_options_page.h"
#include "gui/main_window.h"
#include "gui/options_dialog.h"
#include "settings/settings.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

constexpr HotkeyValue kHeldKey = MakeHotkey(u'S', kHotkeyControl | kHotkeyOption);

class FakeRegistrar final : public LHotKeyRegistrar {
  public:
    std::string ServiceName() const override { return "test grabs"; }
    LStatus Register(const HotkeyBinding& b) override {
        if (b.key == kHeldKey)
            return MakeError(LErrorCode::kExists, "%s is held", HotkeyName(b.key).c_str());
        ++registrations;
        return {};
    }
    void Unregister(int) override {}
    void UnregisterAll() override { ++releases; }
    int registrations = 0, releases = 0;
};

class HotkeyServiceTest : public ::testing::Test {
  protected:
    HotkeyServiceTest() {
        EnsureApplication();
        DeleteSettingTree("Hotkey");
    }
    void Bind(HotkeyCommand command, HotkeyValue key) {
        ASSERT_TRUE(StoreHotkeyBinding({-1, int32_t(command), key}));
    }

    FakeView view;
    FakeMainLoop loop;
    MainDialog dialog{view, loop};
    SessionDispatcher commands{dialog};
    FakeRegistrar* registrar = nullptr;
    LHotKeyHandler* handler = nullptr;
    std::unique_ptr<HotkeyService> service = std::make_unique<HotkeyService>(
        loop, view, commands,
        [this](LHotKeyHandler& h) -> LResult<std::unique_ptr<LHotKeyRegistrar>> {
            handler = &h;
            auto made = std::make_unique<FakeRegistrar>();
            registrar = made.get();
            return std::unique_ptr<LHotKeyRegistrar>(std::move(made));
        });
};

}  // namespace

TEST_F(HotkeyServiceTest, RefusalsAreShownOnceAndCaptureReleasesTheKeys) {
    Bind(HotkeyCommand::kRecord, MakeHotkey(u'R', kHotkeyControl | kHotkeyOption));
    Bind(HotkeyCommand::kStop, kHeldKey);
    service->Start();
    ASSERT_TRUE(registrar && service->Registered());
    EXPECT_EQ(registrar->registrations, 1);
    ASSERT_EQ(view.messages.size(), 1u);
    EXPECT_EQ(view.messages[0].title + ": " + view.messages[0].text,
              "Hot-Key Not Available: Stop and Mark Done: ⌃⌥S is held");

    // The options window: the page learns the state; its dialog releases every key.
    OptionsDialog options(view);
    service->AttachOptions(options, {{"Start Recording", MakeVirtualHotkey(kVkF5)},
                                     {"Quit", MakeHotkey(u'Q', kHotkeyControl)}});
    EXPECT_EQ(Shown(options, "hotkeyServiceStatus"),
              "System-wide hot-keys work through test grabs.\nStop and Mark Done: ⌃⌥S is held");
    EXPECT_EQ(Shown(options, "hotkeyWindowKeys"),
              "The main window's own keys cannot be hot-keys: Start Recording (F5), Quit (⌃Q).");
    emit options.HotkeyPage().KeyCaptureChanged(true);
    EXPECT_TRUE(registrar->releases == 2 &&
                !service->Registered());  // RegisterAll's, the capture's
    emit options.HotkeyPage().KeyCaptureChanged(false);
    EXPECT_TRUE(service->Registered());
    Bind(HotkeyCommand::kPause, MakeHotkey(u'P', kHotkeyControl | kHotkeyOption));
    emit options.HotkeyPage().BindingsChanged();
    EXPECT_EQ(registrar->registrations, 4);
    EXPECT_EQ(view.messages.size(), 1u) << "the standing refusal was shown again";
    const int before = registrar->registrations;
    options.accept();  // nothing changed: nothing registered again
    EXPECT_EQ(registrar->registrations, before);

    ASSERT_TRUE(StoreHotkeysEnabled(false));
    service->Apply();
    EXPECT_FALSE(service->Registered());
}

TEST_F(HotkeyServiceTest, PressesReachTheSessionOnTheMainLoopOnly) {
    LogTail log;
    Bind(HotkeyCommand::kPause, MakeVirtualHotkey(kVkF6, kHotkeyShift));
    service->Start();
    ASSERT_TRUE(handler);
    std::thread([&] {
        handler->HotKeyPressed(HotkeyCommand::kPause, 0);
        handler->HotKeyReleased(HotkeyCommand::kPause, 0);
        handler->HotKeyPressed(HotkeyCommand::kNone, 7);
    }).join();
    EXPECT_FALSE(log.HasPrefix("Command from the hot-key"));
    EXPECT_EQ(loop.RunPosted(2), 2);  // the releases post nothing
    EXPECT_TRUE(log.Has("Command from the hot-key: pause"));
    EXPECT_TRUE(log.Has("Hot-key 7 has no command to run"));

    // A press still queued when the service goes is dropped.
    handler->HotKeyPressed(HotkeyCommand::kPause, 0);
    service.reset();
    EXPECT_EQ(loop.RunPosted(1), 1);

    // The table the dialog checks against comes from the window's own actions.
    MainWindow window;
    std::map<HotkeyValue, std::string> keys;
    for (const auto& shortcut : WindowShortcuts(window.Actions()))
        keys[shortcut.key] = shortcut.command;
    EXPECT_EQ(keys[MakeVirtualHotkey(kVkF5)], "Start Recording");
    EXPECT_EQ(keys[MakeVirtualHotkey(kVkF6)], "Pause Recording");
    EXPECT_EQ(keys[MakeVirtualHotkey(kVkF7)], "Stop and Mark Done");
    EXPECT_EQ(keys[MakeVirtualHotkey(kVkHome)], "Retake Recording/Replay");
    EXPECT_EQ(keys[MakeVirtualHotkey(kVkSpace)], "Play Recording");
    // Quit's key is the platform's (none in some keyboard schemes).
    if (window.Actions().quit->shortcut() == QKeySequence(Qt::CTRL | Qt::Key_Q)) {
        EXPECT_EQ(keys[MakeHotkey(u'Q', kHotkeyControl)], "Quit");
    }
}
