#include "schedule/schedule_command_line.h"

#include <cstdio>
#include <ctime>

#include "schedule/schedule_display.h"
#include "schedule/schedule_time.h"
#include "schedule/utf8_text.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

bool ParseTime(const std::string& text, int& seconds) {
    int h = 0, m = 0, s = 0, used = 0;
    const int fields = std::sscanf(text.c_str(), "%d:%d%n:%d%n", &h, &m, &used, &s, &used);
    if (fields < 2 || std::size_t(used) != text.size()) return false;
    if (h < 0 || h > 23 || m < 0 || m > 59 || s < 0 || s > 59) return false;
    seconds = h * 3600 + m * 60 + s;
    return true;
}

bool ParseDate(const std::string& text, ScheduleDate& date) {
    int used = 0;
    if (std::sscanf(text.c_str(), "%d-%d-%d%n", &date.year, &date.month, &date.day, &used) != 3 ||
        std::size_t(used) != text.size())
        return false;
    return date.year >= 1970 && date.month >= 1 && date.month <= 12 && date.day >= 1 &&
           date.day <= 31;
}

// "+H:MM[:SS]" or "+N" with the unit s, m or h: a length of less than a day.
bool ParseLength(const std::string& text, int& seconds) {
    if (text.size() < 3 || text[0] != '+') return false;
    const std::string rest = text.substr(1);
    if (rest.find(':') != std::string::npos) return ParseTime(rest, seconds);
    const char unit = rest.back();
    const int scale = unit == 's' ? 1 : unit == 'm' ? 60 : unit == 'h' ? 3600 : 0;
    if (scale == 0 || rest.size() > 6) return false;
    long n = 0;
    for (std::size_t i = 0; i + 1 < rest.size(); ++i) {
        if (rest[i] < '0' || rest[i] > '9') return false;
        n = n * 10 + (rest[i] - '0');
    }
    if (n * scale >= kSecondsPerDay) return false;
    seconds = int(n * scale);
    return true;
}

// The one-time end `length` seconds after the form's start.
void SetOneTimeEnd(ScheduleForm& form, int length) {
    const int s = form.startSeconds;
    const int64_t end = LocalInstant(form.startDate.year, form.startDate.month, form.startDate.day,
                                     s / 3600, s % 3600 / 60, s % 60) +
                        length;
    const std::time_t t = std::time_t(end);
    std::tm tm{};
    localtime_r(&t, &tm);
    form.endDate = {tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday};
    form.endSeconds = SecondsOfDay(end);
}

bool ParseDays(const std::string& text, int& mask) {
    mask = 0;
    std::size_t pos = 0;
    while (pos <= text.size()) {
        std::size_t end = text.find(',', pos);
        if (end == std::string::npos) end = text.size();
        const std::string word = ToLowerAscii(text.substr(pos, end - pos));
        bool known = false;
        for (int day = kSunday; day <= kSaturday; ++day) {
            const std::string name = ToLowerAscii(WeekdayName(day));
            if (word == name || (word.size() == 3 && name.compare(0, 3, word) == 0)) {
                mask |= 1 << day;
                known = true;
            }
        }
        if (!known) return false;
        pos = end + 1;
    }
    return mask != 0;
}

ScheduleCommandResult Done(std::string message) {
    return {true, std::move(message), {}};
}

ScheduleCommandResult Failed(std::string message) {
    return {false, std::move(message), {}};
}

ScheduleCommandResult Refused(std::string message, std::string title = {}) {
    return {false, std::move(message), std::move(title), true};
}

LError Unreadable(const char* what, const std::string& text) {
    return MakeError(LErrorCode::kInvalid, "%s \"%s\" cannot be read", what, text.c_str());
}

}  // namespace

LResult<ScheduleForm> ParseScheduleAdd(const std::vector<std::string>& args, std::size_t& index) {
    std::size_t i = index;
    auto next = [&](std::string& out) {
        if (i + 1 >= args.size()) return false;
        out = args[++i];
        return true;
    };
    ScheduleForm form;
    std::string kind, a, b, c;
    if (i >= args.size()) return MakeError(LErrorCode::kInvalid, "a schedule name is needed");
    form.name = args[i];
    if (!next(kind)) return MakeError(LErrorCode::kInvalid, "once, daily or weekly is needed");
    kind = ToLowerAscii(kind);
    if (kind == "once") {
        form.type = ScheduleType::OneTime;
        if (!next(a) || !ParseDate(a, form.startDate)) return Unreadable("The start date", a);
        if (!next(b) || !ParseTime(b, form.startSeconds)) return Unreadable("The start time", b);
        if (!next(c)) return Unreadable("The end", c);
        int length = 0;
        if (ParseLength(c, length)) {
            SetOneTimeEnd(form, length);
        } else {
            ScheduleDate endDate;
            form.endDate = ParseDate(c, endDate) ? endDate : form.startDate;
            if (ParseDate(c, endDate) && !next(c)) return Unreadable("The end time", c);
            if (!ParseTime(c, form.endSeconds)) return Unreadable("The end", c);
        }
    } else if (kind == "daily" || kind == "weekly") {
        form.type = kind == "daily" ? ScheduleType::Daily : ScheduleType::Weekly;
        if (form.type == ScheduleType::Weekly && (!next(c) || !ParseDays(c, form.weekdays)))
            return Unreadable("The days", c);
        if (!next(a) || !ParseTime(a, form.startSeconds)) return Unreadable("The start time", a);
        int length = 0;
        if (!next(b)) return Unreadable("The end", b);
        if (ParseLength(b, length))
            form.endSeconds = int((form.startSeconds + length) % kSecondsPerDay);
        else if (!ParseTime(b, form.endSeconds))
            return Unreadable("The end", b);
    } else {
        return MakeError(LErrorCode::kInvalid, "\"%s\" is not once, daily or weekly", kind.c_str());
    }
    while (i + 1 < args.size()) {
        if (EqualsNoCase(args[i + 1], "-inactive"))
            form.active = false;
        else if (EqualsNoCase(args[i + 1], "-runifnotloggedin"))
            form.runIfNotLoggedIn = true;
        else
            break;
        ++i;
    }
    index = i;
    return form;
}

ScheduleCommandResult AddScheduleFromCommandLine(const std::vector<std::string>& args,
                                                 std::size_t& index, ScheduledRecordingList& list,
                                                 LJobLauncher& launcher, int64_t now) {
    LResult<ScheduleForm> form = ParseScheduleAdd(args, index);
    if (!form) return Refused(form.Error().Message());
    if (auto refused = CheckScheduleForm(form.Value(), list, nullptr, now))
        return Refused(refused->text, refused->title);
    switch (SaveScheduleForm(form.Value(), list, nullptr, launcher)) {
        case ScheduleSaved::Done:
            return Done(StringPrintf("Schedule \"%s\" added.", form.Value().name.c_str()));
        case ScheduleSaved::JobFailed:
            return Failed(StringPrintf("The job of schedule \"%s\" could not be made.",
                                       form.Value().name.c_str()));
        case ScheduleSaved::NotStored:
            break;
    }
    return Failed(kScheduleNotStoredText);
}

ScheduleCommandResult RemoveScheduleFromCommandLine(const std::string& name,
                                                    ScheduledRecordingList& list,
                                                    LJobLauncher& launcher) {
    if (!list.FindByName(name))
        return Refused(StringPrintf("No schedule is named \"%s\".", name.c_str()));
    if (!DeleteSchedule(list, name, launcher)) return Failed(kScheduleNotStoredText);
    return Done(StringPrintf("Schedule \"%s\" removed.", name.c_str()));
}

std::vector<std::string> ScheduleListingLines(const ScheduledRecordingList& list,
                                              LJobLauncher& launcher) {
    std::vector<std::string> lines = {"Name\tStart\tEnd\tState\tDuration\tNext start"};
    for (std::size_t i = 0; i < list.Count(); ++i) {
        const ScheduledRecording& record = *list.At(i);
        const ScheduleRow row = ScheduleDisplayRow(record);
        std::string next = "-";
        if (record.Active()) {
            LResult<JobListing> listing = launcher.List(JobLabel(record.Name()));
            if (!listing || !listing.Value().listed)
                next = "not loaded";
            else if (listing.Value().nextStart != 0)
                next = LocalStampText(listing.Value().nextStart);
            else
                next = "none";
        }
        lines.push_back(PrintableUtf8(row.name) + "\t" + row.start + "\t" + row.end + "\t" +
                        row.state + "\t" + row.duration + "\t" + next);
    }
    return lines;
}

}  // namespace vocarta
