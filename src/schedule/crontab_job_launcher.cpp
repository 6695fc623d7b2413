#include "schedule/crontab_job_launcher.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>

#include "schedule/job_start.h"
#include "schedule/process_run.h"
#include "schedule/schedule_time.h"
#include "toolkit/lfile.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

constexpr const char* kTagPrefix = " # vocarta-schedule:";
constexpr int kLockLimitMs = 10000;
// A one-time line fires once a year; a 29 February one once in four.
constexpr int kDaysSearched = 4 * 366 + 1;

bool HasControlByte(std::string_view word) {
    for (char ch : word) {
        const unsigned char c = static_cast<unsigned char>(ch);
        if (c < 0x20 || c == 0x7f) return true;
    }
    return false;
}

// Single quotes for the shell, closed around each "%" so that cron's "\%" is
// never preceded by a backslash of the text (cron would take "\\%" as a bare %).
std::string QuotePlainWord(std::string_view word) {
    if (word.empty()) return "''";
    std::string out;
    std::string segment;
    auto flush = [&] {
        if (!segment.empty()) out += "'" + segment + "'";
        segment.clear();
    };
    for (char c : word) {
        if (c == '%') {
            flush();
            out += "\\%";
        } else if (c == '\'') {
            segment += "'\\''";
        } else {
            segment += c;
        }
    }
    flush();
    return out;
}

// A printf format that prints `word` and then "x" (the sentinel).
std::string PrintfFormat(std::string_view word) {
    std::string format;
    for (char ch : word) {
        const unsigned char c = static_cast<unsigned char>(ch);
        if (c == '%')
            format += "\\%\\%";
        else if (c == '\\')
            format += "\\\\";
        else if (c == '\'')
            format += "'\\''";
        else if (c < 0x20 || c == 0x7f)
            format += StringPrintf("\\%03o", unsigned(c));
        else
            format += ch;
    }
    return "'" + format + "x'";
}

std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t pos = 0;
    while (pos < text.size()) {
        std::size_t end = text.find('\n', pos);
        if (end == std::string::npos) end = text.size();
        lines.push_back(text.substr(pos, end - pos));
        pos = end + 1;
    }
    return lines;
}

bool EndsWith(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

LResult<ProcessOutput> RunCrontab(const char* operation, const std::vector<std::string>& words,
                                  const std::string& input = {}) {
    LResult<ProcessOutput> run = RunProcess(words, input);
    if (!run)
        LogError("CrontabJobLauncher::%s %s FAILED: %s", operation, CommandText(words).c_str(),
                 run.Error().Message().c_str());
    return run;
}

// The user's crontab as `crontab -l` prints it; empty when there is none.
LResult<std::string> ReadCrontab(const char* operation) {
    LResult<ProcessOutput> run = RunCrontab(operation, {"crontab", "-l"});
    if (!run) return run.Error();
    if (run.Value().Succeeded()) return run.Value().out;
    if (run.Value().err.find("no crontab for") != std::string::npos) return std::string();
    const std::string why = TrimBlanks(run.Value().err);
    LogError("CrontabJobLauncher::%s crontab -l FAILED: exit %d: %s", operation,
             run.Value().exitCode, why.c_str());
    return MakeError(LErrorCode::kFailed, "crontab -l exited with %d: %s", run.Value().exitCode,
                     why.c_str());
}

LStatus InstallCrontab(const char* operation, const std::string& text) {
    LResult<ProcessOutput> run = RunCrontab(operation, {"crontab", "-"}, text);
    if (!run) return run.Error();
    if (run.Value().Succeeded()) return LStatus::Success();
    const std::string why = TrimBlanks(run.Value().err);
    LogError("CrontabJobLauncher::%s crontab - FAILED: exit %d: %s", operation,
             run.Value().exitCode, why.c_str());
    return MakeError(LErrorCode::kFailed, "crontab - exited with %d: %s", run.Value().exitCode,
                     why.c_str());
}

// One cron time field ("*" or numbers joined by ","); false when unreadable.
bool FieldMatches(std::string_view field, int value, bool& ok) {
    if (field == "*") return true;
    bool match = false;
    std::size_t pos = 0;
    while (pos <= field.size()) {
        std::size_t end = field.find(',', pos);
        if (end == std::string_view::npos) end = field.size();
        const std::string number(field.substr(pos, end - pos));
        char* stop = nullptr;
        const long n = std::strtol(number.c_str(), &stop, 10);
        if (number.empty() || *stop != '\0') ok = false;
        if (n == value) match = true;
        pos = end + 1;
    }
    return match;
}

}  // namespace

std::string CrontabJobLauncher::JobFolder() {
    return JoinPath(AppDataDir(), "cron");
}

std::string CrontabJobLauncher::JobFilePath(const std::string& label) {
    return JoinPath(JobFolder(), JobId(label) + ".cron");
}

std::string CrontabJobLauncher::Tag(const std::string& label) {
    return kTagPrefix + JobId(label);
}

bool CrontabJobLauncher::HasJobFile(const std::string& label) const {
    return FileExists(JobFilePath(label));
}

std::string CrontabJobLauncher::CronCommand(
    const std::vector<std::pair<std::string, std::string>>& env,
    const std::vector<std::string>& words) {
    std::string before, command;
    int made = 0;
    auto quote = [&](std::string_view word) {
        if (!HasControlByte(word)) return QuotePlainWord(word);
        const std::string variable = StringPrintf("vocarta_word%d", made++);
        before += variable + "=\"$(printf " + PrintfFormat(word) + ")\"; ";
        return "\"${" + variable + "\\%x}\"";
    };
    for (const auto& [name, value] : env) command += name + "=" + quote(value) + " ";
    for (std::size_t i = 0; i < words.size(); ++i) command += (i ? " " : "") + quote(words[i]);
    return before + command;
}

LResult<std::string> CrontabJobLauncher::CronLine(const ScheduleJob& job) {
    const std::time_t start = std::time_t(job.start);
    std::tm tm{};
    localtime_r(&start, &tm);
    std::string when;
    switch (job.type) {
        case ScheduleType::OneTime:
            when = StringPrintf("%d %d %d %d *", tm.tm_min, tm.tm_hour, tm.tm_mday, tm.tm_mon + 1);
            break;
        case ScheduleType::Daily:
            when = StringPrintf("%d %d * * *", tm.tm_min, tm.tm_hour);
            break;
        case ScheduleType::Weekly: {
            std::string days;
            for (int day = kSunday; day <= kSaturday; ++day)
                if (job.weekdays & (1 << day))
                    days += (days.empty() ? "" : ",") + std::to_string(day);
            when = StringPrintf("%d %d * * %s", tm.tm_min, tm.tm_hour, days.c_str());
            break;
        }
        case ScheduleType::None:
            return MakeError(LErrorCode::kInvalid, "schedule \"%s\" has no type", job.name.c_str());
    }
    const std::string label = job.Label();
    const std::string command =
        CronCommand({{kJobIdVariable, JobId(label)}, {kJobWindowVariable, job.window}},
                    {job.programPath, kScheduledLaunchSwitch, job.argument}) +
        Tag(label);
    if (command.size() > kMaxCommandLength)
        return MakeError(LErrorCode::kInvalid,
                         "the crontab command of \"%s\" would be %zu bytes; cron takes %zu",
                         job.name.c_str(), command.size(), kMaxCommandLength);
    return when + " " + command;
}

int64_t CrontabJobLauncher::NextStartOfLine(std::string_view line, int64_t now) {
    std::string_view fields[5];
    std::size_t pos = 0;
    for (auto& field : fields) {
        while (pos < line.size() && (line[pos] == ' ' || line[pos] == '\t')) ++pos;
        const std::size_t end = line.find_first_of(" \t", pos);
        if (end == std::string_view::npos) return 0;
        field = line.substr(pos, end - pos);
        pos = end;
    }
    const std::time_t t = std::time_t(now);
    std::tm today{};
    localtime_r(&t, &today);
    for (int offset = 0; offset < kDaysSearched; ++offset) {
        std::tm day{};
        day.tm_year = today.tm_year;
        day.tm_mon = today.tm_mon;
        day.tm_mday = today.tm_mday + offset;
        day.tm_hour = 12;
        day.tm_isdst = -1;
        std::mktime(&day);
        bool ok = true;
        const bool dayMatches = FieldMatches(fields[2], day.tm_mday, ok) &&
                                FieldMatches(fields[3], day.tm_mon + 1, ok) &&
                                FieldMatches(fields[4], day.tm_wday, ok);
        if (!ok) return 0;
        if (!dayMatches) continue;
        for (int hour = 0; hour < 24; ++hour) {
            if (!FieldMatches(fields[1], hour, ok)) continue;
            for (int minute = 0; minute < 60; ++minute) {
                if (!FieldMatches(fields[0], minute, ok)) continue;
                const int64_t when =
                    LocalInstant(day.tm_year + 1900, day.tm_mon + 1, day.tm_mday, hour, minute, 0);
                if (when > now) return when;
            }
        }
        if (!ok) return 0;
    }
    return 0;
}

LStatus CrontabJobLauncher::WriteJobFiles(const ScheduleJob& job) {
    LResult<std::string> line = CronLine(job);
    if (!line) return line.Error();
    if (!MakeDirs(JobFolder())) {
        LogSystemFailure("CrontabJobLauncher::WriteJobFiles", "mkdir");
        return MakeError(LErrorCode::kIo, "%s cannot be made", JobFolder().c_str());
    }
    if (!LFile::WriteAtomically(JobFilePath(job.Label()), line.Value() + "\n", 0600))
        return MakeError(LErrorCode::kIo, "%s cannot be written", JobFilePath(job.Label()).c_str());
    return LStatus::Success();
}

LStatus CrontabJobLauncher::ChangeCrontab(const char* operation, const std::string& label,
                                          const std::string& line, bool& found) {
    found = false;
    if (!MakeDirs(JobFolder())) {
        LogSystemFailure("CrontabJobLauncher::ChangeCrontab", "mkdir");
        return MakeError(LErrorCode::kIo, "%s cannot be made", JobFolder().c_str());
    }
    // Two Vocarta processes must not each write back what they read.
    LFile lock;
    if (!lock.Open(JoinPath(JobFolder(), ".crontab.lock"), LFile::Mode::OpenOrCreate, 0600) ||
        !lock.LockWait(LFile::LockKind::Exclusive, kLockLimitMs)) {
        LogError("CrontabJobLauncher::%s: the crontab lock cannot be taken", operation);
        return MakeError(LErrorCode::kTimedOut, "the crontab lock cannot be taken");
    }
    LResult<std::string> current = ReadCrontab(operation);
    if (!current) return current.Error();
    const std::string tag = Tag(label);
    std::string text;
    for (const std::string& existing : SplitLines(current.Value())) {
        if (EndsWith(existing, tag)) {
            found = true;
            continue;
        }
        text += existing + "\n";
    }
    if (!line.empty()) text += line + "\n";
    if (!found && line.empty()) return LStatus::Success();
    return InstallCrontab(operation, text);
}

LStatus CrontabJobLauncher::Load(const std::string& label) {
    (void)Unload(label);
    std::string line;
    if (!LFile::ReadAll(JobFilePath(label), line))
        return MakeError(LErrorCode::kNotFound, "%s does not exist", JobFilePath(label).c_str());
    line = TrimBlanks(line);
    if (line.find('\n') != std::string::npos || !EndsWith(line, Tag(label))) {
        LogError("CrontabJobLauncher::Load: %s is not a job line of ours; not loaded",
                 JobFilePath(label).c_str());
        return MakeError(LErrorCode::kInvalid, "%s is damaged", JobFilePath(label).c_str());
    }
    bool found = false;
    return ChangeCrontab("Load", label, line, found);
}

LStatus CrontabJobLauncher::Unload(const std::string& label) {
    if (!HasJobFile(label)) {
        LogError("CrontabJobLauncher::Unload: %s does not exist", JobFilePath(label).c_str());
        return MakeError(LErrorCode::kNotFound, "%s does not exist", JobFilePath(label).c_str());
    }
    bool found = false;
    LStatus changed = ChangeCrontab("Unload", label, {}, found);
    if (changed && !found)
        return MakeError(LErrorCode::kNotFound, "%s is not in the crontab", label.c_str());
    return changed;
}

LResult<JobListing> CrontabJobLauncher::List(const std::string& label) {
    LResult<std::string> current = ReadCrontab("List");
    if (!current) return current.Error();
    JobListing listing;
    const std::string tag = Tag(label);
    for (const std::string& line : SplitLines(current.Value())) {
        if (!EndsWith(line, tag)) continue;
        listing.listed = true;
        listing.nextStart = NextStartOfLine(line, int64_t(std::time(nullptr)));
        break;
    }
    return listing;
}

void CrontabJobLauncher::DeleteJobFiles(const std::string& label) {
    const std::string path = JobFilePath(label);
    if (unlink(path.c_str()) != 0 && errno != ENOENT)
        LogSystemFailure("CrontabJobLauncher::RemoveScheduleJob", "unlink");
}

}  // namespace vocarta
