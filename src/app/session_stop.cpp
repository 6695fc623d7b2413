// Pausing, retaking and stopping a recording, and the after-stop step that
// finishes the file and hands it on.
#include <unistd.h>

#include <cerrno>

#include "app/after_recording_queue.h"
#include "app/lmain_loop.h"
#include "app/main_dialog.h"
#include "app/main_dialog_view.h"
#include "app/session_settings.h"
#include "settings/usage_stats.h"
#include "toolkit/lfile.h"
#include "toolkit/log.h"

namespace vocarta {

void MainDialog::Pause() {
    LogEvent("Pause");
    if (RecorderState() == kStopped) {
        // Nothing recorded: the button pauses playback instead (Play then resumes it).
        if (player_ && player_->IsPlaying()) {
            player_->Pause();
            RefreshButtons();
        }
        return;
    }
    if (pausedByUser_) return;
    loop_.KillTimer(kTimerIntervalTone);
    services_.recorder->Pause();
    pausedByUser_ = true;
    RefreshTimeDisplay();
    ShowLook(SessionLook::Paused);
}

void MainDialog::Restart() {
    LogEvent("Restart");
    if (RecorderState() == kStopped && !pausedByUser_) {
        // Replay: playback, if any, starts again from the beginning.
        if (player_ && (player_->IsPlaying() || player_->IsPaused())) {
            player_->Restart();
            RefreshButtons();
        }
        return;
    }
    if (!sink_) return;
    if (!pausedByUser_) services_.recorder->Pause();
    // The take is thrown away: the file starts again, empty, under the same name.
    sink_->Abort();
    sink_.Release();
    if (!OpenSinkFor(outputPath_, format_)) {
        RecordFailure("CmRestart", "OpenSinkFailed");
        if (unlink(outputPath_.c_str()) != 0 && errno != ENOENT)
            LogSystemFailure("MainDialog::Restart", "unlink");
        services_.recorder->Stop();  // clears the paused state; nothing is left to finish
        pausedByUser_ = false;
        sessionEnded_ = true;
        EndTimeDisplay();
        EndPolling();
        ShowLook(SessionLook::Idle);
        ShowStatus(kStatusReady);
        return;
    }
    if (StartRecording(kDefaultLimitMs)) CountUsage("CmRestart");
    RefreshButtons();
}

void MainDialog::Stop() {
    LogEvent("Stop");
    if (RecorderState() == kStopped && !pausedByUser_) {
        StopPlayback();
        return;
    }
    AfterStop(true);
}

void MainDialog::AfterStop(bool done) {
    LogEvent("AfterStop done=%s", done ? "true" : "false");
    if (RecorderState() == kStopped && !pausedByUser_) return;
    FinishRecording(done);
}

void MainDialog::FinishRecording(bool done) {
    const bool noSound = !sink_ || sink_->FramesWritten() == 0;
    loop_.KillTimer(kTimerIntervalTone);
    if (RecorderState() != kStopped) {
        stoppingRecorder_ = true;
        services_.recorder->Stop();
        stoppingRecorder_ = false;
    }
    finalTimeMs_ = sink_ ? sink_.Position().Milliseconds() : 0;
    EndTimeDisplay();
    EndPolling();
    view_.SetTimeText(TimeDisplayText(finalTimeMs_));
    const std::string path = outputPath_;
    const bool empty = !CloseSinkKeeps() || noSound;
    if (session_settings::StoppedTone()) services_.playTone(LToneKind::Stop);
    if (!empty) queue_->Add(path);
    LogEvent("Recording complete for file: %s", path.c_str());
    sessionEnded_ = true;
    if (!empty) {
        session_settings::CountFileRecorded();
        lastRecordingPath_ = path;
        view_.RecordingFinished(path);
    }
    pausedByUser_ = false;
    if (done && !empty && session_settings::LaunchPlayWhenStop()) Play();
    ShowLook(SessionLook::Idle);
    ShowStatus(kStatusReady);
    if (empty) {
        if (unlink(path.c_str()) != 0 && errno != ENOENT)
            LogSystemFailure("MainDialog::AfterStop", "unlink");
        else
            LogEvent("Nothing was recorded: %s deleted", path.c_str());
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

}  // namespace vocarta
