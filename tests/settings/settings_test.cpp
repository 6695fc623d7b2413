// The settings functions, run against every preferences store backend.

#include "settings/settings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "settings/preferences_store.h"
#include "support/temp_dir.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

enum class Backend { File, Memory };

class SettingsContract : public ::testing::TestWithParam<Backend> {
  protected:
    void SetUp() override {
        // A fresh preferences folder for each test; the store follows the variable.
        config_ = std::make_unique<TempDir>("vocarta-config");
        saved_ = std::getenv("XDG_CONFIG_HOME");
        setenv("XDG_CONFIG_HOME", config_->Path().c_str(), 1);
        if (GetParam() == Backend::Memory)
            SetPreferencesStoreFactory(
                [](const std::string&) { return MakeMemoryPreferencesStore(); });
        else
            SetPreferencesStoreFactory(nullptr);
    }
    void TearDown() override {
        SetPreferencesStoreFactory(nullptr);
        setenv("XDG_CONFIG_HOME", saved_.c_str(), 1);
    }
    static std::vector<std::string> Keys() { return AppSettings().KeyList(); }

    std::unique_ptr<TempDir> config_;
    std::string saved_;
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Backends, SettingsContract,
                         ::testing::Values(Backend::File, Backend::Memory), [](const auto& info) {
                             return info.param == Backend::File ? "File" : "Memory";
                         });

TEST_P(SettingsContract, BoolLooksAtTheFirstCharacterAndNumbersParseLikeStrtol) {
    const std::pair<const char*, bool> cases[] = {{"0", false},  {"false", true}, {"0.5", false},
                                                  {"00", false}, {"no", true},    {"1", true}};
    for (const auto& [text, expected] : cases) {
        SetSettingString("Recorder", "Autotrim", text);
        EXPECT_EQ(GetSettingBool("Recorder", "Autotrim", !expected), expected) << text;
    }
    SetSettingString("Recorder", "Autotrim", "");
    EXPECT_TRUE(GetSettingBool("Recorder", "Autotrim", true)) << "empty must give the default";
    EXPECT_FALSE(GetSettingBool("Recorder", "Autotrim", false));
    EXPECT_TRUE(GetSettingBool("Recorder", "Missing", true));
    SetSettingBool("Recorder", "Autotrim", false);
    EXPECT_EQ(GetSettingString("Recorder", "Autotrim", "x"), "0");
    // Numbers parse like strtol; empty gives the default.
    SetSettingString("Settings", "Format", "");
    EXPECT_EQ(GetSettingInt("Settings", "Format", 1), 1);
    SetSettingString("Settings", "Format", "abc");
    EXPECT_EQ(GetSettingInt("Settings", "Format", 1), 0);
    SetSettingString("Settings", "Format", "3 files");
    EXPECT_EQ(GetSettingInt("Settings", "Format", 1), 3);
    SetSettingInt("Settings", "Format", -7);
    EXPECT_EQ(GetSettingString("Settings", "Format"), "-7");
    SetSettingInt64("Settings", "Limit", 216000000000LL);
    EXPECT_EQ(GetSettingInt64("Settings", "Limit", -1), 216000000000LL);
    EXPECT_EQ(GetSettingInt64("Settings", "None", -1), -1);
    SetSettingDouble("Settings", "Gain", 0.1);
    EXPECT_EQ(GetSettingString("Settings", "Gain"), "0.1000000000000000");
    EXPECT_DOUBLE_EQ(GetSettingDouble("Settings", "Gain", 2.0), 0.1);
    SetSettingString("Settings", "Gain", "");
    EXPECT_DOUBLE_EQ(GetSettingDouble("Settings", "Gain", 2.0), 2.0);
}

TEST_P(SettingsContract, ShortReadsCutTo259BytesAndLongReadsDoNot) {
    std::string long300(300, 'v');
    long300[258] = 'L';
    ASSERT_TRUE(SetSettingString("Settings", "OutputFolder", long300));
    std::string out;
    EXPECT_TRUE(GetSettingString("Settings", "OutputFolder", "", out));
    EXPECT_EQ(out, long300.substr(0, 259));
    EXPECT_TRUE(GetSettingStringLong("Settings", "OutputFolder", "", out));
    EXPECT_EQ(out, long300);
    EXPECT_FALSE(GetSettingString("Settings", "Missing", long300, out));
    EXPECT_EQ(out.size(), 259u) << "a default is cut the same way";
    EXPECT_FALSE(GetSettingStringLong("Settings", "Missing", long300, out));
    EXPECT_EQ(out, long300);
}

TEST_P(SettingsContract, TrailingSlashAddsNoSecondSlashAndDeleteTakesTheTwin) {
    SetSettingString("Settings/", "Format", "2");
    EXPECT_EQ(GetSettingString("Settings", "Format"), "2");
    EXPECT_EQ(Keys(), std::vector<std::string>{"Settings/Format"});
    EXPECT_EQ(JoinSettingKey("A", std::string(600, 'k')).size(), 519u);
    // DeleteSetting also removes the protected twin.
    SetSettingString("DropboxV2", "Token", "plain");
    SetProtectedSetting("DropboxV2", "Token", "secret");
    SetSettingString("DropboxV2", "Other", "kept");
    SetProtectedSetting("DropboxV2", "OnlyTwin", "x");
    ASSERT_TRUE(SettingExists("DropboxV2", "__Token"));
    EXPECT_TRUE(DeleteSetting("DropboxV2", "Token"));
    EXPECT_TRUE(DeleteSetting("DropboxV2", "OnlyTwin"));
    EXPECT_EQ(Keys(), (std::vector<std::string>{"DropboxV2/Other", "Settings/Format"}));
}

TEST_P(SettingsContract, DeleteTreeIgnoresCaseButNotSectionBoundaries) {
    for (const char* key : {"FindPlay/SaveFolder", "findplay/Sort", "FINDPLAY/Sub/Deep",
                            "FindPlayer/SaveFolder", "FindPlayDlg/Width", "Settings/FindPlay"})
        AppSettings().SetRaw(key, "v");
    EXPECT_TRUE(DeleteSettingTree("FindPlay"));
    EXPECT_EQ(Keys(), (std::vector<std::string>{"FindPlayDlg/Width", "FindPlayer/SaveFolder",
                                                "Settings/FindPlay"}));
    EXPECT_TRUE(DeleteSettingTree("findplayer/"));
    EXPECT_FALSE(SettingExists("FindPlayer", "SaveFolder"));
    EXPECT_TRUE(DeleteSettingTree("Nothing")) << "nothing to remove is not a failure";
}

TEST_P(SettingsContract, ProtectedValuesRoundTripWithoutClearText) {
    const std::string values[] = {"", "sl.ABCdef-123_token", "Grüße € 日本", std::string("a\0b", 3),
                                  std::string(300, 'z')};
    for (const std::string& value : values) {
        ASSERT_TRUE(SetProtectedSetting("DropboxV2", "Token", value));
        std::string stored, back;
        GetSettingStringLong("DropboxV2", "__Token", "", stored);
        if (value.size() > 3) {
            EXPECT_EQ(stored.find(value.substr(0, 4)), std::string::npos);
        }
        EXPECT_TRUE(GetProtectedSetting("DropboxV2", "Token", "def", back));
        EXPECT_EQ(back, value.substr(0, 259));
    }
    std::string out;
    EXPECT_FALSE(GetProtectedSetting("DropboxV2", "Missing", "def", out));
    EXPECT_EQ(out, "def");
    SetSettingString("DropboxV2", "__Token", "not scrambled by us");
    EXPECT_FALSE(GetProtectedSetting("DropboxV2", "Token", "def", out));
    EXPECT_EQ(out, "def");
    EXPECT_NE(ScrambleProtectedValue("token-a"), ScrambleProtectedValue("token-b"));
}

TEST_P(SettingsContract, KeyObjectLeavesAMarkerForEveryLevel) {
    LSettingsKey key("//Cloud//Dropbox///Account/");
    EXPECT_EQ(key.AncestorMarkers(), (std::vector<std::pair<std::string, std::string>>{
                                         {"Cloud", "Cloud"},
                                         {"Cloud/Dropbox", "Dropbox"},
                                         {"Cloud/Dropbox/Account", "Account"}}));
    AppSettings().SetRaw("Cloud", "kept");  // an existing value is never replaced
    ASSERT_TRUE(key.SetString("User", "me"));
    std::string out;
    EXPECT_TRUE(key.GetString("User", "", out));
    EXPECT_EQ(out, "me");
    EXPECT_TRUE(AppSettings().GetRaw("Cloud", out));
    EXPECT_EQ(out, "kept");
    EXPECT_TRUE(SettingExists("Cloud", "Dropbox"));
    EXPECT_EQ(GetSettingString("Cloud/Dropbox", "Account"), "Account");
}

TEST_P(SettingsContract, CompanionDomainsAreSeparate) {
    EXPECT_EQ(OtherDomainName("Player"), std::string(kMakerPrefix) + ".Player");
    SettingsDomain other(OtherDomainName("Player"));
    other.SetString("Settings", "Volume", "7");
    EXPECT_FALSE(SettingExists("Settings", "Volume"));
    SettingsDomain again(OtherDomainName("Player"));
    EXPECT_EQ(again.GetInt("Settings", "Volume", 0), 7);
}
