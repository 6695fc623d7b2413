#include "gui/recordings_folder_dialog.h"

#include <QFileDialog>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "app/session/main_dialog_view.h"
#include "gui/dialog_parts.h"
#include "library/library_settings.h"
#include "toolkit/paths.h"

namespace vocarta {

RecordingsFolderDialog::RecordingsFolderDialog(MainDialogView& view,
                                               const std::string& recordFolder, QWidget* parent)
    : QDialog(parent), view_(view) {
    setObjectName("RecordingsFolderDialog");
    setWindowTitle(tr("Folder"));
    useRecordFolder_ = new QRadioButton(
        tr("The folder recordings are saved in (%1)").arg(QString::fromStdString(recordFolder)),
        this);
    useRecordFolder_->setObjectName("useRecordFolder");
    useOther_ = new QRadioButton(tr("Another folder:"), this);
    useOther_->setObjectName("useOtherFolder");
    other_ = new QLineEdit(QString::fromStdString(find_play::AlternativeFolder()), this);
    other_->setObjectName("otherFolder");
    auto* browse = new QPushButton(tr("Browse..."), this);
    browse->setObjectName("browseFolder");
    (find_play::UseRecordFolder() ? useRecordFolder_ : useOther_)->setChecked(true);

    auto* otherRow = new QHBoxLayout;
    otherRow->addWidget(other_);
    otherRow->addWidget(browse);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(useRecordFolder_);
    layout->addWidget(useOther_);
    layout->addLayout(otherRow);
    AddOkCancel(this, layout);
    connect(browse, &QPushButton::clicked, this, &RecordingsFolderDialog::Browse);
    connect(other_, &QLineEdit::textEdited, this, [this] { useOther_->setChecked(true); });
    resize(520, sizeHint().height());
}

void RecordingsFolderDialog::Browse() {
    const QString chosen =
        QFileDialog::getExistingDirectory(this, tr("Select the output folder"), other_->text());
    if (chosen.isEmpty()) return;
    other_->setText(chosen);
    useOther_->setChecked(true);
}

void RecordingsFolderDialog::accept() {
    const bool useRecordFolder = useRecordFolder_->isChecked();
    const std::string other = other_->text().toStdString();
    if (!useRecordFolder && !DirExists(other)) {
        ShowMessage(view_, kInvalidFolderText, kInvalidFolderTitle,
                    MessageBoxRequest::Icon::Warning);
        return;
    }
    find_play::StoreUseRecordFolder(useRecordFolder);
    if (!other.empty()) find_play::StoreAlternativeFolder(other);
    QDialog::accept();
}

}  // namespace vocarta
