#pragma once
// Shared by the schedule tests: a fixed time zone, stand-in tools first on
// PATH that record how they were called, and running real tools.

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "schedule/job_launcher.h"
#include "schedule/job_start.h"
#include "schedule/process_run.h"
#include "schedule/schedule_job.h"
#include "support/temp_dir.h"
#include "toolkit/text.h"

namespace vocarta::test {

// Local time for the length of a test.
class ScopedTimeZone {
  public:
    explicit ScopedTimeZone(const char* zone) {
        if (const char* old = getenv("TZ")) old_ = old;
        setenv("TZ", zone, 1);
        tzset();
    }
    ~ScopedTimeZone() {
        old_ ? setenv("TZ", old_->c_str(), 1) : unsetenv("TZ");
        tzset();
    }

  private:
    std::optional<std::string> old_;
};

// Stand-ins for tools, first on PATH while the object lives. Each call appends
// one line to calls.log: the tool's name and its arguments, each in [ ]. A
// tool's exit status for a first argument is read from "<tool>.<word>.exit"
// (default 0), its output from "<tool>.<word>.out" and ".err"; what it is fed
// with "-" as its word is kept.
class ToolRecorder {
  public:
    ToolRecorder() : dir_("vocarta-tools"), oldPath_(getenv("PATH") ? getenv("PATH") : "") {
        setenv("PATH", (dir_.Path() + ":" + oldPath_).c_str(), 1);
    }
    ~ToolRecorder() { setenv("PATH", oldPath_.c_str(), 1); }

    void Add(const std::string& tool) {
        const std::string path = dir_.File(tool);
        WriteFile(path,
                  "#!/bin/sh\n"
                  "d=$(dirname \"$0\"); t=$(basename \"$0\")\n"
                  "line=\"$t\"; for a in \"$@\"; do line=\"$line [$a]\"; done\n"
                  "printf '%s\\n' \"$line\" >> \"$d/calls.log\"\n"
                  "w=$1; [ \"$1\" = --user ] && w=$2\n"
                  "[ -f \"$d/$t.$w.out\" ] && cat \"$d/$t.$w.out\"\n"
                  "[ -f \"$d/$t.$w.err\" ] && cat \"$d/$t.$w.err\" >&2\n"
                  "[ \"$w\" = - ] && cat > \"$d/$t.stdin\"\n"
                  "[ -f \"$d/$t.$w.exit\" ] && exit $(cat \"$d/$t.$w.exit\")\n"
                  "exit 0\n");
        chmod(path.c_str(), 0755);
    }
    void Answer(const std::string& tool, const std::string& word, int exitCode,
                const std::string& out = {}, const std::string& err = {}) {
        WriteFile(dir_.File(tool + "." + word + ".exit"), std::to_string(exitCode));
        WriteFile(dir_.File(tool + "." + word + ".out"), out);
        WriteFile(dir_.File(tool + "." + word + ".err"), err);
    }
    // What the tool last read on its input when called with "-".
    std::string Input(const std::string& tool) { return ReadFile(dir_.File(tool + ".stdin")); }
    // The calls since the last Take(), one per line.
    std::vector<std::string> Take() {
        std::vector<std::string> calls;
        std::ifstream in(dir_.File("calls.log"));
        for (std::string line; std::getline(in, line);) calls.push_back(line);
        WriteFile(dir_.File("calls.log"), "");
        return calls;
    }

  private:
    TempDir dir_;
    std::string oldPath_;
};

// A launcher that holds loaded jobs in memory, names a next start for each and
// notes the list, create and delete calls it was asked.
struct MemoryLauncher : LJobLauncher {
    std::set<std::string> jobs;
    std::vector<std::string> calls;
    bool createWorks = true;
    const char* Kind() const override { return "memory"; }
    LStatus Load(const std::string& label) override {
        jobs.insert(label);
        return LStatus::Success();
    }
    LStatus Unload(const std::string& label) override {
        jobs.erase(label);
        return LStatus::Success();
    }
    LResult<JobListing> List(const std::string& label) override {
        calls.push_back("list " + label);
        return JobListing{jobs.count(label) > 0, jobs.count(label) ? 1906884000 : 0};
    }
    bool HasJobFile(const std::string& label) const override { return jobs.count(label) > 0; }

  protected:
    LStatus WriteJobFiles(const ScheduleJob& job) override {
        calls.push_back("create " + job.name + " " + job.argument);
        return createWorks ? LStatus::Success() : MakeError(LErrorCode::kIo, "refused");
    }
    void DeleteJobFiles(const std::string& label) override {
        calls.push_back("delete " + label);
        jobs.erase(label);
    }
};

// Runs a real tool; a missing tool fails the test loudly.
inline ProcessOutput RunTool(const std::vector<std::string>& argv, const std::string& input = {}) {
    LResult<ProcessOutput> run = RunProcess(argv, input);
    EXPECT_TRUE(run.Ok()) << argv[0]
                          << " cannot be run: " << (run ? std::string() : run.Error().Message());
    return run ? run.Value() : ProcessOutput();
}

// A program that writes its arguments, one per line as hex, and the schedule
// variables to `<out>`; for checking what a job really hands over.
inline std::string ArgumentDumper(const TempDir& dir, const std::string& name,
                                  const std::string& out) {
    const std::string path = dir.File(name);
    std::string quotedOut;
    for (char c : out) quotedOut += c == '\'' ? std::string("'\\''") : std::string(1, c);
    WriteFile(path,
              "#!/bin/sh\n"
              "{ for a in \"$@\"; do printf '%s' \"$a\" | od -An -tx1 | tr -d ' \\n'; echo; done\n"
              "  echo \"JOB=$VOCARTA_SCHEDULE_JOB\"; echo \"WINDOW=$VOCARTA_SCHEDULE_WINDOW\"\n"
              "} > '" +
                  quotedOut + "'\n");
    chmod(path.c_str(), 0755);
    return path;
}

inline std::string Hex(const std::string& bytes) {
    std::string out;
    for (unsigned char c : bytes) out += StringPrintf("%02x", c);
    return out;
}

// What ArgumentDumper writes when `job` starts it.
inline std::string DumpOf(const ScheduleJob& job) {
    return Hex("-scheduled_launch") + "\n" + Hex(job.argument) + "\nJOB=" + JobId(job.Label()) +
           "\nWINDOW=" + job.window + "\n";
}

// A job for a record of `type` (start and end as the record keeps them).
inline ScheduleJob TestJob(const std::string& name, ScheduleType type, const std::string& program,
                           int64_t start, int64_t end, int weekdays = 0,
                           bool runIfNotLoggedIn = true) {
    ScheduledRecording record;
    if (type == ScheduleType::OneTime) record.SetOneTime(name, start, end);
    if (type == ScheduleType::Daily) record.SetDaily(name, start, end);
    if (type == ScheduleType::Weekly) record.SetWeekly(name, weekdays, start, end);
    record.SetRunIfNotLoggedIn(runIfNotLoggedIn);
    return JobForRecord(record, program);
}

// Polls `done` every 50 ms for up to `ms`; whether it came true.
inline bool WaitUntil(const std::function<bool()>& done, int ms = 5000) {
    for (int waited = 0; !done(); waited += 50) {
        if (waited >= ms) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return true;
}

// Names a user might give a schedule that a careless quoting would break or run.
inline std::vector<std::string> HostileNames() {
    return {"Morning news",
            "it's \"quoted\"",
            "$(touch /tmp/vocarta-pwned) `touch /tmp/vocarta-pwned`",
            "100% %d %n %% \\%",
            "a; rm -rf ~; b",
            "line one\nline two\n",
            "tab\there\r",
            "slash/and\\back\\",
            "Nachrichten \xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x8e\x99",
            "-dash and ${HOME} $$ $",
            ".hidden*?[x]"};
}

}  // namespace vocarta::test
