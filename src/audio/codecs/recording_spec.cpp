#include "audio/codecs/recording_spec.h"

#include "audio/wav/wav_format_settings.h"

namespace vocarta {

RecordingSpec LoadRecordingSpec(OutputFormat format) {
    RecordingSpec spec;
    spec.format = format;
    switch (format) {
        case OutputFormat::kWav:
            spec.wav = LoadWavFormat();
            break;
        case OutputFormat::kMp3:
            LoadMp3Settings(spec.mp3);
            break;
        case OutputFormat::kAiff:
            LoadAiffSettings(spec.aiff, kDefaultRecordingRate, kDefaultRecordingChannels,
                             kDefaultRecordingBits, kAiffNone);
            break;
        case OutputFormat::kFlac:
            LoadFlacSettings(spec.flac, kDefaultRecordingRate, kDefaultRecordingChannels);
            break;
    }
    return spec;
}

RecordingSpec CurrentRecordingSpec() {
    return LoadRecordingSpec(ReadOutputFormat());
}

}  // namespace vocarta
