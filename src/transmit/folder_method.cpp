#include "transmit/folder_method.h"

#include "toolkit/paths.h"
#include "toolkit/text.h"
#include "transmit/mirror_copy.h"
#include "transmit/transmit_settings.h"

namespace vocarta {

namespace {
// The full stop missing at the end of the shown text is deliberate.
constexpr TransmitTexts kFolderTexts = {
    "You have the send to folder transmit option enabled. Would you like this recording sent "
    "to \"%s\"?",
    "Send to folder?",
    "Cannot copy the file \"%s\" to the backup folder. Please check the backup folder path in "
    "Options->Transmit again.",
    "You have the send to folder transmit option enabled. \n But sending this recording to \n "
    "\"%s\" \n failed"};
}  // namespace

bool FolderTransmitMethod::Enabled() const {
    return transmit_settings::SendFolder();
}

std::string FolderTransmitMethod::Target() const {
    return transmit_settings::SendFolderDir();
}

const TransmitTexts& FolderTransmitMethod::Texts() const {
    return kFolderTexts;
}

TransmitResult SendToFolder(const TransmitRecord& record, TransmitContext& context) {
    const std::string folder = transmit_settings::SendFolderDir();
    context.SetStatus("Copying to " + folder);
    MirrorCopyOptions options;
    options.onProgress = [&](double fraction) {
        context.SetProgress(fraction);
        return !context.ShouldStop();
    };
    const LStatus copied = CopyIntoFolder(record.path, folder, BaseName(record.path), options);
    if (copied) return TransmitResult::Ok;
    if (copied.Error().IsCancelled()) return TransmitResult::Cancelled;
    context.LogError("SendToFolder: " + copied.Error().Message());
    return TransmitResult::Failed;
}

}  // namespace vocarta
