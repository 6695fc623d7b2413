// The hot-key page and dialog, offscreen: the "Press Key" box takes key
// combinations as a user presses them, OK shows the first refusal with its
// title, a binding that passes is stored, and deletion asks first.

#include "gui/hotkey_dialog.h"

#include <QKeyEvent>
#include <QPushButton>
#include <QTreeWidget>

#include "gui/gui_test_support.h"
#include "gui/hotkey_options_page.h"
#include "gui/hotkey_press_box.h"
#include "settings/settings.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

void Key(QWidget& box, int key, Qt::KeyboardModifiers modifiers, const QString& text = {}) {
    QKeyEvent press(QEvent::KeyPress, key, modifiers, text);
    QApplication::sendEvent(&box, &press);
    QKeyEvent release(QEvent::KeyRelease, key, modifiers, text);
    QApplication::sendEvent(&box, &release);
}

class HotkeyGuiTest : public ::testing::Test {
  protected:
    HotkeyGuiTest() {
        EnsureApplication();
        DeleteSettingTree("Hotkey");
    }
    FakeView view;
};

}  // namespace

TEST_F(HotkeyGuiTest, PressKeyBoxTakesCombinationsAndShowsHeldModifiers) {
    HotkeyPressBox box;
    EXPECT_EQ(box.placeholderText(), "Press a key or a key combination.");
    Key(box, Qt::Key_K, Qt::ControlModifier | Qt::AltModifier, "k");
    EXPECT_EQ(box.Key(), MakeHotkey(u'K', kHotkeyControl | kHotkeyOption));
    EXPECT_EQ(box.text(), "⌃⌥K");
    // A modifier held alone shows, and letting it go shows the key again.
    QKeyEvent ctrl(QEvent::KeyPress, Qt::Key_Control, Qt::ControlModifier | Qt::MetaModifier);
    QApplication::sendEvent(&box, &ctrl);
    EXPECT_EQ(box.text(), "⌃⌘");
    QKeyEvent up(QEvent::KeyRelease, Qt::Key_Control, Qt::NoModifier);
    QApplication::sendEvent(&box, &up);
    EXPECT_EQ(box.text(), "⌃⌥K");
    EXPECT_EQ(box.Key(), MakeHotkey(u'K', kHotkeyControl | kHotkeyOption));
    // Keys that would move the focus or close the dialog are taken too.
    Key(box, Qt::Key_Tab, Qt::ControlModifier);
    EXPECT_EQ(box.text(), "⌃⇥");
    Key(box, Qt::Key_Escape, Qt::MetaModifier);
    EXPECT_EQ(box.text(), "⌘⎋");
    Key(box, Qt::Key_F5, Qt::NoModifier);
    EXPECT_EQ(box.Key(), MakeVirtualHotkey(kVkF5));
    Key(box, Qt::Key_Question, Qt::ControlModifier | Qt::ShiftModifier, "?");
    EXPECT_EQ(box.text(), "⌃?");
}

TEST_F(HotkeyGuiTest, DialogRefusesInOrderThenStoresTheBinding) {
    ASSERT_EQ(
        StoreHotkeyBinding({-1, int32_t(HotkeyCommand::kRecord), MakeHotkey(u'R', kHotkeyControl)})
            .ValueOr(-1),
        0);
    const std::vector<HotkeyValue> app = {MakeVirtualHotkey(kVkF5), MakeVirtualHotkey(kVkHome)};
    HotkeyDialog dialog(view, HotkeyBinding{}, ReadHotkeyBindings(), app, BindableHotkeyCommands());
    dialog.show();
    EXPECT_EQ(dialog.windowTitle(), "Add New Hot-Key");
    auto refused = [&](int key, Qt::KeyboardModifiers mods, const char* title) {
        if (key) Key(dialog.PressBox(), key, mods);
        const std::size_t before = view.messages.size();
        dialog.accept();
        ASSERT_EQ(view.messages.size(), before + 1) << title;
        EXPECT_EQ(view.messages.back().title, title);
        EXPECT_TRUE(dialog.isVisible()) << title;
    };
    refused(0, {}, "Hot-key Required");
    EXPECT_EQ(view.messages.back().text, "Please click here to assign the hot-key.");
    // One key of each rule (the rules themselves: hotkey_checks_test.cpp).
    refused(Qt::Key_F5, {}, "Key Already In Use");
    refused(Qt::Key_A, {}, "Key Has No Modifier");
    refused(Qt::Key_F2, {}, "Key Is Reserved");
    refused(Qt::Key_T, Qt::ControlModifier, "Command Already Assigned A Key");

    Enter(dialog, "hotkeyCommand=Stop and Mark Done");
    dialog.accept();
    EXPECT_FALSE(dialog.isVisible());
    EXPECT_EQ(dialog.Saved(),
              (HotkeyBinding{1, int32_t(HotkeyCommand::kStop), MakeHotkey(u'T', kHotkeyControl)}));
    ExpectSettings("Hotkey/Details/1",
                   "Command=3;Key=" + std::to_string(MakeHotkey(u'T', kHotkeyControl)));
    ExpectSettings("Hotkey/Details", "MaxID=2");

    // Changing it keeps its id; the same key again is no clash with itself.
    HotkeyDialog change(view, dialog.Saved(), ReadHotkeyBindings(), app, BindableHotkeyCommands());
    EXPECT_EQ(change.windowTitle(), "Change Hot-Key Command");
    ExpectShown(change, "hotkeyCommand=Stop and Mark Done;hotkeyPressKey=⌃T");
    Enter(change, "hotkeyCommand=Pause Recording");
    change.accept();
    EXPECT_EQ(change.result(), QDialog::Accepted);
    ExpectSettings("Hotkey/Details/1", "Command=2");
    EXPECT_EQ(ReadHotkeyBindings().size(), 2u);
}

TEST_F(HotkeyGuiTest, PageListsBindingsDeletesAfterAskingAndStoresEnabled) {
    ASSERT_TRUE(StoreHotkeyBinding(
        {-1, int32_t(HotkeyCommand::kRecord), MakeVirtualHotkey(kVkF6, kHotkeyShift)}));
    ASSERT_TRUE(
        StoreHotkeyBinding({-1, int32_t(HotkeyCommand::kStop), MakeHotkey(u'S', kHotkeyOption)}));
    unsetenv("DISPLAY");
    unsetenv("WAYLAND_DISPLAY");
    HotkeyOptionsPage page(view);
    auto* list = Child<QTreeWidget>(page, "hotkeyList");
    const auto rows = [list] {
        QStringList texts;
        for (int i = 0; i < list->topLevelItemCount(); ++i)
            texts << list->topLevelItem(i)->text(0) + " " + list->topLevelItem(i)->text(1);
        return texts.join("|").toStdString();
    };
    EXPECT_EQ(rows(), "Start Recording ⇧F6|Stop and Mark Done ⌥S");
    EXPECT_EQ(Shown(page, "hotkeyServiceStatus"),
              "System-wide hot-keys are not available on this desktop (no X display). Your "
              "hot-keys stay stored and work again where they can.");
    page.SetKeyDescriber([](int id) { return id == 1 ? std::string("Alt+S (desktop)") : ""; });
    EXPECT_EQ(rows(), "Start Recording ⇧F6|Stop and Mark Done Alt+S (desktop)");
    EXPECT_EQ(Shown(page, "hotkeyDelete.enabled"), "0");

    int changed = 0;
    QObject::connect(&page, &HotkeyOptionsPage::BindingsChanged, [&] { ++changed; });
    list->topLevelItem(0)->setSelected(true);
    EXPECT_FALSE(page.DeleteSelected());  // the question's safe answer is Cancel
    ASSERT_EQ(view.messages.size(), 1u);
    EXPECT_EQ(view.messages[0].title + ": " + view.messages[0].text,
              "Delete Hot-Key(s): Delete the selected hot-key(s)?");
    EXPECT_EQ(view.messages[0].buttons, (std::vector<std::string>{"Delete", "Cancel"}));
    EXPECT_EQ(ReadHotkeyBindings().size(), 2u);
    view.answers = {0};
    EXPECT_TRUE(page.DeleteSelected());
    EXPECT_EQ(changed, 1);
    ASSERT_EQ(ReadHotkeyBindings().size(), 1u);
    EXPECT_EQ(ReadHotkeyBindings()[0].Command(), HotkeyCommand::kStop);
    EXPECT_EQ(rows(), "Stop and Mark Done Alt+S (desktop)");

    Enter(page, "hotkeysEnabled=0");
    page.Store();
    ExpectSettings("Hotkey", "Enabled=0");
}
