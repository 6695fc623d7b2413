#pragma once
// Opening the sink of a recording and a source for any recording by its format.

#include <memory>
#include <string>

#include "audio/codecs/recording_spec.h"
#include "audio/sound_sink.h"
#include "audio/sound_source.h"
#include "toolkit/result.h"

namespace vocarta {

// Opens the sink of a recording on `path`, written as `spec` says (the WAV
// format, or the MP3, AIFF or FLAC record, of its format). Fails with a
// clear message (e.g. the LAME library missing: names the package to install)
// and leaves no file behind when it cannot.
LResult<std::shared_ptr<LSoundSinkBase>> OpenRecordingSink(const RecordingSpec& spec,
                                                           const std::string& path);

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
std::string FormatDisplayText(const RecordingSpec& spec);
// The text of the stored format with its stored encoder settings.
std::string CurrentFormatDisplayText();

}  // namespace vocarta
