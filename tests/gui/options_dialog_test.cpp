// The options window, run offscreen: it shows what is stored, stores what it
// shows, refuses a bad file name pattern or folder with the product's messages,
// and keeps the device choice and the volume heard in step with the panel.

#include "gui/options_dialog.h"

#include <QPushButton>
#include <QTimer>
#include <filesystem>

#include "audio/capture/record_volume.h"
#include "audio/codecs/sink_factory.h"
#include "gui/gui_test_support.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

class OptionsDialogTest : public ::testing::Test {
  protected:
    OptionsDialogTest() {
        EnsureApplication();
        for (const char* section : {"Settings", "Recorder", "FindPlay"}) DeleteSettingTree(section);
        LRecordVolumeTable::Instance().Clear();
    }
    // The window opened on what is stored now; `answers` for its questions.
    struct Window {
        FakeView view;
        OptionsDialog dialog{view, nullptr};
        Window() { dialog.show(); }
    };
    int Volume() { return LRecordVolumeTable::Instance().Get("simulated.mic", 1).Value(); }
};

}  // namespace

TEST_F(OptionsDialogTest, RefusesABadPatternWithTheExactMessage) {
    Window w;
    ExpectShown(w.dialog, "fileNamePattern=Untitled %autonumber%");
    const std::pair<const char*, const char*> refused[] = {
        {"", "File name format is invalid. Please try again."},
        {"Take %autonumber% final",
         "File name format contains \"%autonumber%\" are not allowed to have post string. "
         "Please try again."},
        {"Take %MIN%",
         "File name format must contain either \"%autonumber%\" or \"%SS%\". Please try again."}};
    for (const auto& [text, message] : refused) {
        Enter(w.dialog, std::string("fileNamePattern=") + text);
        w.dialog.accept();
        ASSERT_FALSE(w.view.messages.empty()) << text;
        EXPECT_EQ(w.view.messages.back().title + ": " + w.view.messages.back().text,
                  std::string("Invalid format: ") + message);
        EXPECT_TRUE(w.dialog.isVisible()) << "accepted with " << text;
    }
    ExpectSettings("Settings", "FileNameFormat=<none>");
    Enter(w.dialog, "fileNamePattern=%YYYY%-%MM%-%DD% %SS%%autonumber%");
    w.dialog.accept();
    EXPECT_EQ(w.view.messages.size(), 3u);
    ExpectSettings("Settings", "FileNameFormat=%YYYY%-%MM%-%DD% %SS%%autonumber%");
}

TEST_F(OptionsDialogTest, ShowsWhatIsStoredAndStoresWhatItShows) {
    const std::string folder = std::string(getenv("HOME")) + "/takes";
    std::filesystem::create_directories(folder);
    const std::string stored =
        "VoiceActivate=1;VoiceActivateLevel=-30;PauseWaitSeconds=7;VoiceActivateTimeoutRestart=1;"
        "CheckMaxTime=0;MaxTimeHours=1;MaxTimeMinutes=2;MaxTimeSeconds=3;StopReachMaxTime=0;"
        "RecordTone=0;StoppedTone=0;IntervalTone=1;IntervalSecs=45;LaunchPlayWhenStop=1;"
        "AutoEmpty=0;FileNameFormat=Memo %autonumber%;PromptForName=1;Format=3;"
        "AutoTrimThreshold=-33;AutoTrimThresholdIsAbsolute=1;AutoTrimShortestSilence=300;"
        "AutoTrimNewFixedLength=250;AutoTrimNewLengthFraction=125;AutoTrimStartAndEndOnly=1";
    SetSettings("Settings", stored);
    SetSettings("FindPlay", "DefaultRecordFolder=" + folder);
    SetSettings("Recorder", "Autotrim=1");
    {
        Window w;
        ExpectShown(w.dialog,
                    "voiceActivate=1;voiceLevel=-30;pauseWait=7;checkMaxTime=0;maxHours.enabled=0;"
                    "maxMinutes=2;newFileAtMaxTime=1;intervalSecs=45;outputFolder=" +
                        folder + ";outputFormat=FLAC;afterRecordingTrim=1;trimFraction=0.125");
        EXPECT_EQ(Shown(w.dialog, "formatText"),
                  FormatDisplayText(LoadRecordingSpec(OutputFormat::kFlac)));
        w.dialog.accept();  // opening and accepting changes nothing
    }
    ExpectSettings("Settings", stored);
    ExpectSettings("FindPlay", "DefaultRecordFolder=" + folder);
    ExpectSettings("Recorder", "Autotrim=1");

    Window w;
    Enter(w.dialog,
          "voiceActivate=0;checkMaxTime=1;maxHours=0;maxSeconds=30;stopReachMaxTime=1;"
          "outputFormat=WAV;trimShortestSilence=25;trimRelative=1;afterRecordingTrim=0");
    EXPECT_EQ(Shown(w.dialog, "formatText"),
              FormatDisplayText(LoadRecordingSpec(OutputFormat::kWav)));
    w.dialog.accept();
    ExpectSettings("Settings",
                   "VoiceActivate=0;CheckMaxTime=1;MaxTimeHours=0;MaxTimeMinutes=2;"
                   "MaxTimeSeconds=30;StopReachMaxTime=1;Format=0;AutoTrimShortestSilence=25;"
                   "AutoTrimThresholdIsAbsolute=0");
    ExpectSettings("Recorder", "Autotrim=0");
}

TEST_F(OptionsDialogTest, ClampsOddStoredValuesToTheirRanges) {
    // 9 h 90 min 59 s is shown as 10:30:59.
    SetSettings("Settings",
                "VoiceActivateLevel=-500;MaxTimeMinutes=90;AutoTrimShortestSilence=5;Format=9");
    Window w;
    ExpectShown(w.dialog,
                "voiceLevel=-127;maxHours=10;maxMinutes=30;trimShortestSilence=25;"
                "outputFormat=WAV");
}

// The create question's wording: file_naming_test.cpp.
TEST_F(OptionsDialogTest, AChangedFolderIsCheckedBeforeItIsKept) {
    const std::string missing = std::string(getenv("HOME")) + "/new/takes";
    Window w;
    Enter(w.dialog, "outputFolder=takes/relative");
    w.dialog.accept();
    ASSERT_EQ(w.view.messages.size(), 1u);
    EXPECT_EQ(w.view.messages[0].title + ": " + w.view.messages[0].text,
              "Invalid output folder: Output folder is invalid. Please try again.");

    Enter(w.dialog, "outputFolder=" + missing);
    w.view.answers = {1, 0};  // "Cancel", then "Create"
    w.dialog.accept();
    EXPECT_EQ(w.view.messages.at(1).buttons, (std::vector<std::string>{"Create", "Cancel"}));
    EXPECT_TRUE(w.dialog.isVisible() && !std::filesystem::exists(missing));
    ExpectSettings("FindPlay", "DefaultRecordFolder=<none>");
    w.dialog.accept();
    EXPECT_TRUE(!w.dialog.isVisible() && std::filesystem::is_directory(missing));
    ExpectSettings("FindPlay", "DefaultRecordFolder=" + missing);
}

TEST_F(OptionsDialogTest, DevicePageStoresTheChoiceAndPutsTheVolumeBackOnCancel) {
    {
        Window w;
        auto* device = Child<QComboBox>(w.dialog, "inputDevice");
        ASSERT_EQ(device->count(), 3);
        EXPECT_EQ(device->itemText(1), "[USB 0] Simulated USB Microphone");
        device->setCurrentIndex(0);
        auto* channel = Child<QComboBox>(w.dialog, "inputChannel");
        ASSERT_EQ(channel->count(), 3);
        channel->setCurrentIndex(2);
        Enter(w.dialog, "recordVolume=6");
        ExpectShown(w.dialog, "recordVolumeText=+6 dB");
        EXPECT_EQ(channel->itemText(0), "All Channels");
        EXPECT_EQ(Volume(), 6) << "heard at once, before OK";
        w.dialog.accept();
    }
    ExpectSettings("Settings", "RecordDevice=simulated.mic#2;RecordVolume=6");
    {
        Window w;
        EXPECT_EQ(Child<QComboBox>(w.dialog, "inputChannel")->currentIndex(), 2);
        Enter(w.dialog, "recordVolume=-20");
        EXPECT_EQ(Volume(), -20);
        w.dialog.reject();
        EXPECT_EQ(Volume(), 6);
    }
    ExpectSettings("Settings", "RecordVolume=6");

    // The USB phone keeps its own choice; the other pair is left alone.
    Window w;
    Enter(w.dialog, "useUsbPhone=1");
    Child<QComboBox>(w.dialog, "inputDevice")->setCurrentIndex(1);
    Enter(w.dialog, "recordVolume=-3");
    w.dialog.accept();
    ExpectSettings("Settings",
                   "UseUSBPhone=1;RecordDeviceUSB=simulated.usb;RecordVolumeUSB=-3;"
                   "RecordDevice=simulated.mic#2");
}

TEST_F(OptionsDialogTest, EncoderOptionsOpensTheDialogOfTheChosenFormat) {
    Window w;
    Enter(w.dialog, "outputFormat=FLAC");
    QString opened;
    QTimer::singleShot(0, [&opened] {
        QWidget* modal = QApplication::activeModalWidget();
        if (!modal) return;
        opened = modal->objectName();
        // Stored by the encoder dialog itself: the page's format text follows.
        Enter(*modal, "compression=8 (Smallest);bitDepth=24 bits");
        qobject_cast<QDialog*>(modal)->accept();
    });
    Child<QPushButton>(w.dialog, "encoderOptions")->click();
    EXPECT_EQ(opened, "FlacOptionsDialog");
    EXPECT_EQ(GetSettingInt("FlacEncoder", "Compression", 5), 8);
    EXPECT_EQ(Shown(w.dialog, "formatText").rfind("24 Bit", 0), 0u)
        << Shown(w.dialog, "formatText");
}
