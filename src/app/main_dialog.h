#pragma once
// MainDialog: the main window's controller and the one target of commands, from
// the window, the command line (first launch or forwarded), hot-keys and
// schedules. It owns the recording session and talks to the outside only
// through its view (the Qt window or the headless view) and the main loop
// (timers and posted calls). Qt-free.
//
// Threading contract: every member is called on the main thread; other threads
// reach it only through LMainLoop::Post.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "app/session_services.h"
#include "audio/sound_sink.h"

namespace vocarta {

class LMainLoop;
class MainDialogView;
class LAfterRecordingQueue;
enum class SessionLook;
struct SessionButtons;

class MainDialog {
  public:
    // Timers of the main window, by id.
    enum TimerId : int {
        kTimerCloseAfterMs = 4,  // -ms: finish the recording and close
        kTimerIntervalTone = 5,
        kTimerUpkeep = 6,
        kTimerDelayedStart = 8,
        kTimerTimeDisplay = 15,
        kTimerBlink = 1113,
        kTimerRecorderPoll = 1120,  // turns the recorder's flags into notifications
    };
    // Posted to continue into a new file after the maximum time.
    static constexpr int kMessageContinueRecording = 1116;
    // A recording that names no limit is given 60 hours.
    static constexpr int64_t kDefaultLimitMs = 216000000;
    static constexpr int64_t kNoLimit = -1;
    // Recorder states.
    enum : int { kStopped = 0, kPaused = 1, kRecording = 2 };
    // Status numbers of StatusText.
    enum : int { kStatusReady = 0, kStatusRecording = 1, kStatusWaiting = 2 };
    // A finished file smaller than this holds no recording worth keeping.
    static constexpr int64_t kSmallestKeptFile = 1024;
    // The after-recording queue's time to finish when the program ends.
    static constexpr int kQueueGraceAtExitMs = 10000;

    MainDialog(MainDialogView& view, LMainLoop& loop);
    MainDialog(MainDialogView& view, LMainLoop& loop, SessionServices services);
    virtual ~MainDialog();
    MainDialog(const MainDialog&) = delete;
    MainDialog& operator=(const MainDialog&) = delete;

    // Walks the switches of a command line from index 1 (args[0] is the
    // program); only the first `count` arguments are read.
    virtual void HandleCommandLine(const std::vector<std::string>& args, int count);
    // A command line received from a second launch: a bare launch brings the
    // window to the front, anything else goes to HandleCommandLine.
    void HandleForwardedCommandLine(const std::vector<std::string>& args);

    // The window, as the user would handle it.
    void ShowWindow();
    void HideWindow();
    void BringToFront();
    // Closes the window and ends the program, asking first while recording.
    void Close();
    bool IsClosed() const { return closed_; }

    // Recording operations.
    void Record(int64_t limitMs);
    void RecordToFile(const std::string& path);
    void Pause();
    void Restart();
    void Stop();
    void Play();
    void AfterStop(bool done);
    // Brings the recorder to its recording view after a scheduled launch.
    void ScheduledStart();
    // Starts recording with the default limit after `delayMs` (timer 8).
    void DelayedRecord(int delayMs);

    // What the recorder reports, on the main thread.
    void OnRecordingStarted();
    void OnRecorderProgress(int64_t positionMs);
    void OnVoiceTimeout(bool voiceActivated);
    void OnRecorderStopped();

    void OnTimer(int id);
    void OnMessage(int id);

    int RecorderState() const;
    bool IsRecordingInProgress() const { return RecorderState() != kStopped; }
    bool IsPausedByUser() const { return pausedByUser_; }
    bool IsSinkOpen() const { return sink_.IsOpen(); }
    bool SessionEnded() const { return sessionEnded_; }
    bool SoundCaptured() const { return soundCaptured_; }
    bool ExitWhenStopped() const { return exitWhenStopped_; }
    int64_t ScheduledLimit() const { return scheduledLimit_; }
    int64_t MaxTimeMs() const { return maxTimeMs_; }
    bool CheckMaxTimeOn() const { return checkMaxTime_; }
    const std::string& OutputPath() const { return outputPath_; }
    // The last recording finished and kept (what Play plays).
    const std::string& LastRecordingPath() const { return lastRecordingPath_; }
    LAfterRecordingQueue& AfterRecordingQueue() { return *queue_; }

    // 0 "Ready", 1 "Recording...", 2 "Waiting for voice input...", else "".
    static std::string StatusText(int status);
    // "0:00:00.000" style: hours, minutes, seconds, milliseconds.
    static std::string TimeDisplayText(int64_t positionMs);

  private:
    class RecorderEvents;

    // Command-line switches (command_line.cpp). Each takes the index of its
    // switch and returns the index of the last argument it consumed.
    int HandleSwitch(const std::vector<std::string>& args, int index);
    int HandleRecordSwitch(const std::vector<std::string>& args, int index);
    int HandleRecordFileSwitch(const std::vector<std::string>& args, int index);
    int HandleScheduledLaunch(const std::vector<std::string>& args, int index);
    int HandleMsSwitch(const std::vector<std::string>& args, int index);
    void ShowFormatText();

    // The window's look (main_dialog.cpp).
    void ShowStatus(int status);
    void ShowQueueStatus(const std::string& text);
    void ShowLook(SessionLook look);
    void RefreshButtons();
    void Blink();
    void RefreshTimeDisplay();
    // Timer 15 runs from the start of recording to its end, but only while the
    // time can be seen: hidden in the tray or without a display it would wake the
    // program 77 times a second for nothing.
    void KeepTimeDisplayTimer();
    // Poll runs when the recorder's wake-up signal is set, and from a slow timer.
    void StartPolling();
    void EndPolling();
    void EndTimeDisplay();

    // Starting (session_start.cpp).
    bool OpenSinkFor(const std::string& path, int format);
    bool StartRecording(int64_t limitMs);
    bool EnoughFreeSpace();
    bool StartRecorder(int64_t limitMs);
    void DiscardSink();

    // Stopping and playing (session_stop.cpp, session_play.cpp).
    void FinishRecording(bool done);
    bool CloseSinkKeeps();
    void StopPlayback();
    std::string RecordingToPlay() const;

    // What the recorder reported (session_progress.cpp).
    void OnRecorderStoppedItself();
    void OnRecorderFailed(int32_t error);
    bool DiskSpaceRunsOut(int64_t positionMs);
    void EndAtLimit(int64_t positionMs, bool scheduled);

    MainDialogView& view_;
    LMainLoop& loop_;
    bool closed_ = false;
    SessionServices services_;
    std::unique_ptr<RecorderEvents> events_;
    std::unique_ptr<LAfterRecordingQueue> queue_;
    std::unique_ptr<LSoundPlayer> player_;

    // The session (all on the main thread).
    LSoundSink sink_;  // open while a file is being written
    int format_ = 0;   // output format of sink_
    std::string outputPath_;
    bool pausedByUser_ = false;
    bool sessionEnded_ = false;
    bool soundCaptured_ = false;
    bool checkMaxTime_ = true;
    int64_t maxTimeMs_ = 0;
    // Set by -scheduled_launch: the recording ends at this position.
    int64_t scheduledLimit_ = kNoLimit;
    int64_t lastDiskCheckMs_ = 0;
    // Set by -exitifstop and -RunInBackground: end the program when the
    // recording stops.
    bool exitWhenStopped_ = false;
    bool blinkLit_ = false;
    // True while the session itself stops the recorder: a stop it did not ask
    // for (the recorder's own time limit) is finished differently.
    bool stoppingRecorder_ = false;
    bool timeDisplayWanted_ = false;  // recording or paused since the start
    // Message 1116 is on its way: the recording goes on in a new file.
    bool continuationPending_ = false;
    int64_t finalTimeMs_ = 0;  // length of the recording last stopped
    int status_ = kStatusReady;
    std::string queueStatus_;  // shown instead of "Ready" while a step runs
    std::string lastRecordingPath_;
};

}  // namespace vocarta
