#pragma once
// The view of the program without windows (-nogui, or no display): messages and
// questions (the send thread's too) go to standard error and the event log,
// every question takes its
// unattended answer (the safe one, unless the question says otherwise: "Close To
// Tray" on -exit stops the recording and closes), a prompt takes its suggested
// text, and when standard output is a
// terminal one status line shows the state, the time display, the levels and
// the format, and while sending the send status and progress, rewritten in
// place (at most 20 times a second for the clock).
//
// Threading contract: main thread only.

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "app/session/main_dialog_view.h"

namespace vocarta {

class HeadlessView final : public MainDialogView {
  public:
    // `messages` receives messages (stderr in the program); `status` receives the
    // status line when `statusLine` is set (stdout on a terminal).
    HeadlessView(std::FILE* messages, std::FILE* status, bool statusLine);

    void ShowWindow() override { visible_ = true; }
    void HideWindow() override { visible_ = false; }
    void BringToFront() override { visible_ = true; }
    bool IsWindowVisible() const override { return visible_; }
    bool ShowsTime() const override { return statusLineOn_; }
    bool HasFrame() const override { return !closed_; }
    void CloseWindow() override;

    int MessageBox(const MessageBoxRequest& request) override;
    bool PromptText(const std::string& title, const std::string& label, const std::string& initial,
                    std::string& answer) override;

    void SetStatusText(const std::string& text) override;
    void SetTimeText(const std::string& text) override;
    void SetFormatText(const std::string& text) override;
    void SetSessionLook(SessionLook look) override;
    void SetLevels(const std::vector<int>& levelsDb) override;
    void SetSendStatus(const std::string& text) override;
    void SetSendProgress(double fraction) override;

    // The line the terminal shows, e.g.
    // "Recording...  0:01:02.345  -12 -14 dB  128 kbps Joint Stereo", followed
    // while sending by the send status and progress: "  Copying to /mnt 42%".
    std::string StatusLine() const;

  private:
    void ClearStatusLine();
    // `clock`: only the time or the levels changed (drawn at most every 50 ms).
    void DrawStatusLine(bool clock = false);

    std::FILE* messages_;
    std::FILE* status_;
    bool statusLineOn_;
    bool lineShown_ = false;
    bool visible_ = false;
    bool closed_ = false;
    std::string statusText_;
    std::string timeText_;
    std::string formatText_;
    std::string levelsText_;
    std::string sendText_;
    int sendPercent_ = 0;
    bool paused_ = false;
    int64_t lastDrawMs_ = 0;
};

}  // namespace vocarta
