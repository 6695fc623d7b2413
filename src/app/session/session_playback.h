#pragma once
// Playing the last recording: the Play button, -play and "LaunchPlayWhenStop",
// and what Pause, Retake and Stop do to playback while nothing is recorded.
//
// Threading contract: main thread only; the player's end is posted back to it.

#include <functional>
#include <memory>
#include <string>

#include "audio/playback/sound_player.h"

namespace vocarta {

class LMainLoop;
class MainDialogView;

class SessionPlayback {
  public:
    // `makePlayer` is called on the first Play; `onChange` whenever what
    // playback allows may have changed (to refresh the buttons).
    SessionPlayback(MainDialogView& view, LMainLoop& loop,
                    std::function<std::unique_ptr<LSoundPlayer>()> makePlayer,
                    std::function<void()> onChange);
    ~SessionPlayback();

    bool IsPlaying() const { return player_ && player_->IsPlaying(); }
    bool IsPaused() const { return player_ && player_->IsPaused(); }

    // Resumes held playback, else plays `lastRecording`, or the newest recording
    // of the record folder when that is gone (nothing to play: logged).
    void Play(const std::string& lastRecording);
    // Pause while playing; false when nothing plays.
    bool Pause();
    // Replay from the start while playing or held; false otherwise.
    bool Restart();
    void Stop();

  private:
    MainDialogView& view_;
    LMainLoop& loop_;
    std::function<std::unique_ptr<LSoundPlayer>()> makePlayer_;
    std::function<void()> onChange_;
    std::unique_ptr<LSoundPlayer> player_;
};

// The most recently changed recording of `folder`, or "".
std::string NewestRecordingIn(const std::string& folder);

}  // namespace vocarta
