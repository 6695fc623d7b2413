#pragma once
// "Find and Play Recordings": the recordings of one folder in a list of seven
// columns (the six of the browser and where each was sent), with a toolbar to
// play, choose the folder, change the view filter and scan again, a status line
// with the count, and keys to play at normal, slow and fast speed. The list
// follows the folder through the folder watcher, so a finished recording shows
// up without a rescan. The logic lives in the library's RecordingList; this
// class only wires widgets to it.
//
// Threading contract: GUI thread only.

#include <QMainWindow>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "gui/recordings_actions.h"
#include "library/recording_list.h"

class QAction;
class QLabel;
class QSocketNotifier;
class QTreeWidget;
class QTreeWidgetItem;

namespace vocarta {

class LFolderWatcher;
class LSoundPlayer;
class MainDialogView;

class RecordingsWindow final : public QMainWindow {
    Q_OBJECT

  public:
    // Messages go through `view`; `recordFolder` gives the folder the recorder
    // saves into (read again at every scan, since the options may change it).
    RecordingsWindow(MainDialogView& view, std::function<std::string()> recordFolder,
                     QWidget* parent = nullptr);
    ~RecordingsWindow() override;

    // The real paths of the selected rows (bytes as on disk), in list order.
    std::vector<std::string> SelectedPaths() const;
    // Scans the listed folder again with the stored filter (what "Update Now"
    // does, and what an action that changed files calls afterwards).
    void Rescan();
    // The Name cells are editable (F2 or a slow second click); a finished edit
    // calls `rename(path, newName)` (by default the Rename action with its
    // questions): renamed, the list is scanned again; "type again" reopens the
    // editor with the typed name; otherwise the old name comes back.
    using RenameHandler =
        std::function<recordings_actions::RenameResult(const std::string&, const std::string&)>;
    void SetRenameHandler(RenameHandler rename);

    QTreeWidget& Table() const { return *table_; }
    const RecordingList& List() const { return list_; }
    QString CountText() const;

  public slots:
    void OnPlay();
    void OnPlaySlow();
    void OnPlayFast();
    void OnFolder();
    void OnViewFilter();

  protected:
    // Closing the window ends what it plays.
    void closeEvent(QCloseEvent* event) override;

  private:
    void BuildToolBar();
    void BuildShortcuts();
    void FillTable();
    void WatchFolder();
    void TakeFolderChanges();
    void SortBy(int column);
    void PlaySelected(int speedPercent);
    void NameEdited(QTreeWidgetItem* item, int column);

    MainDialogView& view_;
    std::function<std::string()> recordFolder_;
    DurationCache cache_;
    RecordingList list_;
    std::unique_ptr<LFolderWatcher> watcher_;
    std::unique_ptr<QSocketNotifier> notifier_;
    std::unique_ptr<LSoundPlayer> player_;
    RenameHandler rename_;
    QTreeWidget* table_;
    QLabel* count_;
    bool filling_ = false;
    bool columnsSized_ = false;
};

// Opens the window (one per program) over `parent`, or raises it.
void OpenRecordingsWindow(MainDialogView& view, QWidget* parent);

}  // namespace vocarta
