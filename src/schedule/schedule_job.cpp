#include "schedule/schedule_job.h"

#include <unistd.h>

#include <cstdlib>
#include <mutex>

#include "schedule/schedule_time.h"
#include "settings/settings.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

// "<id>.service" must stay below systemd's limit of 256 bytes for a unit name.
constexpr std::size_t kMaxJobIdLength = 255 - 8;
constexpr const char* kUnitNameChars =
    "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ:_.";

std::mutex programPathMutex;
std::string programPath;  // guarded by programPathMutex

void AppendEscapedByte(std::string& out, unsigned char c) {
    out += StringPrintf("\\x%02x", unsigned(c));
}

uint64_t Fnv1a64(std::string_view text) {
    uint64_t hash = 1469598103934665603ULL;
    for (unsigned char c : text) {
        hash ^= c;
        hash *= 1099511628211ULL;
    }
    return hash;
}

std::string RunningExecutable() {
    char buffer[4096];
    const ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    return n > 0 ? std::string(buffer, std::size_t(n)) : std::string();
}

}  // namespace

std::string SystemdEscape(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c == '/')
            out += '-';
        else if (c == 0 ||
                 std::string_view(kUnitNameChars).find(char(c)) == std::string_view::npos ||
                 (i == 0 && c == '.'))
            AppendEscapedByte(out, c);
        else
            out += char(c);
    }
    return out;
}

std::string JobLabel(std::string_view name) {
    return std::string(kAppDomain) + ".schedule." + std::string(name);
}

std::string JobId(std::string_view label) {
    std::string id = SystemdEscape(label);
    if (id.size() <= kMaxJobIdLength) return id;
    const std::string tail = StringPrintf("_%016llx", (unsigned long long)Fnv1a64(label));
    std::size_t cut = kMaxJobIdLength - tail.size();
    // Never cut inside a "\xNN": step back to the start of an escape it falls in.
    for (std::size_t back = 1; back <= 3 && back <= cut; ++back)
        if (id[cut - back] == '\\') {
            cut -= back;
            break;
        }
    return id.substr(0, cut) + tail;
}

std::string ScheduleArgumentText(int64_t end, std::string_view name, bool runIfNotLoggedIn) {
    return StringPrintf("%s %.*s%s", ClockText(SecondsOfDay(end)).c_str(), int(name.size()),
                        name.data(), runIfNotLoggedIn ? " -RunInBackground" : "");
}

std::string LaunchWindowText(const ScheduledRecording& r) {
    auto value = [&](const char* key) {
        const std::string text = r.GetValue(key);
        return text.empty() ? std::string("-") : text;
    };
    return StringPrintf("%d %d %s %s %s %s", r.RecordingType(), r.Weekdays(),
                        value(ScheduledRecording::kStartDateKey).c_str(),
                        value(ScheduledRecording::kStartTimeKey).c_str(),
                        value(ScheduledRecording::kEndDateKey).c_str(),
                        value(ScheduledRecording::kEndTimeKey).c_str());
}

std::string ScheduleJob::Label() const {
    return JobLabel(name);
}

ScheduleJob JobForRecord(const ScheduledRecording& record, const std::string& programPath) {
    ScheduleJob job;
    job.type = record.Type();
    job.name = record.Name();
    job.programPath = programPath;
    job.start = record.Start();
    job.end = record.End();
    job.weekdays = record.Weekdays();
    job.runIfNotLoggedIn = record.RunIfNotLoggedIn();
    job.argument = ScheduleArgumentText(job.end, job.name, record.RunIfNotLoggedIn());
    job.window = LaunchWindowText(record);
    return job;
}

void SetScheduleProgramPath(const std::string& path) {
    std::lock_guard<std::mutex> lock(programPathMutex);
    programPath = path;
}

std::string ScheduleProgramPath() {
    {
        std::lock_guard<std::mutex> lock(programPathMutex);
        if (!programPath.empty()) return programPath;
    }
    return RunningExecutable();
}

std::string AbsoluteProgramPath(const std::string& argv0, const std::string& cwd) {
    if (!argv0.empty() && argv0[0] == '/') return argv0;
    if (argv0.find('/') != std::string::npos && !cwd.empty()) return JoinPath(cwd, argv0);
    if (!argv0.empty() && argv0.find('/') == std::string::npos) {
        const char* path = std::getenv("PATH");
        std::string_view dirs = path ? path : "";
        while (!dirs.empty()) {
            const std::size_t colon = dirs.find(':');
            const std::string dir(dirs.substr(0, colon));
            dirs = colon == std::string_view::npos ? std::string_view() : dirs.substr(colon + 1);
            if (dir.empty() || dir[0] != '/') continue;
            const std::string candidate = JoinPath(dir, argv0);
            if (access(candidate.c_str(), X_OK) == 0) return candidate;
        }
    }
    return RunningExecutable();
}

}  // namespace vocarta
