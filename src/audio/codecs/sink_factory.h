#pragma once
// Opening the sink of a recording and a source for any recording by its format.

#include <memory>
#include <string>

#include "audio/sound_sink.h"
#include "audio/sound_source.h"

namespace vocarta {

// Opens the sink for output format 0..3 (WAV, MP3, AIFF, FLAC) on `path` with the
// encoder settings as stored now (WAV: LoadWavFormat; MP3: the MP3 record; AIFF and
// FLAC: their records with the default recording format). nullptr with a clear
// `error` (e.g. the LAME library missing: names the package to install) and no file
// left behind when it cannot.
std::shared_ptr<LSoundSinkBase> OpenRecordingSink(int format, const std::string& path,
                                                  std::string* error);

// Opens `newPath` as a sink that writes the same format and encoder settings as
// the existing recording `likePath` (same rate and channels as `like`): used when
// a recording is rewritten, e.g. after silence is trimmed.
std::shared_ptr<LSoundSinkBase> OpenSinkLike(const std::string& likePath,
                                             const LSoundSourceBase& like,
                                             const std::string& newPath, std::string* error);

// Opens a recording for reading, chosen by extension: ".wav", ".mp3", ".aif",
// ".aiff", ".flac" (and what libsndfile reads besides). nullptr with `error` for a
// missing, damaged or unknown file; never crashes on bad data.
std::shared_ptr<LSoundSourceBase> OpenSoundSource(const std::string& path, std::string* error);

// The text describing the current recording format in the main window:
//   WAV   "%dHz %s %s": rate, encoding ("16 Bit", "32 Bit Float", "A-Law",
//         "u-Law", "GSM 6.10"), channels ("Mono", "Stereo", "%u Channels")
//         e.g. "44100Hz 16 Bit Stereo"
//   MP3   "%d kbps %s %s" (CBR) or "%d-%d kbps %s %s" (VBR): the bit rate(s), the
//         channel mode word ("Stereo", "Joint", "Force", "Mono") and "Stereo"
//         after Joint and Force; e.g. "128 kbps Joint Stereo", "64-256 kbps Mono"
//   AIFF  "%s %iHz AIFF": encoding and channels, rate; "16 Bit Stereo 44100Hz AIFF"
//   FLAC  "%s %iHz Flac": bit depth and channels, rate; "24 Bit Mono 48000Hz Flac"
// A rate or channel count that matches the source shows the default recording
// format (44100 Hz, stereo), which the sink opens with.
std::string CurrentFormatDisplayText();
// The same text for output format `format` (0..3) with its stored encoder
// settings, whatever format is chosen now; empty for another number.
std::string FormatDisplayText(int format);

}  // namespace vocarta
