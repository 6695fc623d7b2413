#pragma once
// The start, stop and interval tones, played without blocking the caller and
// beside any playback in progress (on a stream of their own, which the sound
// server mixes in).
//
// Threading: the Play*Tone functions may be called from any thread; they queue
// the tone and return at once. One tone thread ("LTonePlayer") plays them in
// order; a tone that cannot be played is logged, never shown (a missing beep
// must not interrupt a recording).

#include <string>

#include "audio/playback/tone_generator.h"

namespace vocarta {

void PlayStartTone();
void PlayStopTone();
void PlayIntervalTone();
void PlayTone(LToneKind kind);

// Waits until every queued tone has been played (or `timeoutMs` passed): for a
// program that is about to end right after its stop tone. True when idle.
bool WaitForTones(int timeoutMs);
// The error of the last tone that failed ("" when the last one played).
std::string LastToneError();
// Ends the tone thread (at program end; the tone functions start it again).
void ShutdownTones();

}  // namespace vocarta
