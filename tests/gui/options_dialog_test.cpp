// The options window, run offscreen: it shows what is stored, stores what it
// shows, refuses a bad file name pattern or folder with the product's messages,
// and keeps the device choice and the volume heard in step with the panel.

#include "gui/options_dialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QSpinBox>
#include <QTimer>
#include <filesystem>
#include <sstream>

#include "app/app_fakes.h"
#include "audio/capture/device_choice.h"
#include "audio/capture/record_volume.h"
#include "audio/codecs/sink_factory.h"
#include "gui/flac_options_dialog.h"
#include "gui/gui_test_support.h"
#include "settings/settings.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

std::string Stored(const char* key, const char* section = "Settings") {
    std::string value;
    if (!GetSettingString(section, key, "", value)) return "<none>";
    return value;
}

// "Key=value;Key=value".
std::vector<std::pair<std::string, std::string>> KeyValues(const std::string& text) {
    std::vector<std::pair<std::string, std::string>> out;
    std::istringstream in(text);
    for (std::string item; std::getline(in, item, ';');)
        out.emplace_back(item.substr(0, item.find('=')), item.substr(item.find('=') + 1));
    return out;
}

void ClearOptions() {
    EnsureApplication();
    for (const char* section : {"Settings", "Recorder", "FindPlay"}) DeleteSettingTree(section);
    LRecordVolumeTable::Instance().Clear();
}

struct Window {
    FakeView view;
    OptionsDialog dialog{view, nullptr};
    Window() { dialog.show(); }
    template <typename W>
    W* Get(const char* name) {
        return Child<W>(dialog, name);
    }
};

}  // namespace

TEST(OptionsDialog, RefusesABadPatternWithTheExactMessage) {
    ClearOptions();
    Window w;
    QLineEdit* pattern = w.Get<QLineEdit>("fileNamePattern");
    EXPECT_EQ(pattern->text(), "Untitled %autonumber%");

    const std::pair<const char*, const char*> refused[] = {
        {"", "File name format is invalid. Please try again."},
        {"Take %autonumber% final",
         "File name format contains \"%autonumber%\" are not allowed to have post string. "
         "Please try again."},
        {"Take %MIN%",
         "File name format must contain either \"%autonumber%\" or \"%SS%\". Please try again."}};
    for (const auto& [text, message] : refused) {
        pattern->setText(text);
        w.dialog.accept();
        ASSERT_FALSE(w.view.messages.empty()) << text;
        EXPECT_EQ(w.view.messages.back().text, message);
        EXPECT_EQ(w.view.messages.back().title, "Invalid format");
        EXPECT_TRUE(w.dialog.isVisible()) << "accepted with " << text;
        EXPECT_EQ(Stored("FileNameFormat"), "<none>") << "stored with " << text;
    }
    const std::size_t told = w.view.messages.size();
    pattern->setText("%YYYY%-%MM%-%DD% %SS%%autonumber%");
    w.dialog.accept();
    EXPECT_EQ(w.view.messages.size(), told);
    EXPECT_FALSE(w.dialog.isVisible());
    EXPECT_EQ(w.dialog.result(), QDialog::Accepted);
    EXPECT_EQ(Stored("FileNameFormat"), "%YYYY%-%MM%-%DD% %SS%%autonumber%");
}

TEST(OptionsDialog, ShowsWhatIsStoredAndStoresWhatItShows) {
    ClearOptions();
    const std::string folder = std::string(getenv("HOME")) + "/takes";
    std::filesystem::create_directories(folder);
    const auto stored = KeyValues(
        "VoiceActivate=1;VoiceActivateLevel=-30;PauseWaitSeconds=7;VoiceActivateTimeoutRestart=1;"
        "CheckMaxTime=0;MaxTimeHours=1;MaxTimeMinutes=2;MaxTimeSeconds=3;StopReachMaxTime=0;"
        "RecordTone=0;StoppedTone=0;IntervalTone=1;IntervalSecs=45;LaunchPlayWhenStop=1;"
        "AutoEmpty=0;FileNameFormat=Memo %autonumber%;PromptForName=1;Format=3;"
        "AutoTrimThreshold=-33;AutoTrimThresholdIsAbsolute=1;AutoTrimShortestSilence=300;"
        "AutoTrimNewFixedLength=250;AutoTrimNewLengthFraction=125;AutoTrimStartAndEndOnly=1");
    for (const auto& [key, value] : stored) SetSettingString("Settings", key, value);
    SetSettingString("FindPlay", "DefaultRecordFolder", folder);
    SetSettingBool("Recorder", "Autotrim", true);

    {
        Window w;
        EXPECT_TRUE(w.Get<QCheckBox>("voiceActivate")->isChecked());
        EXPECT_EQ(w.Get<QSpinBox>("voiceLevel")->value(), -30);
        EXPECT_EQ(w.Get<QSpinBox>("pauseWait")->value(), 7);
        EXPECT_FALSE(w.Get<QCheckBox>("checkMaxTime")->isChecked());
        EXPECT_FALSE(w.Get<QSpinBox>("maxHours")->isEnabled());
        EXPECT_EQ(w.Get<QSpinBox>("maxMinutes")->value(), 2);
        EXPECT_TRUE(w.Get<QRadioButton>("newFileAtMaxTime")->isChecked());
        EXPECT_EQ(w.Get<QSpinBox>("intervalSecs")->value(), 45);
        EXPECT_EQ(w.Get<QLineEdit>("outputFolder")->text().toStdString(), folder);
        EXPECT_EQ(w.Get<QComboBox>("outputFormat")->currentText(), "FLAC");
        EXPECT_EQ(w.Get<QLabel>("formatText")->text().toStdString(), FormatDisplayText(3));
        EXPECT_TRUE(w.Get<QCheckBox>("afterRecordingTrim")->isChecked());
        EXPECT_DOUBLE_EQ(w.Get<QDoubleSpinBox>("trimFraction")->value(), 0.125);
        // Opening and accepting changes nothing.
        w.dialog.accept();
        ASSERT_EQ(w.dialog.result(), QDialog::Accepted);
    }
    for (const auto& [key, value] : stored) EXPECT_EQ(Stored(key.c_str()), value) << key;
    EXPECT_EQ(Stored("DefaultRecordFolder", "FindPlay"), folder);
    EXPECT_EQ(Stored("Autotrim", "Recorder"), "1");

    Window w;
    w.Get<QCheckBox>("voiceActivate")->setChecked(false);
    w.Get<QCheckBox>("checkMaxTime")->setChecked(true);
    w.Get<QSpinBox>("maxHours")->setValue(0);
    w.Get<QSpinBox>("maxSeconds")->setValue(30);
    w.Get<QRadioButton>("stopReachMaxTime")->setChecked(true);
    w.Get<QComboBox>("outputFormat")->setCurrentText("WAV");
    EXPECT_EQ(w.Get<QLabel>("formatText")->text().toStdString(), FormatDisplayText(0));
    w.Get<QSpinBox>("trimShortestSilence")->setValue(25);
    w.Get<QRadioButton>("trimRelative")->setChecked(true);
    w.Get<QCheckBox>("afterRecordingTrim")->setChecked(false);
    w.dialog.accept();
    EXPECT_EQ(Stored("VoiceActivate"), "0");
    EXPECT_EQ(Stored("CheckMaxTime"), "1");
    EXPECT_EQ(
        Stored("MaxTimeHours") + ":" + Stored("MaxTimeMinutes") + ":" + Stored("MaxTimeSeconds"),
        "0:2:30");
    EXPECT_EQ(Stored("StopReachMaxTime"), "1");
    EXPECT_EQ(Stored("Format"), "0");
    EXPECT_EQ(Stored("AutoTrimShortestSilence"), "25");
    EXPECT_EQ(Stored("AutoTrimThresholdIsAbsolute"), "0");
    EXPECT_EQ(Stored("Autotrim", "Recorder"), "0");
}

TEST(OptionsDialog, ClampsOddStoredValuesToTheirRanges) {
    ClearOptions();
    SetSettingString("Settings", "VoiceActivateLevel", "-500");
    SetSettingString("Settings", "MaxTimeMinutes", "90");  // 9 h 90 min 59 s
    SetSettingString("Settings", "AutoTrimShortestSilence", "5");
    SetSettingString("Settings", "Format", "9");
    Window w;
    EXPECT_EQ(w.Get<QSpinBox>("voiceLevel")->value(), -127);
    EXPECT_EQ(w.Get<QSpinBox>("maxHours")->value(), 10);
    EXPECT_EQ(w.Get<QSpinBox>("maxMinutes")->value(), 30);
    EXPECT_EQ(w.Get<QSpinBox>("trimShortestSilence")->value(), 25);
    EXPECT_EQ(w.Get<QComboBox>("outputFormat")->currentText(), "WAV");
}

TEST(OptionsDialog, AChangedFolderIsCheckedBeforeItIsKept) {
    ClearOptions();
    const std::string missing = std::string(getenv("HOME")) + "/new/takes";
    Window w;
    QLineEdit* folder = w.Get<QLineEdit>("outputFolder");

    folder->setText("takes/relative");
    w.dialog.accept();
    ASSERT_EQ(w.view.messages.size(), 1u);
    EXPECT_EQ(w.view.messages[0].text, "Output folder is invalid. Please try again.");
    EXPECT_EQ(w.view.messages[0].title, "Invalid output folder");
    EXPECT_TRUE(w.dialog.isVisible());

    folder->setText(QString::fromStdString(missing));
    w.view.answers = {1};  // "Cancel"
    w.dialog.accept();
    ASSERT_EQ(w.view.messages.size(), 2u);
    EXPECT_EQ(w.view.messages[1].text,
              "The specified output folder doesn't exist. Do you want to create it now?");
    EXPECT_EQ(w.view.messages[1].buttons, (std::vector<std::string>{"Create", "Cancel"}));
    EXPECT_TRUE(w.dialog.isVisible());
    EXPECT_FALSE(std::filesystem::exists(missing));
    EXPECT_EQ(Stored("DefaultRecordFolder", "FindPlay"), "<none>");

    w.view.answers = {0};  // "Create"
    w.dialog.accept();
    EXPECT_FALSE(w.dialog.isVisible());
    EXPECT_TRUE(std::filesystem::is_directory(missing));
    EXPECT_EQ(Stored("DefaultRecordFolder", "FindPlay"), missing);
}

TEST(OptionsDialog, DevicePageStoresTheChoiceAndPutsTheVolumeBackOnCancel) {
    ClearOptions();
    {
        Window w;
        QComboBox* device = w.Get<QComboBox>("inputDevice");
        ASSERT_EQ(device->count(), 3);
        EXPECT_EQ(device->itemText(1), "[USB 0] Simulated USB Microphone");
        device->setCurrentIndex(0);
        QComboBox* channel = w.Get<QComboBox>("inputChannel");
        ASSERT_EQ(channel->count(), 3);
        EXPECT_EQ(channel->itemText(0), "All Channels");
        channel->setCurrentIndex(2);
        w.Get<QSlider>("recordVolume")->setValue(6);
        EXPECT_EQ(w.Get<QLabel>("recordVolumeText")->text(), "+6 dB");
        // Heard at once, before OK.
        EXPECT_EQ(LRecordVolumeTable::Instance().Get("simulated.mic", 1).Value(), 6);
        w.dialog.accept();
    }
    EXPECT_EQ(Stored("RecordDevice"), "simulated.mic#2");
    EXPECT_EQ(Stored("RecordVolume"), "6");

    {
        Window w;
        EXPECT_EQ(w.Get<QComboBox>("inputChannel")->currentIndex(), 2);
        w.Get<QSlider>("recordVolume")->setValue(-20);
        EXPECT_EQ(LRecordVolumeTable::Instance().Get("simulated.mic", 1).Value(), -20);
        w.dialog.reject();
        EXPECT_EQ(LRecordVolumeTable::Instance().Get("simulated.mic", 1).Value(), 6);
    }
    EXPECT_EQ(Stored("RecordVolume"), "6");

    // The USB phone keeps its own choice; the other pair is left alone.
    Window w;
    w.Get<QCheckBox>("useUsbPhone")->setChecked(true);
    w.Get<QComboBox>("inputDevice")->setCurrentIndex(1);
    w.Get<QSlider>("recordVolume")->setValue(-3);
    w.dialog.accept();
    EXPECT_EQ(Stored("UseUSBPhone"), "1");
    EXPECT_EQ(Stored("RecordDeviceUSB"), "simulated.usb");
    EXPECT_EQ(Stored("RecordVolumeUSB"), "-3");
    EXPECT_EQ(Stored("RecordDevice"), "simulated.mic#2");
}

TEST(OptionsDialog, EncoderOptionsOpensTheDialogOfTheChosenFormat) {
    ClearOptions();
    Window w;
    w.Get<QComboBox>("outputFormat")->setCurrentText("FLAC");
    QString opened;
    QTimer::singleShot(0, [&opened] {
        QWidget* modal = QApplication::activeModalWidget();
        if (!modal) return;
        opened = modal->objectName();
        // Stored by the encoder dialog itself: the page's format text follows.
        Child<QComboBox>(*modal, "compression")->setCurrentIndex(8);
        Child<QComboBox>(*modal, "bitDepth")->setCurrentText("24 bits");
        qobject_cast<QDialog*>(modal)->accept();
    });
    w.Get<QPushButton>("encoderOptions")->click();
    EXPECT_EQ(opened, "FlacOptionsDialog");
    EXPECT_EQ(GetSettingInt("FlacEncoder", "Compression", 5), 8);
    EXPECT_TRUE(w.Get<QLabel>("formatText")->text().startsWith("24 Bit"))
        << w.Get<QLabel>("formatText")->text().toStdString();
}
