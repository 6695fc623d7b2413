#include "app/session/view_transmit_ui.h"

namespace vocarta {

namespace {
enum YesNo : int { kYes = 0, kNo = 1 };
}  // namespace

bool ViewTransmitUi::AskYesNo(const std::string& text, const std::string& caption) {
    MessageBoxRequest question;
    question.text = text;
    question.title = caption;
    question.buttons = {"Yes", "No"};
    question.defaultButton = kYes;
    question.safeButton = kNo;
    question.unattendedButton = kYes;
    question.icon = MessageBoxRequest::Icon::Question;
    return view_.MessageBox(question) == kYes;
}

void ViewTransmitUi::ShowMessage(const std::string& text, const std::string& caption) {
    vocarta::ShowMessage(view_, text, caption, MessageBoxRequest::Icon::Error);
}

}  // namespace vocarta
