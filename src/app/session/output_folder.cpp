#include "app/session/output_folder.h"

#include <unistd.h>

#include "app/session/file_naming.h"
#include "app/session/main_dialog_view.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
constexpr const char* kProductTitle = "Vocarta Sound Recorder";
constexpr const char* kCreateQuestion =
    "The specified output folder doesn't exist. Do you want to create it now?";
constexpr const char* kCannotFormText =
    "Cannot create the specified folder. Please enter a valid folder.";
constexpr const char* kCannotCreateText = "Cannot create the specified folder. Please try again.";
constexpr const char* kInvalidText = "Output folder is invalid. Please try again.";
constexpr const char* kInvalidTitle = "Invalid output folder";

OutputFolderCheck Refuse(MainDialogView& view, const char* text, const char* title) {
    ShowMessage(view, text, title, MessageBoxRequest::Icon::Warning);
    return OutputFolderCheck::Refused;
}

// An existing path that is not a writable folder cannot take recordings.
bool IsUsableExisting(const std::string& folder) {
    return DirExists(folder) && access(folder.c_str(), W_OK | X_OK) == 0;
}
}  // namespace

bool IsFormableFolder(const std::string& folder) {
    return !folder.empty() && folder[0] == '/' && folder.size() <= kTextMax;
}

OutputFolderCheck CheckOutputFolder(MainDialogView& view, const std::string& folder,
                                    OutputFolderUse use) {
    const bool options = use == OutputFolderUse::OptionsPage;
    if (!IsFormableFolder(folder)) {
        return options ? Refuse(view, kInvalidText, kInvalidTitle)
                       : Refuse(view, kCannotFormText, kProductTitle);
    }
    if (FileExists(folder)) {
        if (IsUsableExisting(folder)) {
            if (!options) StoreRecordFolder(folder);
            return OutputFolderCheck::Ready;
        }
        return Refuse(view, kInvalidText, kInvalidTitle);
    }
    MessageBoxRequest question;
    question.text = kCreateQuestion;
    question.title = kProductTitle;
    question.buttons = {options ? "Create" : "Create Folder", "Cancel"};
    question.safeButton = 1;
    // Unattended (headless, scheduled) recording creates its folder: nothing is lost by it.
    question.unattendedButton = 0;
    question.icon = MessageBoxRequest::Icon::Question;
    if (view.MessageBox(question) != 0) return OutputFolderCheck::Cancelled;
    if (!MakeDirs(folder)) {
        LogSystemFailure("CheckOutputFolder", "mkdir");
        return Refuse(view, options ? kCannotFormText : kCannotCreateText, kProductTitle);
    }
    if (!options) StoreRecordFolder(folder);
    return OutputFolderCheck::Ready;
}

}  // namespace vocarta
