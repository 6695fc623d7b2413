#pragma once
// Playback of a sound source (a recording, a tone) on the output device chosen
// in the settings, for the session and the recordings browser.
//
// Playing: Play() opens the stream (a few milliseconds; at most 5 s when the
// sound server does not answer) and returns; the sound plays on the player's own
// threads. Pause() holds it where it is and Resume() goes on from there; Stop()
// silences it at once and always returns promptly, whatever the sound server
// does. When the sound has played to its end (or failed) HasEnded() turns true and
// the end callback, if any, is called.
//
// Threading: one owner thread (the main thread) calls Play, Pause, Resume, Stop,
// Restart, Position and SetEndCallback. The state queries may be called from any
// thread. The end callback runs on the player's feeder thread: it must only
// hand the news on (post to the main loop, set a signal), never call back into
// the player.
//
// Output device: ("Settings", "PlayDevice"), the sound server's stable name of
// the output device (e.g. "alsa_output.usb-...analog-stereo"); empty, or a device
// that is not present, plays on the default device.
//
// Environment: VOCARTA_PLAYBACK=null makes CreateSoundPlayer() return a player
// whose output plays into nothing at real-time speed (for tests of the session
// on machines without a sound server).

#include <functional>
#include <memory>
#include <string>

#include "audio/playback/playback_output.h"
#include "audio/sound_source.h"
#include "audio/sound_time.h"

namespace vocarta {

class LSoundPlayer {
  public:
    virtual ~LSoundPlayer() = default;

    // Stops what was playing, then plays `source` from `startAt`. False, with
    // LastErrorText() in words for the user, when the source cannot be read or no
    // sound server / device takes it. The player keeps the source until the next
    // Play or its destruction.
    virtual bool Play(LSoundSource source, LSoundTime startAt = LSoundTime()) = 0;
    // Holds playback where it is; false when nothing is playing.
    virtual bool Pause() = 0;
    // Goes on from where Pause held it; false when not paused.
    virtual bool Resume() = 0;
    // Silences and ends playback at once; the position goes back to 0.
    virtual void Stop() = 0;
    // Stops and plays the same source again from its start.
    virtual bool Restart() = 0;

    // Sound is coming out (not paused, not ended).
    virtual bool IsPlaying() const = 0;
    virtual bool IsPaused() const = 0;
    // The source has played to its end, or playback failed, since the last Play.
    virtual bool HasEnded() const = 0;
    // Playback ended by a failure (device gone, server lost, decoding error).
    virtual bool HasFailed() const = 0;

    // What has been heard so far, from the start of the source.
    virtual LSoundTime Position() = 0;
    // Length of the current source (0 when none).
    virtual LSoundTime Length() const = 0;
    virtual std::string LastErrorText() const = 0;

    // `onEnd(failed)` runs on the feeder thread when playback reaches its end or
    // fails; not when it is stopped.
    virtual void SetEndCallback(std::function<void(bool failed)> onEnd) = 0;
};

// The platform's player, or the null one when VOCARTA_PLAYBACK is "null".
std::unique_ptr<LSoundPlayer> CreateSoundPlayer(LPlaybackRole role = LPlaybackRole::Media);
std::unique_ptr<LSoundPlayer> CreatePlatformSoundPlayer(LPlaybackRole role);
std::unique_ptr<LSoundPlayer> CreateNullSoundPlayer(LPlaybackRole role);
bool PlaybackIsNull();

// The output device to play on: the stored stable name, "" for the default.
std::string ChosenPlayDevice();
bool SetChosenPlayDevice(const std::string& deviceName);

}  // namespace vocarta
