#include "app/session/main_dialog_view.h"

namespace vocarta {

void ShowMessage(MainDialogView& view, const std::string& text, const std::string& title,
                 MessageBoxRequest::Icon icon) {
    MessageBoxRequest request;
    request.text = text;
    request.title = title;
    request.buttons = {"OK"};
    request.icon = icon;
    view.MessageBox(request);
}

bool AskYesNo(MainDialogView& view, const std::string& text, const std::string& title,
              bool safeAnswer) {
    MessageBoxRequest request;
    request.text = text;
    request.title = title;
    request.buttons = {"Yes", "No"};
    request.defaultButton = safeAnswer ? 0 : 1;
    request.safeButton = safeAnswer ? 0 : 1;
    request.icon = MessageBoxRequest::Icon::Question;
    return view.MessageBox(request) == 0;
}

bool AskConfirm(MainDialogView& view, const std::string& text, const std::string& title,
                const std::string& goButton, const std::string& cancelButton) {
    MessageBoxRequest request;
    request.text = text;
    request.title = title;
    request.buttons = {goButton, cancelButton};
    request.defaultButton = 0;
    request.safeButton = 1;
    request.icon = MessageBoxRequest::Icon::Question;
    return view.MessageBox(request) == 0;
}

}  // namespace vocarta
