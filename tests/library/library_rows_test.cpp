// The row texts, the view filter and its stored form, and the duration cache's
// file format under damage.

#include <gtest/gtest.h>

#include <random>

#include "library/duration_cache_format.h"
#include "library/library_settings.h"
#include "library/recording_row.h"
#include "library/view_filter.h"
#include "settings/settings.h"

using namespace vocarta;

namespace {
RecordingRow Row(const std::string& path, int64_t ms, std::time_t modified = 1000000000) {
    RecordingRow r;
    r.path = path;
    r.durationMs = ms;
    r.modified = modified;
    r.sizeBytes = 2048;
    r.format = "Microsoft PCM Format, 16 bit, 44100 Hz, Stereo";
    return r;
}

std::time_t LocalNoon(int y, int m, int d) {
    std::tm t{};
    t.tm_year = y - 1900, t.tm_mon = m - 1, t.tm_mday = d, t.tm_hour = 12, t.tm_isdst = -1;
    return std::mktime(&t);
}
}  // namespace

TEST(RecordingRow, SizeAndDurationTextsAtTheirBoundaries) {
    EXPECT_EQ(SizeText(1048575), "1023 KB");
    EXPECT_EQ(SizeText(1048576), "1.0 MB");
    EXPECT_EQ(SizeText(0), "0 KB");
    EXPECT_EQ(SizeText(0x40000000 - 1), "1024.0 MB");
    EXPECT_EQ(SizeText(0x40000000), "1.0 GB");
    EXPECT_EQ(RecordingDurationText(3600999), "1:00:00.999");
    EXPECT_EQ(RecordingDurationText(0), "0:00:00.000");
    EXPECT_EQ(RecordingDurationText(int64_t(1000) * 3600 * 1000 + 61001), "1000:01:01.001");
    EXPECT_EQ(DateCreatedText(LocalNoon(2026, 3, 4)), "2026-03-04 12:00:00");
}

TEST(RecordingRow, NamesThatAreNotUtf8DisplayButKeepTheirBytes) {
    RecordingRow r = Row("/r/a\xff\"b\nc.wav", 1);
    EXPECT_EQ(ColumnText(r, RecordingColumn::kName), "a\xEF\xBF\xBD\"b\nc.wav");
    EXPECT_EQ(r.path, "/r/a\xff\"b\nc.wav");
    EXPECT_EQ(DisplayText("caf\xC3\xA9"), "caf\xC3\xA9");
    EXPECT_EQ(DisplayText("\xC3"), "\xEF\xBF\xBD");                                  // cut sequence
    EXPECT_EQ(DisplayText("\xED\xA0\x80"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");  // surrogate
    r.durationMs.reset();
    EXPECT_EQ(ColumnText(r, RecordingColumn::kDuration), "");
}

TEST(RecordingRow, SortsByEachColumnAndKeepsEqualKeysStable) {
    std::vector<RecordingRow> rows = {Row("/r/b.wav", 5000, 300), Row("/r/a.wav", 1000, 100),
                                      Row("/r/c.wav", 3000, 200)};
    rows[2].durationMs.reset();
    SortRows(rows, RowOrder{});  // newest first
    EXPECT_EQ(rows[0].path, "/r/b.wav");
    EXPECT_EQ(rows[2].path, "/r/a.wav");
    SortRows(rows, {RecordingColumn::kDuration, false});  // undecodable first
    EXPECT_EQ(rows[0].path, "/r/c.wav");
    EXPECT_EQ(rows[2].path, "/r/b.wav");
    SortRows(rows, {RecordingColumn::kName, false});
    EXPECT_EQ(rows[0].path, "/r/a.wav");
    for (auto& r : rows) r.modified = 7;
    SortRows(rows, RowOrder{});
    EXPECT_EQ(rows[0].path, "/r/a.wav");  // ties fall back to the path
}

TEST(ViewFilter, DurationCriteriaUseWholeSecondsAndClamp) {
    ViewFilter f;
    f.criterion = DurationCriterion::kAtMost;
    f.hours = 1;
    EXPECT_TRUE(PassesFilter(f, Row("/r/a.wav", 3600999)));
    EXPECT_FALSE(PassesFilter(f, Row("/r/a.wav", 3601000)));
    f.criterion = DurationCriterion::kAtLeast;
    EXPECT_FALSE(PassesFilter(f, Row("/r/a.wav", 3599999)));
    EXPECT_TRUE(PassesFilter(f, Row("/r/a.wav", 3600000)));
    RecordingRow broken = Row("/r/x.wav", 0);
    broken.durationMs.reset();
    EXPECT_FALSE(PassesFilter(f, broken));

    EXPECT_EQ(ClampDurationField(1500, kMaxFilterHours), 999);
    EXPECT_EQ(ClampDurationField(75, kMaxFilterMinutes), 59);
    EXPECT_EQ(ClampDurationField(-3, kMaxFilterSeconds), 0);
    f.hours = 1500, f.minutes = 99, f.seconds = 60;
    EXPECT_EQ(DurationLimitSeconds(f), 999 * 3600 + 59 * 60 + 59);
}

TEST(ViewFilter, TextSearchIsAsciiCaseFoldedInTheChosenColumn) {
    ViewFilter f;
    f.searchOn = true;
    f.searchText = "TAKE";
    EXPECT_TRUE(PassesFilter(f, Row("/r/take3.wav", 1)));
    EXPECT_FALSE(PassesFilter(f, Row("/r/tak3.wav", 1)));
    f.findIn = int(RecordingColumn::kLocation);
    EXPECT_TRUE(PassesFilter(f, Row("/takes/x.wav", 1)));
    f.findIn = int(RecordingColumn::kFormat);
    f.searchText = "pcm format";
    EXPECT_TRUE(PassesFilter(f, Row("/r/x.wav", 1)));
    f.searchText = "\xC3\xA9";  // non-ASCII is matched as it is, not folded
    EXPECT_FALSE(PassesFilter(f, Row("/r/x.wav", 1)));
    f.searchOn = false;
    EXPECT_TRUE(PassesFilter(f, Row("/r/x.wav", 1)));
}

TEST(ViewFilter, DatesAreWholeLocalDaysAndMustBeInOrder) {
    ViewFilter f;
    f.dateOn = true;
    f.from = {2026, 3, 4};
    f.to = {2026, 3, 4};
    EXPECT_EQ(CheckFilterDates(f), std::nullopt);
    EXPECT_TRUE(PassesFilter(f, Row("/r/a.wav", 1, LocalNoon(2026, 3, 4))));
    EXPECT_FALSE(PassesFilter(f, Row("/r/a.wav", 1, LocalNoon(2026, 3, 5))));
    EXPECT_FALSE(PassesFilter(f, Row("/r/a.wav", 1, LocalNoon(2026, 3, 3))));
    f.to = {2026, 3, 3};
    EXPECT_EQ(CheckFilterDates(f).value_or(""), "'To Date' must come after 'From Date'");
    f.dateOn = false;
    EXPECT_EQ(CheckFilterDates(f), std::nullopt);

    EXPECT_EQ(FormatCalendarDay({2026, 3, 4}), "2026-03-04");
    EXPECT_EQ(ParseCalendarDay("2024-02-29"), (CalendarDay{2024, 2, 29}));
    for (const char* bad : {"2023-02-29", "2026-13-01", "2026-3-4", "2026-03-04x", "", "junk"})
        EXPECT_EQ(ParseCalendarDay(bad), std::nullopt) << bad;
    EXPECT_EQ(FoundCountText(1), "1 Recording was found");
    EXPECT_EQ(FoundCountText(0), "0 Recordings were found");
    EXPECT_EQ(FoundCountText(2), "2 Recordings were found");
}

TEST(ViewFilter, StoredUnderItsKeysAndReadBackClamped) {
    ViewFilter f;
    f.dateOn = true;
    f.from = {2025, 12, 31};
    f.to = {2026, 1, 2};
    f.criterion = DurationCriterion::kAtLeast;
    f.hours = 2, f.minutes = 3, f.seconds = 4;
    f.searchOn = true;
    f.searchText = "take";
    f.findIn = 5;
    StoreViewFilter(f);
    EXPECT_EQ(ReadViewFilter(), f);
    EXPECT_EQ(GetSettingString("ViewFilterDlg", "From"), "2025-12-31");
    EXPECT_EQ(GetSettingString("ViewFilterDlg", "FindWhat"), "take");
    EXPECT_EQ(GetSettingInt("ViewFilterDlg", "Duration", -1), 2);
    SetSettingInt("ViewFilterDlg", "Hours", 1500);
    SetSettingInt("ViewFilterDlg", "FindIn", 9);
    SetSettingString("ViewFilterDlg", "To", "not a date");
    const ViewFilter read = ReadViewFilter();
    EXPECT_EQ(read.hours, 999);
    EXPECT_EQ(read.findIn, 5);
    EXPECT_EQ(read.to, Today());

    EXPECT_EQ(find_play::CurrentSpeed(), 100);
    EXPECT_EQ(find_play::SlowSpeed(), 50);
    EXPECT_EQ(find_play::FastSpeed(), 150);
    EXPECT_EQ(find_play::ListedFolder("/rec"), "/rec");
    find_play::StoreAlternativeFolder("/net/share");
    find_play::StoreUseRecordFolder(false);
    EXPECT_EQ(find_play::ListedFolder("/rec"), "/net/share");
    find_play::StoreUseRecordFolder(true);
}

TEST(DurationCacheFormat, RoundTripsAndRefusesEveryDamage) {
    const std::vector<CachedDuration> entries = {
        {"/r/a\tb\\c\nd\r.wav", 1048576, -5, 999999999, 3600999, "MPEG Layer 3, VBR, 44100 Hz"},
        {"/r/\xff.flac", 0, 1700000000, 0, -1, ""}};
    const std::string text = FormatDurationCache(entries);
    EXPECT_EQ(ParseDurationCache(text), entries);
    EXPECT_EQ(ParseDurationCache(std::string(kDurationCacheHeader) + "\n"),
              std::vector<CachedDuration>{});
    for (const std::string& bad :
         {std::string(), std::string("vocarta-duration-cache 2\n"),
          text.substr(0, text.size() - 1),  // last line cut
          text + "x\t1\t2\t3\t4\n", text + "/p\t1\t2\t3\t-2\tf\n",
          text + "/p\t1\t2\t1000000000\t4\tf\n", text + "/p\t1\t2\t3\t4\tf\tg\n",
          text + "/p\\q\t1\t2\t3\t4\tf\n", text + "\t1\t2\t3\t4\tf\n"})
        EXPECT_EQ(ParseDurationCache(bad), std::nullopt) << bad;

    // Random damage: whatever parses must format back to the same text.
    std::mt19937 random(18);
    for (int round = 0; round < 4000; ++round) {
        std::string mutated = text;
        for (int k = 0, n = 1 + int(random() % 4); k < n; ++k) {
            const size_t at = random() % (mutated.size() + 1);
            switch (random() % 3) {
                case 0:
                    mutated.insert(at, 1, char(random()));
                    break;
                case 1:
                    if (at < mutated.size()) mutated.erase(at, 1);
                    break;
                default:
                    if (at < mutated.size()) mutated[at] = char(random());
                    break;
            }
        }
        if (auto parsed = ParseDurationCache(mutated)) {
            EXPECT_EQ(ParseDurationCache(FormatDurationCache(*parsed)), parsed);
        }
    }
}
