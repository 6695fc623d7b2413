#pragma once
// The checks made on the output folder before a recording and when the options
// page is accepted: a missing folder is offered for creation, a text that
// cannot name a folder is refused, with the product's messages.
//
// Threading contract: main thread.

#include <string>

namespace vocarta {

class MainDialogView;

enum class OutputFolderUse {
    RecordCommand,  // the record command: a usable folder is stored back
    OptionsPage     // the options page is being accepted
};

enum class OutputFolderCheck {
    Ready,      // the folder exists (perhaps just created) and can be written
    Cancelled,  // the user chose not to create it
    Refused     // the text is unusable or the folder could not be made; told
};

// A text that can name a folder at all: absolute, at most 259 bytes, not empty.
bool IsFormableFolder(const std::string& folder);

OutputFolderCheck CheckOutputFolder(MainDialogView& view, const std::string& folder,
                                    OutputFolderUse use);

}  // namespace vocarta
