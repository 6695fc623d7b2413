#include "app/session/file_naming.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "app/session/output_folder.h"
#include "app/session/recording_target.h"
#include "app_fakes.h"
#include "audio/output_format.h"
#include "settings/settings.h"
#include "toolkit/paths.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

using Box = std::pair<std::string, std::string>;  // a message box's title and text

class FileNamingTest : public ::testing::Test {
  protected:
    void SetUp() override {
        DeleteSettingTree("Settings");
        DeleteSettingTree("FindPlay");
        StoreRecordFolder(folder.Path());
    }
    std::string Expand(const std::string& pattern) {
        std::string out;
        ExpandFileNamePattern(pattern, OutputFormat::kMp3, moment, out);
        return out;
    }
    int AutoNumber() { return GetSettingInt("Settings", "AutoNumber", -99); }
    void SetAutoNumber(int value) { SetSettingInt("Settings", "AutoNumber", value); }
    // The last message box as {title, text}.
    Box Said() const {
        if (view.messages.empty()) return {};
        return {view.messages.back().title, view.messages.back().text};
    }
    LResult<RecordingTarget> Choose() { return ChooseRecordingPath(view, OutputFormat::kWav); }

    TempDir folder{"vocarta-names"};
    FakeView view;
    std::tm moment = [] {
        std::tm tm{};
        tm.tm_year = 124, tm.tm_mon = 4, tm.tm_mday = 1, tm.tm_hour = 9, tm.tm_min = 5;
        tm.tm_sec = 7;
        return tm;
    }();
};

}  // namespace

TEST_F(FileNamingTest, DefaultPatternCountsFromZeroAndSkipsTakenNames) {
    EXPECT_EQ(Expand(FileNamePattern()), "Untitled 000");
    EXPECT_EQ(AutoNumber(), 1);
    SetAutoNumber(0);
    // Another format does not count.
    for (const char* taken : {"Untitled 000.mp3", "Untitled 001.mp3", "Untitled 002.wav"})
        WriteFile(folder.File(taken), "x");
    EXPECT_EQ(Expand(FileNamePattern()), "Untitled 002");
    EXPECT_EQ(AutoNumber(), 3);
    EXPECT_EQ(MakeRecordingPath("Untitled 002", OutputFormat::kMp3),
              folder.File("Untitled 002.mp3"));
}

TEST_F(FileNamingTest, TokensAndOddPercentSigns) {
    // Unknown (and wrongly cased) tokens vanish; each %autonumber% takes a number.
    const std::tuple<int, const char*, const char*> rows[] = {
        {1234, "%autonumber%", "1234"},
        {0, "%YYYY%-%MM%-%DD% %HH%.%MIN%.%SS% take", "2024-05-01 09.05.07 take"},
        {0, "a%Foo%b%yyyy%c", "abc"},
        {0, "100%% sure", "100% sure"},
        {0, "50% off", "50% off"},
        {5, "%autonumber%-%autonumber%", "005-006"}};
    for (const auto& [number, pattern, expected] : rows) {
        SetAutoNumber(number);
        EXPECT_EQ(Expand(pattern), expected);
    }
    EXPECT_EQ(AutoNumber(), 7);
    // Without a counter the name is used once, even if taken, and takes no number.
    DeleteSetting("Settings", "AutoNumber");
    WriteFile(folder.File("2024.mp3"), "x");
    EXPECT_EQ(Expand("%YYYY%"), "2024");
    EXPECT_FALSE(SettingExists("Settings", "AutoNumber"));
    // Which patterns are refused, and with which message: the options window test.
    std::string message;
    EXPECT_TRUE(ValidateFileNamePattern("Take %SS% here", message));
    EXPECT_FALSE(CheckFileNamePattern(view, "%AUTONUMBER%"));
    EXPECT_EQ(view.messages.at(0).title, "Invalid format");
}

TEST_F(FileNamingTest, RecordFolderDefaultAndPath) {
    DeleteSetting("FindPlay", "DefaultRecordFolder");
    EXPECT_EQ(RecordFolder(), JoinPath(MusicDir(), "Vocarta"));
    StoreRecordFolder("/srv/takes/");
    EXPECT_EQ(MakeRecordingPath("a", OutputFormat::kAiff), "/srv/takes/a.aiff");
    StoreRecordFolder("/srv/takes");
    EXPECT_EQ(MakeRecordingPath("a", OutputFormat::kFlac), "/srv/takes/a.flac");
}

// A long name once lost its number and extension, and then every take failed
// with "File exists": the text before the number gives way instead.
TEST_F(FileNamingTest, LongNamesGiveWayBeforeTheNumberAndTheExtension) {
    const std::string path = MakeRecordingPath(std::string(300, 'n'), OutputFormat::kWav);
    EXPECT_LE(BaseName(path).size(), 255u);
    EXPECT_LE(path.size(), 259u);
    EXPECT_EQ(Extension(path), ".wav");
    const std::string pattern = std::string(300, 'x') + "\xc3\xa9 %autonumber%";
    SetAutoNumber(7);
    const std::string first = Expand(pattern);
    const std::string second = Expand(pattern);
    EXPECT_EQ(first.substr(first.size() - 3), "007");
    EXPECT_EQ(second.substr(second.size() - 3), "008");
    EXPECT_LE(MakeRecordingPath(first, OutputFormat::kMp3).size(), 259u);
    // Patterns that would name a file outside the folder, or none, are refused,
    // both by the options page and when read from the settings.
    std::string message;
    for (const char* bad : {"../../evil/%autonumber%", "a/b %SS%", "..%SS%", ""})
        EXPECT_FALSE(ValidateFileNamePattern(bad, message)) << bad;
    for (const char* stored : {"../../evil/%autonumber%", ""}) {
        SetSettingString("Settings", "FileNameFormat", stored);
        EXPECT_EQ(FileNamePattern(), "Untitled %autonumber%");
    }
    EXPECT_EQ(Expand("%Unknown%"), "Untitled") << "never a hidden \".mp3\"";
}

TEST_F(FileNamingTest, CounterResetAndPutBack) {
    // {before (-1: none), after}: a missing counter reads as 1; never below 0.
    for (const auto& [before, after] : {std::pair{7, 6}, {-1, 0}, {0, 0}}) {
        if (before < 0) DeleteSetting("Settings", "AutoNumber");
        if (before >= 0) SetAutoNumber(before);
        PutBackAutoNumber();
        EXPECT_EQ(AutoNumber(), after) << before;
    }
    SetAutoNumber(41);
    ResetAutoNumber(view);
    EXPECT_EQ(AutoNumber(), 0);
    EXPECT_EQ(Said(), Box("Reset", "Auto number has been reset to 0."));
}

TEST_F(FileNamingTest, NamePromptAndReplaceQuestion) {
    SetSettingBool("Settings", "PromptForName", true);
    view.prompts = {std::nullopt, std::string("   "), std::string("../elsewhere"),
                    std::string("  Interview ")};
    EXPECT_TRUE(Choose().Error().IsCancelled());
    EXPECT_EQ(view.promptTitles.back() + "|" + view.promptInitials.back(),
              "Enter File Name|Untitled 000");
    EXPECT_FALSE(SettingExists("Settings", "AutoNumber"));  // the suggestion takes no number
    EXPECT_FALSE(Choose());
    EXPECT_EQ(Said(), Box("Name Invalid", "The name must contain text."));
    EXPECT_FALSE(Choose());
    EXPECT_EQ(view.messages.at(1).title, "Name Invalid");
    auto chosen = Choose();
    EXPECT_EQ(chosen ? chosen.Value().path : "", folder.File("Interview.wav"));

    // An existing recording is replaced only on "Replace"; the answer that keeps
    // it (the one nobody at the keyboard gets) records under the next free name.
    WriteFile(folder.File("Interview.wav"), "x");
    WriteFile(folder.File("Interview 001.wav"), "x");
    view.prompts = {std::string("Interview"), std::string("Interview"), std::string("Interview")};
    view.answers = {2, 0, 1};  // "Cancel", "Replace", "Record as ..."
    EXPECT_TRUE(Choose().Error().IsCancelled());
    const MessageBoxRequest& asked = view.messages.back();
    EXPECT_EQ(Said(), Box("File Exists",
                          "Another file with the same name and format already exists. Do you "
                          "want to replace it? "));
    EXPECT_EQ(asked.buttons,
              (std::vector<std::string>{"Replace", "Record as \"Interview 002.wav\"", "Cancel"}));
    EXPECT_EQ(asked.UnattendedChoice(), 1);
    chosen = Choose();
    EXPECT_TRUE(chosen && chosen.Value().replaces);
    chosen = Choose();
    EXPECT_TRUE(chosen && !chosen.Value().replaces);
    EXPECT_EQ(chosen ? chosen.Value().path : "", folder.File("Interview 002.wav"));

    // A pattern's name is asked about the same way.
    SetSettingBool("Settings", "PromptForName", false);
    SetSettingString("Settings", "FileNameFormat", "Interview");
    EXPECT_FALSE(Choose());
    EXPECT_EQ(view.messages.back().title, "File Exists");
    SetSettingString("Settings", "FileNameFormat", "Take %autonumber%");
    chosen = Choose();
    EXPECT_EQ(chosen ? chosen.Value().path : "", folder.File("Take 000.wav"));
}

// "-recordfile /dev/null" as root once deleted /dev/null after an empty take.
TEST_F(FileNamingTest, OnlyFilesOrFreeNamesAreRecordingTargets) {
    ::mkfifo(folder.File("pipe.wav").c_str(), 0600);
    ::symlink("/dev/null", folder.File("null.wav").c_str());
    ::symlink(folder.Path().c_str(), folder.File("dir.wav").c_str());
    for (const std::string& bad :
         {std::string("/dev/null"), folder.File("pipe.wav"), folder.File("null.wav"),
          folder.File("dir.wav"), folder.Path()}) {
        auto target = PrepareRecordingTarget(view, bad);
        EXPECT_TRUE(!target && target.Error().Code() == LErrorCode::kInvalid) << bad;
        EXPECT_NE(Said().second.find("records only into files"), std::string::npos);
    }
    RemoveTakeFile(folder.File("pipe.wav"), "test");
    EXPECT_TRUE(FileExists(folder.File("pipe.wav"))) << "only a regular file is ever removed";
    EXPECT_EQ(NextFreeName(folder.File("News.flac")), folder.File("News 001.flac"));
}

TEST_F(FileNamingTest, OutputFolderChecks) {
    const std::string missing = folder.File("new/deeper");
    const auto check = [&](const std::string& path) {
        return CheckOutputFolder(view, path, OutputFolderUse::RecordCommand);
    };
    EXPECT_EQ(check(missing), OutputFolderCheck::Cancelled);
    EXPECT_EQ(Said().second,
              "The specified output folder doesn't exist. Do you want to create it now?");
    EXPECT_EQ(view.messages.back().buttons, (std::vector<std::string>{"Create Folder", "Cancel"}));
    EXPECT_FALSE(DirExists(missing));
    view.answers = {0};
    EXPECT_EQ(check(missing), OutputFolderCheck::Ready);
    EXPECT_EQ(RecordFolder(), missing);

    EXPECT_EQ(check("relative/dir"), OutputFolderCheck::Refused);
    EXPECT_EQ(Said().second, "Cannot create the specified folder. Please enter a valid folder.");
    // A file where a parent folder should be: creating fails.
    WriteFile(folder.File("plain"), "x");
    view.answers = {0};
    EXPECT_EQ(check(folder.File("plain/sub")), OutputFolderCheck::Refused);
    EXPECT_EQ(Said().second, "Cannot create the specified folder. Please try again.");
    EXPECT_EQ(check(folder.File("plain")), OutputFolderCheck::Refused);
    EXPECT_EQ(Said().first, "Invalid output folder");
    EXPECT_EQ(RecordFolder(), missing);  // nothing refused was stored
}
