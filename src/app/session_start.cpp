// Starting a recording: the record command, recording into a named file, and
// the common start once the output file is open.
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "app/file_naming.h"
#include "app/lmain_loop.h"
#include "app/main_dialog.h"
#include "app/main_dialog_view.h"
#include "app/output_folder.h"
#include "app/session_events.h"
#include "app/session_settings.h"
#include "audio/output_format.h"
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
// Room for 100 seconds of 32-bit samples must be left on the disk.
constexpr uint64_t kFreeSpaceSeconds = 100;
constexpr uint64_t kFreeSpaceBytesPerSample = 4;
// With voice activation off the recorder never goes back to waiting.
constexpr int64_t kNoPauseWaitMs = 216000000;
// The recorder's wake-up signal brings Poll as soon as there is news (levels
// five times a second, a change of state, the limit, an error); the timer only
// catches up on what no wake-up brings, such as the window shown again while paused.
constexpr int kRecorderPollMs = 500;
}  // namespace

void MainDialog::Record(int64_t limitMs) {
    LogEvent("Record limit=%lld", static_cast<long long>(limitMs));
    if (closed_) return;
    if (IsRecordingInProgress() && !pausedByUser_) {
        // Already recording (or waiting for voice) into the open file: a second
        // start would only lose the half second the recorder drops at a start.
        LogEvent("Record: a recording is already running into %s", outputPath_.c_str());
        return;
    }
    if (CheckOutputFolder(view_, RecordFolder(), OutputFolderUse::RecordCommand) !=
        OutputFolderCheck::Ready)
        return;
    if (!sink_) {
        const int format = ReadOutputFormat();
        std::string path;
        if (!ChooseRecordingPath(view_, format, path)) return;
        if (!OpenSinkFor(path, format)) {
            RecordFailure("CmRecord", "SinkFailed");
            return;
        }
    }
    if (StartRecording(limitMs)) CountUsage("CmRecord");
}

void MainDialog::RecordToFile(const std::string& path) {
    LogEvent("RecordToFile path=%s", path.c_str());
    if (closed_) return;
    // The named file takes over from a recording that runs: that one is finished first.
    if (IsRecordingInProgress() || pausedByUser_) AfterStop(true);
    int format = OutputFormatFromPath(path);
    if (format < 0) format = ReadOutputFormat();
    if (!OpenSinkFor(path, format)) {
        RecordFailure("RcrdFile", "OpenSinkFailed");
        return;
    }
    ShowFormatText();
    if (StartRecording(kDefaultLimitMs)) CountUsage("RcrdFile");
}

// Opens the output file with the encoder settings of its format as stored now.
bool MainDialog::OpenSinkFor(const std::string& path, int format) {
    std::string error;
    std::shared_ptr<LSoundSinkBase> sink = services_.openSink(format, path, &error);
    if (!sink) {
        LogError("MainDialog::OpenSink %s FAILED: %s", path.c_str(), error.c_str());
        ShowMessage(view_, StringPrintf(kSinkFailedText, path.c_str(), error.c_str()),
                    kMessageTitle, MessageBoxRequest::Icon::Error);
        return false;
    }
    sink_ = LSoundSink(std::move(sink));
    format_ = format;
    outputPath_ = path;
    return true;
}

bool MainDialog::StartRecording(int64_t limitMs) {
    if (!EnoughFreeSpace()) {
        sessionEnded_ = true;
        DiscardSink();
        RecordFailure("StrtRcrdng", "LowDiskSpace");
        ShowMessage(view_, kNoFreeSpaceText, kMessageTitle, MessageBoxRequest::Icon::Warning);
        return false;
    }
    if (RecorderState() == kRecording) {
        stoppingRecorder_ = true;
        services_.recorder->Stop();
        stoppingRecorder_ = false;
    }
    if (!sink_) {
        RecordFailure("StrtRcrdng", "SinkFailed");
        return false;
    }
    if (!StartRecorder(limitMs)) {
        const std::string reason = services_.recorder->LastErrorText();
        LogError("MainDialog::StartRecording recorder FAILED: %s", reason.c_str());
        RecordFailure("StrtRcrdng", reason.empty() ? "DeviceFailed" : reason);
        DiscardSink();
        PutBackAutoNumber();
        ShowMessage(view_, kDeviceFailedText, kMessageTitle, MessageBoxRequest::Icon::Error);
        sessionEnded_ = true;
        return false;
    }
    LogEvent("Recording into %s", outputPath_.c_str());
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

void MainDialog::StartPolling() {
    loop_.StartTimer(kTimerRecorderPoll, kRecorderPollMs);
    loop_.WatchReadable(kTimerRecorderPoll, services_.recorder->WakeSignal().Descriptor());
}

void MainDialog::EndPolling() {
    loop_.KillTimer(kTimerRecorderPoll);
    loop_.UnwatchReadable(kTimerRecorderPoll);
}

bool MainDialog::EnoughFreeSpace() {
    const std::string folder = DirName(outputPath_);
    const uint64_t needed = uint64_t(sink_ ? sink_.SampleRate() : 0) * kFreeSpaceSeconds *
                            uint64_t(sink_ ? sink_.Channels() : 0) * kFreeSpaceBytesPerSample;
    std::optional<uint64_t> free = services_.freeBytes(folder);
    // When the system cannot tell, the recording is not refused for it.
    if (!free || *free > needed) return true;
    if (session_settings::AutoEmpty()) {
        services_.emptyTrash();
        free = services_.freeBytes(folder);
        if (!free || *free > needed) return true;
    }
    LogEvent("Low disk space in %s: %llu bytes free, more than %llu needed", folder.c_str(),
             static_cast<unsigned long long>(*free), static_cast<unsigned long long>(needed));
    return false;
}

bool MainDialog::StartRecorder(int64_t limitMs) {
    const LResolvedRecordDevice device = services_.prepareDevice();
    std::optional<LdBLevel> voiceLevel;
    int64_t pauseWaitMs = kNoPauseWaitMs;
    if (VoiceActivateEnabled()) {
        voiceLevel = LdBLevel(
            static_cast<signed char>(std::clamp<int32_t>(VoiceActivateLevelSetting(), -127, 127)));
        pauseWaitMs = int64_t(std::max<int32_t>(0, PauseWaitSecondsSetting())) * 1000;
    }
    checkMaxTime_ = session_settings::CheckMaxTime();
    if (checkMaxTime_) maxTimeMs_ = session_settings::MaxTimeMs();
    // With the time check off a scheduled end must not stop the recording
    // (deliberate): the recorder then keeps only the 60-hour backstop.
    const int64_t recorderLimit = checkMaxTime_ ? limitMs : kDefaultLimitMs;
    lastDiskCheckMs_ = sink_.Position().Milliseconds();
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
    return services_.recorder->Start(options, sink_, events_.get());
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
    if (unlink(outputPath_.c_str()) != 0 && errno != ENOENT)
        LogSystemFailure("MainDialog::DiscardSink", "unlink");
    loop_.KillTimer(kTimerIntervalTone);
    EndPolling();
    ShowLook(SessionLook::Idle);
    ShowStatus(kStatusReady);
}

}  // namespace vocarta
