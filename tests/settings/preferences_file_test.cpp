// The preferences file as several processes meet it: concurrent writers, a
// reader beside a writer, a writer killed half-way, a damaged file.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <thread>

#include "../toolkit/process_helpers.h"
#include "settings/file_preferences_store.h"
#include "settings/preferences_store.h"
#include "settings/settings.h"
#include "support/temp_dir.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

class PreferencesFile : public ::testing::Test {
  protected:
    void SetUp() override {
        config_ = std::make_unique<TempDir>("vocarta-config");
        saved_ = std::getenv("XDG_CONFIG_HOME");
        setenv("XDG_CONFIG_HOME", config_->Path().c_str(), 1);
        SetPreferencesStoreFactory(nullptr);
    }
    void TearDown() override { setenv("XDG_CONFIG_HOME", saved_.c_str(), 1); }

    static std::string Path() {
        return JoinPath(AppConfigDir(), std::string(kAppDomain) + ".conf");
    }
    // What a process that starts now would read.
    static std::map<std::string, std::string> ReadFresh() {
        return FilePreferencesStore::Parse(ReadFile(Path()));
    }

    std::unique_ptr<TempDir> config_;
    std::string saved_;
};

}  // namespace

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
    SetSettingString("Recorder", "State", "v000");
    TestPipe written, next;
    pid_t pid = ForkChild([&] {
        written.CloseRead();
        next.CloseWrite();  // so that a parent gone early ends our wait
        for (int i = 1; i <= 50; ++i) {
            // Same length each time, faster than the file clock may tick.
            char value[8];
            std::snprintf(value, sizeof value, "v%03d", i);
            if (!SetSettingString("Recorder", "State", value)) return 1;
            written.Send("w");
            if (next.ReceiveByte() != 'n') return 2;
        }
        return 0;
    });
    written.CloseWrite();
    next.CloseRead();
    for (int i = 1; i <= 50; ++i) {
        ASSERT_EQ(written.ReceiveByte(), 'w');
        char expected[8];
        std::snprintf(expected, sizeof expected, "v%03d", i);
        ASSERT_EQ(GetSettingString("Recorder", "State"), expected) << "a stale read";
        next.Send("n");
    }
    EXPECT_EQ(WaitChild(pid), 0);
}

TEST_F(PreferencesFile, KilledWriterLeavesAReadableFileWithEveryFinishedWrite) {
    SetSettingString("Settings", "OutputFolder", "/home/u/Music");
    for (int round = 0; round < 10; ++round) {
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
        std::this_thread::sleep_for(std::chrono::milliseconds(round * 3));
        kill(pid, SIGKILL);
        int finished = 1;
        while (done.ReceiveByte() == 'd') ++finished;
        EXPECT_EQ(WaitChild(pid), 128 + SIGKILL);

        std::string text = ReadFile(Path());
        for (std::size_t pos = 0, end; pos < text.size(); pos = end + 1) {
            end = text.find('\n', pos);
            ASSERT_NE(end, std::string::npos) << "the file ends mid-line";
            std::string line = text.substr(pos, end - pos);
            ASSERT_TRUE(line[0] == '#' || line.find('=') != std::string::npos) << line;
        }
        int counter = GetSettingInt("Kill", "Counter", -1) - round * 100000;
        EXPECT_GE(counter, finished) << "a write reported as done was lost";
        EXPECT_LE(counter, finished + 1);
        EXPECT_EQ(GetSettingString("Settings", "OutputFolder"), "/home/u/Music");
    }
    EXPECT_TRUE(SetSettingString("Settings", "After", "1")) << "the dead writer's lock remained";
    // A process starting now clears the temporary files the dead writers left.
    FilePreferencesStore fresh(Path());
    ASSERT_TRUE(fresh.SetValue("Settings/Fresh", "1"));
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(AppConfigDir()))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{std::string(kAppDomain) + ".conf",
                                               std::string(kAppDomain) + ".conf.lock"}));
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
    struct stat st;
    ASSERT_EQ(lstat(Path().c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode)) << "the write replaced the link with a file";
    EXPECT_NE(ReadFile(real).find("Settings/Format=3"), std::string::npos);
}
