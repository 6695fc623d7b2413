#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>

#include "settings/settings.h"
#include "support/temp_dir.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

class SharedSettings : public ::testing::Test {
  protected:
    void SetUp() override {
        dir_ = std::make_unique<TempDir>("vocarta-shared");
        // A folder that does not exist yet: the first write must create it.
        setenv("VOCARTA_SHARED_DIR", dir_->File("Shared").c_str(), 1);
    }
    std::unique_ptr<TempDir> dir_;
};

}  // namespace

TEST_F(SharedSettings, MissingFileSectionOrKeyGivesTheDefault) {
    std::string out;
    EXPECT_FALSE(GetSharedSetting("ComponentVersions", "Encoder", std::string(300, 'd'), out));
    EXPECT_EQ(out, std::string(259, 'd'));
    ASSERT_TRUE(SetSharedSetting("ComponentVersions", "Encoder", "1.2.3"));
    ASSERT_TRUE(SetSharedSetting("Software", "Recorder", "4"));
    ASSERT_TRUE(SetSharedSetting("ComponentVersions", "Encoder", "1.2.4"));
    EXPECT_TRUE(GetSharedSetting("ComponentVersions", "Encoder", "", out));
    EXPECT_EQ(out, "1.2.4");
    EXPECT_FALSE(GetSharedSetting("ComponentVersions", "Burner", "none", out));
    EXPECT_EQ(out, "none");
    EXPECT_FALSE(GetSharedSetting("Other", "Encoder", "none", out));
    EXPECT_EQ(out, "none");
    EXPECT_FALSE(SetSharedSetting("1 bad", "Key", "x")) << "not an XML name";

    std::string xml = ReadFile(SharedSettingsPath());
    EXPECT_NE(xml.find("<ComponentVersions>"), std::string::npos) << xml;
    EXPECT_NE(xml.find("<Encoder value=\"1.2.4\""), std::string::npos) << xml;
    struct stat st;
    ASSERT_EQ(stat(SharedSettingsPath().c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0666u) << "other users must be able to write it";
}

TEST_F(SharedSettings, DamagedFileKeepsWhatPrecedesTheFault) {
    ASSERT_TRUE(SetSharedSetting("Software", "Recorder", "4"));  // creates the folder
    ASSERT_TRUE(WriteFile(SharedSettingsPath(),
                          "<SharedSettings><Software><Recorder value=\"4\"/></Software>"
                          "<Broken><Key val"));
    std::string out;
    EXPECT_TRUE(GetSharedSetting("Software", "Recorder", "", out));
    EXPECT_EQ(out, "4");
    ASSERT_TRUE(SetSharedSetting("ComponentVersions", "Encoder", "2"));
    EXPECT_TRUE(GetSharedSetting("Software", "Recorder", "", out)) << "a value was lost";
    EXPECT_EQ(out, "4");

    // Shorter new contents must not leave the old tail behind.
    ASSERT_TRUE(WriteFile(
        SharedSettingsPath(),
        "<SharedSettings><A><B value=\"" + std::string(5000, 'x') + "\"/></A></SharedSettings>"));
    ASSERT_TRUE(SetSharedSetting("A", "B", "short"));
    std::string xml = ReadFile(SharedSettingsPath());
    EXPECT_EQ(xml.find("xxxx"), std::string::npos) << xml;
    EXPECT_TRUE(GetSharedSetting("A", "B", "", out));
    EXPECT_EQ(out, "short");
}

TEST_F(SharedSettings, LinkPlantedInTheSharedFolderIsNotFollowed) {
    ASSERT_TRUE(SetSharedSetting("Software", "Recorder", "4"));
    std::string victim = dir_->File("victim.txt");
    ASSERT_TRUE(WriteFile(victim, "precious"));
    unlink(SharedSettingsPath().c_str());
    ASSERT_EQ(symlink(victim.c_str(), SharedSettingsPath().c_str()), 0);
    EXPECT_FALSE(SetSharedSetting("Software", "Recorder", "5"));
    std::string out;
    EXPECT_FALSE(GetSharedSetting("Software", "Recorder", "def", out));
    EXPECT_EQ(ReadFile(victim), "precious");
}
