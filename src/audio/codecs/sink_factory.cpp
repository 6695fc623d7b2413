#include "audio/codecs/sink_factory.h"

#include "audio/codecs/aiff_sink.h"
#include "audio/codecs/decoders.h"
#include "audio/codecs/encoder_settings.h"
#include "audio/codecs/flac_sink.h"
#include "audio/codecs/mp3_sink.h"
#include "audio/codecs/recording_formats.h"
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

// WAV in the format tag and bits of the existing file, at `like`'s rate and channels.
std::shared_ptr<LSoundSinkBase> OpenWavLike(const std::string& likePath,
                                            const LSoundSourceBase& like,
                                            const std::string& newPath, std::string* error) {
    LSoundFormat format = LoadWavFormat();
    uint16_t tag = format.formatTag, bits = format.bitsPerSample;
    ReadWavFileEncoding(likePath, tag, bits);
    LSoundFormat wanted;
    if (!MakeWavFormat(tag, like.SampleRate(), like.Channels(), bits, wanted) &&
        !MakeWavFormat(kWaveFormatPcm, like.SampleRate(), like.Channels(), 16, wanted)) {
        SetError(error, StringPrintf("Cannot write WAV at %u Hz with %u channels.",
                                     unsigned(like.SampleRate()), unsigned(like.Channels())));
        return nullptr;
    }
    return OpenWavSink(newPath, wanted, error);
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

std::shared_ptr<LSoundSinkBase> OpenRecordingSink(int format, const std::string& path,
                                                  std::string* error) {
    switch (format) {
        case kFormatWav:
            return OpenWavSink(path, LoadWavFormat(), error);
        case kFormatMp3: {
            Mp3Settings settings;
            LoadMp3Settings(settings);
            return OpenMp3Sink(path, settings, uint32_t(kDefaultRecordingRate),
                               Mp3ChannelsFor(settings), error);
        }
        case kFormatAiff: {
            AiffRecordingFormat f = CurrentAiffFormat();
            return OpenAiffSink(path, f.encoding, f.rate, f.channels, error);
        }
        case kFormatFlac: {
            FlacRecordingFormat f = CurrentFlacFormat();
            return OpenFlacSink(path, f.settings, f.rate, f.channels, error);
        }
        default:
            SetError(error, StringPrintf("Unknown output format %d.", format));
            return nullptr;
    }
}

std::shared_ptr<LSoundSinkBase> OpenSinkLike(const std::string& likePath,
                                             const LSoundSourceBase& like,
                                             const std::string& newPath, std::string* error) {
    switch (OutputFormatFromPath(likePath)) {
        case kFormatWav:
            return OpenWavLike(likePath, like, newPath, error);
        case kFormatMp3:
            return OpenMp3Like(likePath, like, newPath, error);
        case kFormatAiff: {
            AiffEncoding encoding = CurrentAiffFormat().encoding;
            AiffEncodingOfFile(likePath, encoding);
            return OpenAiffSink(newPath, encoding, like.SampleRate(), like.Channels(), error);
        }
        case kFormatFlac: {
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
    switch (OutputFormatFromPath(path)) {
        case kFormatWav:
            return OpenWavSource(path, error);
        case kFormatMp3:
            return OpenMp3Source(path, error);
        default:
            return OpenSndfileSource(path, error);
    }
}

}  // namespace vocarta
