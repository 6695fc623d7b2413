// Starting a recording: the record command, recording into a named file, a
// scheduled launch, and the common start once the output file is open.
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "app/lmain_loop.h"
#include "app/session/file_naming.h"
#include "app/session/main_dialog.h"
#include "app/session/main_dialog_view.h"
#include "app/session/output_folder.h"
#include "app/session/recorder_events.h"
#include "app/session/recording_target.h"
#include "app/session/session_settings.h"
#include "audio/codecs/sink_factory.h"
#include "audio/recorder_settings.h"
#include "settings/usage_stats.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
constexpr const char* kMessageTitle = "Vocarta Sound Recorder";
constexpr const char* kNoFreeSpaceText =
    "You have no free disk space left. Please delete some of the files to make more space.";
constexpr const char* kDeviceFailedText =
    "Vocarta cannot open the sound device for recording.\r\n\r\nPlease check you have selected "
    "the correct Sound Record Device in Settings";
constexpr const char* kSinkFailedText = "Vocarta cannot create the recording file %s.\r\n\r\n%s";
// With voice activation off the recorder never goes back to waiting.
constexpr int64_t kNoPauseWaitMs = 216000000;
// The recorder's wake-up signal brings Poll as soon as there is news (levels
// five times a second, a change of state, the limit, an error); the timer only
// catches up on what no wake-up brings, such as the window shown again while paused.
constexpr int kRecorderPollMs = 500;
}  // namespace

void MainDialog::Record(int64_t limitMs, std::optional<RecordingSpec> spec) {
    LogEvent("Record limit=%lld", static_cast<long long>(limitMs));
    if (closed_) return;
    startFailure_.reset();
    audioLossShown_ = false;
    if (IsRecordingInProgress() && !pausedByUser_) {
        // Already recording (or waiting for voice) into the open file: a second
        // start would only lose the half second the recorder drops at a start.
        LogEvent("Record: a recording is already running into %s", outputPath_.c_str());
        return;
    }
    const OutputFolderCheck folder =
        CheckOutputFolder(view_, RecordFolder(), OutputFolderUse::RecordCommand);
    if (folder == OutputFolderCheck::Refused)
        NoteStartFailed(MakeError(LErrorCode::kInvalid, "the record folder %s cannot be used",
                                  RecordFolder().c_str()));
    if (folder != OutputFolderCheck::Ready) return;
    if (!sink_) {
        if (!spec) spec = CurrentRecordingSpec();
        LResult<RecordingTarget> target = ChooseRecordingPath(view_, spec->format);
        if (!target) return NoteStartFailed(target.Error());
        if (!OpenSinkFor(target.Value(), *spec)) {
            RecordFailure("CmRecord", "SinkFailed");
            return;
        }
    }
    if (StartRecording(limitMs)) CountUsage("CmRecord");
}

void MainDialog::RecordToFile(const std::string& path, const RecordingSpec& spec) {
    LogEvent("RecordToFile path=%s", path.c_str());
    if (closed_) return;
    startFailure_.reset();
    // The named file takes over from a recording that runs: that one is finished first.
    if (IsRecordingInProgress() || pausedByUser_) AfterStop(true);
    LResult<RecordingTarget> target = PrepareRecordingTarget(view_, path);
    if (!target) {
        if (!target.Error().IsCancelled()) RecordFailure("RcrdFile", "TargetRefused");
        return NoteStartFailed(target.Error());
    }
    if (!OpenSinkFor(target.Value(), spec)) {
        RecordFailure("RcrdFile", "OpenSinkFailed");
        return;
    }
    if (StartRecording(kDefaultLimitMs)) CountUsage("RcrdFile");
}

void MainDialog::ScheduledLaunch(int64_t limitMs, const std::optional<std::string>& title,
                                 bool runInBackground) {
    LogEvent("Scheduled launch: limit=%lld", static_cast<long long>(limitMs));
    if (IsRecordingInProgress() && guard_.HasScheduledLimit()) {
        // A later schedule may only move the end later; its title and flag go with it.
        guard_.ExtendScheduledLimit(limitMs);
        LogEvent("Scheduled limit=%lld", static_cast<long long>(guard_.ScheduledLimit()));
        return;
    }
    guard_.SetScheduledLimit(limitMs);
    if (title) {
        const RecordingSpec spec = CurrentRecordingSpec();
        std::string path = MakeRecordingPath(*title, spec.format);
        // The same title on another day: the earlier recording stays, the new
        // one takes the title's next free name.
        LResult<bool> exists = CheckRecordingTarget(path);
        if (exists && exists.Value()) path = NextFreeName(path);
        RecordToFile(path, spec);
        if (runInBackground) exitWhenStopped_ = true;
    } else {
        Record(limitMs);
    }
    // The recorder's view is the main window itself: bring it forward if shown.
    LogEvent("ScheduledStart");
    if (view_.IsWindowVisible()) view_.BringToFront();
}

// Opens the output file written as `spec` says.
bool MainDialog::OpenSinkFor(const RecordingTarget& target, const RecordingSpec& spec) {
    const std::string& path = target.path;
    // Only a file this take brings into being (or one the user chose to
    // replace) is ever deleted again by it.
    LResult<bool> existed = CheckRecordingTarget(path);
    const bool owned = target.replaces || (existed && !existed.Value());
    LResult<std::shared_ptr<LSoundSinkBase>> sink = services_.openSink(spec, path);
    if (!sink) {
        const std::string& error = sink.Error().Message();
        LogError("MainDialog::OpenSink %s FAILED: %s", path.c_str(), error.c_str());
        const std::string text = StringPrintf(kSinkFailedText, path.c_str(), error.c_str());
        ShowMessage(view_, text, kMessageTitle, MessageBoxRequest::Icon::Error);
        NoteStartFailed(LError(sink.Error().Code(), text));
        return false;
    }
    sink_ = LSoundSink(std::move(sink).Value());
    takeOwnsFile_ = owned;
    spec_ = spec;
    outputPath_ = path;
    presenter_.ShowFormat(FormatDisplayText(spec));
    return true;
}

bool MainDialog::StartRecording(int64_t limitMs) {
    if (!sink_ ||
        !guard_.EnoughFreeSpace(DirName(outputPath_), sink_.SampleRate(), sink_.Channels())) {
        if (!sink_) {
            RecordFailure("StrtRcrdng", "SinkFailed");
            return false;
        }
        sessionEnded_ = true;
        DiscardSink();
        RecordFailure("StrtRcrdng", "LowDiskSpace");
        ShowMessage(
            view_,
            std::string(kNoFreeSpaceText) + "\r\n\r\nThe recording " + guard_.LastShortage() + ".",
            kMessageTitle, MessageBoxRequest::Icon::Warning);
        NoteStartFailed(LError(LErrorCode::kNoSpace, guard_.LastShortage()));
        return false;
    }
    if (RecorderState() == kRecorderRecording) StopRecorder();
    if (!StartRecorder(limitMs)) {
        const std::string reason = services_.recorder->LastErrorText();
        LogError("MainDialog::StartRecording recorder FAILED: %s", reason.c_str());
        RecordFailure("StrtRcrdng", reason.empty() ? "DeviceFailed" : reason);
        DiscardSink();
        PutBackAutoNumber();
        ShowMessage(view_, kDeviceFailedText, kMessageTitle, MessageBoxRequest::Icon::Error);
        NoteStartFailed(
            LError(LErrorCode::kFailed, "the sound device could not be opened" +
                                            (reason.empty() ? std::string() : ": " + reason)));
        sessionEnded_ = true;
        return false;
    }
    LogEvent("Recording into %s", outputPath_.c_str());
    startFailure_.reset();
    pausedByUser_ = false;
    soundCaptured_ = false;
    sessionEnded_ = false;
    if (session_settings::IntervalTone())
        loop_.StartTimer(kTimerIntervalTone, std::max(1, session_settings::IntervalSecs()) * 1000);
    StartPolling();
    ShowLook(SessionLook::Recording);
    CountUsage("StrtRcrdng");
    return true;
}

bool MainDialog::StartRecorder(int64_t limitMs) {
    const LResolvedRecordDevice device = services_.prepareDevice();
    if (device.fellBack) ReportDeviceFallBack(device);
    std::optional<LdBLevel> voiceLevel;
    int64_t pauseWaitMs = kNoPauseWaitMs;
    if (VoiceActivateEnabled()) {
        voiceLevel = LdBLevel(
            static_cast<signed char>(std::clamp<int32_t>(VoiceActivateLevelSetting(), -127, 127)));
        pauseWaitMs = int64_t(std::max<int32_t>(0, PauseWaitSecondsSetting())) * 1000;
    }
    const int64_t recorderLimit = guard_.Arm(limitMs, sink_.Position().Milliseconds());
    limitNear_ = guard_.NearLimit(sink_.Position().Milliseconds());
    events_->voiceActivated = voiceLevel.has_value();
    LogEvent(
        "Recorder starting on input %d (%s)%s, limit %lld ms", int(device.device.index),
        device.deviceName.c_str(),
        voiceLevel ? StringPrintf(", voice level %d dB", int(voiceLevel->Value())).c_str() : "",
        static_cast<long long>(recorderLimit));
    LRecorderStartOptions options;
    options.device = device.device;
    options.voiceLevel = voiceLevel;
    options.soundThreshold = voiceLevel.value_or(LdBLevel(-127));
    options.maxTime = LSoundTime(recorderLimit);
    options.silenceTimeout = LSoundTime(pauseWaitMs);
    services_.recorder->SetLevelsWanted(view_.ShowsTime() || limitNear_);
    return services_.recorder->Start(options, sink_, events_.get());
}

void MainDialog::NoteStartFailed(const LError& error) {
    if (error.IsCancelled()) return;
    startFailure_ = error.Message();
}

// The stored input is gone (unplugged, renamed): the first one records instead,
// and the user is told which, once per change.
void MainDialog::ReportDeviceFallBack(const LResolvedRecordDevice& device) {
    const std::string stored = LoadRecordChoice().device;
    const std::string text = StringPrintf(
        "The input \"%s\" chosen in Options is not connected; recording from \"%s\" instead.",
        stored.c_str(), device.deviceName.c_str());
    LogError("MainDialog::StartRecorder: %s", text.c_str());
    if (text == lastDeviceNotice_) return;
    lastDeviceNotice_ = text;
    ShowMessage(view_, text, kMessageTitle, MessageBoxRequest::Icon::Warning);
}

void MainDialog::StopRecorder() {
    stoppingRecorder_ = true;
    services_.recorder->Stop();
    stoppingRecorder_ = false;
}

void MainDialog::StartPolling() {
    loop_.StartTimer(kTimerRecorderPoll, kRecorderPollMs);
    loop_.WatchReadable(kTimerRecorderPoll, services_.recorder->WakeSignal().Descriptor());
}

void MainDialog::EndPolling() {
    loop_.KillTimer(kTimerRecorderPoll);
    loop_.UnwatchReadable(kTimerRecorderPoll);
}

// A start that failed: a file that holds nothing is removed; one that already
// holds a recording (a resume after Pause) is finished and kept instead.
void MainDialog::DiscardSink() {
    if (!sink_) return;
    if (sink_->FramesWritten() > 0) {
        LogEvent("Start failed after a pause: keeping what %s holds", outputPath_.c_str());
        FinishRecording(true);
        return;
    }
    sink_->Abort();
    sink_.Release();
    if (takeOwnsFile_) RemoveTakeFile(outputPath_, "MainDialog::DiscardSink");
    loop_.KillTimer(kTimerIntervalTone);
    EndPolling();
    ShowIdle();
}

}  // namespace vocarta
