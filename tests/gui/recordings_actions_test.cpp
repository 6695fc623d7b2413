// The recordings window's actions with their real dialogs, answered as a user
// would: the exact questions and buttons, "No" and "Cancel" keeping every file
// as it was, and the answers that act doing so on real files.

#include "gui/recordings_actions.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QFileDialog>
#include <QInputDialog>
#include <QMessageBox>
#include <QProgressDialog>
#include <QTimer>
#include <deque>
#include <functional>

#include "gui_test_support.h"
#include "library/trash.h"
#include "settings/settings.h"
#include "support/temp_dir.h"
#include "toolkit/paths.h"
#include "transmit/mail/mail_test_support.h"

using namespace vocarta;
using namespace vocarta::test;
namespace ra = vocarta::recordings_actions;

namespace {

// What a dialog showed: title, text and its buttons joined by "|".
struct Shown {
    std::string title, text, buttons;
};

// Answers the dialogs that open, in order, each with the next step; a dialog
// with no step left is closed with Escape and noted as unexpected.
class Answers {
  public:
    using Step = std::function<void(QWidget* dialog)>;

    explicit Answers(std::deque<Step> steps) : steps_(std::move(steps)) {
        QObject::connect(&timer_, &QTimer::timeout, [this] { Poll(); });
        timer_.start(5);
    }
    ~Answers() { EXPECT_TRUE(steps_.empty()) << steps_.size() << " dialog(s) did not open"; }

    std::vector<Shown> shown;

  private:
    void Poll() {
        QWidget* dialog = QApplication::activeModalWidget();
        if (!dialog || dialog == last_ || !dialog->isVisible()) return;
        last_ = dialog;
        Shown seen{dialog->windowTitle().toStdString(), "", ""};
        if (auto* box = qobject_cast<QMessageBox*>(dialog)) {
            seen.text = box->text().toStdString();
            for (QAbstractButton* b : box->buttons())
                seen.buttons += (seen.buttons.empty() ? "" : "|") + b->text().toStdString();
        }
        shown.push_back(seen);
        if (steps_.empty()) {
            ADD_FAILURE() << "unexpected dialog " << seen.title << ": " << seen.text;
            QMetaObject::invokeMethod(dialog, "reject", Qt::QueuedConnection);
            return;
        }
        Step step = std::move(steps_.front());
        steps_.pop_front();
        step(dialog);
    }

    std::deque<Step> steps_;
    QTimer timer_;
    QWidget* last_ = nullptr;
};

Answers::Step Press(const QString& text, bool checkRepeat = false) {
    return [text, checkRepeat](QWidget* dialog) {
        auto* box = qobject_cast<QMessageBox*>(dialog);
        ASSERT_NE(box, nullptr);
        if (checkRepeat) box->checkBox()->setChecked(true);
        for (QAbstractButton* b : box->buttons())
            if (b->text() == text) return b->click();
        ADD_FAILURE() << "no button " << text.toStdString();
    };
}

Answers::Step ChooseFile(const std::string& path) {
    return [path](QWidget* dialog) {
        auto* files = qobject_cast<QFileDialog*>(dialog);
        ASSERT_NE(files, nullptr);
        files->selectFile(QString::fromStdString(path));
        QMetaObject::invokeMethod(files, "accept", Qt::QueuedConnection);
    };
}

// Made before the fixture's window.
struct ApplicationFirst {
    ApplicationFirst() { EnsureApplication(); }
};

struct Fixture : ::testing::Test, ApplicationFirst {
    Fixture() { DeleteSettingTree("FindPlay"); }
    TempDir dir{"vocarta-actions-gui"};
    QWidget window;
};

std::string Make(const std::string& path, const std::string& bytes) {
    EXPECT_TRUE(WriteFile(path, bytes));
    return bytes;
}

}  // namespace

using RecordingsActions = Fixture;

TEST_F(RecordingsActions, DeleteAsksFirstAndMovesToTheTrashOnlyOnDelete) {
    const std::string take = dir.File("take \"1\".wav");
    Make(take, "audio");
    const std::string question =
        "Are you sure you want to delete the selected recording(s) to the trash?";
    {
        Answers answers({Press("No")});
        EXPECT_FALSE(ra::Delete(&window, {take}));
        ASSERT_EQ(answers.shown.size(), 1u);
        EXPECT_EQ(answers.shown[0].title, "Delete");
        EXPECT_EQ(answers.shown[0].text, question);
        EXPECT_EQ(answers.shown[0].buttons, "Delete|No");
        EXPECT_EQ(ReadFile(take), "audio");
    }
    {
        Answers answers({Press("Delete"), Press("OK")});
        EXPECT_TRUE(ra::Delete(&window, {take, dir.File("gone.wav")}));
        EXPECT_EQ(ReadFile(JoinPath(HomeTrashFolder(), "files/" + BaseName(take))), "audio");
        ASSERT_EQ(answers.shown.size(), 2u);
        EXPECT_EQ(answers.shown[1].text, "Unable to delete: " + dir.File("gone.wav"));
    }
}

TEST_F(RecordingsActions, RenameRefusesAnEmptyNameAndAsksBeforeReplacing) {
    const std::string take = dir.File("take.wav");
    const std::string other = dir.File("other.wav");
    Make(take, "take");
    Make(other, "other");
    {
        Answers answers({Press("OK")});
        EXPECT_EQ(ra::Rename(&window, take, " "), ra::RenameResult::kTypeAgain);
        ASSERT_EQ(answers.shown.size(), 1u);
        EXPECT_EQ(answers.shown[0].title, "Rename");
        EXPECT_EQ(answers.shown[0].text, "You must type a file name.");
    }
    {
        Answers answers({Press("No, I'll choose another name")});
        EXPECT_EQ(ra::Rename(&window, take, "other"), ra::RenameResult::kTypeAgain);
        ASSERT_EQ(answers.shown.size(), 1u);
        EXPECT_EQ(answers.shown[0].title, "File already exists");
        EXPECT_EQ(answers.shown[0].text,
                  "The file name you have chosen already exists. Would you like to overwrite the "
                  "existing file?");
        EXPECT_EQ(answers.shown[0].buttons, "Yes, overwrite the file|No, I'll choose another name");
        EXPECT_EQ(ReadFile(other), "other");
    }
    {
        Answers answers({Press("Yes, overwrite the file")});
        EXPECT_EQ(ra::Rename(&window, take, "other.wav"), ra::RenameResult::kRenamed);
        EXPECT_EQ(ReadFile(other), "take");
        EXPECT_FALSE(FileExists(take));
    }
    {
        // A failed rename (the recording went meanwhile) gives the warning.
        Answers answers({Press("OK")});
        EXPECT_EQ(ra::Rename(&window, take, "again"), ra::RenameResult::kUnchanged);
        ASSERT_EQ(answers.shown.size(), 1u);
        EXPECT_EQ(answers.shown[0].title, "Warning");
        EXPECT_EQ(answers.shown[0].text,
                  "Unable to rename file. Check if the file name is not already in use.");
    }
}

TEST_F(RecordingsActions, SaveAsAsksAboutExistingFilesAndRemembersTheFolder) {
    MakeDirs(dir.File("rec"));
    MakeDirs(dir.File("backup"));
    const std::string a = dir.File("rec/a.wav");
    const std::string b = dir.File("rec/b.wav");
    Make(a, "new a");
    Make(b, "new b");
    Make(dir.File("backup/a.wav"), "old a");
    Make(dir.File("backup/b.wav"), "old b");
    {
        // Several: the folder panel, then one question kept for all files.
        Answers answers({ChooseFile(dir.File("backup")), Press("Cancel", true)});
        EXPECT_FALSE(ra::SaveAs(&window, {a, b}));
        ASSERT_EQ(answers.shown.size(), 2u);
        EXPECT_EQ(answers.shown[0].title, "Save recordings into folder...");
        EXPECT_EQ(answers.shown[1].title, "Overwrite Files?");
        EXPECT_EQ(answers.shown[1].text,
                  "One or more files you have selected already exist in this location. Do you "
                  "want to overwrite the existing file(s)?");
        EXPECT_EQ(answers.shown[1].buttons, "Overwrite|Cancel");
        EXPECT_EQ(ReadFile(dir.File("backup/a.wav")), "old a");
        EXPECT_EQ(ReadFile(dir.File("backup/b.wav")), "old b");
        EXPECT_EQ(ra::SaveFolder(), dir.File("backup"));
    }
    {
        // One: the save panel; "Overwrite" replaces it.
        Answers answers({ChooseFile(dir.File("backup/a.wav")), Press("Overwrite")});
        EXPECT_FALSE(ra::SaveAs(&window, {a}));
        ASSERT_EQ(answers.shown.size(), 2u);
        EXPECT_EQ(answers.shown[0].title, "Save Recording As..");
        EXPECT_EQ(ReadFile(dir.File("backup/a.wav")), "new a");
    }
    {
        // A copy into the recordings' own folder changes what the window lists.
        Answers answers({ChooseFile(dir.File("rec/copy of a.wav"))});
        EXPECT_TRUE(ra::SaveAs(&window, {a}));
        EXPECT_EQ(ReadFile(dir.File("rec/copy of a.wav")), "new a");
    }
}

TEST_F(RecordingsActions, BurnAsksForTheDiscTypeAndExplainsAMissingBurner) {
    const std::string take = dir.File("take.wav");
    Make(take, "take");
    SetSettingString("FindPlay", "BurnProgram", dir.File("no-burner"));
    {
        Answers answers({Press("Cancel")});
        EXPECT_FALSE(ra::Burn(&window, {take}));
        ASSERT_EQ(answers.shown.size(), 1u);
        EXPECT_EQ(answers.shown[0].title, "Choose CD type");
        EXPECT_EQ(answers.shown[0].text,
                  "You can burn the audio files as either an audio CD (which will play in "
                  "regular CD players), or you can burn the files as a data CD (will fit a much "
                  "larger volume of compressed files).");
        EXPECT_EQ(answers.shown[0].buttons, "Burn as Audio CD|Burn as Data CD|Cancel");
    }
    {
        Answers answers({Press("Burn as Data CD"), Press("OK")});
        ra::Burn(&window, {take});
        ASSERT_EQ(answers.shown.size(), 2u);
        EXPECT_EQ(answers.shown[1].title, "Burn");
        EXPECT_NE(answers.shown[1].text.find("was not found"), std::string::npos)
            << answers.shown[1].text;
    }
}

TEST_F(RecordingsActions, SendAsksForTheRecipientsAndMailsBehindAProgressBox) {
    RealSmtpServer server;
    ASSERT_TRUE(server.Started());
    DeleteSettingTree("Email");
    SetSettingString("Email", "To", "boss@mail.test");
    SetSettingBool("Email", "UseAppleMail", false);
    SetSettingString("Email", "MailSMTPHost", "127.0.0.1:" + std::to_string(server.Port()));
    SetSettingBool("Email", "SendDirect", false);
    SetSettingString("Email", "ReplyToEmail", "me@mail.test");
    const std::string a = dir.File("a.wav");
    const std::string b = dir.File("b.wav");
    Make(a, std::string(40000, 'a'));
    Make(b, std::string(40000, 'b'));

    QString offered;
    QString progressTitle;
    {
        Answers answers({[&](QWidget* dialog) {
                             auto* ask = qobject_cast<QInputDialog*>(dialog);
                             ASSERT_NE(ask, nullptr);
                             offered = ask->textValue();
                             ask->setTextValue("rcpt@mail.test");
                             QMetaObject::invokeMethod(ask, "accept", Qt::QueuedConnection);
                         },
                         [&](QWidget* dialog) {
                             auto* progress = qobject_cast<QProgressDialog*>(dialog);
                             ASSERT_NE(progress, nullptr);
                             progressTitle = progress->windowTitle();
                         }});
        EXPECT_FALSE(ra::Send(&window, {a, b}));
    }
    EXPECT_EQ(offered, "boss@mail.test");
    // Its texts ("Compressing Files...", then the mail's) pass too quickly to
    // catch here; the send's own test follows them.
    EXPECT_EQ(progressTitle, "Send");
    ASSERT_TRUE(server.WaitFor(1));
    EXPECT_EQ(server.Kept(1, "subject"), "Vocarta Sound Recorder Attachment");
    EXPECT_EQ(server.Kept(1, "0.name"), "Vocarta Recordings.zip");
    EXPECT_NE(server.Kept(1, "meta").find("\nto=rcpt@mail.test\n"), std::string::npos)
        << server.Kept(1, "meta");
}
