#include "gui/schedule_list_window.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "app/session/main_dialog_view.h"
#include "gui/schedule_dialog.h"
#include "schedule/schedule_display.h"
#include "schedule/schedule_form.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

QPushButton* NamedButton(QWidget* parent, const char* name, const QString& text) {
    auto* button = new QPushButton(text, parent);
    button->setObjectName(name);
    return button;
}

}  // namespace

ScheduleListWindow::ScheduleListWindow(MainDialogView& view, QWidget* parent,
                                       std::unique_ptr<LJobLauncher> launcher)
    : QDialog(parent),
      view_(view),
      launcher_(launcher ? std::move(launcher) : ChooseJobLauncher()) {
    setObjectName("ScheduleListWindow");
    setWindowTitle(tr("Scheduled Recordings"));
    table_ = new QTreeWidget(this);
    table_->setObjectName("schedules");
    table_->setRootIsDecorated(false);
    table_->setHeaderLabels({tr("Name"), tr("Start"), tr("End"), tr("Status"), tr("Duration")});
    table_->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    auto* add = NamedButton(this, "newSchedule", tr("New..."));
    edit_ = NamedButton(this, "editSchedule", tr("Edit..."));
    delete_ = NamedButton(this, "deleteSchedule", tr("Delete"));
    auto* close = new QDialogButtonBox(QDialogButtonBox::Close, this);
    auto* buttons = new QHBoxLayout;
    for (QPushButton* button : {add, edit_, delete_}) buttons->addWidget(button);
    buttons->addStretch();
    buttons->addWidget(close);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(table_);
    layout->addLayout(buttons);
    resize(760, 360);

    connect(add, &QPushButton::clicked, this, &ScheduleListWindow::NewSchedule);
    connect(edit_, &QPushButton::clicked, this, &ScheduleListWindow::EditSchedule);
    connect(delete_, &QPushButton::clicked, this, &ScheduleListWindow::DeleteSchedule);
    connect(close, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(table_, &QTreeWidget::itemDoubleClicked, this, &ScheduleListWindow::EditSchedule);
    connect(table_, &QTreeWidget::itemSelectionChanged, this, &ScheduleListWindow::UpdateEnabled);
    Reload();
}

void ScheduleListWindow::Reload() {
    const std::string selected = SelectedName();
    list_.Load();
    table_->clear();
    for (std::size_t i = 0; i < list_.Count(); ++i) {
        const ScheduleRow row = ScheduleDisplayRow(*list_.At(i));
        auto* item = new QTreeWidgetItem(table_);
        const std::string texts[] = {row.name, row.start, row.end, row.state, row.duration};
        for (int column = 0; column < 5; ++column)
            item->setText(column, QString::fromStdString(texts[column]));
        item->setData(0, Qt::UserRole, QByteArray::fromStdString(row.name));
        if (row.name == selected) table_->setCurrentItem(item);
    }
    UpdateEnabled();
}

std::string ScheduleListWindow::SelectedName() const {
    const QTreeWidgetItem* item = table_->currentItem();
    return item ? item->data(0, Qt::UserRole).toByteArray().toStdString() : std::string();
}

void ScheduleListWindow::UpdateEnabled() {
    const bool any = table_->currentItem() != nullptr;
    edit_->setEnabled(any);
    delete_->setEnabled(any);
}

void ScheduleListWindow::NewSchedule() {
    list_.Load();
    ScheduleDialog dialog(view_, list_, *launcher_, {}, this);
    dialog.exec();
    Reload();
}

void ScheduleListWindow::EditSchedule() {
    const std::string name = SelectedName();
    if (name.empty()) return;
    list_.Load();
    if (!list_.FindByName(name)) {  // deleted meanwhile (another process)
        Reload();
        return;
    }
    ScheduleDialog dialog(view_, list_, *launcher_, name, this);
    dialog.exec();
    Reload();
}

void ScheduleListWindow::DeleteSchedule() {
    const std::string name = SelectedName();
    if (name.empty()) return;
    if (!AskYesNo(view_, StringPrintf("Delete the schedule \"%s\"?", name.c_str()),
                  tr("Delete Schedule").toStdString(), false))
        return;
    list_.Load();
    if (list_.FindByName(name) && !vocarta::DeleteSchedule(list_, name, *launcher_))
        ShowMessage(view_, kScheduleNotStoredText, kScheduleWindowTitle,
                    MessageBoxRequest::Icon::Error);
    Reload();
}

void OpenScheduleListWindow(MainDialogView& view, QWidget* parent) {
    ScheduleListWindow window(view, parent);
    window.exec();
}

}  // namespace vocarta
