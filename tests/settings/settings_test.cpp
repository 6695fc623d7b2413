// The settings functions against every preferences store backend, the
// preferences file as several processes meet it (concurrent writers, a reader
// beside a writer, a writer killed half-way, a damaged file and its last good
// copy) and the shared file.

#include "settings/settings.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <thread>

#include "../toolkit/process_helpers.h"
#include "settings/file_preferences_store.h"
#include "settings/preferences_store.h"
#include "support/temp_dir.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

// A fresh preferences folder for each test; the file store follows the variable.
class PreferencesFile : public ::testing::Test {
  protected:
    void SetUp() override {
        config_ = std::make_unique<TempDir>("vocarta-config");
        saved_ = std::getenv("XDG_CONFIG_HOME");
        setenv("XDG_CONFIG_HOME", config_->Path().c_str(), 1);
        // A folder that does not exist yet: the first shared write must create it.
        setenv("VOCARTA_SHARED_DIR", config_->File("Shared").c_str(), 1);
        SetPreferencesStoreFactory(nullptr);
    }
    void TearDown() override {
        SetPreferencesStoreFactory(nullptr);
        setenv("XDG_CONFIG_HOME", saved_.c_str(), 1);
    }
    static std::string Path() {
        return JoinPath(AppConfigDir(), std::string(kAppDomain) + ".conf");
    }
    // What a process that starts now would read.
    static std::map<std::string, std::string> ReadFresh() {
        return FilePreferencesStore::Parse(ReadFile(Path()));
    }
    static std::vector<std::string> Keys() { return AppSettings().KeyList(); }
    // The names in the preferences folder, sorted.
    static std::vector<std::string> Names() {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(AppConfigDir()))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }

    std::unique_ptr<TempDir> config_;
    std::string saved_;
};

enum class Backend { File, Memory };

class SettingsContract : public PreferencesFile, public ::testing::WithParamInterface<Backend> {
  protected:
    void SetUp() override {
        PreferencesFile::SetUp();
        if (GetParam() == Backend::Memory)
            SetPreferencesStoreFactory(
                [](const std::string&) { return MakeMemoryPreferencesStore(); });
    }
};

// A read with an out parameter as {found, text}.
using Got = std::pair<bool, std::string>;
template <class Read>
Got ReadWith(Read read, const std::string& section, const std::string& key,
             const std::string& def = "") {
    std::string out;
    const bool found = read(section, key, def, out);
    return {found, out};
}
Got Short(const std::string& s, const std::string& k, const std::string& d = "") {
    return ReadWith([](auto&... a) { return GetSettingString(a...); }, s, k, d);
}
Got Long(const std::string& s, const std::string& k, const std::string& d = "") {
    return ReadWith([](auto&... a) { return GetSettingStringLong(a...); }, s, k, d);
}
Got Protected(const std::string& s, const std::string& k, const std::string& d = "def") {
    return ReadWith([](auto&... a) { return GetProtectedSetting(a...); }, s, k, d);
}
Got Shared(const std::string& s, const std::string& k, const std::string& d = "") {
    return ReadWith([](auto&... a) { return GetSharedSetting(a...); }, s, k, d);
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Backends, SettingsContract,
                         ::testing::Values(Backend::File, Backend::Memory), [](const auto& info) {
                             return info.param == Backend::File ? "File" : "Memory";
                         });

TEST_P(SettingsContract, BoolLooksAtTheFirstCharacterAndNumbersParseLikeStrtol) {
    // {text, default, expected}: empty gives the default.
    const std::tuple<const char*, bool, bool> cases[] = {
        {"0", true, false},  {"false", false, true}, {"0.5", true, false}, {"00", true, false},
        {"no", false, true}, {"1", false, true},     {"", true, true},     {"", false, false}};
    for (const auto& [text, def, expected] : cases) {
        SetSettingString("Recorder", "Autotrim", text);
        EXPECT_EQ(GetSettingBool("Recorder", "Autotrim", def), expected) << text << def;
    }
    EXPECT_TRUE(GetSettingBool("Recorder", "Missing", true));
    SetSettingBool("Recorder", "Autotrim", false);
    EXPECT_EQ(GetSettingString("Recorder", "Autotrim", "x"), "0");
    // Numbers parse like strtol; empty gives the default.
    for (const auto& [text, expected] :
         {std::pair<const char*, int>{"", 1}, {"abc", 0}, {"3 files", 3}}) {
        SetSettingString("Settings", "Format", text);
        EXPECT_EQ(GetSettingInt("Settings", "Format", 1), expected) << text;
    }
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
    SetSettingString("Settings", "OutputFolder", long300);
    EXPECT_EQ(Short("Settings", "OutputFolder"), Got(true, long300.substr(0, 259)));
    EXPECT_EQ(Long("Settings", "OutputFolder"), Got(true, long300));
    EXPECT_EQ(Short("Settings", "Missing", long300), Got(false, long300.substr(0, 259)))
        << "a default is cut the same way";
    EXPECT_EQ(Long("Settings", "Missing", long300), Got(false, long300));
}

TEST_P(SettingsContract, KeysJoinWithOneSlashDeleteTakesTheTwinAndDeleteTreeKeepsToItsSection) {
    SetSettingString("Settings/", "Format", "2");
    EXPECT_EQ(GetSettingString("Settings", "Format"), "2");
    EXPECT_EQ(Keys(), std::vector<std::string>{"Settings/Format"});
    EXPECT_EQ(JoinSettingKey("A", std::string(600, 'k')).size(), 519u);
    // DeleteSetting also removes the protected twin.
    SetSettingString("DropboxV2", "Token", "plain");
    SetProtectedSetting("DropboxV2", "Token", "secret");
    SetSettingString("DropboxV2", "Other", "kept");
    SetProtectedSetting("DropboxV2", "OnlyTwin", "x");
    EXPECT_TRUE(DeleteSetting("DropboxV2", "Token"));
    EXPECT_TRUE(DeleteSetting("DropboxV2", "OnlyTwin"));
    EXPECT_EQ(Keys(), (std::vector<std::string>{"DropboxV2/Other", "Settings/Format"}));
    // DeleteSettingTree ignores case but not section boundaries.
    DeleteSettingTree("DropboxV2");
    DeleteSettingTree("Settings");
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
        const std::string stored = Long("DropboxV2", "__Token").second;
        EXPECT_TRUE(value.size() <= 3 || stored.find(value.substr(0, 4)) == std::string::npos);
        EXPECT_EQ(Protected("DropboxV2", "Token"), Got(true, value.substr(0, 259)));
    }
    EXPECT_EQ(Protected("DropboxV2", "Missing"), Got(false, "def"));
    SetSettingString("DropboxV2", "__Token", "not scrambled by us");
    EXPECT_EQ(Protected("DropboxV2", "Token"), Got(false, "def"));
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
    EXPECT_TRUE(key.GetString("User", "", out) && out == "me") << out;
    EXPECT_TRUE(AppSettings().GetRaw("Cloud", out) && out == "kept") << out;
    EXPECT_TRUE(SettingExists("Cloud", "Dropbox"));
    EXPECT_EQ(GetSettingString("Cloud/Dropbox", "Account"), "Account");
}

TEST_P(SettingsContract, CompanionDomainsAreSeparate) {
    SettingsDomain other(OtherDomainName("Player"));
    other.SetString("Settings", "Volume", "7");
    EXPECT_FALSE(SettingExists("Settings", "Volume"));
    SettingsDomain again(OtherDomainName("Player"));
    EXPECT_EQ(again.GetInt("Settings", "Volume", 0), 7);
}

TEST_F(PreferencesFile, FiveConcurrentWritersLoseNoKey) {
    constexpr int kWriters = 5, kWrites = 40;
    SetSettingString("Settings", "Before", "kept");
    std::vector<pid_t> pids;
    for (int w = 0; w < kWriters; ++w) {
        pids.push_back(ForkChild([w] {
            for (int i = 0; i < kWrites; ++i) {
                std::string section = "Writer" + std::to_string(w);
                if (!SetSettingInt(section, "Key" + std::to_string(i), i)) return 1;
                if (!SetSettingInt(section, "Last", i)) return 2;
            }
            return 0;
        }));
    }
    for (pid_t pid : pids) EXPECT_EQ(WaitChild(pid), 0);

    std::map<std::string, std::string> values = ReadFresh();
    EXPECT_EQ(values.size(), std::size_t(kWriters * (kWrites + 1) + 1));
    for (int w = 0; w < kWriters; ++w) {
        std::string section = "Writer" + std::to_string(w);
        EXPECT_EQ(GetSettingInt(section, "Last", -1), kWrites - 1);
        for (int i = 0; i < kWrites; ++i)
            EXPECT_EQ(GetSettingInt(section, "Key" + std::to_string(i), -1), i) << section << i;
    }
    EXPECT_EQ(GetSettingString("Settings", "Before"), "kept");
}

TEST_F(PreferencesFile, ReaderSeesAnotherProcessWriteAtOnce) {
    auto value = [](int i) {
        char text[8];
        std::snprintf(text, sizeof text, "v%03d", i);  // same length each time
        return std::string(text);
    };
    SetSettingString("Recorder", "State", value(0));
    TestPipe written, next;
    pid_t pid = ForkChild([&] {
        written.CloseRead();
        next.CloseWrite();  // so that a parent gone early ends our wait
        for (int i = 1; i <= 50; ++i) {
            // Faster than the file clock may tick.
            if (!SetSettingString("Recorder", "State", value(i))) return 1;
            written.Send("w");
            if (next.ReceiveByte() != 'n') return 2;
        }
        return 0;
    });
    written.CloseWrite();
    next.CloseRead();
    for (int i = 1; i <= 50; ++i) {
        ASSERT_EQ(written.ReceiveByte(), 'w');
        ASSERT_EQ(GetSettingString("Recorder", "State"), value(i)) << "a stale read";
        next.Send("n");
    }
    EXPECT_EQ(WaitChild(pid), 0);
}

TEST_F(PreferencesFile, KilledWriterLeavesAReadableFileAndCopyWithEveryFinishedWrite) {
    SetSettingString("Settings", "OutputFolder", "/home/u/Music");
    srandom(unsigned(getpid()));
    for (int round = 0; round < 20; ++round) {
        TestPipe done;
        pid_t pid = ForkChild([&] {
            for (int i = 1;; ++i) {
                SetSettingString("Filler", "Text", std::string(30000 + i % 5 * 997, 'f'));
                if (SetSettingInt("Kill", "Counter", round * 100000 + i)) done.Send("d");
            }
            return 0;
        });
        done.CloseWrite();
        ASSERT_EQ(done.ReceiveByte(), 'd');
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 30000));
        kill(pid, SIGKILL);
        int finished = 1;
        while (done.ReceiveByte() == 'd') ++finished;
        EXPECT_EQ(WaitChild(pid), 128 + SIGKILL);

        // Whole lines, each Section/Key=value, and the closing line.
        EXPECT_EQ(FilePreferencesStore::DamageIn(ReadFile(Path())), "");
        EXPECT_EQ(FilePreferencesStore::DamageIn(ReadFile(Path() + ".bak")), "")
            << "the last good copy is not whole";
        int counter = GetSettingInt("Kill", "Counter", -1) - round * 100000;
        EXPECT_GE(counter, finished) << "a write reported as done was lost";
        EXPECT_LE(counter, finished + 1);
        EXPECT_EQ(GetSettingString("Settings", "OutputFolder"), "/home/u/Music");
    }
    EXPECT_TRUE(SetSettingString("Settings", "After", "1")) << "the dead writer's lock remained";
    // A process starting now clears the temporary files the dead writers left.
    FilePreferencesStore fresh(Path());
    ASSERT_TRUE(fresh.SetValue("Settings/Fresh", "1"));
    EXPECT_EQ(Names(), (std::vector<std::string>{std::string(kAppDomain) + ".conf",
                                                 std::string(kAppDomain) + ".conf.bak",
                                                 std::string(kAppDomain) + ".conf.lock"}));
}

// Binary junk, a cut in the middle of a line (the auto-number 12 read as 1), a
// cut at a line end, an empty file: each is kept aside under a new name, the
// settings come back from the last good copy (one write behind), the window's
// notice and one log line say so, and the file on disk is whole again.
TEST_F(PreferencesFile, DamagedFileIsKeptAsideAndTheLastGoodCopyRestored) {
    const auto junk = [](const std::string& good) {
        std::string bytes("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16);
        for (std::size_t i = 0; i < good.size(); ++i) bytes += char((i * 7919 + 13) % 256);
        return bytes;
    };
    const auto cutInNumber = [](const std::string& good) {
        return good.substr(0, good.find("AutoNumber=12") + std::strlen("AutoNumber=1"));
    };
    const auto cutAtLineEnd = [](const std::string& good) {
        return good.substr(0, good.find("Settings/OutputFolder"));
    };
    const auto empty = [](const std::string&) { return std::string(); };
    const std::function<std::string(const std::string&)> damages[] = {junk, cutInNumber,
                                                                      cutAtLineEnd, empty};
    for (const auto& damage : damages) {
        std::filesystem::remove_all(AppConfigDir());
        SetPreferencesStoreFactory(nullptr);
        SetSettingString("Settings", "OutputFolder", "/music");
        for (int n = 1; n <= 12; ++n) ASSERT_TRUE(SetSettingInt("Settings", "AutoNumber", n));
        const std::string damaged = damage(ReadFile(Path()));
        ASSERT_TRUE(WriteFile(Path(), damaged));
        SetPreferencesStoreFactory(nullptr);  // as a process starting now

        EXPECT_EQ(GetSettingInt("Settings", "AutoNumber", 0), 11);
        EXPECT_EQ(GetSettingString("Settings", "OutputFolder"), "/music");
        const std::vector<std::string> names = Names();
        const auto damagedName = std::find_if(names.begin(), names.end(), [](const auto& n) {
            return n.find(".conf.damaged-") != std::string::npos;
        });
        ASSERT_NE(damagedName, names.end());
        ASSERT_EQ(names.size(), 4u)
            << "one kept copy: the file, its copy, its lock, the damaged one";
        const std::string kept = JoinPath(AppConfigDir(), *damagedName);
        EXPECT_EQ(ReadFile(kept), damaged) << "the damaged file was not kept as it was";
        EXPECT_EQ(FilePreferencesStore::DamageIn(ReadFile(Path())), "");
        EXPECT_EQ(ReadFresh().at("Settings/AutoNumber"), "11");
        EXPECT_EQ(TakeSettingsDamageNotice(),
                  "The settings file was damaged; the last good settings were restored from " +
                      Path() + ".bak. The damaged file was kept as " + kept + ".");
        EXPECT_EQ(TakeSettingsDamageNotice(), "") << "said more than once";
        SetSettingInt("Settings", "AutoNumber", 12);
        EXPECT_EQ(GetSettingInt("Settings", "AutoNumber", 0), 12);
    }
    const std::string log = ReadFile(ErrorLogPath());
    std::size_t lines = 0;
    for (std::size_t at = 0; (at = log.find("could not be read (", at)) != std::string::npos; ++at)
        ++lines;
    EXPECT_EQ(lines, 4u) << log;
    for (const char* why :
         {"binary data", "last line is cut off", "closing \"# end\" line", "it is empty"})
        EXPECT_NE(log.find(why), std::string::npos) << why;
}

TEST_F(PreferencesFile, DamagedFileReadsWhatItCanAndTakesWrites) {
    MakeDirs(AppConfigDir());
    std::string damaged = std::string("\x00\xff\xfe garbage\n", 12) + "no equals sign here\n" +
                          "Settings/Format=3\n=value without key\n\x01\x02\x03\n" +
                          "Email/To=a@b.c\nBroken\\";
    ASSERT_TRUE(WriteFile(Path(), damaged));
    EXPECT_EQ(GetSettingInt("Settings", "Format", 1), 3);
    EXPECT_EQ(GetSettingString("Email", "To"), "a@b.c");
    ASSERT_TRUE(SetSettingString("Settings", "Folder", "/tmp/x"));
    EXPECT_EQ(ReadFresh(),
              (std::map<std::string, std::string>{
                  {"Email/To", "a@b.c"}, {"Settings/Folder", "/tmp/x"}, {"Settings/Format", "3"}}));
    EXPECT_NE(ReadFile(ErrorLogPath()).find("without key=value skipped"), std::string::npos);
    const std::string notice = TakeSettingsDamageNotice();
    EXPECT_NE(notice.find("the settings that could still be read from it were kept"),
              std::string::npos)
        << notice;
    const std::string kept =
        notice.substr(notice.rfind(' ') + 1, notice.size() - notice.rfind(' ') - 2);
    EXPECT_EQ(ReadFile(kept), damaged);
}

TEST_F(PreferencesFile, AwkwardKeysAndValuesSurviveTheFile) {
    const std::map<std::string, std::string> values = {
        {"#Section/Key", "hash"},       {"Sec=tion/K=ey", "a=b"},    {"Lines/Key", "one\ntwo\r\n"},
        {"Slash/Key", "back\\slash\\"}, {"Space/ Key ", " padded "}, {"Empty/Key", ""},
        {"Utf8/Schlüssel", "Grüße"}};
    for (const auto& [key, value] : values) ASSERT_TRUE(AppSettings().SetRaw(key, value));
    FilePreferencesStore fresh(Path());  // a second process's view
    for (const auto& [key, value] : values) EXPECT_EQ(fresh.CopyValue(key), value) << key;
    EXPECT_EQ(fresh.CopyKeyList().size(), values.size());
}

TEST_F(PreferencesFile, LinkedPreferencesFileStaysALink) {
    std::string real = config_->File("dotfiles.conf");
    ASSERT_TRUE(WriteFile(real, "Settings/Format=2\n"));
    MakeDirs(AppConfigDir());
    ASSERT_EQ(symlink(real.c_str(), Path().c_str()), 0);
    EXPECT_EQ(GetSettingInt("Settings", "Format", 1), 2);
    ASSERT_TRUE(SetSettingInt("Settings", "Format", 3));
    EXPECT_TRUE(std::filesystem::is_symlink(Path())) << "the write replaced the link with a file";
    EXPECT_NE(ReadFile(real).find("Settings/Format=3"), std::string::npos);
}

TEST_F(PreferencesFile, SharedMissingFileSectionOrKeyGivesTheDefault) {
    EXPECT_EQ(Shared("ComponentVersions", "Encoder", std::string(300, 'd')),
              Got(false, std::string(259, 'd')));
    for (const char* version : {"1.2.3", "1.2.4"}) {
        ASSERT_TRUE(SetSharedSetting("ComponentVersions", "Encoder", version));
        ASSERT_TRUE(SetSharedSetting("Software", "Recorder", "4"));
    }
    EXPECT_EQ(Shared("ComponentVersions", "Encoder"), Got(true, "1.2.4"));
    EXPECT_EQ(Shared("ComponentVersions", "Burner", "none"), Got(false, "none"));
    EXPECT_EQ(Shared("Other", "Encoder", "none"), Got(false, "none"));
    EXPECT_FALSE(SetSharedSetting("1 bad", "Key", "x")) << "not an XML name";

    std::string xml = ReadFile(SharedSettingsPath());
    EXPECT_NE(xml.find("<ComponentVersions>"), std::string::npos) << xml;
    EXPECT_NE(xml.find("<Encoder value=\"1.2.4\""), std::string::npos) << xml;
    struct stat st;
    ASSERT_EQ(stat(SharedSettingsPath().c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0666u) << "other users must be able to write it";
}

TEST_F(PreferencesFile, SharedDamagedFileKeepsWhatPrecedesTheFault) {
    ASSERT_TRUE(SetSharedSetting("Software", "Recorder", "4"));  // creates the folder
    ASSERT_TRUE(WriteFile(SharedSettingsPath(),
                          "<SharedSettings><Software><Recorder value=\"4\"/></Software>"
                          "<Broken><Key val"));
    EXPECT_EQ(Shared("Software", "Recorder"), Got(true, "4"));
    ASSERT_TRUE(SetSharedSetting("ComponentVersions", "Encoder", "2"));
    EXPECT_EQ(Shared("Software", "Recorder"), Got(true, "4")) << "a value was lost";

    // Shorter new contents must not leave the old tail behind.
    ASSERT_TRUE(WriteFile(
        SharedSettingsPath(),
        "<SharedSettings><A><B value=\"" + std::string(5000, 'x') + "\"/></A></SharedSettings>"));
    ASSERT_TRUE(SetSharedSetting("A", "B", "short"));
    EXPECT_EQ(ReadFile(SharedSettingsPath()).find("xxxx"), std::string::npos);
    EXPECT_EQ(Shared("A", "B"), Got(true, "short"));
}

TEST_F(PreferencesFile, SharedLinkPlantedInTheSharedFolderIsNotFollowed) {
    ASSERT_TRUE(SetSharedSetting("Software", "Recorder", "4"));
    std::string victim = config_->File("victim.txt");
    ASSERT_TRUE(WriteFile(victim, "precious"));
    unlink(SharedSettingsPath().c_str());
    ASSERT_EQ(symlink(victim.c_str(), SharedSettingsPath().c_str()), 0);
    EXPECT_FALSE(SetSharedSetting("Software", "Recorder", "5"));
    EXPECT_FALSE(Shared("Software", "Recorder").first);
    EXPECT_EQ(ReadFile(victim), "precious");
}
