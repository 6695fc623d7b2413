#pragma once
// The send thread's questions, messages, status, progress and title, shown by
// the session's view (the main window, or the headless view's terminal and
// log). A question is a "Yes"/"No" box whose unattended answer is "Yes": the
// question is whether to send, and sending is what the user set up; Escape in
// a window means "No". A message is an error box with one "OK".
//
// Threading contract: main thread only, like the view. The send thread reaches
// it through PostedTransmitUi (RecordingSender wires the two).

#include "app/session/main_dialog_view.h"
#include "transmit/transmit_ui.h"

namespace vocarta {

class ViewTransmitUi final : public TransmitUi {
  public:
    // `view` must outlive this object.
    explicit ViewTransmitUi(MainDialogView& view) : view_(view) {}

    bool AskYesNo(const std::string& text, const std::string& caption) override;
    void ShowMessage(const std::string& text, const std::string& caption) override;
    void SetTitle(const std::string& title) override { view_.SetSendTitle(title); }
    void RestoreTitle() override { view_.SetSendTitle(""); }
    void SetStatus(const std::string& text) override { view_.SetSendStatus(text); }
    void SetProgress(double fraction) override { view_.SetSendProgress(fraction); }

  private:
    MainDialogView& view_;
};

}  // namespace vocarta
