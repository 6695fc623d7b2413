#include "audio/codecs/sink_factory.h"

#include "audio/codecs/aiff_sink.h"
#include "audio/codecs/decoders.h"
#include "audio/codecs/encoder_settings.h"
#include "audio/codecs/flac_sink.h"
#include "audio/codecs/mp3_sink.h"
#include "audio/codecs/recording_formats.h"
#include "audio/codecs/sndfile_sink.h"
#include "audio/output_format.h"
#include "audio/wav/wav_format_settings.h"
#include "audio/wav/wav_reader.h"
#include "audio/wav/wav_sink.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

bool SetError(std::string* error, const std::string& text) {
    if (error) *error = text;
    return false;
}

// WAV in the encoding of the existing file, at `like`'s rate and channels: by our
// own WAV writer where it writes that encoding with the same header, else through
// libsndfile in the same encoding (ADPCM, 64-bit float, the extensible header).
// Where neither can, the sink is refused with the reason, so the recording is
// left as it is rather than rewritten in some other encoding.
std::shared_ptr<LSoundSinkBase> OpenWavLike(const std::string& likePath,
                                            const LSoundSourceBase& like,
                                            const std::string& newPath, std::string* error) {
    uint16_t tag = 0, bits = 0;
    LSoundFormat wanted;
    if (ReadWavFileEncoding(likePath, tag, bits) && tag != kWaveFormatExtensible &&
        MakeWavFormat(tag, like.SampleRate(), like.Channels(), bits, wanted))
        return OpenWavSink(newPath, wanted, error);
    return OpenSndfileSinkLike(likePath, like, newPath, error);
}

// MP3 at the file's constant bit rate, or VBR as stored when the file is VBR.
std::shared_ptr<LSoundSinkBase> OpenMp3Like(const std::string& likePath,
                                            const LSoundSourceBase& like,
                                            const std::string& newPath, std::string* error) {
    Mp3Settings settings;
    LoadMp3Settings(settings);
    int kbps = Mp3ConstantBitRateOf(likePath);
    settings.constantBitRate = kbps > 0;
    if (kbps > 0) settings.cbrBitRate = uint16_t(kbps);
    if (like.Channels() == 1) {
        settings.channelMode = kMp3Mono;
    } else if (settings.channelMode == kMp3Mono) {
        settings.channelMode = kMp3Joint;  // a stereo recording stays stereo
    }
    uint8_t channels = like.Channels() > 2 ? 2 : like.Channels();
    return OpenMp3Sink(newPath, settings, like.SampleRate(), channels, error);
}

}  // namespace

LResult<std::shared_ptr<LSoundSinkBase>> OpenRecordingSink(const RecordingSpec& spec,
                                                           const std::string& path) {
    std::string error;
    std::shared_ptr<LSoundSinkBase> sink;
    switch (spec.format) {
        case OutputFormat::kWav:
            sink = OpenWavSink(path, spec.wav, &error);
            break;
        case OutputFormat::kMp3:
            sink = OpenMp3Sink(path, spec.mp3, uint32_t(kDefaultRecordingRate),
                               Mp3ChannelsFor(spec.mp3), &error);
            break;
        case OutputFormat::kAiff: {
            const AiffRecordingFormat f = ResolveAiffFormat(spec.aiff);
            sink = OpenAiffSink(path, f.encoding, f.rate, f.channels, &error);
            break;
        }
        case OutputFormat::kFlac: {
            const FlacRecordingFormat f = ResolveFlacFormat(spec.flac);
            sink = OpenFlacSink(path, f.settings, f.rate, f.channels, &error);
            break;
        }
    }
    if (!sink) return LError(LErrorCode::kIo, error);
    return sink;
}

std::shared_ptr<LSoundSinkBase> OpenSinkLike(const std::string& likePath,
                                             const LSoundSourceBase& like,
                                             const std::string& newPath, std::string* error) {
    switch (OutputFormatFromPath(likePath).value_or(OutputFormat(-1))) {
        case OutputFormat::kWav:
            return OpenWavLike(likePath, like, newPath, error);
        case OutputFormat::kMp3:
            return OpenMp3Like(likePath, like, newPath, error);
        case OutputFormat::kAiff: {
            AiffEncoding encoding = CurrentAiffFormat().encoding;
            AiffEncodingOfFile(likePath, encoding);
            return OpenAiffSink(newPath, encoding, like.SampleRate(), like.Channels(), error);
        }
        case OutputFormat::kFlac: {
            FlacSettings settings = CurrentFlacFormat().settings;
            int bits = FlacBitsOfFile(likePath);
            if (bits > 0) settings.bitDepth = uint8_t(bits);
            return OpenFlacSink(newPath, settings, like.SampleRate(), like.Channels(), error);
        }
        default:
            SetError(error, StringPrintf("Cannot write a file like %s: only WAV, MP3, AIFF and "
                                         "FLAC recordings are written.",
                                         BaseName(likePath).c_str()));
            return nullptr;
    }
}

std::shared_ptr<LSoundSourceBase> OpenSoundSource(const std::string& path, std::string* error) {
    if (!FileExists(path)) {
        SetError(error, StringPrintf("%s does not exist.", path.c_str()));
        return nullptr;
    }
    const std::optional<OutputFormat> format = OutputFormatFromPath(path);
    if (format == OutputFormat::kWav) {
        bool otherEncoding = false;
        auto source = OpenWavSource(path, error, &otherEncoding);
        if (source || !otherEncoding) return source;
        // An encoding our reader leaves to libsndfile (ADPCM and the like); when
        // that fails too, our reader's reason stands.
        return OpenSndfileSource(path, nullptr);
    }
    if (format == OutputFormat::kMp3) return OpenMp3Source(path, error);
    return OpenSndfileSource(path, error);
}

}  // namespace vocarta
