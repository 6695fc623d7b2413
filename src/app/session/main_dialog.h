#pragma once
// MainDialog: the recording session of the main window. It keeps the session's
// state (the table below) and carries out its operations: start, record into a
// named file, pause, retake, stop and the after-stop sequence (AfterStop, in
// main_dialog_stop.cpp, is "what happens on Stop"). Commands reach it through
// SessionDispatcher; the recorder's news through RecorderEvents. What the user
// sees is SessionPresenter's job; free space, maximum time and the scheduled end
// are RecordingGuard's; playing the last recording is SessionPlayback's.
//
//   Ready     recorder stopped, no file open
//   Recording recorder state 2 (or waiting for voice input, state 1)
//   Paused    recorder state 1 with paused-by-user set, file open
//
// Qt-free. Threading contract: every member is called on the main thread; other
// threads reach it only through LMainLoop::Post.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "app/session/recording_guard.h"
#include "app/session/recording_target.h"
#include "app/session/session_playback.h"
#include "app/session/session_presenter.h"
#include "app/session/session_services.h"
#include "audio/codecs/recording_spec.h"
#include "audio/sound_sink.h"
#include "toolkit/result.h"

namespace vocarta {

class LMainLoop;
class MainDialogView;
class LAfterRecordingQueue;
class RecorderEvents;

class MainDialog {
  public:
    // Timers of the session, by id (the presenter's are in session_presenter.h).
    enum TimerId : int {
        kTimerCloseAfterMs = 4,  // -ms: finish the recording and close
        kTimerIntervalTone = 5,
        kTimerUpkeep = 6,
        kTimerDelayedStart = 8,
        kTimerRecorderPoll = 1120,  // turns the recorder's flags into notifications
    };
    // Posted to continue into a new file after the maximum time.
    static constexpr int kMessageContinueRecording = 1116;
    // A recording that names no limit is given 60 hours.
    static constexpr int64_t kDefaultLimitMs = 216000000;
    // A finished file smaller than this holds no recording worth keeping.
    static constexpr int64_t kSmallestKeptFile = 1024;
    // The after-recording queue's time to finish when the program ends.
    static constexpr int kQueueGraceAtExitMs = 10000;

    MainDialog(MainDialogView& view, LMainLoop& loop);
    MainDialog(MainDialogView& view, LMainLoop& loop, SessionServices services);
    ~MainDialog();
    MainDialog(const MainDialog&) = delete;
    MainDialog& operator=(const MainDialog&) = delete;

    // The window, as the user would handle it.
    void ShowWindow();
    void HideWindow();
    void BringToFront();
    // Closes the window and ends the program, asking first while recording.
    void Close();
    // Tells the user something that happened outside any command (shown once
    // the main loop runs).
    void ShowNotice(const std::string& text);
    // The program's exit status once it ends: non-zero after a recording that
    // failed, so scripts and scheduled launches can tell.
    int ExitStatus() const { return exitStatus_; }
    void SetExitStatus(int status) { exitStatus_ = status; }
    bool IsClosed() const { return closed_; }

    // Recording operations. `spec` says what a new file is written as; without
    // one the stored format and encoder settings are read at the start.
    void Record(int64_t limitMs, std::optional<RecordingSpec> spec = std::nullopt);
    void RecordToFile(const std::string& path, const RecordingSpec& spec);
    void Pause();
    void Restart();
    void Stop();
    void Play();
    // Plays a file given by path (not while recording, as Play).
    void PlayFile(const std::string& path);
    void AfterStop(bool done);
    // A scheduled launch: records until `limitMs` from now, into `title` in the
    // record folder when given; with a recording and a limit already running,
    // only moves that limit later.
    void ScheduledLaunch(int64_t limitMs, const std::optional<std::string>& title,
                         bool runInBackground);
    // Starts recording with the default limit after `delayMs` (timer 8).
    void DelayedRecord(int delayMs);
    // Runs the after-stop step and closes once `periodMs` has passed (timer 4).
    void CloseAfter(int periodMs);
    void SetExitWhenStopped();

    // What the recorder reports, on the main thread (RecorderEvents).
    void OnRecordingStarted();
    void OnRecorderProgress(int64_t positionMs);
    void OnVoiceTimeout(bool voiceActivated);
    // The recorder stopped (called from within its Stop or Poll): at the
    // session's request, or by itself at its time limit.
    void OnRecorderStopped();
    void OnRecorderFailed(int32_t error);
    void OnLevels(const std::vector<int>& levelsDb);
    // Sound the recorder had to drop (a disk that could not keep up); the
    // total since the recorder started.
    void OnAudioLost(int64_t lostTotalMs);

    void OnTimer(int id);
    void OnMessage(int id);

    int RecorderState() const;
    bool IsRecordingInProgress() const { return RecorderState() != kRecorderStopped; }
    bool IsPausedByUser() const { return pausedByUser_; }
    bool IsSinkOpen() const { return sink_.IsOpen(); }
    bool SessionEnded() const { return sessionEnded_; }
    bool SoundCaptured() const { return soundCaptured_; }
    bool ExitWhenStopped() const { return exitWhenStopped_; }
    const RecordingGuard& Guard() const { return guard_; }
    const std::string& OutputPath() const { return outputPath_; }
    // Why the last record command did not start a recording; empty after a
    // start that worked (or one the user cancelled).
    const std::optional<std::string>& StartFailure() const { return startFailure_; }
    // The last recording finished and kept (what Play plays).
    const std::string& LastRecordingPath() const { return lastRecordingPath_; }
    LAfterRecordingQueue& AfterRecordingQueue() { return *queue_; }
    SessionPresenter& Presenter() { return presenter_; }

    static constexpr int kRecorderStopped = 0;
    static constexpr int kRecorderPaused = 1;
    static constexpr int kRecorderRecording = 2;

  private:
    void KeepDisplayPace();
    // Starting (main_dialog.cpp).
    bool OpenSinkFor(const RecordingTarget& target, const RecordingSpec& spec);
    // Remembers why the last start failed (a cancel by the user is no failure).
    void NoteStartFailed(const LError& error);
    bool StartRecording(int64_t limitMs);
    bool StartRecorder(int64_t limitMs);
    void ReportDeviceFallBack(const LResolvedRecordDevice& device);
    void FailStart(const char* operation, const std::string& reason, bool putBackNumber);
    void DiscardSink();
    void StopRecorder();
    void StartPolling();
    void EndPolling();

    // Stopping (main_dialog_stop.cpp).
    void FinishRecording(bool done);
    bool CloseSinkKeeps();
    void DeleteEmptyTake(const std::string& path);
    void EndAtLimit(int64_t positionMs, RecordingGuard::Verdict verdict);
    void AfterRecorderStopped();
    void FinishStoppedItself();

    SessionButtons Buttons() const;
    void ShowLook(SessionLook look);
    void RefreshButtons();
    void ShowIdle();

    MainDialogView& view_;
    LMainLoop& loop_;
    bool closed_ = false;
    int exitStatus_ = 0;
    SessionServices services_;
    SessionPresenter presenter_;
    RecordingGuard guard_;
    SessionPlayback playback_;
    std::unique_ptr<RecorderEvents> events_;
    std::unique_ptr<LAfterRecordingQueue> queue_;

    // The session (all on the main thread).
    LSoundSink sink_;     // open while a file is being written
    RecordingSpec spec_;  // what sink_ writes
    std::string outputPath_;
    // The take brought its file into being (or the user chose to replace one):
    // only then may an empty take delete it.
    bool takeOwnsFile_ = false;
    std::optional<std::string> startFailure_;
    // The lost-sound message is shown once per start; the log has every report.
    bool audioLossShown_ = false;
    // Close to the maximum time or the scheduled end (RecordingGuard::NearLimit).
    bool limitNear_ = false;
    std::string lastDeviceNotice_;
    bool pausedByUser_ = false;
    bool sessionEnded_ = false;
    bool soundCaptured_ = false;
    // Set by -exitifstop and -RunInBackground: end the program when the
    // recording stops.
    bool exitWhenStopped_ = false;
    // True while the session itself stops the recorder: a stop it did not ask
    // for (the recorder's own time limit) is finished differently.
    bool stoppingRecorder_ = false;
    // Message 1116 is on its way: the recording goes on in a new file.
    bool continuationPending_ = false;
    int64_t finalTimeMs_ = 0;  // length of the recording last stopped
    std::string lastRecordingPath_;
};

}  // namespace vocarta
