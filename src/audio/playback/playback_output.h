#pragma once
// What LSoundPlayerTemplate needs of a low-level output layer (the PulseAudio
// stream, the null output of tests, later a CoreAudio unit).
//
// The layer takes frames out of the player's ring and gives them to the device
// from its own thread (the sound server's callback); it never decodes, never
// allocates per buffer and never blocks there.
//
// Threading contract: the player calls every operation under its own output
// lock, so the layer sees one caller at a time: Open, SetPaused, PlayedFrames and
// Close from the owner's thread, Kick and MarkEndOfData from the feeder thread,
// and Close from the feeder thread once the end has been reached. Ended() and
// Failed() may be read from any thread without the lock.

#include <concepts>
#include <cstdint>
#include <string>

#include "audio/ring_buffer.h"
#include "toolkit/lsignal_object.h"

namespace vocarta {

// What the stream is for; the sound server may treat them differently (an
// event sound is not ducked under music, for example).
enum class LPlaybackRole { Media, Event };

struct LPlaybackRequest {
    uint32_t sampleRate = 0;
    uint8_t channels = 0;
    // The server's stable name of the output device; empty: the default device.
    std::string device;
    LPlaybackRole role = LPlaybackRole::Media;
    std::string mediaName;  // shown by the desktop's volume control
};

// Rates and channel counts any layer accepts; others are refused by Open.
inline constexpr uint32_t kPlaybackMaxRate = 384000;
inline constexpr uint8_t kPlaybackMaxChannels = 32;

// "" when `request` can be played, else the reason in words for the user.
std::string CheckPlaybackFormat(const LPlaybackRequest& request);

template <class T>
concept LPlaybackOutputLayer = requires(T out, const T& constOut, const LPlaybackRequest& request,
                                        LCARingBuffer& ring, std::string* error, bool paused) {
    // Starts a stream that reads `ring`; false with `error` in words.
    { out.Open(request, ring, error) } -> std::same_as<bool>;
    // Frames were added to the ring: a stream that ran dry takes them now.
    out.Kick();
    // No more frames will come: play out what the ring holds, then set Ended().
    out.MarkEndOfData();
    { out.SetPaused(paused) } -> std::same_as<bool>;
    // Silences the stream at once and releases it; harmless when not open.
    out.Close();
    // Frames heard since Open (stops moving while paused).
    { out.PlayedFrames() } -> std::same_as<uint64_t>;
    // Set when everything has been played out, or when the stream failed.
    { constOut.Ended() } -> std::same_as<const LSignalObject&>;
    { constOut.Failed() } -> std::same_as<bool>;
    { constOut.ErrorText() } -> std::same_as<std::string>;
};

}  // namespace vocarta
