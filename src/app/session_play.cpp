// Playing the last recording: the Play button, -play and "LaunchPlayWhenStop".
#include <dirent.h>
#include <sys/stat.h>

#include "app/file_naming.h"
#include "app/lmain_loop.h"
#include "app/main_dialog.h"
#include "app/main_dialog_view.h"
#include "audio/output_format.h"
#include "audio/playback/recording_playback.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"

namespace vocarta {

namespace {
constexpr const char* kMessageTitle = "Vocarta Sound Recorder";

// The most recently changed recording of the record folder: what "the last
// recording" is for a program that has not recorded anything since it started.
std::string NewestRecordingIn(const std::string& folder) {
    DIR* dir = opendir(folder.c_str());
    if (!dir) return {};
    std::string newest;
    struct timespec newestTime {};
    while (dirent* entry = readdir(dir)) {
        const std::string path = JoinPath(folder, entry->d_name);
        struct stat info {};
        if (OutputFormatFromPath(path) < 0 || stat(path.c_str(), &info) != 0 ||
            !S_ISREG(info.st_mode))
            continue;
        const struct timespec& t = info.st_mtim;
        if (newest.empty() || t.tv_sec > newestTime.tv_sec ||
            (t.tv_sec == newestTime.tv_sec && t.tv_nsec > newestTime.tv_nsec)) {
            newest = path;
            newestTime = t;
        }
    }
    closedir(dir);
    return newest;
}
}  // namespace

std::string MainDialog::RecordingToPlay() const {
    if (!lastRecordingPath_.empty() && FileExists(lastRecordingPath_)) return lastRecordingPath_;
    return NewestRecordingIn(RecordFolder());
}

void MainDialog::Play() {
    LogEvent("Play");
    if (IsRecordingInProgress()) return;
    if (player_ && player_->IsPaused()) {
        player_->Resume();
        RefreshButtons();
        return;
    }
    const std::string path = RecordingToPlay();
    if (path.empty()) {
        LogEvent("No recording to play in %s", RecordFolder().c_str());
        return;
    }
    if (!player_) {
        player_ = services_.makePlayer();
        // The end is heard on the player's thread; the buttons change on the main one.
        player_->SetEndCallback([this](bool) { loop_.Post([this] { RefreshButtons(); }); });
    }
    std::string error;
    if (!PlayRecordingFile(*player_, path, &error)) {
        LogError("MainDialog::Play %s FAILED: %s", path.c_str(), error.c_str());
        ShowMessage(view_, error, kMessageTitle, MessageBoxRequest::Icon::Warning);
    }
    RefreshButtons();
}

void MainDialog::StopPlayback() {
    if (!player_) return;
    player_->Stop();
    RefreshButtons();
}

}  // namespace vocarta
