#pragma once
// The main window: the session's tool bar (Record, Pause, Stop, Retake, Play
// with their keys F5, F6, F7, Home and Space), a menu bar with the same
// commands, Scheduled Recordings... (the list of schedules) and Options...,
// Reset Auto Number and Quit, the blinking recording
// indicator, the status text, the time display, two level bars and the format
// text; and the tray icon. It only wires widgets: each command becomes a
// SessionCommand for the session's dispatcher.
//
// While a recording runs the title carries the status and the whole seconds of
// the time display ("Recording... 0:01:05 - Vocarta Sound Recorder"), so the
// task bar shows it too. While a transmit method sends a recording on, the
// title is the one the send thread asks for, and the status bar shows the send
// status and a progress bar.
//
// Closing the window goes through the session, which asks "Close To Tray"
// while recording. "Record in Background" hides the window to the tray; with no
// tray it minimises it instead, so the window can still be found on the task
// bar (a hidden window with no tray icon could only come back by launching the
// program again).
//
// Threading contract: GUI thread only.

#include <QMainWindow>
#include <array>

#include "app/session/main_dialog_view.h"
#include "app/session/session_command.h"
#include "gui/session_actions.h"

class QLabel;
class QProgressBar;
class QToolBar;

namespace vocarta {

class LevelMeter;
class TimeDisplay;
class OptionsDialog;
class SessionDispatcher;
class TrayIcon;

class MainWindow final : public QMainWindow, public MainDialogView {
    Q_OBJECT

  public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    // Where the commands go. Must outlive the window's event handling, or be
    // detached with nullptr.
    void AttachCommands(SessionDispatcher* commands) { commands_ = commands; }

    void ShowWindow() override;
    void HideWindow() override;
    void BringToFront() override;
    bool IsWindowVisible() const override;
    bool HasFrame() const override { return !closing_; }
    void CloseWindow() override;

    // Shown over whatever modal dialog is open (the options window), else over
    // the main window.
    int MessageBox(const MessageBoxRequest& request) override;
    bool PromptText(const std::string& title, const std::string& label, const std::string& initial,
                    std::string& answer) override;

    void SetStatusText(const std::string& text) override;
    void SetTimeText(const std::string& text) override;
    void SetFormatText(const std::string& text) override;
    void SetSessionLook(SessionLook look) override;
    void SetButtons(const SessionButtons& buttons) override;
    void SetLevels(const std::vector<int>& levelsDb) override;
    void SetRecordingIndicator(bool lit) override;
    void SetTimeDimmed(bool dimmed) override;
    void SetTrayToolTip(const std::string& text) override;
    void RecordingFinished(const std::string& path) override;
    // While recordings are sent on: a status text and a progress bar at the right
    // of the status bar, hidden when nothing is sent; the title while a method
    // runs.
    void SetSendStatus(const std::string& text) override;
    void SetSendProgress(double fraction) override;
    void SetSendTitle(const std::string& title) override;

    QString StatusText() const;
    QString TimeText() const;
    QString FormatText() const;
    const SessionActions& Actions() const { return actions_; }
    TrayIcon& Tray() { return *tray_; }
    bool IndicatorLit() const { return indicatorLit_; }
    bool TimeDimmed() const { return timeDimmed_; }
    int MeterLevel(int channel) const;

    // Options... : the options window, modal. True when it was accepted.
    bool OpenOptions();
    // Quit, or the window's close box: the session decides.
    void RequestClose();

  signals:
    // The options window is about to open (modal), for those who add to it.
    void OptionsOpened(OptionsDialog* options);

  protected:
    void closeEvent(QCloseEvent* event) override;

  private:
    void BuildMenus();
    void BuildToolBar();
    QWidget* BuildDisplay();
    void ConnectCommands();
    void SwapPlayAndPause(bool swapped);
    void UpdateTitle();
    void RefreshTray();
    void BuildSendIndicator();
    void ShowSendIndicator();

    void Send(SessionCommandKind kind, CommandSource source = CommandSource::kWindow);

    SessionDispatcher* commands_ = nullptr;
    bool closing_ = false;
    bool closeRequested_ = false;  // set while the controller handles a user close
    SessionLook look_ = SessionLook::Idle;
    bool indicatorLit_ = false;
    bool timeDimmed_ = false;
    bool pausedLook_ = false;
    bool playPauseSwapped_ = false;
    SessionActions actions_;
    QToolBar* toolBar_ = nullptr;
    TrayIcon* tray_ = nullptr;
    QLabel* indicator_ = nullptr;
    QLabel* status_ = nullptr;
    TimeDisplay* time_ = nullptr;
    QLabel* format_ = nullptr;
    std::array<LevelMeter*, 2> meters_{};
    QLabel* sendStatus_ = nullptr;
    QProgressBar* sendProgress_ = nullptr;
    QString sendTitle_;  // the title while a transmit method runs; empty otherwise
};

}  // namespace vocarta
