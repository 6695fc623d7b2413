#include "toolkit/lfile_store_list.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "support/temp_dir.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/process_helpers.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

// A derived list as the schedules use it, with its own record type.
struct TypedRecord : LFileStoreRecord {};
struct TypedList : LFileStoreListBase {
    using LFileStoreListBase::LFileStoreListBase;
    std::unique_ptr<LFileStoreRecord> NewRecord() const override {
        return std::make_unique<TypedRecord>();
    }
};

std::string ListName() {
    return ::testing::UnitTest::GetInstance()->current_test_info()->name();
}

std::string RecordPath(const LFileStoreListBase& list, int number) {
    return JoinPath(list.Folder(), std::to_string(number) + ".dat");
}

// Inode and modification time: a rewrite changes one or both.
std::pair<ino_t, long long> StampOf(const std::string& path) {
    struct stat st {};
    stat(path.c_str(), &st);
    return {st.st_ino, st.st_mtim.tv_sec * 1000000000LL + st.st_mtim.tv_nsec};
}

// This test's list loaded afresh, as another process would see it.
std::unique_ptr<LFileStoreListBase> Loaded() {
    auto list = std::make_unique<LFileStoreListBase>(ListName());
    EXPECT_TRUE(list->Load());
    return list;
}

// The values of record `id` of `list` ({} when there is none).
LFileStoreValues ValuesOf(const LFileStoreListBase& list, const std::string& id) {
    const LFileStoreRecord* record = list.Find(id);
    return record ? record->Values() : LFileStoreValues{};
}

// Another process loads this test's list afresh, changes it and saves.
bool Elsewhere(const std::function<void(LFileStoreListBase&)>& change) {
    return WaitChild(ForkChild([&] {
               LFileStoreListBase list(ListName());
               if (!list.Load()) return 1;
               change(list);
               return list.Save().Ok() ? 0 : 2;
           })) == 0;
}

}  // namespace

TEST(LFileStoreList, NewRecordsTakeTheFirstFreeNumberAndAreFoundById) {
    TypedList list(ListName());
    ASSERT_TRUE(list.Load()) << "a missing folder is an empty list";
    EXPECT_EQ(list.Add(""), nullptr);
    for (const char* id : {"a", "b", "c"}) list.Add(id);
    EXPECT_EQ(list.Save().written, 3);
    EXPECT_EQ(list.Find("c")->Number(), 2);

    ASSERT_TRUE(list.Remove(list.Find("b")));
    EXPECT_FALSE(list.Remove(list.Find("b")));
    list.Add("d");
    LFileStoreSaveResult saved = list.Save();
    EXPECT_EQ(saved.deleted, 1);
    EXPECT_EQ(saved.written, 1);
    EXPECT_EQ(list.Find("d")->Number(), 1) << "the number freed by b was not reused";

    TypedList again(ListName());
    ASSERT_TRUE(again.Load());
    std::vector<std::string> ids;  // in file-number order, and no more
    for (std::size_t i = 0; again.RecordAt(i); ++i) ids.push_back(again.RecordAt(i)->Id());
    EXPECT_EQ(ids, (std::vector<std::string>{"a", "d", "c"}));
    EXPECT_NE(dynamic_cast<TypedRecord*>(again.Find("c")), nullptr);
    EXPECT_EQ(again.Find("A"), nullptr) << "IDs are compared byte for byte";
}

TEST(LFileStoreList, EscapedKeysAndValuesSurviveTheRoundTrip) {
    const LFileStoreValues values = {
        {"ID", "x=1&y=2"},           {"a=b", "100%"},    {"%41", "%%"}, {"&", ""},
        {"Lines", "one\ntwo\r\x7f"}, {"Name", "Grüße €"}};
    std::string text = LFileStoreListBase::FormatRecord(values);
    EXPECT_EQ(text.find('\n'), std::string::npos);
    LFileStoreValues back;
    std::string error;
    ASSERT_TRUE(LFileStoreListBase::ParseRecord(text, back, error)) << error;
    EXPECT_EQ(back, values);

    LFileStoreListBase list(ListName());
    LFileStoreRecord* record = list.Add("x=1&y=2");
    for (const auto& [key, value] : values) record->SetValue(key, value);
    ASSERT_TRUE(list.Save().Ok());
    EXPECT_EQ(ValuesOf(*Loaded(), "x=1&y=2"), values);

    // What a damaged file looks like: each of these must be refused, not guessed at.
    for (const char* bad : {"ID=a&b", "ID=%4", "ID=%zz", "ID=a=b", "x=1", "ID=", "=1&ID=a",
                            "ID=a&&x=1", "ID=a&", "ID=a\x01", "ID=a\n\n"})
        EXPECT_FALSE(LFileStoreListBase::ParseRecord(bad, back, error)) << bad;
    EXPECT_TRUE(LFileStoreListBase::ParseRecord("ID=a%2f\n", back, error)) << "editor line end";
    EXPECT_EQ(back.at("ID"), "a/");
}

TEST(LFileStoreList, RecordsAreWrittenBackOnlyWhenModified) {
    LFileStoreListBase list(ListName());
    list.Add("one")->SetValue("Active", "1");
    list.Add("two");
    ASSERT_TRUE(list.Save().Ok());
    auto one = StampOf(RecordPath(list, 0)), two = StampOf(RecordPath(list, 1));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // let the clock move on
    EXPECT_EQ(list.Save().written, 0);
    list.Find("one")->SetValue("Active", "1");  // set to what it already is
    EXPECT_TRUE(list.Find("one")->IsModified());
    EXPECT_EQ(list.Save().written, 0);
    EXPECT_FALSE(list.Find("one")->IsModified());
    EXPECT_EQ(StampOf(RecordPath(list, 0)), one);

    list.Find("two")->SetValue("Active", "0");
    EXPECT_EQ(list.Save().written, 1);
    EXPECT_EQ(StampOf(RecordPath(list, 0)), one);
    EXPECT_NE(StampOf(RecordPath(list, 1)), two);
}

TEST(LFileStoreList, ChangesFromOtherProcessesAreMergedAndNoneLost) {
    LFileStoreListBase list(ListName());
    list.Add("R")->SetValue("Shared", "start");
    ASSERT_TRUE(list.Save().Ok());
    // Different keys: both survive, and each side sees the other's after saving.
    ASSERT_TRUE(Elsewhere([](auto& l) { l.Find("R")->SetValue("A", "child"); }));
    list.Find("R")->SetValue("B", "parent");
    ASSERT_TRUE(list.Save().Ok());
    EXPECT_EQ(list.Find("R")->GetValue("A"), "child");
    // Same key: the later save wins, whichever process it comes from.
    ASSERT_TRUE(Elsewhere([](auto& l) { l.Find("R")->SetValue("Shared", "child"); }));
    list.Find("R")->SetValue("Shared", "parent");
    ASSERT_TRUE(list.Save().Ok());
    ASSERT_TRUE(Elsewhere([](auto& l) { l.Find("R")->RemoveValue("B"); }));
    // Writers at the same time, each to its own key of the one record.
    constexpr int kWriters = 4, kRounds = 25;
    std::vector<pid_t> pids;
    for (int w = 0; w < kWriters; ++w) {
        pids.push_back(ForkChild([&] {
            for (int round = 0; round < kRounds; ++round) {
                LFileStoreListBase mine(ListName());
                if (!mine.Load() || !mine.Find("R")) return 1;
                mine.Find("R")->SetInt("W" + std::to_string(w), round);
                if (!mine.Save().Ok()) return 2;
            }
            return 0;
        }));
    }
    for (pid_t pid : pids) EXPECT_EQ(WaitChild(pid), 0);
    const auto again = Loaded();
    EXPECT_EQ(again->Count(), 1u);
    LFileStoreValues expected{{"A", "child"}, {"ID", "R"}, {"Shared", "parent"}};
    for (int w = 0; w < kWriters; ++w) expected["W" + std::to_string(w)] = "24";
    EXPECT_EQ(ValuesOf(*again, "R"), expected);
}

TEST(LFileStoreList, RecordsChangedElsewhereAreMatchedByIdNotByNumber) {
    LFileStoreListBase list(ListName());
    for (const char* id : {"P", "R", "T"}) list.Add(id);
    ASSERT_TRUE(list.Save().Ok());
    LFileStoreRecord* stale = list.Find("R");
    // Another process deletes R and gives its number to a new record S...
    ASSERT_TRUE(Elsewhere([](auto& l) { l.Remove(l.Find("R")); }));
    ASSERT_TRUE(Elsewhere([](auto& l) { l.Add("S"); }));
    // ...and removes T, gives its number to Q and adds T again under a new one.
    ASSERT_TRUE(Elsewhere([](auto& l) {
        l.Remove(l.Find("T"));
        l.Add("Q");
        l.Add("T")->SetValue("X", "1");
    }));
    stale->SetValue("Active", "1");
    list.Find("T")->SetValue("Y", "2");
    LFileStoreSaveResult result = list.Save();
    EXPECT_EQ(result.deletedElsewhere, std::vector<std::string>{"R"});
    EXPECT_EQ(result.written, 1);
    EXPECT_EQ(list.Find("R"), nullptr);
    EXPECT_EQ(stale->Id(), "R") << "a dropped record stays readable until the next Load";
    EXPECT_EQ(list.Find("T")->Number(), 3);

    auto again = Loaded();
    EXPECT_EQ(again->Count(), 4u) << "R was resurrected";
    EXPECT_EQ(ValuesOf(*again, "S"), (LFileStoreValues{{"ID", "S"}})) << "S was overwritten";
    EXPECT_EQ(ValuesOf(*again, "Q"), (LFileStoreValues{{"ID", "Q"}})) << "Q was overwritten";
    EXPECT_EQ(ValuesOf(*again, "T"), (LFileStoreValues{{"ID", "T"}, {"X", "1"}, {"Y", "2"}}));
    // A record added here under an ID another process added meanwhile joins it.
    ASSERT_TRUE(Elsewhere([](auto& l) { l.Add("N")->SetValue("A", "1"); }));
    list.Add("N")->SetValue("B", "2");
    ASSERT_TRUE(list.Save().Ok());
    again = Loaded();
    EXPECT_EQ(again->Count(), 5u);
    EXPECT_EQ(ValuesOf(*again, "N"), (LFileStoreValues{{"A", "1"}, {"B", "2"}, {"ID", "N"}}));
}

TEST(LFileStoreList, DamagedRecordFilesAreSkippedAndKept) {
    LFileStoreListBase list(ListName());
    list.Add("a");
    list.Add("b");
    ASSERT_TRUE(list.Save().Ok());
    const std::string garbage("ID=b&Bad=%G1\x00\xff", 14);
    WriteFile(RecordPath(list, 1), garbage);
    WriteFile(RecordPath(list, 5), "no pairs at all");
    WriteFile(JoinPath(list.Folder(), "07.dat"), "ID=odd");  // not a name we write

    // The record of "b" was loaded before its file went bad: its change is refused.
    list.Find("b")->SetValue("Active", "1");
    LFileStoreSaveResult result = list.Save();
    EXPECT_EQ(result.failed, 1);
    EXPECT_TRUE(list.Find("b")->IsModified()) << "the change must stay for a later save";
    EXPECT_EQ(ReadFile(RecordPath(list, 1)), garbage);

    ASSERT_TRUE(list.Load());
    ASSERT_EQ(list.Count(), 1u);
    const std::string log = ReadFile(ErrorLogPath());
    for (int number : {1, 5})
        EXPECT_NE(log.find(RecordPath(list, number) + " is damaged"), std::string::npos) << log;

    list.Add("c");
    ASSERT_TRUE(list.Save().Ok());
    EXPECT_EQ(list.Find("c")->Number(), 2) << "a damaged file's number was taken";
    EXPECT_EQ(ReadFile(RecordPath(list, 1)), garbage);
    EXPECT_EQ(ReadFile(RecordPath(list, 5)), "no pairs at all");
}

TEST(LFileStoreList, KilledWriterLeavesAReadableRecord) {
    LFileStoreListBase list(ListName());
    list.Add("R");
    ASSERT_TRUE(list.Save().Ok());
    for (int round = 0; round < 12; ++round) {
        TestPipe progress;
        pid_t pid = ForkChild([&] {
            for (int i = 0;; ++i) {
                LFileStoreListBase mine(ListName());
                mine.Load();
                mine.Find("R")->SetValue("Big", std::string(20000 + i % 7 * 1000, 'a' + i % 26));
                mine.Save();
                if (i == 0) progress.Send("1");
            }
            return 0;
        });
        progress.CloseWrite();
        ASSERT_EQ(progress.ReceiveByte(), '1');
        std::this_thread::sleep_for(std::chrono::microseconds(700 * round));
        kill(pid, SIGKILL);
        EXPECT_EQ(WaitChild(pid), 128 + SIGKILL);

        ASSERT_TRUE(list.Load());
        ASSERT_EQ(list.Count(), 1u) << "round " << round;
        EXPECT_GE(list.Find("R")->GetValue("Big").size(), 20000u);
    }
    // The dead writer's lock went with it; its temporary files go with the next save.
    list.Find("R")->SetValue("After", "1");
    EXPECT_EQ(list.Save().written, 1);
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(list.Folder()))
        names.push_back(entry.path().filename());
    EXPECT_EQ(names, std::vector<std::string>{"0.dat"});
}
