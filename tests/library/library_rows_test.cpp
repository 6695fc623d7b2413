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
RecordingRow Row(const std::string& path, std::optional<int64_t> ms,
                 std::time_t modified = 1000000000) {
    return {path, 2048, modified, 0, ms, "Microsoft PCM Format, 16 bit, 44100 Hz, Stereo", ""};
}

std::time_t LocalNoon(int y, int m, int d) {
    std::tm t{};
    t.tm_year = y - 1900, t.tm_mon = m - 1, t.tm_mday = d, t.tm_hour = 12, t.tm_isdst = -1;
    return std::mktime(&t);
}

std::string Names(const std::vector<RecordingRow>& rows) {
    std::string names;
    for (const auto& r : rows) names += r.path.substr(3, 1);
    return names;
}
}  // namespace

// What `f` gives for each input, joined by "|": one row of a table per input.
template <typename F, typename T>
std::string Each(F f, std::initializer_list<T> inputs) {
    std::string out;
    for (const T& in : inputs) out += (out.empty() ? "" : "|") + std::string(f(in));
    return out;
}

TEST(RecordingRow, TextsAtTheirBoundariesAndNamesThatAreNotUtf8) {
    EXPECT_EQ(Each(SizeText, {1048575, 1048576, 0, 0x40000000 - 1, 0x40000000}),
              "1023 KB|1.0 MB|0 KB|1024.0 MB|1.0 GB");
    EXPECT_EQ(Each(RecordingDurationText, {3600999LL, 0LL, 3600061001LL}),
              "1:00:00.999|0:00:00.000|1000:01:01.001");
    EXPECT_EQ(DateCreatedText(LocalNoon(2026, 3, 4)), "2026-03-04 12:00:00");
    EXPECT_EQ(Each(FoundCountText, {1, 0, 2}),
              "1 Recording was found|0 Recordings were found|2 Recordings were found");
    // A cut sequence and a surrogate each show as replacement characters.
    EXPECT_EQ(Each(DisplayText, {"caf\xC3\xA9", "\xC3", "\xED\xA0\x80"}),
              "caf\xC3\xA9|\xEF\xBF\xBD|\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
    RecordingRow r = Row("/r/a\xff\"b\nc.wav", std::nullopt);
    EXPECT_EQ(ColumnText(r, RecordingColumn::kName), "a\xEF\xBF\xBD\"b\nc.wav");
    EXPECT_EQ(r.path + ColumnText(r, RecordingColumn::kDuration), "/r/a\xff\"b\nc.wav");
}

TEST(RecordingRow, SortsByEachColumnAndKeepsEqualKeysStable) {
    std::vector<RecordingRow> rows = {Row("/r/b.wav", 5000, 300), Row("/r/a.wav", 1000, 100),
                                      Row("/r/c.wav", std::nullopt, 200)};
    SortRows(rows, RowOrder{});  // newest first
    EXPECT_EQ(Names(rows), "bca");
    SortRows(rows, {RecordingColumn::kDuration, false});  // undecodable first
    EXPECT_EQ(Names(rows), "cab");
    SortRows(rows, {RecordingColumn::kName, false});
    EXPECT_EQ(Names(rows), "abc");
    for (auto& r : rows) r.modified = 7;
    SortRows(rows, RowOrder{});
    EXPECT_EQ(Names(rows), "abc");  // ties fall back to the path
}

TEST(ViewFilter, DurationTextAndDateCriteria) {
    // Whole seconds at the limit; an undecodable recording passes no criterion.
    const auto passes = [](DurationCriterion c) {
        return [c](std::optional<int64_t> ms) {
            return PassesFilter({.criterion = c, .hours = 1}, Row("/r/a.wav", ms)) ? "1" : "0";
        };
    };
    using Ms = std::optional<int64_t>;
    EXPECT_EQ(Each(passes(DurationCriterion::kAtMost), {Ms(3600999), Ms(3601000)}), "1|0");
    EXPECT_EQ(Each(passes(DurationCriterion::kAtLeast), {Ms(3599999), Ms(3600000), Ms()}), "0|1|0");
    EXPECT_EQ(ClampDurationField(1500, kMaxFilterHours), 999);
    EXPECT_EQ(ClampDurationField(75, kMaxFilterMinutes), 59);
    EXPECT_EQ(ClampDurationField(-3, kMaxFilterSeconds), 0);
    EXPECT_EQ(DurationLimitSeconds({.hours = 1500, .minutes = 99, .seconds = 60}),
              999 * 3600 + 59 * 60 + 59);

    // Text: ASCII case-folded in the chosen column; non-ASCII matched as it is.
    const auto found = [](bool on, const char* text, RecordingColumn column) {
        return [=](const char* path) {
            return PassesFilter({.searchOn = on, .searchText = text, .findIn = int(column)},
                                Row(path, 1))
                       ? "1"
                       : "0";
        };
    };
    EXPECT_EQ(Each(found(true, "TAKE", RecordingColumn::kName), {"/r/take3.wav", "/r/tak3.wav"}),
              "1|0");
    EXPECT_EQ(Each(found(true, "TAKE", RecordingColumn::kLocation), {"/takes/x.wav"}), "1");
    EXPECT_EQ(Each(found(true, "pcm format", RecordingColumn::kFormat), {"/r/x.wav"}), "1");
    EXPECT_EQ(Each(found(true, "\xC3\xA9", RecordingColumn::kFormat), {"/r/x.wav"}), "0");
    EXPECT_EQ(Each(found(false, "\xC3\xA9", RecordingColumn::kFormat), {"/r/x.wav"}), "1");

    // Dates are whole local days and must be in order.
    ViewFilter f{.dateOn = true, .from = {2026, 3, 4}, .to = {2026, 3, 4}};
    EXPECT_EQ(CheckFilterDates(f), std::nullopt);
    const auto onDay = [&f](int day) {
        return PassesFilter(f, Row("/r/a.wav", 1, LocalNoon(2026, 3, day))) ? "1" : "0";
    };
    EXPECT_EQ(Each(onDay, {3, 4, 5}), "0|1|0");
    f.to = {2026, 3, 3};
    EXPECT_EQ(CheckFilterDates(f).value_or(""), "'To Date' must come after 'From Date'");
    f.dateOn = false;
    EXPECT_EQ(CheckFilterDates(f), std::nullopt);
    EXPECT_EQ(FormatCalendarDay({2026, 3, 4}), "2026-03-04");
    EXPECT_EQ(ParseCalendarDay("2024-02-29"), (CalendarDay{2024, 2, 29}));
    const auto parsed = [](const char* s) { return ParseCalendarDay(s) ? "1" : "0"; };
    EXPECT_EQ(Each(parsed, {"2023-02-29", "2026-13-01", "2026-3-4", "2026-03-04x", "", "junk"}),
              "0|0|0|0|0|0");
}

TEST(ViewFilter, StoredUnderItsKeysAndReadBackClamped) {
    const ViewFilter f{
        true, {2025, 12, 31}, {2026, 1, 2}, DurationCriterion::kAtLeast, 2, 3, 4, true, "take", 5};
    StoreViewFilter(f);
    EXPECT_EQ(ReadViewFilter(), f);
    EXPECT_EQ(
        GetSettingString("ViewFilterDlg", "From") + GetSettingString("ViewFilterDlg", "FindWhat"),
        "2025-12-31take");
    EXPECT_EQ(GetSettingInt("ViewFilterDlg", "Duration", -1), 2);
    SetSettingInt("ViewFilterDlg", "Hours", 1500);
    SetSettingInt("ViewFilterDlg", "FindIn", 9);
    SetSettingString("ViewFilterDlg", "To", "not a date");
    const ViewFilter read = ReadViewFilter();
    EXPECT_TRUE(read.hours == 999 && read.findIn == 5 && read.to == Today());

    EXPECT_EQ(find_play::CurrentSpeed(), 100);
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

    // Random damage (insert, erase, replace): whatever parses formats back the same.
    std::mt19937 random(18);
    for (int round = 0; round < 4000; ++round) {
        std::string m = text;
        for (int k = 0, n = 1 + int(random() % 4); k < n; ++k) {
            const size_t at = random() % (m.size() + 1), how = random() % 3;
            if (how == 0)
                m.insert(at, 1, char(random()));
            else if (at < m.size())
                how == 1 ? (void)m.erase(at, 1) : (void)(m[at] = char(random()));
        }
        if (auto parsed = ParseDurationCache(m)) {
            EXPECT_EQ(ParseDurationCache(FormatDurationCache(*parsed)), parsed);
        }
    }
}
