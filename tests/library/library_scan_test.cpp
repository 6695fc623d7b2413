// Scanning a folder of real recordings of every format written by the
// program's own sinks, next to damaged, empty, non-audio and oddly named
// files; the duration cache across a restart; the folder watcher.

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <thread>

#include "actions_test_support.h"
#include "library/recording_list.h"
#include "library/recordings_scan.h"
#include "support/temp_dir.h"
#include "toolkit/paths.h"
#include "transmit/send_log.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {
std::string Names(const std::vector<RecordingRow>& rows) {
    std::string names;
    for (const auto& r : rows) names += (names.empty() ? "" : "|") + BaseName(r.path);
    return names;
}

const RecordingRow& At(const ScanResult& r, const std::string& name) {
    static const RecordingRow missing{"<missing>", 0, 0, 0, std::nullopt, "", ""};
    for (const auto& row : r.rows)
        if (BaseName(row.path) == name) return row;
    return missing;
}

std::string Duration(const ScanResult& r, const std::string& name) {
    return ColumnText(At(r, name), RecordingColumn::kDuration);
}

struct RecordingsFolder {
    TempDir dir{"vocarta-library"};
    RecordingsFolder() {
        WriteTone(dir.File("take3.wav"), 1500);
        WriteTone(dir.File("b.mp3"), 2000);
        WriteTone(dir.File("c.aiff"), 1000);
        WriteTone(dir.File("d.flac"), 500);
        WriteTone(dir.File("odd \"name\"\n\xff.wav"), 250);
        std::string wav = test::ReadFile(dir.File("take3.wav"));
        WriteFile(dir.File("cut.wav"), wav.substr(0, 30));        // header cut short
        WriteFile(dir.File("empty.flac"), "");                    // zero length
        WriteFile(dir.File("text.mp3"), std::string(5000, 'x'));  // not audio
        WriteFile(dir.File("notes.txt"), "not listed");
        std::filesystem::create_directory(dir.File("sub.wav"));  // a folder: not listed
        std::filesystem::create_directory(dir.File("sub"));
        WriteTone(dir.File("sub/deeper.wav"), 100);  // subfolders are not scanned
    }
};
}  // namespace

TEST(RecordingsScan, ListsEveryFormatGroupedByExtensionAndSurvivesBadFiles) {
    RecordingsFolder folder;
    DurationCache cache(folder.dir.File("cache/d.cache"));
    SentIndex sent;
    ScanResult r =
        ScanFolder(folder.dir.Path(), ViewFilter{}, {RecordingColumn::kName, false}, cache, sent);
    EXPECT_TRUE(r.folderReadable);
    EXPECT_EQ(r.countText, "8 Recordings were found");
    // Damaged, empty and non-audio files are listed without a duration or format.
    const std::pair<const char*, const char*> durations[] = {
        {"take3.wav", "0:00:01.500"},
        {"d.flac", "0:00:00.500"},
        {"c.aiff", "0:00:01.000"},
        {"odd \"name\"\n\xff.wav", "0:00:00.250"},
        {"cut.wav", ""},
        {"empty.flac", ""},
        {"text.mp3", ""}};
    for (auto [name, text] : durations) EXPECT_EQ(Duration(r, name), text) << name;
    for (const auto& row : r.rows)
        EXPECT_EQ(row.format.empty(), !row.durationMs) << row.path << ": " << row.format;
    EXPECT_NEAR(double(At(r, "b.mp3").durationMs.value_or(0)), 2000.0, 60.0);
    EXPECT_NE(At(r, "take3.wav").format.find("44100 Hz"), std::string::npos);

    r = ScanFolder(folder.dir.Path() + "/", ViewFilter{.searchOn = true, .searchText = "TAKE"},
                   RowOrder{}, cache, sent);
    EXPECT_EQ(Names(r.rows) + ", " + r.countText, "take3.wav, 1 Recording was found");
    r = ScanFolder(folder.dir.File("missing"), ViewFilter{}, RowOrder{}, cache, sent);
    EXPECT_FALSE(r.folderReadable);
    EXPECT_EQ(r.countText, "0 Recordings were found");
}

TEST(RecordingsScan, CacheSurvivesARestartAndIsNotTrustedAfterAChange) {
    RecordingsFolder folder;
    const std::string file = folder.dir.File("cache/d.cache");
    SentIndex sent;
    const auto scan = [&](DurationCache& cache) {
        return ScanFolder(folder.dir.Path(), ViewFilter{}, RowOrder{}, cache, sent);
    };
    {
        DurationCache cache(file);
        cache.Load();
        scan(cache);
        EXPECT_EQ(cache.Decoded(), 8u);
        ASSERT_TRUE(cache.Save());
    }
    DurationCache restarted(file);
    restarted.Load();
    EXPECT_EQ(Duration(scan(restarted), "take3.wav"), "0:00:01.500");
    EXPECT_EQ(restarted.Decoded(), 0u);

    // Same size, new time: decoded again. New content of another length: new duration.
    WriteTone(folder.dir.File("take3.wav"), 1500);
    WriteTone(folder.dir.File("d.flac"), 750);
    EXPECT_EQ(Duration(scan(restarted), "d.flac"), "0:00:00.750");
    EXPECT_EQ(restarted.Decoded(), 2u);

    // Deleted files leave the cache; a damaged cache file is ignored and replaced.
    std::filesystem::remove(folder.dir.File("c.aiff"));
    scan(restarted);
    EXPECT_EQ(restarted.Size(), 7u);
    ASSERT_TRUE(restarted.Save());
    std::string text = test::ReadFile(file);
    WriteFile(file, text.substr(0, text.size() / 2));
    DurationCache damaged(file);
    damaged.Load();
    EXPECT_EQ(damaged.Size(), 0u);
    EXPECT_EQ(scan(damaged).rows.size(), 7u);
    ASSERT_TRUE(damaged.Save());
    EXPECT_TRUE(ParseDurationCache(test::ReadFile(file)).has_value());
}

TEST(RecordingsScan, SentColumnShowsWhereEachRecordingWent) {
    RecordingsFolder folder;
    const std::string log = folder.dir.File("sent.log");
    const std::string take = folder.dir.File("take3.wav");
    ASSERT_TRUE(AppendSendLog({"", take, "ftp", "ftp.example.org", "Failed", 0}, log));
    ASSERT_TRUE(AppendSendLog({"", take, "email", "a@example.org", "Ok", {}}, log));
    ASSERT_TRUE(AppendSendLog({"", take, "ftp", "ftp.example.org", "Ok", 9}, log));
    SentIndex sent;
    sent.Load(log);
    DurationCache cache(folder.dir.File("d.cache"));
    ScanResult r = ScanFolder(folder.dir.Path(), ViewFilter{}, RowOrder{}, cache, sent);
    EXPECT_EQ(At(r, "take3.wav").sent + "|" + At(r, "b.mp3").sent,
              "ftp ftp.example.org: Ok; email a@example.org: Ok|");
}

TEST(RecordingsScan, WatcherAddsAFinishedRecordingAndDropsAGoneOne) {
    TempDir dir("vocarta-watch");
    WriteTone(dir.File("first.wav"), 200);
    DurationCache cache(dir.File("d.cache"));
    RecordingList list(cache);
    list.Rescan(dir.Path(), ViewFilter{});
    ASSERT_EQ(list.Rows().size(), 1u);

    auto watcher = MakeFolderWatcher();
    ASSERT_TRUE(watcher->Watch(dir.Path()));
    WriteTone(dir.File("second.flac"), 300);
    WriteFile(dir.File("ignored.txt"), "x");
    std::filesystem::rename(dir.File("first.wav"), dir.File("moved-away"));
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (std::chrono::steady_clock::now() < deadline &&
           !(list.Rows().size() == 1 && BaseName(list.Rows()[0].path) == "second.flac")) {
        pollfd p{watcher->Descriptor(), POLLIN, 0};
        poll(&p, 1, 100);
        for (const FolderChange& c : watcher->TakeChanges()) list.Apply(c);
    }
    ASSERT_EQ(Names(list.Rows()), "second.flac");
    EXPECT_EQ(*list.Rows()[0].durationMs, 300);
    EXPECT_EQ(list.CountText(), "1 Recording was found");
    EXPECT_FALSE(watcher->Watch(dir.File("missing")));
    EXPECT_EQ(watcher->Descriptor(), -1);
}
