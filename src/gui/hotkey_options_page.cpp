#include "gui/hotkey_options_page.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "app/session/main_dialog_view.h"
#include "gui/dialog_parts.h"
#include "gui/hotkey_dialog.h"
#include "hotkeys/hotkey_registrar.h"
#include "toolkit/log.h"

namespace vocarta {

namespace {
constexpr const char* kDeleteText = "Delete the selected hot-key(s)?";
constexpr const char* kDeleteTitle = "Delete Hot-Key(s)";
constexpr int kIdRole = Qt::UserRole;

QPushButton* NamedButton(QWidget* parent, const char* name, const QString& text) {
    auto* button = new QPushButton(text, parent);
    button->setObjectName(name);
    return button;
}
}  // namespace

HotkeyOptionsPage::HotkeyOptionsPage(MainDialogView& view, QWidget* parent)
    : QWidget(parent), view_(view), commands_(BindableHotkeyCommands()) {
    setObjectName("HotkeyOptionsPage");
    enabled_ = NamedCheckBox(this, "hotkeysEnabled", tr("Enable system-wide hot-keys"));
    enabled_->setChecked(HotkeysEnabled());
    status_ = new QLabel(this);
    status_->setObjectName("hotkeyServiceStatus");
    status_->setWordWrap(true);
    list_ = new QTreeWidget(this);
    list_->setObjectName("hotkeyList");
    list_->setHeaderLabels({tr("Command"), tr("Hot-Key")});
    list_->setRootIsDecorated(false);
    list_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    list_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    windowKeys_ = new QLabel(this);
    windowKeys_->setObjectName("hotkeyWindowKeys");
    windowKeys_->setWordWrap(true);
    windowKeys_->hide();  // until the window gives its keys
    add_ = NamedButton(this, "hotkeyAdd", tr("&Add..."));
    change_ = NamedButton(this, "hotkeyChange", tr("C&hange..."));
    delete_ = NamedButton(this, "hotkeyDelete", tr("&Delete"));

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(add_);
    buttons->addWidget(change_);
    buttons->addWidget(delete_);
    buttons->addStretch();
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(enabled_);
    layout->addWidget(status_);
    layout->addWidget(list_);
    layout->addLayout(buttons);
    layout->addWidget(windowKeys_);

    connect(add_, &QPushButton::clicked, this, [this] { AddBinding(); });
    connect(change_, &QPushButton::clicked, this, [this] { ChangeBinding(); });
    connect(delete_, &QPushButton::clicked, this, [this] { DeleteSelected(); });
    connect(list_, &QTreeWidget::itemDoubleClicked, this, [this] { ChangeBinding(); });
    connect(list_, &QTreeWidget::itemSelectionChanged, this, [this] { UpdateButtons(); });

    ShowServiceStatus(QString::fromStdString(HotkeyServiceStatusText(ProbeHotKeyService())));
    Reload();
}

void HotkeyOptionsPage::SetKeyDescriber(std::function<std::string(int)> describer) {
    describer_ = std::move(describer);
    Reload();
}

void HotkeyOptionsPage::SetWindowShortcuts(const std::vector<WindowShortcut>& shortcuts) {
    appShortcuts_.clear();
    QStringList shown;
    for (const auto& s : shortcuts) {
        appShortcuts_.push_back(s.key);
        shown << QString::fromStdString(s.command + " (" + HotkeyName(s.key) + ")");
    }
    windowKeys_->setText(tr("The main window's own keys cannot be hot-keys: %1.")
                             .arg(shown.join(QStringLiteral(", "))));
    windowKeys_->setVisible(!shortcuts.empty());
}

void HotkeyOptionsPage::ShowServiceStatus(const QString& text) {
    status_->setText(text);
}

void HotkeyOptionsPage::Reload() {
    bindings_ = ReadHotkeyBindings();
    list_->clear();
    for (const auto& b : bindings_) {
        std::string shown = describer_ ? describer_(b.id) : std::string();
        if (shown.empty()) shown = HotkeyName(b.key);
        std::string command = HotkeyCommandName(b.Command());
        if (command.empty()) command = "(unknown command " + std::to_string(b.command) + ")";
        auto* item = new QTreeWidgetItem(
            list_, {QString::fromStdString(command), QString::fromStdString(shown)});
        item->setData(0, kIdRole, b.id);
    }
    UpdateButtons();
}

void HotkeyOptionsPage::UpdateButtons() {
    const int selected = int(list_->selectedItems().size());
    change_->setEnabled(selected == 1);
    delete_->setEnabled(selected > 0);
}

bool HotkeyOptionsPage::Edit(const HotkeyBinding& binding) {
    HotkeyDialog dialog(view_, binding, bindings_, appShortcuts_, commands_, this);
    emit KeyCaptureChanged(true);
    const bool saved = dialog.exec() == QDialog::Accepted;
    emit KeyCaptureChanged(false);
    if (!saved) return false;
    Reload();
    emit BindingsChanged();
    return true;
}

bool HotkeyOptionsPage::AddBinding() {
    return Edit(HotkeyBinding{});
}

bool HotkeyOptionsPage::ChangeBinding() {
    const auto selected = list_->selectedItems();
    if (selected.size() != 1) return false;
    const int id = selected.front()->data(0, kIdRole).toInt();
    for (const auto& b : bindings_)
        if (b.id == id) return Edit(b);
    return false;
}

bool HotkeyOptionsPage::DeleteSelected() {
    const auto selected = list_->selectedItems();
    if (selected.isEmpty()) return false;
    if (!AskConfirm(view_, kDeleteText, kDeleteTitle, "Delete", "Cancel")) return false;
    for (const auto* item : selected) {
        LStatus deleted = DeleteHotkeyBinding(item->data(0, kIdRole).toInt());
        if (!deleted) LogError("HotkeyOptionsPage: %s", deleted.Error().Message().c_str());
    }
    Reload();
    emit BindingsChanged();
    return true;
}

void HotkeyOptionsPage::Store() const {
    if (!StoreHotkeysEnabled(enabled_->isChecked()))
        LogError("HotkeyOptionsPage::Store: Hotkey/Enabled could not be stored");
}

}  // namespace vocarta
