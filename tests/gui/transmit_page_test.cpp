// The Transmit page in the options window, run offscreen: a refused value keeps
// the window open on the page with the product's message, an earlier method
// stays saved when a later one is refused, and what is shown is what is stored.

#include <QTabWidget>
#include <filesystem>

#include "gui/gui_test_support.h"
#include "gui/options_dialog.h"
#include "gui/transmit_options_page.h"

using namespace vocarta;
using namespace vocarta::test;

TEST(TransmitOptionsPage, RefusesWithTheProductsMessagesAndSavesEachMethodOnceItPasses) {
    EnsureApplication();
    for (const char* section : {"Settings", "FindPlay"}) DeleteSettingTree(section);
    const std::string home = getenv("HOME");
    const std::string records = home + "/records", mirror = home + "/mirror";
    std::filesystem::create_directories(records);
    std::filesystem::create_directories(mirror);
    SetSettings("FindPlay", "DefaultRecordFolder=" + records);
    SetSettings("Settings", "RecordingLengthLimit=4;bPromptTransmit=0");

    FakeView view;
    OptionsDialog dialog(view, nullptr);
    dialog.show();
    auto* page = Child<TransmitOptionsPage>(dialog, "TransmitOptionsPage");
    ASSERT_TRUE(page);
    ExpectShown(dialog,
                "sendEmail=0;emailTo.enabled=0;sendFolder=0;sendFolderDir.enabled=0;sendRun=0;"
                "promptTransmit=0;"
                "recordingLengthLimit=4;sendFolderDir=" +
                    home + "/Vocarta Mirror");

    const std::pair<std::string, std::string> refused[] = {
        {"sendEmail=1;emailTo=",
         "Please enter the email of the person you want to send recordings to."},
        {"emailTo=ann@example.org;sendFolder=1;sendFolderDir=" + home + "/nowhere",
         "The specified folder does not exist. Please select a valid folder to transmit "
         "recordings to."},
        {"sendFolderDir=" + records,
         "Selected folder is same as the Recording folder. Please select a different folder."},
        {"sendFolderDir=" + mirror + ";sendRun=1;sendRunExe=",
         "Please enter the exe or bat file you want to run."}};
    for (const auto& [entered, message] : refused) {
        Enter(dialog, entered);
        dialog.accept();
        ASSERT_FALSE(view.messages.empty()) << entered;
        EXPECT_EQ(view.messages.back().text, message);
        EXPECT_TRUE(dialog.isVisible());
        EXPECT_EQ(dialog.findChild<QTabWidget*>()->currentWidget(), page);
    }
    ExpectSettings("Settings",
                   "SendEmail=1;SendFolder=1;SendFolderDir=" + mirror + ";SendRun=<none>");
    ExpectSettings("Email", "To=ann@example.org");
    EXPECT_EQ(view.messages.back().title, "Invalid Exe File");

    Enter(dialog, "sendRunExe=\"/usr/bin/flac\" \"%s\";promptTransmit=1;recordingLengthLimit=9");
    dialog.accept();
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    ExpectSettings("Settings",
                   "SendRun=1;SendRunExe=\"/usr/bin/flac\" \"%s\";bPromptTransmit=1;"
                   "RecordingLengthLimit=9");
}
