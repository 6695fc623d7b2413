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
#include <string>
#include <vector>

namespace vocarta {

class LMainLoop;
class MainDialogView;

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
    };
    // A recording that names no limit is given 60 hours.
    static constexpr int64_t kDefaultLimitMs = 216000000;
    static constexpr int64_t kNoLimit = -1;
    // Recorder states.
    enum : int { kStopped = 0, kPaused = 1, kRecording = 2 };

    MainDialog(MainDialogView& view, LMainLoop& loop);
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

    void OnTimer(int id);

    int RecorderState() const { return recorderState_; }
    bool IsRecordingInProgress() const { return recorderState_ != kStopped; }
    bool ExitWhenStopped() const { return exitWhenStopped_; }
    int64_t ScheduledLimit() const { return scheduledLimit_; }
    const std::string& OutputPath() const { return outputPath_; }

    // 0 "Ready", 1 "Recording...", 2 "Waiting for voice input...", else "".
    static std::string StatusText(int status);
    // "0:00:00.000" style: hours, minutes, seconds, milliseconds.
    static std::string TimeDisplayText(int64_t positionMs);

  private:
    // Command-line switches (command_line.cpp). Each takes the index of its
    // switch and returns the index of the last argument it consumed.
    int HandleSwitch(const std::vector<std::string>& args, int index);
    int HandleRecordSwitch(const std::vector<std::string>& args, int index);
    int HandleRecordFileSwitch(const std::vector<std::string>& args, int index);
    int HandleScheduledLaunch(const std::vector<std::string>& args, int index);
    int HandleMsSwitch(const std::vector<std::string>& args, int index);
    void ShowFormatText();

    MainDialogView& view_;
    LMainLoop& loop_;
    bool closed_ = false;

    // Session state. Until the recorder is attached the recording operations
    // keep this state themselves and write the command log.
    int recorderState_ = kStopped;
    bool pausedByUser_ = false;
    std::string outputPath_;
    // Set by -exitifstop and -RunInBackground: end the program when the
    // recording stops.
    bool exitWhenStopped_ = false;
    // Set by -scheduled_launch: the recording ends at this position.
    int64_t scheduledLimit_ = kNoLimit;
};

}  // namespace vocarta
