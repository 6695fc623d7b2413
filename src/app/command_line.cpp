// The command-line switches of the main window: which operation each one calls.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <ctime>

#include "app/file_naming.h"
#include "app/lmain_loop.h"
#include "app/main_dialog.h"
#include "app/main_dialog_view.h"
#include "app/scheduled_end.h"
#include "audio/codecs/encoder_options.h"
#include "audio/output_format.h"
#include "toolkit/log.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
// Compared exactly, unlike every other switch: "-runinbackground" does nothing.
constexpr const char* kRunInBackground = "-RunInBackground";

// The format a -record word names, or -1.
int FormatFromWord(const std::string& word) {
    if (EqualsNoCase(word, "wav")) return kFormatWav;
    if (EqualsNoCase(word, "mp3")) return kFormatMp3;
    if (EqualsNoCase(word, "aif") || EqualsNoCase(word, "aiff")) return kFormatAiff;
    if (EqualsNoCase(word, "flac")) return kFormatFlac;
    return -1;
}

std::string Quoted(const std::vector<std::string>& args) {
    std::string out;
    for (std::size_t i = 1; i < args.size(); ++i) out += " \"" + args[i] + "\"";
    return out;
}

// A whole decimal number in 0..INT_MAX.
bool ParsePeriod(const std::string& text, int& value) {
    errno = 0;
    char* end = nullptr;
    long n = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str() || *end != '\0' || errno == ERANGE || n < 0 || n > INT_MAX)
        return false;
    value = int(n);
    return true;
}
}  // namespace

void MainDialog::HandleCommandLine(const std::vector<std::string>& all, int count) {
    count = std::clamp(count, 0, int(all.size()));
    const std::vector<std::string> args(all.begin(), all.begin() + count);
    LogEvent("Command line:%s", Quoted(args).c_str());
    // Once the window has closed the program is ending: later switches have no target.
    for (int i = 1; i < count && !closed_; ++i) i = HandleSwitch(args, i);
    ShowFormatText();
}

int MainDialog::HandleSwitch(const std::vector<std::string>& args, int i) {
    const std::string& sw = args[size_t(i)];
    const bool hasArgument = i + 1 < int(args.size());
    auto is = [&sw](const char* name) { return EqualsNoCase(sw, name); };

    if (is("-scheduled_launch")) return hasArgument ? HandleScheduledLaunch(args, i) : i;
    if (is("-record")) return HandleRecordSwitch(args, i);
    if (is("-recordfile")) return hasArgument ? HandleRecordFileSwitch(args, i) : i;
    if (is("-ms")) return hasArgument ? HandleMsSwitch(args, i) : i;
    if (is("-outdir")) {
        if (!hasArgument) return i;
        StoreRecordFolder(args[size_t(i + 1)]);
        LogEvent("Record folder set to %s", args[size_t(i + 1)].c_str());
        return i + 1;
    }
    if (is("-resume"))
        Record(kDefaultLimitMs);
    else if (is("-pause"))
        Pause();
    else if (is("-restart"))
        Restart();
    else if (is("-stop"))
        Stop();
    else if (is("-play"))
        Play();
    else if (is("-done"))
        AfterStop(true);
    else if (is("-exitifstop") || sw == kRunInBackground)
        exitWhenStopped_ = true;
    else if (is("-hide"))
        HideWindow();
    else if (is("-show"))
        ShowWindow();
    else if (is("-exit"))
        Close();
    else
        LogEvent("Command line: unknown argument \"%s\" skipped", sw.c_str());
    return i;
}

// -record [wav|mp3|aif|aiff|flac [encoder options]]
int MainDialog::HandleRecordSwitch(const std::vector<std::string>& args, int i) {
    const int format = i + 1 < int(args.size()) ? FormatFromWord(args[size_t(i + 1)]) : -1;
    if (format >= 0) {
        ++i;
        StoreOutputFormat(format);
        ParseEncoderOptions(format, args, i);
        i = std::min(i, int(args.size()) - 1);
    }
    Record(kDefaultLimitMs);
    return i;
}

// -recordfile path [encoder options]: an extension that names no format keeps
// the stored one and still records into the named file.
int MainDialog::HandleRecordFileSwitch(const std::vector<std::string>& args, int i) {
    const std::string path = args[size_t(++i)];
    const int format = OutputFormatFromPath(path);
    if (format >= 0) {
        StoreOutputFormat(format);
        ParseEncoderOptions(format, args, i);
        i = std::min(i, int(args.size()) - 1);
    }
    RecordToFile(path);
    return i;
}

int MainDialog::HandleMsSwitch(const std::vector<std::string>& args, int i) {
    const std::string& text = args[size_t(i + 1)];
    int period = 0;
    if (!ParsePeriod(text, period)) {
        LogError(
            "MainDialog::HandleCommandLine: -ms \"%s\" is not a number of milliseconds; "
            "ignored",
            text.c_str());
        return i + 1;
    }
    LogEvent("Timer %d started: %d ms", int(kTimerCloseAfterMs), period);
    loop_.StartTimer(kTimerCloseAfterMs, period);
    return i + 1;
}

// -scheduled_launch end [title [-RunInBackground]]. The launch agents pass all
// three as one argument: only the end time at its front is read then, so the
// recording goes to the usual file and the program stays. That is intended.
int MainDialog::HandleScheduledLaunch(const std::vector<std::string>& args, int i) {
    const std::string& endText = args[size_t(++i)];
    const int last = int(args.size()) - 1;
    int64_t limit = 0;
    if (!ScheduledLimitMs(endText, std::time(nullptr), limit)) {
        LogError(
            "MainDialog::HandleCommandLine: -scheduled_launch end time \"%s\" is not "
            "hours:minutes:seconds; ignored",
            endText.c_str());
        return i;
    }
    LogEvent("Scheduled launch until %s: limit=%lld", endText.c_str(),
             static_cast<long long>(limit));
    if (IsRecordingInProgress() && scheduledLimit_ != kNoLimit) {
        // A later schedule may only move the end later; its title and flag go with it.
        scheduledLimit_ = std::max(scheduledLimit_, limit);
        LogEvent("Scheduled limit=%lld", static_cast<long long>(scheduledLimit_));
        if (i < last) ++i;
        if (i < last && args[size_t(i + 1)] == kRunInBackground) ++i;
        return i;
    }
    scheduledLimit_ = limit;
    if (i == last) {
        Record(limit);
    } else {
        const std::string& title = args[size_t(++i)];
        const int format = ReadOutputFormat();
        if (*OutputFormatExtension(format))
            RecordToFile(MakeRecordingPath(title, format));
        else
            Record(limit);
        if (i < last && args[size_t(i + 1)] == kRunInBackground) {
            ++i;
            exitWhenStopped_ = true;
        }
    }
    ScheduledStart();
    return i;
}

}  // namespace vocarta
