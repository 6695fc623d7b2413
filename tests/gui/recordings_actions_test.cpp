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

Answers::Step ChooseFile(const std::string& path) {
    return [path](QWidget* dialog) {
        auto* files = qobject_cast<QFileDialog*>(dialog);
        ASSERT_NE(files, nullptr);
        files->selectFile(QString::fromStdString(path));
        QMetaObject::invokeMethod(files, "accept", Qt::QueuedConnection);
    };
}

using Seen = std::vector<std::string>;

struct RecordingsActions : ::testing::Test {
    bool app = (EnsureApplication(), DeleteSettingTree("FindPlay"), true);  // before the window
    TempDir dir{"vocarta-actions-gui"};
    QWidget window;
};

}  // namespace

TEST_F(RecordingsActions, DeleteAsksFirstAndMovesToTheTrashOnlyOnDelete) {
    const std::string take = dir.File("take \"1\".wav");
    WriteFile(take, "audio");
    {
        Answers answers({Press("No")});
        EXPECT_FALSE(ra::Delete(&window, {take}));
        EXPECT_EQ(answers.shown, Seen{"Delete: Are you sure you want to delete the selected "
                                      "recording(s) to the trash? [Delete|No]"});
        EXPECT_EQ(ReadFile(take), "audio");
    }
    Answers answers({Press("Delete"), Press("OK")});
    EXPECT_TRUE(ra::Delete(&window, {take, dir.File("gone.wav")}));
    EXPECT_EQ(ReadFile(JoinPath(HomeTrashFolder(), "files/" + BaseName(take))), "audio");
    ASSERT_EQ(answers.shown.size(), 2u);
    EXPECT_EQ(answers.shown[1], "Delete: Unable to delete: " + dir.File("gone.wav") + " [OK]");
}

TEST_F(RecordingsActions, RenameRefusesAnEmptyNameAndAsksBeforeReplacing) {
    const std::string take = dir.File("take.wav"), other = dir.File("other.wav");
    WriteFile(take, "take");
    WriteFile(other, "other");
    {
        Answers answers({Press("OK"), Press("No, I'll choose another name")});
        EXPECT_EQ(ra::Rename(&window, take, " "), ra::RenameResult::kTypeAgain);
        EXPECT_EQ(ra::Rename(&window, take, "other"), ra::RenameResult::kTypeAgain);
        EXPECT_EQ(answers.shown,
                  (Seen{"Rename: You must type a file name. [OK]",
                        "File already exists: The file name you have chosen already exists. "
                        "Would you like to overwrite the existing file? [Yes, overwrite the "
                        "file|No, I'll choose another name]"}));
        EXPECT_EQ(ReadFile(other), "other");
    }
    {
        Answers answers({Press("Yes, overwrite the file")});
        EXPECT_EQ(ra::Rename(&window, take, "other.wav"), ra::RenameResult::kRenamed);
        EXPECT_EQ(ReadFile(other), "take");
        EXPECT_FALSE(FileExists(take));
    }
    // A failed rename (the recording went meanwhile) gives the warning.
    Answers answers({Press("OK")});
    EXPECT_EQ(ra::Rename(&window, take, "again"), ra::RenameResult::kUnchanged);
    EXPECT_EQ(answers.shown, Seen{"Warning: Unable to rename file. Check if the file name is "
                                  "not already in use. [OK]"});
}

TEST_F(RecordingsActions, SaveAsAsksAboutExistingFilesAndRemembersTheFolder) {
    MakeDirs(dir.File("rec"));
    MakeDirs(dir.File("backup"));
    const std::string a = dir.File("rec/a.wav"), b = dir.File("rec/b.wav");
    WriteFile(a, "new a");
    WriteFile(b, "new b");
    WriteFile(dir.File("backup/a.wav"), "old a");
    WriteFile(dir.File("backup/b.wav"), "old b");
    {
        // Several: the folder panel, then one question kept for all files.
        Answers answers({ChooseFile(dir.File("backup")), Press("Cancel", true)});
        EXPECT_FALSE(ra::SaveAs(&window, {a, b}));
        EXPECT_EQ(answers.shown,
                  (Seen{"Save recordings into folder...",
                        "Overwrite Files?: One or more files you have selected already exist in "
                        "this location. Do you want to overwrite the existing file(s)? "
                        "[Overwrite|Cancel]"}));
        EXPECT_EQ(ReadFile(dir.File("backup/a.wav")) + ReadFile(dir.File("backup/b.wav")),
                  "old aold b");
        EXPECT_EQ(ra::SaveFolder(), dir.File("backup"));
    }
    {
        // One: the save panel; "Overwrite" replaces it.
        Answers answers({ChooseFile(dir.File("backup/a.wav")), Press("Overwrite")});
        EXPECT_FALSE(ra::SaveAs(&window, {a}));
        ASSERT_EQ(answers.shown.size(), 2u);
        EXPECT_EQ(answers.shown[0], "Save Recording As..");
        EXPECT_EQ(ReadFile(dir.File("backup/a.wav")), "new a");
    }
    // A copy into the recordings' own folder changes what the window lists.
    Answers answers({ChooseFile(dir.File("rec/copy of a.wav"))});
    EXPECT_TRUE(ra::SaveAs(&window, {a}));
    EXPECT_EQ(ReadFile(dir.File("rec/copy of a.wav")), "new a");
}

TEST_F(RecordingsActions, BurnAsksForTheDiscTypeAndExplainsAMissingBurner) {
    const std::string take = dir.File("take.wav");
    WriteFile(take, "take");
    SetSettingString("FindPlay", "BurnProgram", dir.File("no-burner"));
    {
        Answers answers({Press("Cancel")});
        EXPECT_FALSE(ra::Burn(&window, {take}));
        EXPECT_EQ(answers.shown,
                  Seen{"Choose CD type: You can burn the audio files as either an audio CD "
                       "(which will play in regular CD players), or you can burn the files as a "
                       "data CD (will fit a much larger volume of compressed files). [Burn as "
                       "Audio CD|Burn as Data CD|Cancel]"});
    }
    Answers answers({Press("Burn as Data CD"), Press("OK")});
    ra::Burn(&window, {take});
    ASSERT_EQ(answers.shown.size(), 2u);
    EXPECT_EQ(answers.shown[1].rfind("Burn: ", 0), 0u) << answers.shown[1];
    EXPECT_NE(answers.shown[1].find("was not found"), std::string::npos) << answers.shown[1];
}

TEST_F(RecordingsActions, SendAsksForTheRecipientsAndMailsBehindAProgressBox) {
    RealSmtpServer server;
    ASSERT_TRUE(server.Started());
    DeleteSettingTree("Email");
    SetSettings("Email", "To=boss@mail.test;UseAppleMail=0;MailSMTPHost=127.0.0.1:" +
                             std::to_string(server.Port()) +
                             ";SendDirect=0;ReplyToEmail=me@mail.test");
    const std::string a = dir.File("a.wav"), b = dir.File("b.wav");
    WriteFile(a, std::string(40000, 'a'));
    WriteFile(b, std::string(40000, 'b'));
    QString offered;
    {
        Answers answers(
            {[&](QWidget* dialog) {
                 auto* ask = qobject_cast<QInputDialog*>(dialog);
                 ASSERT_NE(ask, nullptr);
                 offered = ask->textValue();
                 ask->setTextValue("rcpt@mail.test");
                 QMetaObject::invokeMethod(ask, "accept", Qt::QueuedConnection);
             },
             [](QWidget* dialog) { EXPECT_NE(qobject_cast<QProgressDialog*>(dialog), nullptr); }});
        EXPECT_FALSE(ra::Send(&window, {a, b}));
        ASSERT_EQ(answers.shown.size(), 2u);
        // The progress box's texts pass too quickly to catch: the send's own test.
        EXPECT_EQ(answers.shown[1], "Send");
    }
    EXPECT_EQ(offered, "boss@mail.test");
    ASSERT_TRUE(server.WaitFor(1));
    EXPECT_EQ(server.Kept(1, "subject"), "Vocarta Sound Recorder Attachment");
    EXPECT_EQ(server.Kept(1, "0.name"), "Vocarta Recordings.zip");
    EXPECT_NE(server.Kept(1, "meta").find("\nto=rcpt@mail.test\n"), std::string::npos)
        << server.Kept(1, "meta");
}
