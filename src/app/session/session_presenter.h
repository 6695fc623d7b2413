#pragma once
// What the user sees of the session: the status text ("Ready", "Recording...",
// "Waiting for voice input..."), the time display and its 13 ms timer, the
// blinking recording indicator (800 ms lit, 400 ms dark), the look (idle,
// recording, paused), the buttons, the levels, the format text and the tray
// tooltip. The session tells it what happened; it decides how that shows.
//
// Threading contract: main thread only.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "app/session/main_dialog_view.h"

namespace vocarta {

class LMainLoop;

class SessionPresenter {
  public:
    enum TimerId : int {
        kTimerTimeDisplay = 15,
        kTimerBlink = 1113,
        kTimerPausedBlink = 1114,  // the time display blinks while paused
    };
    // Status numbers of StatusText.
    enum : int { kStatusReady = 0, kStatusRecording = 1, kStatusWaiting = 2 };

    // `position` gives the recorder's position now, for the time display.
    SessionPresenter(MainDialogView& view, LMainLoop& loop, std::function<int64_t()> position);

    // 0 "Ready", 1 "Recording...", 2 "Waiting for voice input...", else "".
    static std::string StatusText(int status);
    // "0:00:00.000" style: hours, minutes, seconds, milliseconds.
    static std::string TimeDisplayText(int64_t positionMs);

    void ShowStatus(int status);
    int Status() const { return status_; }
    // Shown instead of "Ready" while an after-recording step runs.
    void ShowQueueStatus(const std::string& text);
    // Shown instead of "Ready" until the next recording starts: why the last
    // take left nothing, e.g. "Nothing was recorded: the input was silent".
    void ShowIdleNotice(const std::string& text);
    void ShowLook(SessionLook look, const SessionButtons& buttons);
    void ShowButtons(const SessionButtons& buttons);
    void ShowFormat(const std::string& text);
    void ShowLevels(const std::vector<int>& levelsDb);

    // The time display runs from the start of a recording to its end, refreshed
    // by timer 15 only while the time can be seen.
    void StartTimeDisplay();
    void RefreshTimeDisplay();
    void EndTimeDisplay(int64_t finalMs);
    // Arms or stops timer 15 as the window is shown or hidden.
    void KeepTimeDisplayTimer();

    // True when the timer was the presenter's.
    bool OnTimer(int id);
    // The program ends: no timer of the presenter's runs any more.
    void Stop();

  private:
    void Blink();

    MainDialogView& view_;
    LMainLoop& loop_;
    std::function<int64_t()> position_;
    int status_ = kStatusReady;
    std::string queueStatus_;
    std::string idleNotice_;
    bool blinkLit_ = false;
    bool timeDimmed_ = false;
    bool timeDisplayWanted_ = false;  // recording or paused since the start
};

}  // namespace vocarta
