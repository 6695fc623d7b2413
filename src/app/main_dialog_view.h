#pragma once
// What the session controller (MainDialog) needs from its window: showing and
// closing it, message boxes and prompts, and the status, time and format texts.
// The Qt main window implements it; so does the headless view, which writes
// messages to standard error and the log and answers every question with its
// non-destructive choice.
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

    int SafeChoice() const { return safeButton >= 0 ? safeButton : defaultButton; }
};

class MainDialogView {
  public:
    virtual ~MainDialogView() = default;

    virtual void ShowWindow() = 0;
    virtual void HideWindow() = 0;
    // Raises the window and gives it the focus, showing it first if hidden.
    virtual void BringToFront() = 0;
    virtual bool IsWindowVisible() const = 0;
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
