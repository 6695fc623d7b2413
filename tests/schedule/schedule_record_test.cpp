// The schedule record, its list, the overlap test, the list texts and the
// window's checks: each rule of the reference day, the deliberate blind spots
// and the two 10-hour texts, as a user meets them.

#include <gtest/gtest.h>

#include <filesystem>

#include "schedule/schedule_display.h"
#include "schedule/schedule_form.h"
#include "schedule/schedule_overlap.h"
#include "schedule/schedule_time.h"
#include "schedule/scheduled_recording.h"
#include "schedule_test_support.h"
#include "settings/settings.h"
#include "toolkit/lfile.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

constexpr const char* kTenHoursOrEqual =
    "Please make sure that the start and end time values are not equal, and the recording "
    "length is less than or equal to 10 hours.";
constexpr const char* kTenHoursLess =
    "Please make sure that the start and end time values are not equal, and the recording "
    "length is less than 10 hours.";

int Secs(int h, int m, int s = 0) {
    return h * 3600 + m * 60 + s;
}

class ScheduleTest : public ::testing::Test {
  protected:
    ScheduleTest() : zone_("Europe/Berlin") {
        std::filesystem::remove_all(JoinPath(AppDataDir(), ScheduledRecordingList::kListName));
        DeleteSettingTree(kScheduleDialogSection);
    }
    ScheduledRecording& Add(const char* name, ScheduleType type, int start, int end,
                            int weekdays = 0, bool active = true) {
        ScheduledRecording& r = *list_.AddNamed(name);
        int64_t s = 0, e = 0;
        ReferenceDaySpan(start, end, s, e);
        if (type == ScheduleType::Daily) r.SetDaily(name, s, e);
        if (type == ScheduleType::Weekly) r.SetWeekly(name, weekdays, s, e);
        r.SetActive(active);
        return r;
    }
    ScheduleForm Form(const char* name, ScheduleType type, int start, int end, int weekdays = 0) {
        ScheduleForm form;
        form.name = name;
        form.type = type;
        form.startSeconds = start;
        form.endSeconds = end;
        form.weekdays = weekdays;
        return form;
    }
    std::optional<ScheduleMessage> Check(const ScheduleForm& form,
                                         const std::string* edited = nullptr, int64_t now = 0) {
        return CheckScheduleForm(form, list_, edited, now ? now : time(nullptr));
    }

    ScopedTimeZone zone_;
    ScheduledRecordingList list_;
};

}  // namespace

TEST_F(ScheduleTest, ReferenceDayAndConversionRules) {
    // Year 0, month 0, day 0 normalise to 30 November 1999.
    const int64_t reference = ReferenceDayInstant(22, 0, 0);
    EXPECT_EQ(ScheduleDateText(reference), "1999-11-30");
    EXPECT_EQ(ScheduleTimeText(reference), "22:00:00");
    EXPECT_EQ(InstantFromTexts("0-0-0", "22:0:0"), reference);
    // An end before its start lies on the next reference day.
    int64_t start = 0, end = 0;
    ReferenceDaySpan(Secs(22, 0), Secs(8, 0), start, end);
    EXPECT_EQ(ScheduleDateText(end), "1999-12-01");
    EXPECT_EQ(end - start, 36000);
    // Years: below 70 is 20xx, 1900 and later as is, between counts from 1900.
    EXPECT_EQ(ScheduleDateText(InstantFromTexts("69-1-1", "")), "2069-01-01");
    EXPECT_EQ(ScheduleDateText(InstantFromTexts("70-1-1", "12:00:00")), "1970-01-01");
    EXPECT_EQ(ScheduleDateText(InstantFromTexts("2024-2-30", "")), "2024-03-01");
    // Instant 0 and empty texts stand for each other.
    EXPECT_EQ(InstantFromTexts("", "10:00:00"), 0);
    EXPECT_EQ(ScheduleDateText(0) + ScheduleTimeText(0), "");
    // The local conversion decides daylight saving: both sides of the change.
    EXPECT_EQ(
        InstantFromTexts("2024-03-31", "03:00:00") - InstantFromTexts("2024-03-31", "01:00:00"),
        3600);
    EXPECT_EQ(DurationText(36000), "10-00-00");
    EXPECT_EQ(NewScheduleName(InstantFromTexts("2024-05-01", "09:30:00")), "2024-05-01_09-30-00");
}

TEST_F(ScheduleTest, RecordKeysEncodingsAndModifiedFlag) {
    int64_t start = 0, end = 0;
    ReferenceDaySpan(Secs(10, 0), Secs(11, 30, 15), start, end);
    ScheduledRecording& r = *list_.AddNamed("Morning news");
    r.SetWeekly("Morning news", 0x22 | 0x80, start, end);
    r.SetActive(true);
    r.SetRunIfNotLoggedIn(false);
    EXPECT_TRUE(r.IsModified());
    ASSERT_TRUE(list_.Save().Ok());
    EXPECT_FALSE(r.IsModified());
    std::string text;
    ASSERT_TRUE(LFile::ReadAll(JoinPath(list_.Folder(), "0.dat"), text));
    EXPECT_EQ(text,
              "Active=1&EndDate=1999-11-30&EndTime=11:30:15&ID=Morning news&RecordingType=2&"
              "RunIfNotLoggedIn=0&StartDate=1999-11-30&StartTime=10:00:00&Weekdays=34");

    ScheduledRecordingList again;
    ASSERT_TRUE(again.Load());
    ScheduledRecording* read = again.FindByName("Morning news");
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(again.FindByName("morning news"), nullptr);  // case-sensitive
    EXPECT_EQ(read->Type(), ScheduleType::Weekly);
    EXPECT_EQ(read->Start(), start);
    EXPECT_EQ(read->End(), end);
    EXPECT_EQ(read->Weekdays(), 0x22);
    EXPECT_TRUE(read->Active());
    EXPECT_FALSE(read->RunIfNotLoggedIn());
    EXPECT_FALSE(read->IsModified());
    // Odd values as the settings store reads them.
    ScheduledRecording& bare = *again.AddNamed("bare");
    bare.SetValue(ScheduledRecording::kWeekdaysKey, "255");
    bare.SetValue(ScheduledRecording::kActiveKey, "00");
    bare.SetValue(ScheduledRecording::kRecordingTypeKey, "7");
    EXPECT_EQ(bare.Weekdays(), 0x7f);
    EXPECT_FALSE(bare.Active());
    EXPECT_EQ(bare.Type(), ScheduleType::None);
    // Names are cut as the program's buffers hold them.
    EXPECT_EQ(again.AddNamed(std::string(300, 'n'))->Name().size(), 259u);
}

TEST_F(ScheduleTest, DamagedOrUnreadableRecordIsSkippedWithALogLine) {
    Add("kept", ScheduleType::Daily, Secs(1, 0), Secs(2, 0));
    ASSERT_TRUE(list_.Save().Ok());
    const std::string damaged = JoinPath(list_.Folder(), "1.dat");
    const std::string unreadable = JoinPath(list_.Folder(), "2.dat");
    ASSERT_TRUE(WriteFile(damaged, "ID=half&Start%zz"));
    std::filesystem::create_directory(unreadable);  // cannot be read as a file, even by root
    ScheduledRecordingList again;
    ASSERT_TRUE(again.Load());
    ASSERT_EQ(again.Count(), 1u);
    EXPECT_EQ(again.At(0)->Name(), "kept");
    EXPECT_NE(ReadFile(ErrorLogPath()).find(damaged), std::string::npos);
    EXPECT_NE(ReadFile(ErrorLogPath()).find(unreadable), std::string::npos);
    again.AddNamed("new")->SetActive(false);
    ASSERT_TRUE(again.Save().Ok());
    EXPECT_EQ(ReadFile(damaged), "ID=half&Start%zz");  // never rewritten
}

TEST_F(ScheduleTest, OverlapKeepsItsBlindSpots) {
    Add("weekly", ScheduleType::Weekly, Secs(10, 0), Secs(11, 0), 1 << 1);
    Add("late", ScheduleType::Daily, Secs(23, 0), Secs(1, 0));
    Add("off", ScheduleType::Daily, Secs(12, 0), Secs(13, 0), 0, false);
    ScheduledRecording& once = *list_.AddNamed("once");
    once.SetOneTime("once", InstantFromTexts("2030-01-01", "10:00:00"),
                    InstantFromTexts("2030-01-01", "11:00:00"));
    once.SetActive(true);
    using T = ScheduleType;
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
        {T::Daily, Secs(10, 30), Secs(11, 30), 0, nullptr},
        {T::Weekly, Secs(10, 30), Secs(11, 30), 1 << 1, "weekly"},
        {T::Weekly, Secs(10, 30), Secs(11, 30), 1 << 2, nullptr},
        {T::Weekly, Secs(10, 30), Secs(11, 30), (1 << 2) | (1 << 1), "weekly"},
        {T::Daily, Secs(0, 30), Secs(0, 45), 0, nullptr},
        {T::Daily, Secs(22, 0), Secs(23, 0), 0, "late"},
        {T::Daily, Secs(12, 15), Secs(12, 45), 0, nullptr},
        {T::OneTime, InstantFromTexts("2030-01-01", "11:00:00"),
         InstantFromTexts("2030-01-01", "12:00:00"), 0, "once"},
        {T::OneTime, InstantFromTexts("2030-01-01", "09:00:00"),
         InstantFromTexts("2030-01-01", "12:00:00"), 0, "once"},
        {T::OneTime, InstantFromTexts("2030-01-01", "11:00:01"),
         InstantFromTexts("2030-01-01", "12:00:00"), 0, nullptr},
    };
    for (const auto& row : rows) {
        int64_t s = row.start, e = row.end;
        if (row.type != T::OneTime) ReferenceDaySpan(int(row.start), int(row.end), s, e);
        const ScheduledRecording* found = FindOverlap(list_, row.type, s, e, row.weekdays);
        EXPECT_EQ(found ? found->Name() : "none", row.found ? row.found : "none")
            << int(row.type) << " " << row.start << "-" << row.end;
    }
}

TEST_F(ScheduleTest, ListRowsOfEachType) {
    ScheduledRecording& once = *list_.AddNamed("once");
    once.SetOneTime("once", InstantFromTexts("2030-01-01", "10:00:00"),
                    InstantFromTexts("2030-01-01", "12:30:05"));
    Add("night", ScheduleType::Daily, Secs(22, 0), Secs(8, 0));
    Add("week", ScheduleType::Weekly, Secs(9, 0), Secs(9, 45), (1 << 1) | (1 << 5) | 1, false);
    Add("weeknight", ScheduleType::Weekly, Secs(23, 0), Secs(1, 0), 1 << 6);
    auto row = [](const ScheduledRecording& r) {
        const ScheduleRow x = ScheduleDisplayRow(r);
        return x.name + "|" + x.start + "|" + x.end + "|" + x.state + "|" + x.duration;
    };
    EXPECT_EQ(row(*list_.At(0)), "once|2030-01-01 10:00:00|2030-01-01 12:30:05|Inactive|02-30-05");
    EXPECT_EQ(row(*list_.At(1)), "night|Everyday 22:00:00|08:00:00|Active|10-00-00");
    EXPECT_EQ(row(*list_.At(2)),
              "week|09:00:00 (Friday, Monday, Sunday)|09:45:00 (Same day)|Inactive|00-45-00");
    EXPECT_EQ(row(*list_.At(3)),
              "weeknight|23:00:00 (Saturday)|01:00:00 (Next day)|Active|02-00-00");
    // A daily record whose end was stored before its start counts round midnight.
    list_.At(1)->SetValue(ScheduledRecording::kEndDateKey, "1999-11-30");
    EXPECT_EQ(ScheduleDisplayRow(*list_.At(1)).duration, "10-00-00");
}

TEST_F(ScheduleTest, ChecksRunInOrderWithTheirTextsAndTitles) {
    Add("existing", ScheduleType::Daily, Secs(6, 0), Secs(7, 0));
    auto refused = [&](const ScheduleForm& form, const std::string* edited = nullptr) {
        auto m = Check(form, edited);
        return m ? m->title + " / " + m->text : std::string("passed");
    };
    EXPECT_EQ(refused(Form("", ScheduleType::Daily, 0, 1)),
              "Invalid Schedule Name / Schedule name cannot be empty. Please enter a valid name.");
    // Step 2 before step 3: a duplicate does not store the type.
    EXPECT_EQ(
        refused(Form("existing", ScheduleType::Weekly, Secs(1, 0), Secs(2, 0), 1)),
        "Duplicate Schedule Name / Schedule name cannot be duplicate. Please enter a new name.");
    EXPECT_EQ(GetSettingInt(kScheduleDialogSection, kScheduleTypeKey, -5), -5);
    // An edited schedule may take another's name.
    const std::string edited = "other";
    EXPECT_EQ(refused(Form("existing", ScheduleType::Daily, Secs(1, 0), Secs(2, 0)), &edited),
              "passed");
    // 22:00 to 08:00 is exactly 10 hours and passes; a second more does not.
    EXPECT_EQ(refused(Form("n", ScheduleType::Daily, Secs(22, 0), Secs(8, 0))), "passed");
    EXPECT_EQ(refused(Form("n", ScheduleType::Daily, Secs(22, 0), Secs(8, 0, 1))),
              std::string("Invalid start or end time. / ") + kTenHoursOrEqual);
    // The type is stored even though a later check refuses the form.
    EXPECT_EQ(GetSettingInt(kScheduleDialogSection, kScheduleTypeKey, -5), 1);
    // Start equal to end is refused for every type.
    for (ScheduleType type : {ScheduleType::Daily, ScheduleType::Weekly})
        EXPECT_EQ(refused(Form("n", type, Secs(9, 0), Secs(9, 0), 1)),
                  std::string("Invalid start or end time. / ") + kTenHoursOrEqual);
    ScheduleForm once = Form("n", ScheduleType::OneTime, Secs(9, 0), Secs(9, 0));
    once.startDate = once.endDate = {2030, 1, 1};
    EXPECT_EQ(refused(once), std::string("Invalid start or end time. / ") + kTenHoursOrEqual);
    EXPECT_EQ(GetSettingInt(kScheduleDialogSection, kScheduleTypeKey, -5), 0);
    // Weekly without a day.
    EXPECT_EQ(refused(Form("n", ScheduleType::Weekly, Secs(9, 0), Secs(10, 0), 0)),
              "No weekdays selected. / Please select at least one week day to proceed.");
    // Overlap: named, skipped when inactive, passed when the edited name is found.
    ScheduleForm clash = Form("n", ScheduleType::Daily, Secs(6, 30), Secs(8, 0));
    EXPECT_EQ(refused(clash),
              "Overlap Detected / An overlap detected between this schedule and existing.");
    const std::string self = "existing";
    clash.name = "existing";
    EXPECT_EQ(refused(clash, &self), "passed");
    clash.name = "n";
    clash.active = false;
    EXPECT_EQ(refused(clash), "passed");
}

TEST_F(ScheduleTest, OneTimeChecksAgainstNowAndTheSecondTenHourText) {
    const int64_t now = InstantFromTexts("2030-06-01", "12:00:00");
    ScheduleForm form = Form("once", ScheduleType::OneTime, Secs(12, 0), Secs(13, 0));
    form.startDate = form.endDate = {2030, 6, 1};
    auto m = Check(form, nullptr, now);  // starts this very second
    ASSERT_TRUE(m);
    EXPECT_EQ(m->title, "Invalid start time.");
    EXPECT_EQ(m->text, "Please make sure that the start time is greater than the current time.");
    EXPECT_FALSE(Check(form, nullptr, now - 1));
    // An end before the start passes the first length check and meets the second text.
    form.endSeconds = Secs(11, 0);
    m = Check(form, nullptr, now - 3600 * 2);
    ASSERT_TRUE(m);
    EXPECT_EQ(m->title, "Invalid start and end time.");
    EXPECT_EQ(m->text, kTenHoursLess);
    // Exactly 10 hours over midnight into the next date passes both.
    form.startSeconds = Secs(20, 0);
    form.endSeconds = Secs(6, 0);
    form.endDate = {2030, 6, 2};
    EXPECT_FALSE(Check(form, nullptr, now));
}

TEST_F(ScheduleTest, NewFormFollowsTheStoredType) {
    const int64_t now = InstantFromTexts("2024-05-01", "09:30:00");
    for (auto [stored, type] : {std::pair{0, ScheduleType::OneTime},
                                {1, ScheduleType::Daily},
                                {2, ScheduleType::Weekly},
                                {7, ScheduleType::Weekly}}) {
        SetSettingInt(kScheduleDialogSection, kScheduleTypeKey, stored);
        const ScheduleForm form = NewScheduleForm(now);
        EXPECT_EQ(form.type, type) << stored;
        EXPECT_EQ(form.name, "2024-05-01_09-30-00");
        EXPECT_TRUE(form.active);
        EXPECT_FALSE(form.runIfNotLoggedIn);
        EXPECT_FALSE(Check(form, nullptr, now)) << "a new form must pass as it is shown";
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
    const std::string old = "show";
    form.name = "renamed";
    form.runIfNotLoggedIn = false;
    ASSERT_EQ(SaveScheduleForm(form, list_, &old, launcher), ScheduleSaved::Done);
    ASSERT_GE(launcher.calls.size(), 2u);
    EXPECT_EQ(launcher.calls.front(), "list " + JobLabel("show"));
    EXPECT_EQ(launcher.calls.back(), "create renamed 08:00:00 renamed");
    ScheduledRecordingList disk;
    ASSERT_TRUE(disk.Load());
    ASSERT_EQ(disk.Count(), 1u);
    EXPECT_EQ(disk.At(0)->Name(), "renamed");
    EXPECT_EQ(disk.At(0)->GetValue(ScheduledRecording::kEndDateKey), "1999-12-01");
    // Made inactive: the job goes and none is made.
    launcher.calls.clear();
    const std::string renamed = "renamed";
    form.active = false;
    ASSERT_EQ(SaveScheduleForm(form, list_, &renamed, launcher), ScheduleSaved::Done);
    for (const std::string& call : launcher.calls)
        EXPECT_EQ(call.rfind("create", 0), std::string::npos);
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
