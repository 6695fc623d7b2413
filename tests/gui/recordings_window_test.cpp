// "Find and Play Recordings" on a folder of real recordings: the toolbar, the
// count, the stored filter, rescan, sorting by a header, the
// folder choice refusing a missing folder, playing at the preset speeds, and the
// options page. The folder watcher: library_scan_test.cpp and
// test_recordings_window_x11.py.

#include "gui/recordings_window.h"

#include <QAction>
#include <QCoreApplication>
#include <QHeaderView>
#include <QMenuBar>
#include <QToolBar>
#include <QTreeWidget>

#include "gui/find_play_options_page.h"
#include "gui/gui_test_support.h"
#include "gui/main_window.h"
#include "gui/recordings_folder_dialog.h"
#include "library/actions_test_support.h"
#include "library/library_settings.h"
#include "toolkit/paths.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {
QStringList Column(QTreeWidget& table, int column) {
    QStringList texts;
    for (int i = 0; i < table.topLevelItemCount(); ++i)
        texts << table.topLevelItem(i)->text(column);
    return texts;
}

struct WindowFixture : ::testing::Test {
    TempDir dir{"vocarta-findplay"};
    FakeView view;
    void SetUp() override {
        EnsureApplication();
        setenv("VOCARTA_PLAYBACK", "null", 1);
        StoreViewFilter(ViewFilter{});
        find_play::StoreUseRecordFolder(true);
        WriteTone(dir.File("take3.wav"), 1200);
        WriteTone(dir.File("long.flac"), 2500);
        WriteTone(dir.File("short.aiff"), 300);
    }
    std::function<std::string()> Folder() {
        return [this] { return dir.Path(); };
    }
};
}  // namespace

TEST_F(WindowFixture, ListsFiltersRescansAndSorts) {
    RecordingsWindow window(view, Folder());
    auto* bar = Child<QToolBar>(window, "recordingsToolBar");
    QStringList texts;
    for (QAction* a : bar->actions()) texts << a->text();
    EXPECT_EQ(texts, (QStringList{"Play", "Save As", "Delete", "Folder", "View Filter", "Send",
                                  "Edit", "Convert", "Burn", "Update Now"}));
    EXPECT_EQ(Child<QAction>(window, "folder")->toolTip() + "|" +
                  Child<QAction>(window, "viewFilter")->toolTip(),
              "Select the output folder|Change the filter settings (Ctrl+F)");
    EXPECT_TRUE(
        Child<QAction>(window, "play")->toolTip().startsWith("Play the selected recording"));
    EXPECT_EQ(window.Table().columnCount(), 7);
    EXPECT_EQ(window.Table().headerItem()->text(5), "Recording Location");
    EXPECT_EQ(window.CountText(), "3 Recordings were found");

    // The filter page as a user fills it in: test_recordings_window_x11.py; its
    // clamps and date check: library_rows_test.cpp.
    StoreViewFilter(ViewFilter{.searchOn = true, .searchText = "TAKE"});
    window.Rescan();
    EXPECT_EQ(Column(window.Table(), 0), QStringList{"take3.wav"});

    StoreViewFilter(ViewFilter{});
    WriteTone(dir.File("new.mp3"), 500);
    Child<QAction>(window, "updateNow")->trigger();
    EXPECT_EQ(window.CountText(), "4 Recordings were found");

    window.Table().header()->sectionClicked(0);  // Name, A to Z
    EXPECT_EQ(Column(window.Table(), 0),
              (QStringList{"long.flac", "new.mp3", "short.aiff", "take3.wav"}));
    window.Table().header()->sectionClicked(1);  // Duration, shortest first
    EXPECT_EQ(Column(window.Table(), 0).front(), "short.aiff");
    window.Table().header()->sectionClicked(1);
    EXPECT_EQ(Column(window.Table(), 0).front() + Column(window.Table(), 1).front(),
              "long.flac0:00:02.500");
}

TEST_F(WindowFixture, FolderChoiceRefusesAMissingFolder) {
    RecordingsWindow window(view, [] { return std::string("/nonexistent/vocarta"); });
    EXPECT_EQ(window.CountText(), "0 Recordings were found");

    RecordingsFolderDialog dialog(view, "/nonexistent/vocarta", &window);
    Enter(dialog, "useOtherFolder=1;otherFolder=/nonexistent/elsewhere");
    dialog.accept();
    EXPECT_NE(dialog.result(), QDialog::Accepted);
    ASSERT_EQ(view.messages.size(), 1u);
    EXPECT_EQ(view.messages[0].title + ": " + view.messages[0].text,
              "Invalid folder: This folder does not exist, please select a valid folder");
    EXPECT_TRUE(find_play::UseRecordFolder());

    Enter(dialog, "otherFolder=" + dir.Path());
    dialog.accept();
    EXPECT_EQ(find_play::AlternativeFolder(), dir.Path());
    window.Rescan();
    EXPECT_EQ(window.CountText(), "3 Recordings were found");
    find_play::StoreUseRecordFolder(true);
}

TEST_F(WindowFixture, PlaysTheSelectionAtThePresetSpeeds) {
    RecordingsWindow window(view, Folder());
    window.Table().clearSelection();
    window.OnPlaySlow();  // nothing selected: nothing played
    EXPECT_EQ(find_play::CurrentSpeed(), 100);
    window.Table().topLevelItem(0)->setSelected(true);
    ASSERT_EQ(window.SelectedPaths().size(), 1u);
    window.OnPlaySlow();
    EXPECT_EQ(find_play::CurrentSpeed(), 50);
    window.OnPlayFast();
    EXPECT_EQ(find_play::CurrentSpeed(), 150);
    Child<QAction>(window, "play")->trigger();
    EXPECT_EQ(find_play::CurrentSpeed(), 100);
    EXPECT_TRUE(view.messages.empty()) << view.messages[0].text;

    // A recording gone since the scan gives a message, not a crash.
    std::remove(window.SelectedPaths()[0].c_str());
    window.OnPlay();
    EXPECT_EQ(view.messages.size(), 1u);
}

TEST(FindPlayOptions, PresetSpeedsWithTheirKeys) {
    EnsureApplication();
    FindPlayOptionsPage page;
    ExpectShown(page,
                "slowSpeed=50;fastSpeed=150;slowSpeedText=Press 'Ctrl+Left' to play the selected "
                "file at a slow speed.;fastSpeedText=Press 'Ctrl+Right' to play the selected file "
                "at a fast speed.");
    Enter(page, "slowSpeed=75;fastSpeed=200");
    page.Store();
    EXPECT_EQ(find_play::SlowSpeed() * 1000 + find_play::FastSpeed(), 75200);

    MainWindow window;
    EXPECT_NE(window.findChild<QAction*>("findRecordings"), nullptr);
}
