#pragma once
// What the session controller (MainDialog) needs from its window: showing and
// closing it, message boxes and prompts, the status, time and format texts, the
// session's look (buttons, level meters, blinking indicator, tray tooltip) and
// the news that a recording was finished. The Qt main window implements it; so
// does the headless view, which writes messages to standard error and the log,
// answers every question with its non-destructive choice and shows state, time
// and levels on one terminal line. docs/session.md says when each call comes.
//
// Threading contract: every call comes from the main thread.

#include <string>
#include <vector>

namespace vocarta {

struct MessageBoxRequest {
    enum class Icon { Information, Question, Warning, Error };

    std::string text;
    std::string title;
    std::vector<std::string> buttons;  // left to right; empty means one "OK"
    int defaultButton = 0;             // index taken by Enter
    // Index of the choice that changes nothing (Escape, and the headless answer);
    // -1 means the default button is that choice.
    int safeButton = -1;
    Icon icon = Icon::Information;
    // Index of the answer when nobody can be asked (the headless program); -1
    // means the safe choice. Set where the safe choice would leave a command
    // undone that was given on purpose, e.g. -exit while recording.
    int unattendedButton = -1;

    int SafeChoice() const { return safeButton >= 0 ? safeButton : defaultButton; }
    int UnattendedChoice() const { return unattendedButton >= 0 ? unattendedButton : SafeChoice(); }
};

// How the window shows the session: idle (Ready), recording (the indicator
// blinks), or paused (also while waiting for voice input).
enum class SessionLook { Idle, Recording, Paused };

// Which commands can act now; the window enables its buttons, menu items and tray
// menu items from it. Sent whenever any of it may have changed.
struct SessionButtons {
    bool record = true;    // "Start Recording (F5)": idle, paused or waiting
    bool pause = false;    // "Pause Recording (F6)": recording, or playback playing
    bool stop = false;     // "Stop and Mark Done (F7)": recording/paused, or playback
    bool restart = false;  // "Retake Recording/Replay (Home)": recording/paused, or playback
    bool play = false;     // "Play Recording (Spacebar)": idle with a recording to play
    // Playback is paused: the play and pause buttons are swapped, so Play
    // (Spacebar) goes on from where playback was held.
    bool playbackPaused = false;
    // The recording is paused: the pause button shows pressed.
    bool recordingPaused = false;

    bool operator==(const SessionButtons&) const = default;
};

class MainDialogView {
  public:
    virtual ~MainDialogView() = default;

    virtual void ShowWindow() = 0;
    virtual void HideWindow() = 0;
    // Raises the window and gives it the focus, showing it first if hidden.
    virtual void BringToFront() = 0;
    virtual bool IsWindowVisible() const = 0;
    // True while the recording time can be seen (a window on screen or on the
    // task bar, whose title carries it; a status line on a terminal): only then
    // is it worth refreshing 77 times a second.
    virtual bool ShowsTime() const { return IsWindowVisible(); }
    // True while the window exists and can still be closed.
    virtual bool HasFrame() const = 0;
    // Takes the window down for good; the caller then ends the main loop.
    virtual void CloseWindow() = 0;

    // Shows a message with its buttons and returns the index of the choice.
    virtual int MessageBox(const MessageBoxRequest& request) = 0;
    // Asks for a line of text; false when the user cancels.
    virtual bool PromptText(const std::string& title, const std::string& label,
                            const std::string& initial, std::string& answer) = 0;

    virtual void SetStatusText(const std::string& text) = 0;
    virtual void SetTimeText(const std::string& text) = 0;
    virtual void SetFormatText(const std::string& text) = 0;

    // The session's look. A view without such an element ignores the call.
    virtual void SetSessionLook(SessionLook look) {}
    virtual void SetButtons(const SessionButtons& buttons) {}
    // Per-channel peak levels in whole decibels, -127 (silence) to +12 (full
    // scale); the meters show the first two. Empty clears the meters.
    virtual void SetLevels(const std::vector<int>& levelsDb) {}
    // Blink phase of the recording indicator: lit for 800 ms, dark for 400 ms,
    // while recording; dark otherwise.
    virtual void SetRecordingIndicator(bool lit) {}
    // While paused the time display blinks: shown, then dimmed, every 500 ms.
    virtual void SetTimeDimmed(bool dimmed) {}
    // The tray icon's tooltip: "Vocarta - Recording" while recording, the
    // product name otherwise.
    virtual void SetTrayToolTip(const std::string& text) {}
    // A recording was finished and kept at `path` (the recordings list scans
    // again; the window may offer it). Not sent for a file that was deleted.
    virtual void RecordingFinished(const std::string& path) {}

    // Sending recordings on (the send thread's news, handed to the main thread):
    // its status text ("" when nothing is being sent) and progress (0.0 to 1.0;
    // 0 when idle), and the title the window wears while a method runs ("" gives
    // the usual title back).
    virtual void SetSendStatus(const std::string& text) {}
    virtual void SetSendProgress(double fraction) {}
    virtual void SetSendTitle(const std::string& title) {}
};

// A message with the one button "OK".
void ShowMessage(MainDialogView& view, const std::string& text, const std::string& title,
                 MessageBoxRequest::Icon icon = MessageBoxRequest::Icon::Information);
// "Yes" / "No"; the headless answer is `safeAnswer`.
bool AskYesNo(MainDialogView& view, const std::string& text, const std::string& title,
              bool safeAnswer = false);
// Two buttons; true when the first was chosen. The second is the safe choice.
bool AskConfirm(MainDialogView& view, const std::string& text, const std::string& title,
                const std::string& goButton, const std::string& cancelButton);

}  // namespace vocarta
