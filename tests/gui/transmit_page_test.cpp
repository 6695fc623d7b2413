// The Transmit page in the options window, run offscreen: a refused value keeps
// the window open on the page with the product's message, an earlier method
// stays saved when a later one is refused, and what is shown is what is stored;
// the FTP group and its connection test.

#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTreeWidget>
#include <filesystem>

#include "gui/ftp_test_window.h"
#include "gui/gui_test_support.h"
#include "gui/options_dialog.h"
#include "gui/transmit_options_page.h"
#include "transmit/ftp/ftp_test_support.h"

using namespace vocarta;
using namespace vocarta::test;

TEST(TransmitOptionsPage, RefusesWithTheProductsMessagesAndSavesEachMethodOnceItPasses) {
    EnsureApplication();
    for (const char* section : {"Settings", "FindPlay"}) DeleteSettingTree(section);
    const std::string home = getenv("HOME");
    const std::string records = home + "/records", mirror = home + "/mirror";
    for (const auto& folder : {records, mirror}) std::filesystem::create_directories(folder);
    SetSettings("FindPlay", "DefaultRecordFolder=" + records);
    SetSettings("Settings", "RecordingLengthLimit=4;bPromptTransmit=0");

    FakeView view;
    OptionsDialog dialog(view, nullptr);
    dialog.show();
    auto* page = Child<TransmitOptionsPage>(dialog, "TransmitOptionsPage");
    ExpectShown(dialog,
                "sendEmail=0;emailTo.enabled=0;sendFolder=0;sendFolderDir.enabled=0;sendRun=0;"
                "promptTransmit=0;"
                "recordingLengthLimit=4;sendFolderDir=" +
                    home + "/Vocarta Mirror");

    // Each refusal in turn (their texts: transmit_options_test.cpp).
    const std::string refused[] = {
        "sendEmail=1;emailTo=",
        "emailTo=ann@example.org;sendFolder=1;sendFolderDir=" + home + "/nowhere",
        "sendFolderDir=" + records, "sendFolderDir=" + mirror + ";sendRun=1;sendRunExe="};
    for (const std::string& entered : refused) {
        const std::size_t before = view.messages.size();
        Enter(dialog, entered);
        dialog.accept();
        EXPECT_EQ(view.messages.size(), before + 1) << entered;
        EXPECT_TRUE(dialog.isVisible() && dialog.findChild<QTabWidget*>()->currentWidget() == page);
    }
    ExpectSettings("Settings",
                   "SendEmail=1;SendFolder=1;SendFolderDir=" + mirror + ";SendRun=<none>");
    ExpectSettings("Email", "To=ann@example.org");
    EXPECT_EQ(view.messages.back().title + ": " + view.messages.back().text,
              "Invalid Exe File: Please enter the exe or bat file you want to run.");

    Enter(dialog, "sendRunExe=\"/usr/bin/flac\" \"%s\";promptTransmit=1;recordingLengthLimit=9");
    dialog.accept();
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    ExpectSettings("Settings",
                   "SendRun=1;SendRunExe=\"/usr/bin/flac\" \"%s\";bPromptTransmit=1;"
                   "RecordingLengthLimit=9");
}

TEST(TransmitOptionsPage, FtpGroupShowsWhatIsStoredAndTestsTheValuesOnThePage) {
    EnsureApplication();
    for (const char* section : {"Settings", "Ftp"}) DeleteSettingTree(section);
    WriteFtpSettings({"ftp.example.net:2121", "rec", "pw", "/in", FtpTlsMode::kExplicitRequired});
    SetSettingBool("Settings", "SendFtp", true);
    FakeView view;
    TransmitOptionsPage page(view);
    ExpectShown(page,
                "sendFtp=1;ftpServer=ftp.example.net:2121;ftpUserName=rec;ftpPassword=pw;"
                "ftpDirectory=/in;ftpTlsMode=TLS required;ftpConnectionTest.enabled=1");
    EXPECT_EQ(Child<QLineEdit>(page, "ftpPassword")->echoMode(), QLineEdit::Password);

    Enter(page, "ftpUserName=");
    EXPECT_FALSE(page.Apply());
    Child<QPushButton>(page, "ftpConnectionTest")->click();
    ASSERT_EQ(view.messages.size(), 2u);
    for (const MessageBoxRequest& m : view.messages)
        EXPECT_EQ(m.title + ": " + m.text,
                  "Invalid FTP Server: FTP Server and user details are required.");
    EXPECT_EQ(page.findChild<FtpTestWindow*>(), nullptr) << "nothing to test without a user";

    // The test takes the page's values, saved or not.
    ScriptServer server;
    std::string error;
    ASSERT_TRUE(server.Start("{}", &error)) << error;
    Enter(page, "ftpServer=" + server.Address() +
                    ";ftpUserName=other;ftpPassword= secret;ftpDirectory=/up;"
                    "ftpTlsMode=No encryption (plain FTP)");
    Child<QPushButton>(page, "ftpConnectionTest")->click();
    auto* test = page.findChild<FtpTestWindow*>();
    ASSERT_NE(test, nullptr);
    ASSERT_TRUE(RunUntil([&] { return test->Finished(); }, 20000));
    // Its steps and report as it runs them.
    EXPECT_EQ(test->windowTitle(), "FTP Connection Test Results");
    auto* steps = Child<QTreeWidget>(*test, "ftpTestSteps");
    ASSERT_EQ(steps->topLevelItemCount(), 7);
    for (int i = 0; i < 7; ++i) EXPECT_EQ(steps->topLevelItem(i)->text(1), "OK") << i;
    // The report's texts: ftp_server_test.cpp.
    EXPECT_TRUE(Child<QPlainTextEdit>(*test, "ftpTestResults")
                    ->toPlainText()
                    .endsWith("Current directory is: /up\nContains:\n [no files]\nFile uploaded "
                              "OK.\nFile deleted OK.\n"));
    EXPECT_FALSE(Child<QPushButton>(*test, "ftpTestStop")->isEnabled());
    EXPECT_NE(server.Transcript().find("USER other|"), std::string::npos) << server.Transcript();
    EXPECT_NE(server.Transcript().find("CWD /up|"), std::string::npos);
    EXPECT_EQ(GetSettingString("Ftp", "UserName"), "rec") << "a test saves nothing";
    test->close();

    ASSERT_TRUE(page.Apply());
    ExpectSettings("Ftp", "Server=" + server.Address() +
                              ";UserName=other;Directory=/up;TlsMode=0;Password=<none>");
    std::string password;
    EXPECT_TRUE(GetProtectedSetting("Ftp", "Password", "", password) && password == " secret")
        << "taken as typed: " << password;
    Enter(page, "sendFtp=0");
    EXPECT_EQ(Shown(page, "ftpServer.enabled") + Shown(page, "ftpConnectionTest.enabled"), "00");
}
