#include "gui/recordings_actions.h"

#include <sys/stat.h>

#include <QApplication>
#include <QCheckBox>
#include <QEventLoop>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <atomic>
#include <thread>

#include "library/companion_programs.h"
#include "library/library_settings.h"
#include "library/recording_files.h"
#include "library/recordings_send.h"
#include "library/trash.h"
#include "settings/settings.h"
#include "toolkit/log.h"
#include "toolkit/lsignal_object.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"
#include "transmit/transmit_settings.h"
#include "transmit/transmit_ui.h"

namespace vocarta::recordings_actions {

namespace {

// The recordings window's settings; the window's own definitions of this
// section take their place once both live in one place.

constexpr int kProgressSteps = 1000;

QString Shown(const std::string& path) {
    return QFile::decodeName(QByteArray::fromStdString(path));
}

std::string FromShown(const QString& path) {
    return QFile::encodeName(path).toStdString();
}

QString Format(const char* text, const QString& value) {
    return QString::fromUtf8(text).replace(QStringLiteral("%s"), value);
}

QWidget* Over(QWidget* parent) {
    QWidget* modal = QApplication::activeModalWidget();
    return modal ? modal : parent;
}

// A box with the buttons given as (text, role); the index of the one clicked,
// or `safe` when closed otherwise. The safe button is the default and Escape.
int Ask(QWidget* parent, const QString& caption, const QString& text,
        const std::vector<std::pair<QString, QMessageBox::ButtonRole>>& buttons, int safe,
        QMessageBox::Icon icon = QMessageBox::Question, const QString& detail = {},
        const QString& checkText = {}, bool* checked = nullptr) {
    QMessageBox box(Over(parent));
    box.setObjectName("recordingsActionBox");
    box.setWindowTitle(caption);
    box.setText(text);
    box.setIcon(icon);
    if (!detail.isEmpty()) box.setInformativeText(detail);
    if (checked) {
        // Owned by the box, so read before it goes.
        auto* check = new QCheckBox(checkText);
        check->setObjectName("repeatForAllFiles");
        box.setCheckBox(check);
    }
    std::vector<QPushButton*> made;
    for (const auto& [label, role] : buttons) made.push_back(box.addButton(label, role));
    box.setDefaultButton(made[std::size_t(safe)]);
    box.setEscapeButton(made[std::size_t(safe)]);
    box.exec();
    if (checked) *checked = box.checkBox()->isChecked();
    for (std::size_t i = 0; i < made.size(); ++i)
        if (box.clickedButton() == made[i]) return int(i);
    return safe;
}

void Tell(QWidget* parent, const QString& caption, const QString& text,
          const QString& detail = {}) {
    Ask(parent, caption, text, {{QStringLiteral("OK"), QMessageBox::AcceptRole}}, 0,
        QMessageBox::Warning, detail);
}

// Save As --------------------------------------------------------------------

std::string ChooseSaveTarget(QWidget* parent, const std::string& source) {
    QFileDialog dialog(Over(parent), QStringLiteral("Save Recording As.."));
    dialog.setObjectName("saveRecordingDialog");
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    // Our own question decides about replacing, with its own texts.
    dialog.setOption(QFileDialog::DontConfirmOverwrite);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    const std::string extension = Extension(source);
    if (extension.size() > 1) dialog.setDefaultSuffix(Shown(extension.substr(1)));
    dialog.setDirectory(Shown(SaveFolder()));
    dialog.selectFile(Shown(BaseName(source)));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return "";
    const QString chosen = dialog.selectedFiles().front();
    std::string target = FromShown(chosen);
    // A name that is not UTF-8 comes back from the panel as it was shown; when
    // the user kept it, the recording's own bytes are the name.
    if (QFileInfo(chosen).fileName() == Shown(BaseName(source)))
        target = JoinPath(DirName(target), BaseName(source));
    return target;
}

std::string ChooseSaveFolder(QWidget* parent) {
    QFileDialog dialog(Over(parent), QStringLiteral("Save recordings into folder..."));
    dialog.setObjectName("saveRecordingsFolderDialog");
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly);
    dialog.setDirectory(Shown(SaveFolder()));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return "";
    return FromShown(dialog.selectedFiles().front());
}

OverwriteChoice AskOverwrite(QWidget* parent, const SaveItem& item) {
    bool forAll = false;
    const int answer = Ask(parent, QStringLiteral("Overwrite Files?"),
                           QStringLiteral("One or more files you have selected already exist in "
                                          "this location. Do you want to overwrite the existing "
                                          "file(s)?"),
                           {{QStringLiteral("Overwrite"), QMessageBox::AcceptRole},
                            {QStringLiteral("Cancel"), QMessageBox::RejectRole}},
                           1, QMessageBox::Question, Shown(item.target),
                           QStringLiteral("Repeat this action for all files"), &forAll);
    return {answer == 0, forAll};
}

void ReportSave(QWidget* parent, const SaveOutcome& outcome) {
    if (outcome.noSpace) {
        if (outcome.shortage.size() == 1) {
            Tell(parent, QStringLiteral("Save Failed"),
                 QStringLiteral("Insufficient free space for saving the file. Please free up "
                                "some space and try again."));
        } else {
            QString names;
            for (const std::string& name : outcome.shortage) names += Shown(name) + "\n";
            Tell(parent, QStringLiteral("Save Failed"),
                 Format("Insufficient free space for saving the following files:\n\n%s\nPlease "
                        "free up some space and try again.",
                        names));
        }
    }
    for (const auto& [item, error] : outcome.failed)
        Tell(parent, QStringLiteral("The file could not be copied"),
             Format("Could not save %s to the new location", Shown(BaseName(item.source))),
             QString::fromStdString(error.Message()));
}

// Send -----------------------------------------------------------------------

// The send thread's questions and messages, shown on the GUI thread.
class BoxTransmitUi final : public TransmitUi {
  public:
    BoxTransmitUi(QWidget* parent, QProgressDialog& progress)
        : parent_(parent), progress_(progress) {}
    bool AskYesNo(const std::string& text, const std::string& caption) override {
        return Ask(parent_, QString::fromStdString(caption), QString::fromStdString(text),
                   {{QStringLiteral("Yes"), QMessageBox::YesRole},
                    {QStringLiteral("No"), QMessageBox::NoRole}},
                   1) == 0;
    }
    void ShowMessage(const std::string& text, const std::string& caption) override {
        Tell(parent_, QString::fromStdString(caption), QString::fromStdString(text));
    }
    void SetTitle(const std::string&) override {}
    void RestoreTitle() override {}
    void SetStatus(const std::string& text) override {
        progress_.setLabelText(QString::fromStdString(text));
    }
    void SetProgress(double fraction) override {
        progress_.setValue(int(fraction * kProgressSteps));
    }

  private:
    QWidget* parent_;
    QProgressDialog& progress_;
};

// What the send thread sees: a stop signal set by "Cancel", status and
// progress passed on to the box (posted, so they arrive in order).
class SendContext final : public TransmitContext {
  public:
    explicit SendContext(TransmitUi& ui) : ui_(ui) {}
    bool ShouldStop() const override { return stop_.IsSet(); }
    const LSignalObject* StopSignal() const override { return &stop_; }
    void SetProgress(double fraction) override { ui_.SetProgress(fraction); }
    void SetStatus(const std::string& text) override { ui_.SetStatus(text); }
    void LogError(const std::string& text) override { vocarta::LogError("Send: %s", text.c_str()); }
    void Stop() { stop_.Set(); }

  private:
    TransmitUi& ui_;
    LSignalObject stop_;
};

}  // namespace

std::string SaveFolder() {
    const std::string folder = find_play::SaveFolder();
    return folder.empty() ? MusicDir() : folder;
}

bool SaveAs(QWidget* parent, const std::vector<std::string>& paths) {
    if (paths.empty()) return false;
    std::vector<SaveItem> items;
    if (paths.size() == 1) {
        const std::string target = ChooseSaveTarget(parent, paths.front());
        if (target.empty()) return false;
        items.push_back({paths.front(), target});
        find_play::StoreSaveFolder(DirName(target));
    } else {
        const std::string folder = ChooseSaveFolder(parent);
        if (folder.empty()) return false;
        items = SaveItemsInto(paths, folder);
        find_play::StoreSaveFolder(folder);
    }
    const SaveOutcome outcome = SaveRecordings(
        items, [parent](const SaveItem& item) { return AskOverwrite(parent, item); });
    ReportSave(parent, outcome);
    for (const SaveItem& item : outcome.saved)
        if (DirName(item.target) == DirName(item.source) && item.target != item.source) return true;
    return false;
}

bool Delete(QWidget* parent, const std::vector<std::string>& paths) {
    if (paths.empty()) return false;
    const int answer =
        Ask(parent, QStringLiteral("Delete"),
            QStringLiteral("Are you sure you want to delete the selected recording(s) to the "
                           "trash?"),
            {{QStringLiteral("Delete"), QMessageBox::AcceptRole},
             {QStringLiteral("No"), QMessageBox::RejectRole}},
            1);
    if (answer != 0) return false;
    bool changed = false;
    QString failed;
    QString reasons;
    for (const std::string& path : paths) {
        LResult<TrashedItem> trashed = MoveToTrash(path);
        if (trashed) {
            changed = true;
            continue;
        }
        failed += (failed.isEmpty() ? "" : "\n") + Shown(path);
        reasons +=
            (reasons.isEmpty() ? "" : "\n") + QString::fromStdString(trashed.Error().Message());
    }
    if (!failed.isEmpty())
        Tell(parent, QStringLiteral("Delete"), Format("Unable to delete: %s", failed), reasons);
    return changed;
}

RenameResult Rename(QWidget* parent, const std::string& path, const std::string& typedName) {
    LResult<std::string> target = RenameTarget(path, typedName);
    if (!target) {
        const bool empty = TrimBlanks(typedName).empty();
        Tell(parent, QStringLiteral("Rename"),
             empty ? QStringLiteral("You must type a file name.")
                   : QString::fromStdString(target.Error().Message()));
        return RenameResult::kTypeAgain;
    }
    const std::string& newPath = target.Value();
    if (newPath == path) return RenameResult::kUnchanged;
    bool replace = false;
    struct stat info {};
    if (!SameFile(path, newPath) && lstat(newPath.c_str(), &info) == 0) {
        const int answer =
            Ask(parent, QStringLiteral("File already exists"),
                QStringLiteral("The file name you have chosen already exists. Would you like to "
                               "overwrite the existing file?"),
                {{QStringLiteral("Yes, overwrite the file"), QMessageBox::AcceptRole},
                 {QStringLiteral("No, I'll choose another name"), QMessageBox::RejectRole}},
                1);
        if (answer != 0) return RenameResult::kTypeAgain;
        replace = true;
    }
    LStatus renamed = RenameRecording(path, newPath, replace);
    if (!renamed) {
        LogError("Rename: %s", renamed.Error().Message().c_str());
        Tell(parent, QStringLiteral("Warning"),
             QStringLiteral("Unable to rename file. Check if the file name is not already in use."),
             QString::fromStdString(renamed.Error().Message()));
        return RenameResult::kUnchanged;
    }
    return RenameResult::kRenamed;
}

bool Send(QWidget* parent, const std::vector<std::string>& paths) {
    if (paths.empty()) return false;
    QInputDialog ask(Over(parent));
    ask.setObjectName("sendRecipientsDialog");
    ask.setWindowTitle(QStringLiteral("Send"));
    ask.setLabelText(QStringLiteral("Send the selected recording by email to:"));
    ask.setTextValue(QString::fromStdString(transmit_settings::EmailTo()));
    if (ask.exec() != QDialog::Accepted) return false;
    const std::string recipients = ask.textValue().trimmed().toStdString();
    if (recipients.empty()) {
        Tell(parent, QStringLiteral("Invalid Email"),
             QStringLiteral("Please enter the email of the person you want to send recordings "
                            "to."));
        return false;
    }

    QProgressDialog progress(QString::fromUtf8(kCompressingFilesText), QStringLiteral("Cancel"), 0,
                             kProgressSteps, Over(parent));
    progress.setObjectName("sendProgressDialog");
    progress.setWindowTitle(QStringLiteral("Send"));
    progress.setWindowModality(Qt::WindowModal);
    progress.setAutoReset(false);
    progress.setAutoClose(false);
    progress.setMinimumDuration(0);
    progress.setValue(0);

    BoxTransmitUi boxUi(parent, progress);
    PostedTransmitUi postedUi(boxUi, [&progress](std::function<void()> call) {
        QMetaObject::invokeMethod(&progress, std::move(call), Qt::QueuedConnection);
    });
    SendContext context(postedUi);
    QEventLoop loop;
    std::atomic<bool> done{false};
    QObject::connect(&progress, &QProgressDialog::canceled, [&context, &progress] {
        progress.setLabelText(QStringLiteral("Cancelling..."));
        context.Stop();
    });
    std::thread worker([&] {
        const TransmitResult result = SendRecordingsByEmail(paths, recipients, context, postedUi);
        LogEvent("Send of %zu recording(s) to %s: %s", paths.size(), recipients.c_str(),
                 TransmitResultName(result));
        done = true;
        QMetaObject::invokeMethod(
            &loop, [&loop] { loop.quit(); }, Qt::QueuedConnection);
    });
    if (!done) loop.exec();
    worker.join();
    postedUi.StopWaiting();
    return false;
}

bool Burn(QWidget* parent, const std::vector<std::string>& paths) {
    if (paths.empty()) return false;
    const int answer =
        Ask(parent, QStringLiteral("Choose CD type"),
            QStringLiteral("You can burn the audio files as either an audio CD (which will play "
                           "in regular CD players), or you can burn the files as a data CD (will "
                           "fit a much larger volume of compressed files)."),
            {{QStringLiteral("Burn as Audio CD"), QMessageBox::AcceptRole},
             {QStringLiteral("Burn as Data CD"), QMessageBox::AcceptRole},
             {QStringLiteral("Cancel"), QMessageBox::RejectRole}},
            2);
    if (answer == 2) return false;
    auto started = BurnRecordings(paths, answer == 0 ? DiscType::kAudio : DiscType::kData);
    if (!started)
        Tell(parent, QStringLiteral("Burn"), QString::fromStdString(started.Error().Message()));
    return false;
}

bool Edit(QWidget* parent, const std::vector<std::string>& paths) {
    if (paths.empty()) return false;
    auto started = EditRecordings(paths);
    if (!started)
        Tell(parent, QStringLiteral("Edit"), QString::fromStdString(started.Error().Message()));
    return false;
}

bool Convert(QWidget* parent, const std::vector<std::string>& paths) {
    if (paths.empty()) return false;
    auto started = ConvertRecordings(paths);
    if (!started)
        Tell(parent, QStringLiteral("Convert"), QString::fromStdString(started.Error().Message()));
    return false;
}

}  // namespace vocarta::recordings_actions
