#include "app/session/session_playback.h"

#include <dirent.h>
#include <sys/stat.h>

#include "app/lmain_loop.h"
#include "app/session/file_naming.h"
#include "app/session/main_dialog_view.h"
#include "audio/output_format.h"
#include "audio/playback/recording_playback.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"

namespace vocarta {

namespace {
constexpr const char* kMessageTitle = "Vocarta Sound Recorder";

bool Newer(const struct timespec& a, const struct timespec& b) {
    return a.tv_sec > b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec > b.tv_nsec);
}
}  // namespace

// What "the last recording" is for a program that has not recorded anything
// since it started.
std::string NewestRecordingIn(const std::string& folder) {
    DIR* dir = opendir(folder.c_str());
    if (!dir) return {};
    std::string newest;
    struct timespec newestTime {};
    while (dirent* entry = readdir(dir)) {
        const std::string path = JoinPath(folder, entry->d_name);
        struct stat info {};
        if (!OutputFormatFromPath(path) || stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode))
            continue;
        if (newest.empty() || Newer(info.st_mtim, newestTime)) {
            newest = path;
            newestTime = info.st_mtim;
        }
    }
    closedir(dir);
    return newest;
}

SessionPlayback::SessionPlayback(MainDialogView& view, LMainLoop& loop,
                                 std::function<std::unique_ptr<LSoundPlayer>()> makePlayer,
                                 std::function<void()> onChange)
    : view_(view),
      loop_(loop),
      makePlayer_(std::move(makePlayer)),
      onChange_(std::move(onChange)) {}

SessionPlayback::~SessionPlayback() {
    // The owner is going away: no change is reported any more.
    if (player_) player_->Stop();
}

void SessionPlayback::Play(const std::string& lastRecording) {
    if (IsPaused()) {
        player_->Resume();
        onChange_();
        return;
    }
    const std::string path = !lastRecording.empty() && FileExists(lastRecording)
                                 ? lastRecording
                                 : NewestRecordingIn(RecordFolder());
    if (path.empty()) {
        LogEvent("No recording to play in %s", RecordFolder().c_str());
        return;
    }
    if (!player_) {
        player_ = makePlayer_();
        // The end is heard on the player's thread; the buttons change on the main one.
        player_->SetEndCallback([this](bool) { loop_.Post([this] { onChange_(); }); });
    }
    std::string error;
    if (!PlayRecordingFile(*player_, path, &error)) {
        LogError("MainDialog::Play %s FAILED: %s", path.c_str(), error.c_str());
        ShowMessage(view_, error, kMessageTitle, MessageBoxRequest::Icon::Warning);
    }
    onChange_();
}

bool SessionPlayback::Pause() {
    if (!IsPlaying()) return false;
    player_->Pause();
    onChange_();
    return true;
}

bool SessionPlayback::Restart() {
    if (!IsPlaying() && !IsPaused()) return false;
    player_->Restart();
    onChange_();
    return true;
}

void SessionPlayback::Stop() {
    if (!player_) return;
    player_->Stop();
    onChange_();
}

}  // namespace vocarta
