#include "gui/recordings_window.h"

#include <QCloseEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QKeySequence>
#include <QLabel>
#include <QPointer>
#include <QShortcut>
#include <QSocketNotifier>
#include <QStatusBar>
#include <QStyledItemDelegate>
#include <QToolBar>
#include <QTreeWidget>

#include "app/session/file_naming.h"
#include "app/session/main_dialog_view.h"
#include "audio/playback/recording_playback.h"
#include "audio/playback/sound_player.h"
#include "gui/find_play_keys.h"
#include "gui/recordings_folder_dialog.h"
#include "gui/view_filter_dialog.h"
#include "library/folder_watcher.h"
#include "library/library_settings.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"

namespace vocarta {

namespace {
constexpr const char* kTitle = "Find and Play Recordings";
constexpr int kPathRole = Qt::UserRole;
constexpr int kColumnCount = int(std::size(kColumnTitles));

QString KeyName(const char* key) {
    return QKeySequence(key).toString(QKeySequence::NativeText);
}

QAction* ToolAction(QToolBar* bar, const char* name, const QString& text, const QString& tip,
                    const QKeySequence& key = {}) {
    QAction* action = bar->addAction(text);
    action->setObjectName(name);
    // The keys every file list has; the tooltip tells them.
    if (!key.isEmpty()) {
        action->setShortcut(key);
        action->setShortcutContext(Qt::WindowShortcut);
    }
    action->setToolTip(
        key.isEmpty() ? tip
                      : QStringLiteral("%1 (%2)").arg(tip, key.toString(QKeySequence::NativeText)));
    return action;
}

// A name being edited keeps Return and Enter to finish the edit: a line edit
// claims typed characters ahead of the window's shortcuts, but not these two,
// which would otherwise play the recording and leave the edit open.
class NameDelegate final : public QStyledItemDelegate {
  public:
    using QStyledItemDelegate::QStyledItemDelegate;
    bool eventFilter(QObject* editor, QEvent* event) override {
        if (event->type() == QEvent::ShortcutOverride) {
            const int key = static_cast<QKeyEvent*>(event)->key();
            if (key == Qt::Key_Return || key == Qt::Key_Enter) {
                event->accept();
                return true;
            }
        }
        return QStyledItemDelegate::eventFilter(editor, event);
    }
};
}  // namespace

RecordingsWindow::RecordingsWindow(MainDialogView& view, std::function<std::string()> recordFolder,
                                   QWidget* parent)
    : QMainWindow(parent), view_(view), recordFolder_(std::move(recordFolder)), list_(cache_) {
    setObjectName("RecordingsWindow");
    setWindowTitle(tr(kTitle));
    setAttribute(Qt::WA_DeleteOnClose, false);
    table_ = new QTreeWidget(this);
    table_->setObjectName("recordings");
    table_->setRootIsDecorated(false);
    table_->setUniformRowHeights(true);
    table_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table_->setItemDelegate(new NameDelegate(table_));
    QStringList titles;
    for (const char* title : kColumnTitles) titles << tr(title);
    table_->setHeaderLabels(titles);
    table_->header()->setSectionsClickable(true);
    table_->header()->setSortIndicatorShown(true);
    setCentralWidget(table_);
    count_ = new QLabel(this);
    count_->setObjectName("recordingCount");
    statusBar()->addWidget(count_);
    BuildToolBar();
    BuildShortcuts();
    resize(980, 480);

    connect(table_->header(), &QHeaderView::sectionClicked, this, &RecordingsWindow::SortBy);
    connect(table_, &QTreeWidget::itemDoubleClicked, this, [this] { OnPlay(); });
    connect(table_, &QTreeWidget::itemChanged, this, &RecordingsWindow::NameEdited);
    SetRenameHandler([this](const std::string& path, const std::string& name) {
        return recordings_actions::Rename(this, path, name);
    });
    cache_.Load();
    Rescan();
}

RecordingsWindow::~RecordingsWindow() {
    if (player_) player_->Stop();
}

void RecordingsWindow::closeEvent(QCloseEvent* event) {
    if (player_) player_->Stop();
    QMainWindow::closeEvent(event);
}

void RecordingsWindow::BuildToolBar() {
    QToolBar* bar = addToolBar(tr("Recordings"));
    bar->setObjectName("recordingsToolBar");
    bar->setToolButtonStyle(Qt::ToolButtonTextOnly);
    const QString playTip =
        tr("Play the selected recording (%1 or %2; %3 slow, %4 fast)")
            .arg(KeyName("Return"), KeyName("Space"), KeyName(kPlaySlowKey), KeyName(kPlayFastKey));
    connect(ToolAction(bar, "play", tr("Play"), playTip), &QAction::triggered, this,
            &RecordingsWindow::OnPlay);
    // Each action on the selection says whether the folder changed.
    using Action = bool (*)(QWidget*, const std::vector<std::string>&);
    const auto onSelection = [this](Action action) {
        return [this, action] {
            const std::vector<std::string> paths = SelectedPaths();
            if (paths.empty()) {
                statusBar()->showMessage(tr("Select one or more recordings first."), 3000);
                return;
            }
            if (action(this, paths)) Rescan();
        };
    };
    connect(ToolAction(bar, "saveAs", tr("Save As"),
                       tr("Save the selected recordings in a new location"),
                       QKeySequence(Qt::CTRL | Qt::Key_S)),
            &QAction::triggered, this, onSelection(&recordings_actions::SaveAs));
    connect(ToolAction(bar, "delete", tr("Delete"), tr("Delete the selected recordings"),
                       QKeySequence(Qt::Key_Delete)),
            &QAction::triggered, this, onSelection(&recordings_actions::Delete));
    connect(ToolAction(bar, "folder", tr("Folder"), tr("Select the output folder")),
            &QAction::triggered, this, &RecordingsWindow::OnFolder);
    connect(ToolAction(bar, "viewFilter", tr("View Filter"), tr("Change the filter settings"),
                       QKeySequence(Qt::CTRL | Qt::Key_F)),
            &QAction::triggered, this, &RecordingsWindow::OnViewFilter);
    connect(ToolAction(bar, "send", tr("Send"), tr("Send the selected recording by email")),
            &QAction::triggered, this, onSelection(&recordings_actions::Send));
    connect(ToolAction(bar, "edit", tr("Edit"), tr("Edit the selected recording")),
            &QAction::triggered, this, onSelection(&recordings_actions::Edit));
    connect(ToolAction(bar, "convert", tr("Convert"), tr("Convert the file to a different format")),
            &QAction::triggered, this, onSelection(&recordings_actions::Convert));
    connect(ToolAction(bar, "burn", tr("Burn"), tr("Copy the selected recordings to CD-ROM")),
            &QAction::triggered, this, onSelection(&recordings_actions::Burn));
    connect(ToolAction(bar, "updateNow", tr("Update Now"), tr("Rescan for new recordings"),
                       QKeySequence(Qt::Key_F5)),
            &QAction::triggered, this, &RecordingsWindow::Rescan);
}

void RecordingsWindow::BuildShortcuts() {
    // Window-wide, so they work wherever the focus is; a cell being renamed
    // keeps its own keys (its line edit claims Space, its delegate Return).
    const std::pair<const char*, void (RecordingsWindow::*)()> keys[] = {
        {"Return", &RecordingsWindow::OnPlay},
        {"Enter", &RecordingsWindow::OnPlay},
        {"Space", &RecordingsWindow::OnPlay},
        {kPlaySlowKey, &RecordingsWindow::OnPlaySlow},
        {kPlayFastKey, &RecordingsWindow::OnPlayFast}};
    for (const auto& [key, slot] : keys) {
        auto* shortcut = new QShortcut(QKeySequence(key), this);
        shortcut->setContext(Qt::WindowShortcut);
        connect(shortcut, &QShortcut::activated, this, slot);
    }
}

std::vector<std::string> RecordingsWindow::SelectedPaths() const {
    std::vector<std::string> paths;
    for (int i = 0; i < table_->topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = table_->topLevelItem(i);
        if (item->isSelected())
            paths.push_back(item->data(0, kPathRole).toByteArray().toStdString());
    }
    return paths;
}

QString RecordingsWindow::CountText() const {
    return count_->text();
}

void RecordingsWindow::Rescan() {
    const ViewFilter filter = ReadViewFilter();
    if (auto message = CheckFilterDates(filter)) {
        count_->setText(QString::fromStdString(*message));
        return;
    }
    const std::string before = list_.Folder();
    list_.Rescan(find_play::ListedFolder(recordFolder_()), filter);
    FillTable();
    LogEvent("Recordings window: %s in %s", list_.CountText().c_str(), list_.Folder().c_str());
    if (list_.Folder() != before || !notifier_) WatchFolder();
}

void RecordingsWindow::FillTable() {
    filling_ = true;
    const std::vector<std::string> selected = SelectedPaths();
    table_->setUpdatesEnabled(false);
    table_->clear();
    QList<QTreeWidgetItem*> items;
    items.reserve(int(list_.Rows().size()));
    for (const RecordingRow& row : list_.Rows()) {
        QStringList texts;
        for (int c = 0; c < kColumnCount; ++c)
            texts << QString::fromStdString(ColumnText(row, RecordingColumn(c)));
        auto* item = new QTreeWidgetItem(texts);
        item->setData(0, kPathRole, QByteArray::fromStdString(row.path));
        item->setToolTip(0, texts[int(RecordingColumn::kLocation)]);
        if (rename_) item->setFlags(item->flags() | Qt::ItemIsEditable);
        items << item;
    }
    table_->addTopLevelItems(items);
    for (QTreeWidgetItem* item : items)
        for (const std::string& path : selected)
            if (item->data(0, kPathRole).toByteArray().toStdString() == path)
                item->setSelected(true);
    if (!items.isEmpty() && !table_->currentItem()) table_->setCurrentItem(items.front());
    table_->header()->setSortIndicator(int(list_.Order().column), list_.Order().descending
                                                                      ? Qt::DescendingOrder
                                                                      : Qt::AscendingOrder);
    if (!columnsSized_ && !items.isEmpty()) {
        // Fitted once to the first rows; after that the widths are the user's.
        for (int c = 0; c < kColumnCount; ++c) table_->resizeColumnToContents(c);
        columnsSized_ = true;
    }
    table_->setUpdatesEnabled(true);
    count_->setText(QString::fromStdString(list_.CountText()));
    filling_ = false;
}

void RecordingsWindow::WatchFolder() {
    notifier_.reset();
    if (!watcher_) watcher_ = MakeFolderWatcher();
    if (auto watched = watcher_->Watch(list_.Folder()); !watched) {
        // A missing folder lists nothing; the next scan tries again.
        LogEvent("Recordings window: %s", watched.Error().Message().c_str());
        return;
    }
    notifier_ = std::make_unique<QSocketNotifier>(watcher_->Descriptor(), QSocketNotifier::Read);
    connect(notifier_.get(), &QSocketNotifier::activated, this,
            &RecordingsWindow::TakeFolderChanges);
}

void RecordingsWindow::TakeFolderChanges() {
    bool changed = false;
    for (const FolderChange& change : watcher_->TakeChanges()) {
        if (!list_.Apply(change)) continue;
        changed = true;
        const bool added = change.kind == FolderChange::Kind::kFinished;
        LogEvent("Recordings window: %s %s", added ? "listed" : "dropped", change.path.c_str());
    }
    if (changed) FillTable();
}

void RecordingsWindow::SortBy(int column) {
    const RowOrder current = list_.Order();
    RowOrder order{RecordingColumn(column), false};
    // A second click on the same column turns the order round.
    if (current.column == order.column) order.descending = !current.descending;
    list_.SetOrder(order);
    FillTable();
}

void RecordingsWindow::OnPlay() {
    PlaySelected(100);
}
void RecordingsWindow::OnPlaySlow() {
    PlaySelected(find_play::SlowSpeed());
}
void RecordingsWindow::OnPlayFast() {
    PlaySelected(find_play::FastSpeed());
}

void RecordingsWindow::PlaySelected(int speedPercent) {
    QTreeWidgetItem* item = table_->currentItem();
    if (!item || !item->isSelected()) {
        const auto selected = table_->selectedItems();
        item = selected.isEmpty() ? nullptr : selected.front();
    }
    if (!item) return;
    const std::string path = item->data(0, kPathRole).toByteArray().toStdString();
    find_play::StoreCurrentSpeed(speedPercent);
    if (!player_) player_ = CreateSoundPlayer();
    const int offset = find_play::PlayOffset();
    const LSoundTime startAt = LSoundTime::FromMilliseconds(offset > 0 ? offset : 0);
    std::string error;
    if (!PlayRecordingFile(*player_, path, &error, startAt, speedPercent)) {
        ShowMessage(view_, error, kTitle, MessageBoxRequest::Icon::Warning);
        return;
    }
    statusBar()->showMessage(tr("Playing %1").arg(item->text(0)), 3000);
}

void RecordingsWindow::OnFolder() {
    RecordingsFolderDialog dialog(view_, recordFolder_(), this);
    if (dialog.exec() == QDialog::Accepted) Rescan();
}

void RecordingsWindow::OnViewFilter() {
    ViewFilterDialog dialog(this);
    if (dialog.exec() == QDialog::Accepted) Rescan();
}

void RecordingsWindow::SetRenameHandler(RenameHandler rename) {
    rename_ = std::move(rename);
    table_->setEditTriggers(rename_ ? QAbstractItemView::EditKeyPressed |
                                          QAbstractItemView::SelectedClicked
                                    : QAbstractItemView::NoEditTriggers);
    FillTable();
}

void RecordingsWindow::NameEdited(QTreeWidgetItem* item, int column) {
    if (filling_ || column != int(RecordingColumn::kName) || !rename_) return;
    const std::string path = item->data(0, kPathRole).toByteArray().toStdString();
    switch (rename_(path, item->text(0).toStdString())) {
        case recordings_actions::RenameResult::kRenamed:
            Rescan();
            return;
        case recordings_actions::RenameResult::kTypeAgain: {
            // The name stays in its editor for another try.
            const std::string typed = item->text(0).toStdString();
            FillTable();
            for (int i = 0; i < table_->topLevelItemCount(); ++i) {
                QTreeWidgetItem* row = table_->topLevelItem(i);
                if (row->data(0, kPathRole).toByteArray().toStdString() != path) continue;
                table_->setCurrentItem(row);
                table_->editItem(row, 0);
                return;
            }
            return;
        }
        case recordings_actions::RenameResult::kUnchanged:
            FillTable();  // the old name back
            return;
    }
}

void OpenRecordingsWindow(MainDialogView& view, QWidget* parent) {
    static QPointer<RecordingsWindow> window;
    if (!window) {
        window = new RecordingsWindow(
            view, [] { return RecordFolder(); }, parent);
        window->setWindowFlag(Qt::Window);
    } else {
        window->Rescan();
    }
    window->show();
    window->raise();
    window->activateWindow();
}

}  // namespace vocarta
