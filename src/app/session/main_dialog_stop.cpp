// Pausing, retaking and stopping a recording, and the after-stop sequence that
// finishes the file and hands it on.
#include <unistd.h>

#include <cerrno>

#include "app/lmain_loop.h"
#include "app/session/after_recording_queue.h"
#include "app/session/main_dialog.h"
#include "app/session/main_dialog_view.h"
#include "app/session/recording_target.h"
#include "app/session/session_settings.h"
#include "settings/usage_stats.h"
#include "toolkit/lfile.h"
#include "toolkit/log.h"

namespace vocarta {

namespace {
constexpr const char* kNothingRecordedSilent = "Nothing was recorded: the input was silent";
constexpr const char* kNothingRecordedShort =
    "Nothing was recorded: the take was too short to keep";
}  // namespace

void MainDialog::Pause() {
    LogEvent("Pause");
    if (RecorderState() == kRecorderStopped) {
        // Nothing recorded: the button pauses playback instead (Play then resumes it).
        playback_.Pause();
        return;
    }
    if (pausedByUser_) return;
    loop_.KillTimer(kTimerIntervalTone);
    services_.recorder->Pause();
    pausedByUser_ = true;
    presenter_.RefreshTimeDisplay();
    ShowLook(SessionLook::Paused);
}

void MainDialog::Restart() {
    LogEvent("Restart");
    if (RecorderState() == kRecorderStopped && !pausedByUser_) {
        playback_.Restart();  // replay, if anything plays
        return;
    }
    if (!sink_) return;
    if (!pausedByUser_) services_.recorder->Pause();
    // The take is thrown away: the file starts again, empty, under the same name.
    sink_->Abort();
    sink_.Release();
    if (!OpenSinkFor(RecordingTarget{outputPath_, takeOwnsFile_}, spec_)) {
        RecordFailure("CmRestart", "OpenSinkFailed");
        DeleteEmptyTake(outputPath_);
        services_.recorder->Stop();  // clears the paused state; nothing is left to finish
        pausedByUser_ = false;
        sessionEnded_ = true;
        presenter_.EndTimeDisplay(0);
        EndPolling();
        ShowIdle();
        return;
    }
    if (StartRecording(kDefaultLimitMs)) CountUsage("CmRestart");
    RefreshButtons();
}

void MainDialog::Stop() {
    LogEvent("Stop");
    if (RecorderState() == kRecorderStopped && !pausedByUser_) {
        playback_.Stop();
        return;
    }
    AfterStop(true);
}

void MainDialog::AfterStop(bool done) {
    LogEvent("AfterStop done=%s", done ? "true" : "false");
    if (RecorderState() == kRecorderStopped && !pausedByUser_) return;
    FinishRecording(done);
}

// What happens on Stop, in order.
void MainDialog::FinishRecording(bool done) {
    // 1. A take into which no sound went is empty.
    const bool noSound = !sink_ || sink_->FramesWritten() == 0;
    // 3. Stop the interval tone and the recorder, note the length, close the file.
    loop_.KillTimer(kTimerIntervalTone);
    if (RecorderState() != kRecorderStopped) StopRecorder();
    finalTimeMs_ = sink_ ? sink_.Position().Milliseconds() : 0;
    presenter_.EndTimeDisplay(finalTimeMs_);
    EndPolling();
    const std::string path = outputPath_;
    const bool tooSmall = !CloseSinkKeeps();
    const bool empty = tooSmall || noSound;
    // 4. The stop tone.
    if (session_settings::StoppedTone()) services_.playTone(LToneKind::Stop);
    // 5. Hand the file on (trimming, then sending).
    if (!empty) queue_->Add(path);
    // 6. The log line; the session is over.
    LogEvent("Recording complete for file: %s", path.c_str());
    sessionEnded_ = true;
    // 7-8. Count it, and let the recordings list know.
    if (!empty) {
        session_settings::CountFileRecorded();
        lastRecordingPath_ = path;
        view_.RecordingFinished(path);
    }
    pausedByUser_ = false;
    // 9. Play it when asked to.
    if (done && !empty && session_settings::LaunchPlayWhenStop()) Play();
    // 10. The idle look.
    ShowIdle();
    // 11. An empty take leaves no file, and the window says why its time is gone.
    if (empty) {
        DeleteEmptyTake(path);
        presenter_.EndTimeDisplay(0);
        presenter_.ShowIdleNotice(noSound ? kNothingRecordedSilent : kNothingRecordedShort);
    }
}

// Closes the sink; true when the file is worth keeping (at least 1024 bytes).
bool MainDialog::CloseSinkKeeps() {
    if (!sink_) return false;
    if (!sink_->Close())
        LogError("MainDialog::AfterStop close FAILED: %s: %s", outputPath_.c_str(),
                 sink_->LastError().c_str());
    sink_.Release();
    return LFile::GetFileSizeBytes64(outputPath_) >= kSmallestKeptFile;
}

void MainDialog::DeleteEmptyTake(const std::string& path) {
    if (takeOwnsFile_)
        RemoveTakeFile(path, "MainDialog::AfterStop");
    else
        LogEvent("Nothing was recorded into %s; the file was there before and is kept",
                 path.c_str());
}

void MainDialog::Play() {
    LogEvent("Play");
    if (IsRecordingInProgress()) return;
    playback_.Play(lastRecordingPath_);
}

void MainDialog::PlayFile(const std::string& path) {
    LogEvent("Play %s", path.c_str());
    if (IsRecordingInProgress()) return;
    playback_.Play(path);
}

}  // namespace vocarta
