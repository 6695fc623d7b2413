// The schedule record, its list, the overlap test, the list texts and the
// window's checks: each rule of the reference day, the deliberate blind spots
// and the two 10-hour texts, as a user meets them.

#include <gtest/gtest.h>

#include <filesystem>

#include "schedule/schedule_display.h"
#include "schedule/schedule_form.h"
#include "schedule/schedule_overlap.h"
#include "schedule/schedule_time.h"
#include "schedule_test_support.h"
#include "settings/settings.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

constexpr const char* kTenHours =
    "Please make sure that the start and end time values are not equal, and the recording "
    "length is less than ";

int Secs(int h, int m, int s = 0) {
    return h * 3600 + m * 60 + s;
}

int64_t At(const char* date, const char* time) {
    return InstantFromTexts(date, time);
}

class ScheduleTest : public ::testing::Test {
  protected:
    ScheduleTest() : zone_("Europe/Berlin") {
        std::filesystem::remove_all(JoinPath(AppDataDir(), ScheduledRecordingList::kListName));
        DeleteSettingTree(kScheduleDialogSection);
    }
    void Add(const char* name, ScheduleType type, int start, int end, int weekdays = 0,
             bool active = true) {
        ScheduledRecording& r = *list_.AddNamed(name);
        int64_t s = start, e = end;
        if (type != ScheduleType::OneTime) ReferenceDaySpan(start, end, s, e);
        if (type == ScheduleType::OneTime) r.SetOneTime(name, s, e);
        if (type == ScheduleType::Daily) r.SetDaily(name, s, e);
        if (type == ScheduleType::Weekly) r.SetWeekly(name, weekdays, s, e);
        r.SetActive(active);
    }
    static ScheduleForm Form(const char* name, ScheduleType type, int start, int end,
                             int weekdays = 0) {
        ScheduleForm form;
        form.name = name, form.type = type, form.weekdays = weekdays;
        form.startSeconds = start, form.endSeconds = end;
        return form;
    }
    // "passed", or the refusal's title and text.
    std::string Check(const ScheduleForm& form, const std::string& edited = "", int64_t now = 0) {
        auto m = CheckScheduleForm(form, list_, edited.empty() ? nullptr : &edited,
                                   now ? now : time(nullptr));
        return m ? m->title + " / " + m->text : std::string("passed");
    }
    static int StoredType() { return GetSettingInt(kScheduleDialogSection, kScheduleTypeKey, -5); }

    ScopedTimeZone zone_;
    ScheduledRecordingList list_;
};

}  // namespace

TEST_F(ScheduleTest, ReferenceDayAndConversionRules) {
    // Year 0, month 0, day 0 normalise to 30 November 1999; years below 70 are
    // 20xx, 1900 and later as is; instant 0 and empty texts stand for each other.
    const int64_t reference = ReferenceDayInstant(22, 0, 0);
    EXPECT_EQ(ScheduleDateText(reference) + " " + ScheduleTimeText(reference),
              "1999-11-30 22:00:00");
    EXPECT_EQ(At("0-0-0", "22:0:0"), reference);
    for (auto [date, shown] :
         {std::pair{"69-1-1", "2069-01-01"}, {"70-1-1", "1970-01-01"}, {"2024-2-30", "2024-03-01"}})
        EXPECT_EQ(ScheduleDateText(At(date, "12:00:00")), shown) << date;
    EXPECT_EQ(At("", "10:00:00"), 0);
    EXPECT_EQ(ScheduleDateText(0) + ScheduleTimeText(0), "");
    // An end before its start lies on the next reference day.
    int64_t start = 0, end = 0;
    ReferenceDaySpan(Secs(22, 0), Secs(8, 0), start, end);
    EXPECT_EQ(ScheduleDateText(end), "1999-12-01");
    EXPECT_EQ(end - start, 36000);
    // The local conversion decides daylight saving: both sides of the change.
    EXPECT_EQ(At("2024-03-31", "03:00:00") - At("2024-03-31", "01:00:00"), 3600);
    EXPECT_EQ(DurationText(36000), "10-00-00");
    EXPECT_EQ(NewScheduleName(At("2024-05-01", "09:30:00")), "2024-05-01_09-30-00");
}

TEST_F(ScheduleTest, RecordFileAndOddValues) {
    Add("Morning news", ScheduleType::Weekly, Secs(10, 0), Secs(11, 30, 15), 0x22 | 0x80);
    ScheduledRecording& r = *list_.At(0);
    r.SetRunIfNotLoggedIn(false);
    EXPECT_TRUE(r.IsModified());
    ASSERT_TRUE(list_.Save().Ok());
    EXPECT_FALSE(r.IsModified());
    EXPECT_EQ(ReadFile(JoinPath(list_.Folder(), "0.dat")),
              "Active=1&EndDate=1999-11-30&EndTime=11:30:15&ID=Morning news&RecordingType=2&"
              "RunIfNotLoggedIn=0&StartDate=1999-11-30&StartTime=10:00:00&Weekdays=34");
    ScheduledRecordingList again;
    ASSERT_TRUE(again.Load());
    EXPECT_EQ(again.FindByName("morning news"), nullptr);  // case-sensitive
    const ScheduledRecording* read = again.FindByName("Morning news");
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(std::tuple(read->Type(), read->Start(), read->End(), read->Weekdays(), read->Active(),
                         read->RunIfNotLoggedIn(), read->IsModified()),
              std::tuple(ScheduleType::Weekly, r.Start(), r.End(), 0x22, true, false, false));
    // Odd values as the settings store reads them.
    ScheduledRecording& bare = *again.AddNamed("bare");
    bare.SetValue(ScheduledRecording::kWeekdaysKey, "255");
    bare.SetValue(ScheduledRecording::kActiveKey, "00");
    bare.SetValue(ScheduledRecording::kRecordingTypeKey, "7");
    EXPECT_EQ(std::tuple(bare.Weekdays(), bare.Active(), bare.Type()),
              std::tuple(0x7f, false, ScheduleType::None));
    // Names are cut as the program's buffers hold them.
    EXPECT_EQ(again.AddNamed(std::string(300, 'n'))->Name().size(), 259u);
}

TEST_F(ScheduleTest, DamagedOrUnreadableRecordIsSkippedWithALogLine) {
    Add("kept", ScheduleType::Daily, Secs(1, 0), Secs(2, 0));
    ASSERT_TRUE(list_.Save().Ok());
    const std::string damaged = JoinPath(list_.Folder(), "1.dat");
    const std::string unreadable = JoinPath(list_.Folder(), "2.dat");
    WriteFile(damaged, "ID=half&Start%zz");
    std::filesystem::create_directory(unreadable);  // cannot be read as a file, even by root
    ScheduledRecordingList again;
    ASSERT_TRUE(again.Load());
    ASSERT_EQ(again.Count(), 1u);
    EXPECT_EQ(again.At(0)->Name(), "kept");
    for (const std::string& path : {damaged, unreadable})
        EXPECT_NE(ReadFile(ErrorLogPath()).find(path), std::string::npos);
    again.AddNamed("new")->SetActive(false);
    ASSERT_TRUE(again.Save().Ok());
    EXPECT_EQ(ReadFile(damaged), "ID=half&Start%zz");  // never rewritten
}

TEST_F(ScheduleTest, OverlapKeepsItsBlindSpots) {
    using T = ScheduleType;
    const int64_t ten = At("2030-01-01", "10:00:00"), eleven = ten + 3600, noon = ten + 7200;
    Add("weekly", T::Weekly, Secs(10, 0), Secs(11, 0), 1 << 1);
    Add("late", T::Daily, Secs(23, 0), Secs(1, 0));
    Add("off", T::Daily, Secs(12, 0), Secs(13, 0), 0, false);
    Add("once", T::OneTime, ten, eleven);
    // Different types are never compared; without a shared day neither, with one
    // the time of day alone; past midnight only the stored next-day end counts; a
    // touching start overlaps; inactive ones are skipped. One time: ending exactly
    // when the next starts overlaps, and so does a span around another one.
    const struct {
        T type;
        int64_t start, end;
        int weekdays;
        const char* found;
    } rows[] = {
        {T::Daily, Secs(10, 30), Secs(11, 30), 0, "none"},
        {T::Weekly, Secs(10, 30), Secs(11, 30), 1 << 1, "weekly"},
        {T::Weekly, Secs(10, 30), Secs(11, 30), 1 << 2, "none"},
        {T::Weekly, Secs(10, 30), Secs(11, 30), (1 << 2) | (1 << 1), "weekly"},
        {T::Daily, Secs(0, 30), Secs(0, 45), 0, "none"},
        {T::Daily, Secs(22, 0), Secs(23, 0), 0, "late"},
        {T::Daily, Secs(12, 15), Secs(12, 45), 0, "none"},
        {T::OneTime, eleven, noon, 0, "once"},
        {T::OneTime, ten - 3600, noon, 0, "once"},
        {T::OneTime, eleven + 1, noon, 0, "none"},
    };
    for (const auto& row : rows) {
        int64_t s = row.start, e = row.end;
        if (row.type != T::OneTime) ReferenceDaySpan(int(row.start), int(row.end), s, e);
        const ScheduledRecording* found = FindOverlap(list_, row.type, s, e, row.weekdays);
        EXPECT_EQ(found ? found->Name() : "none", row.found)
            << int(row.type) << " " << row.start << "-" << row.end;
    }
}

TEST_F(ScheduleTest, ListRowsOfEachType) {
    const int64_t ten = At("2030-01-01", "10:00:00");
    Add("once", ScheduleType::OneTime, ten, ten + Secs(2, 30, 5), 0, false);
    Add("night", ScheduleType::Daily, Secs(22, 0), Secs(8, 0));
    Add("week", ScheduleType::Weekly, Secs(9, 0), Secs(9, 45), (1 << 1) | (1 << 5) | 1, false);
    Add("weeknight", ScheduleType::Weekly, Secs(23, 0), Secs(1, 0), 1 << 6);
    const char* expected[] = {
        "once|2030-01-01 10:00:00|2030-01-01 12:30:05|Inactive|02-30-05",
        "night|Everyday 22:00:00|08:00:00|Active|10-00-00",
        "week|09:00:00 (Friday, Monday, Sunday)|09:45:00 (Same day)|Inactive|00-45-00",
        "weeknight|23:00:00 (Saturday)|01:00:00 (Next day)|Active|02-00-00"};
    for (std::size_t i = 0; i < 4; ++i) {
        const ScheduleRow x = ScheduleDisplayRow(*list_.At(i));
        EXPECT_EQ(x.name + "|" + x.start + "|" + x.end + "|" + x.state + "|" + x.duration,
                  expected[i]);
    }
    // A daily record whose end was stored before its start counts round midnight.
    list_.At(1)->SetValue(ScheduledRecording::kEndDateKey, "1999-11-30");
    EXPECT_EQ(ScheduleDisplayRow(*list_.At(1)).duration, "10-00-00");
}

TEST_F(ScheduleTest, ChecksRunInOrderWithTheirTextsAndTitles) {
    using T = ScheduleType;
    Add("existing", T::Daily, Secs(6, 0), Secs(7, 0));
    const std::string tooLong =
        std::string("Invalid start or end time. / ") + kTenHours + "or equal to 10 hours.";
    EXPECT_EQ(Check(Form("", T::Daily, 0, 1)),
              "Invalid Schedule Name / Schedule name cannot be empty. Please enter a valid name.");
    // Step 2 before step 3: a duplicate does not store the type.
    EXPECT_EQ(
        Check(Form("existing", T::Weekly, Secs(1, 0), Secs(2, 0), 1)),
        "Duplicate Schedule Name / Schedule name cannot be duplicate. Please enter a new name.");
    EXPECT_EQ(StoredType(), -5);
    // An edited schedule may take another's name.
    EXPECT_EQ(Check(Form("existing", T::Daily, Secs(1, 0), Secs(2, 0)), "other"), "passed");
    // 22:00 to 08:00 is exactly 10 hours and passes; a second more does not, and
    // the type is stored even though a later check refuses the form.
    EXPECT_EQ(Check(Form("n", T::Daily, Secs(22, 0), Secs(8, 0))), "passed");
    EXPECT_EQ(Check(Form("n", T::Daily, Secs(22, 0), Secs(8, 0, 1))), tooLong);
    EXPECT_EQ(StoredType(), 1);
    // Start equal to end is refused for every type.
    ScheduleForm once = Form("n", T::OneTime, Secs(9, 0), Secs(9, 0));
    once.startDate = once.endDate = {2030, 1, 1};
    for (const ScheduleForm& form : {Form("n", T::Daily, Secs(9, 0), Secs(9, 0), 1),
                                     Form("n", T::Weekly, Secs(9, 0), Secs(9, 0), 1), once})
        EXPECT_EQ(Check(form), tooLong) << int(form.type);
    EXPECT_EQ(StoredType(), 0);
    EXPECT_EQ(Check(Form("n", T::Weekly, Secs(9, 0), Secs(10, 0), 0)),
              "No weekdays selected. / Please select at least one week day to proceed.");
    // Overlap: named, passed when the edited name is found, skipped when inactive.
    ScheduleForm clash = Form("n", T::Daily, Secs(6, 30), Secs(8, 0));
    EXPECT_EQ(Check(clash),
              "Overlap Detected / An overlap detected between this schedule and existing.");
    clash.name = "existing";
    EXPECT_EQ(Check(clash, "existing"), "passed");
    clash.name = "n";
    clash.active = false;
    EXPECT_EQ(Check(clash), "passed");
}

TEST_F(ScheduleTest, OneTimeChecksAgainstNowAndTheSecondTenHourText) {
    const int64_t now = At("2030-06-01", "12:00:00");
    ScheduleForm form = Form("once", ScheduleType::OneTime, Secs(12, 0), Secs(13, 0));
    form.startDate = form.endDate = {2030, 6, 1};
    EXPECT_EQ(Check(form, "", now),  // starts this very second
              "Invalid start time. / Please make sure that the start time is greater than the "
              "current time.");
    EXPECT_EQ(Check(form, "", now - 1), "passed");
    // An end before the start passes the first length check and meets the second text.
    form.endSeconds = Secs(11, 0);
    EXPECT_EQ(Check(form, "", now - 7200),
              std::string("Invalid start and end time. / ") + kTenHours + "10 hours.");
    // Exactly 10 hours over midnight into the next date passes both.
    form.startSeconds = Secs(20, 0);
    form.endSeconds = Secs(6, 0);
    form.endDate = {2030, 6, 2};
    EXPECT_EQ(Check(form, "", now), "passed");
}

TEST_F(ScheduleTest, NewFormFollowsTheStoredType) {
    const int64_t now = At("2024-05-01", "09:30:00");
    for (auto [stored, type] : {std::pair{0, ScheduleType::OneTime},
                                {1, ScheduleType::Daily},
                                {2, ScheduleType::Weekly},
                                {7, ScheduleType::Weekly}}) {
        SetSettingInt(kScheduleDialogSection, kScheduleTypeKey, stored);
        const ScheduleForm form = NewScheduleForm(now);
        EXPECT_EQ(std::tuple(form.type, form.name, form.active, form.runIfNotLoggedIn),
                  std::tuple(type, "2024-05-01_09-30-00", true, false));
        EXPECT_EQ(Check(form, "", now), "passed") << "a new form must pass as it is shown";
    }
}

TEST_F(ScheduleTest, SavingEditingAndDeletingGoThroughTheLauncher) {
    MemoryLauncher launcher;
    ScheduleForm form = Form("show", ScheduleType::Daily, Secs(22, 0), Secs(8, 0));
    form.runIfNotLoggedIn = true;
    ASSERT_EQ(SaveScheduleForm(form, list_, nullptr, launcher), ScheduleSaved::Done);
    EXPECT_EQ(launcher.calls,
              std::vector<std::string>({"create show 08:00:00 show -RunInBackground"}));
    // Editing: the old job goes, the renamed record is written, its job made.
    launcher.calls.clear();
    const std::string old = "show", renamed = "renamed";
    form.name = renamed;
    form.runIfNotLoggedIn = false;
    ASSERT_EQ(SaveScheduleForm(form, list_, &old, launcher), ScheduleSaved::Done);
    EXPECT_EQ(launcher.calls.front(), "list " + JobLabel("show"));
    EXPECT_EQ(launcher.calls.back(), "create renamed 08:00:00 renamed");
    ScheduledRecordingList disk;
    ASSERT_TRUE(disk.Load());
    ASSERT_EQ(disk.Count(), 1u);
    EXPECT_EQ(disk.At(0)->Name() + " " + disk.At(0)->GetValue(ScheduledRecording::kEndDateKey),
              "renamed 1999-12-01");
    // Made inactive: the job goes and none is made.
    launcher.calls.clear();
    form.active = false;
    ASSERT_EQ(SaveScheduleForm(form, list_, &renamed, launcher), ScheduleSaved::Done);
    for (const std::string& call : launcher.calls) EXPECT_NE(call.rfind("create", 0), 0u);
    // Delete: job and record.
    launcher.calls.clear();
    ASSERT_TRUE(DeleteSchedule(list_, "renamed", launcher));
    ASSERT_TRUE(disk.Load());
    EXPECT_EQ(disk.Count(), 0u);
    EXPECT_FALSE(launcher.calls.empty());
    // A launcher that fails is still reported as a success (the record stays).
    launcher.createWorks = false;
    form.name = "kept";
    form.active = true;
    EXPECT_EQ(SaveScheduleForm(form, list_, nullptr, launcher), ScheduleSaved::Done);
    ASSERT_TRUE(disk.Load());
    EXPECT_NE(disk.FindByName("kept"), nullptr);
}
