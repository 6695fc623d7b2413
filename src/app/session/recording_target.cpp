#include "app/session/recording_target.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "app/session/main_dialog_view.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
constexpr const char* kExistsTitle = "File Exists";
// The trailing blank belongs to the text.
constexpr const char* kExistsText =
    "Another file with the same name and format already exists. Do you want to replace it? ";
constexpr const char* kRefusedTitle = "Vocarta Sound Recorder";
enum ExistsChoice : int { kReplace = 0, kNewName = 1, kCancel = 2 };
constexpr int kMaxNameNumbers = 100000;

const char* KindOf(mode_t mode) {
    if (S_ISDIR(mode)) return "a folder";
    if (S_ISCHR(mode) || S_ISBLK(mode)) return "a device";
    if (S_ISFIFO(mode)) return "a pipe";
    if (S_ISSOCK(mode)) return "a socket";
    return "not a regular file";
}
}  // namespace

LResult<bool> CheckRecordingTarget(const std::string& path) {
    struct stat info {};
    if (lstat(path.c_str(), &info) != 0) {
        if (errno == ENOENT) return false;
        return MakeError(LErrorCode::kInvalid, "Vocarta cannot record into \"%s\": %s.",
                         path.c_str(), std::strerror(errno));
    }
    const bool link = S_ISLNK(info.st_mode);
    if (link && stat(path.c_str(), &info) != 0) {
        // A link to nothing would create a file wherever it points.
        return MakeError(LErrorCode::kInvalid,
                         "Vocarta cannot record into \"%s\": it is a link to a file that does "
                         "not exist.",
                         path.c_str());
    }
    if (!S_ISREG(info.st_mode))
        return MakeError(LErrorCode::kInvalid,
                         "Vocarta records only into files: \"%s\" is %s%s. Please choose a file "
                         "name.",
                         path.c_str(), link ? "a link to " : "", KindOf(info.st_mode));
    return true;
}

std::string NextFreeName(const std::string& path) {
    const std::string ext = Extension(path);
    const std::string base = path.substr(0, path.size() - ext.size());
    for (int n = 1; n < kMaxNameNumbers; ++n) {
        std::string candidate = StringPrintf("%s %03d%s", base.c_str(), n, ext.c_str());
        struct stat info {};
        if (lstat(candidate.c_str(), &info) != 0 && errno == ENOENT) return candidate;
    }
    return StringPrintf("%s %d%s", base.c_str(), kMaxNameNumbers, ext.c_str());
}

LResult<RecordingTarget> PrepareRecordingTarget(MainDialogView& view, const std::string& path) {
    LResult<bool> exists = CheckRecordingTarget(path);
    if (!exists) {
        LogError("PrepareRecordingTarget: %s", exists.Error().Message().c_str());
        ShowMessage(view, exists.Error().Message(), kRefusedTitle,
                    MessageBoxRequest::Icon::Warning);
        return exists.Error();
    }
    if (!exists.Value()) return RecordingTarget{path, false};
    const std::string fresh = NextFreeName(path);
    MessageBoxRequest question;
    question.text = kExistsText;
    question.title = kExistsTitle;
    question.buttons = {"Replace", "Record as \"" + BaseName(fresh) + "\"", "Cancel"};
    question.defaultButton = kNewName;
    question.safeButton = kCancel;
    // Nobody can be asked: the recording is made, and nothing is lost.
    question.unattendedButton = kNewName;
    question.icon = MessageBoxRequest::Icon::Question;
    switch (view.MessageBox(question)) {
        case kReplace:
            LogEvent("%s exists: replaced as asked", path.c_str());
            return RecordingTarget{path, true};
        case kNewName:
            LogEvent("%s exists: recording into %s instead", path.c_str(), fresh.c_str());
            return RecordingTarget{fresh, false};
        default:
            return LError(LErrorCode::kCancelled, "the file exists; not replaced");
    }
}

void RemoveTakeFile(const std::string& path, const char* where) {
    struct stat info {};
    if (lstat(path.c_str(), &info) != 0) return;
    if (!S_ISREG(info.st_mode)) {
        LogError("%s: %s is no longer a regular file; left alone", where, path.c_str());
        return;
    }
    if (unlink(path.c_str()) != 0 && errno != ENOENT)
        LogSystemFailure(where, "unlink");
    else
        LogEvent("Nothing was recorded: %s deleted", path.c_str());
}

}  // namespace vocarta
