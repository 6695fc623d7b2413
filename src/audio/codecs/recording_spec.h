#pragma once
// What a new recording is written as: its output format and the encoder record
// of that format, as one value. The record command reads it from the settings
// once per start (or the command line builds it from its format word and
// encoder options) and hands it down to the sink; nothing on the way reads the
// settings again.

#include "audio/codecs/encoder_settings.h"
#include "audio/output_format.h"
#include "audio/sound_format.h"

namespace vocarta {

struct RecordingSpec {
    OutputFormat format = kDefaultOutputFormat;
    // Only the record of `format` is meaningful.
    LSoundFormat wav;  // the chosen WAV format, its override keys applied
    Mp3Settings mp3;
    AiffSettings aiff;
    FlacSettings flac;
};

// The stored encoder record of `format`.
RecordingSpec LoadRecordingSpec(OutputFormat format);
// The stored format with its stored encoder record.
RecordingSpec CurrentRecordingSpec();

}  // namespace vocarta
