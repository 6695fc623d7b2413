#include "audio/codecs/aiff_sink.h"

#include <sndfile.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "toolkit/lfile.h"
#include "toolkit/log.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

constexpr uint8_t kMaxChannels = 64;

int SndfileSubtype(AiffEncoding encoding) {
    switch (encoding) {
        case AiffEncoding::Pcm8:
            return SF_FORMAT_PCM_S8;
        case AiffEncoding::Pcm16:
            return SF_FORMAT_PCM_16;
        case AiffEncoding::Pcm24:
            return SF_FORMAT_PCM_24;
        case AiffEncoding::Pcm32:
            return SF_FORMAT_PCM_32;
        case AiffEncoding::Float32:
            return SF_FORMAT_FLOAT;
        case AiffEncoding::Float64:
            return SF_FORMAT_DOUBLE;
        case AiffEncoding::ALaw:
            return SF_FORMAT_ALAW;
        case AiffEncoding::ULaw:
            return SF_FORMAT_ULAW;
    }
    return SF_FORMAT_PCM_16;
}

class AiffSink final : public LSoundSinkBase {
  public:
    AiffSink(std::string path, AiffEncoding encoding, uint32_t rate, uint8_t channels)
        : LSoundSinkBase(std::move(path), rate, channels), encoding_(encoding) {}
    ~AiffSink() override { Close(); }

    bool Open(std::string* error);
    int64_t Write(const float* samples, uint64_t frames) override;
    bool TruncateToFrame(uint64_t frame) override;
    bool SetFormat(uint32_t sampleRate, uint8_t channels) override;
    bool Close() override;

  private:
    bool StartWriter(std::string* error);

    const AiffEncoding encoding_;
    LFile file_;
    SNDFILE* sndfile_ = nullptr;  // owned; writes through file_'s descriptor
    bool closed_ = false;
};

bool AiffSink::StartWriter(std::string* error) {
    SF_INFO info{};
    info.samplerate = int(sampleRate_);
    info.channels = channels_;
    info.format = SF_FORMAT_AIFF | SndfileSubtype(encoding_);
    if (!sf_format_check(&info)) {
        if (error)
            *error = StringPrintf("AIFF cannot hold %u Hz with %u channels in this encoding.",
                                  unsigned(sampleRate_), unsigned(channels_));
        return false;
    }
    sndfile_ = sf_open_fd(file_.Descriptor(), SFM_WRITE, &info, SF_FALSE);
    if (!sndfile_) {
        if (error)
            *error = StringPrintf("Cannot write %s: %s", path_.c_str(), sf_strerror(nullptr));
        return false;
    }
    sf_command(sndfile_, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    // Sizes on disk follow every write, so a crash leaves a complete file.
    sf_command(sndfile_, SFC_SET_UPDATE_HEADER_AUTO, nullptr, SF_TRUE);
    return true;
}

bool AiffSink::Open(std::string* error) {
    if (channels_ < 1 || channels_ > kMaxChannels || sampleRate_ < 1) {
        if (error)
            *error = StringPrintf("AIFF cannot hold %u Hz with %u channels.", unsigned(sampleRate_),
                                  unsigned(channels_));
        return false;
    }
    if (!file_.Open(path_, LFile::Mode::CreateTruncate)) {
        if (error) *error = StringPrintf("Cannot create %s: %s", path_.c_str(), strerror(errno));
        return false;
    }
    if (StartWriter(error)) return true;
    file_.Close();
    unlink(path_.c_str());
    closed_ = true;
    return false;
}

bool AiffSink::SetFormat(uint32_t sampleRate, uint8_t channels) {
    if (framesWritten_ != 0 || closed_ || channels < 1 || channels > kMaxChannels || sampleRate < 1)
        return false;
    if (sampleRate == sampleRate_ && channels == channels_) return true;
    sf_close(sndfile_);
    sndfile_ = nullptr;
    sampleRate_ = sampleRate;
    channels_ = channels;
    std::string why;
    if (file_.Truncate(0) && file_.Seek(0) && StartWriter(&why)) return true;
    SetError(why.empty() ? StringPrintf("Cannot rewrite %s", path_.c_str()) : why);
    return false;
}

int64_t AiffSink::Write(const float* samples, uint64_t frames) {
    if (closed_ || !sndfile_) {
        SetError("The AIFF file is already closed.");
        return -1;
    }
    sf_count_t written = sf_writef_float(sndfile_, samples, sf_count_t(frames));
    if (written > 0) framesWritten_ += uint64_t(written);
    if (written == sf_count_t(frames)) return int64_t(frames);
    SetError(StringPrintf("Writing %s failed: %s", path_.c_str(), sf_strerror(sndfile_)));
    return -1;
}

bool AiffSink::TruncateToFrame(uint64_t frame) {
    if (closed_ || !sndfile_ || frame > framesWritten_) return false;
    sf_count_t at = sf_count_t(frame);
    if (sf_command(sndfile_, SFC_FILE_TRUNCATE, &at, sizeof at) != 0) {
        LogError("AiffSink::TruncateToFrame SFC_FILE_TRUNCATE FAILED: %s", sf_strerror(sndfile_));
        return false;
    }
    framesWritten_ = frame;
    sf_command(sndfile_, SFC_UPDATE_HEADER_NOW, nullptr, 0);
    return true;
}

bool AiffSink::Close() {
    if (closed_) return !Failed();
    closed_ = true;
    bool ok = sndfile_ && sf_close(sndfile_) == 0;
    sndfile_ = nullptr;
    file_.Close();
    return ok && !Failed();
}

}  // namespace

AiffEncoding AiffEncodingFor(const AiffSettings& s) {
    switch (s.format) {
        case kAiffFloat32:
            return AiffEncoding::Float32;
        case kAiffFloat64:
            return AiffEncoding::Float64;
        case kAiffALaw:
            return AiffEncoding::ALaw;
        case kAiffULaw:
            return AiffEncoding::ULaw;
        default:
            break;
    }
    if (s.sampleSize <= 8) return AiffEncoding::Pcm8;
    if (s.sampleSize <= 16) return AiffEncoding::Pcm16;
    if (s.sampleSize <= 24) return AiffEncoding::Pcm24;
    if (s.sampleSize <= 32) return AiffEncoding::Pcm32;
    return AiffEncoding::Float64;
}

int AiffSampleSizeIndex(AiffEncoding encoding) {
    switch (encoding) {
        case AiffEncoding::Pcm8:
            return 0;
        case AiffEncoding::Pcm16:
            return 1;
        case AiffEncoding::Pcm24:
            return 2;
        case AiffEncoding::Pcm32:
            return 3;
        case AiffEncoding::Float32:
            return 4;
        case AiffEncoding::Float64:
            return 5;
        case AiffEncoding::ALaw:
        case AiffEncoding::ULaw:
            return 1;
    }
    return 1;
}

int AiffBits(AiffEncoding encoding) {
    static constexpr int kBits[] = {8, 16, 24, 32, 32, 64, 8, 8};
    return kBits[int(encoding)];
}

const char* AiffEncodingWord(AiffEncoding encoding) {
    static constexpr const char* kWords[] = {"8 Bit",        "16 Bit",       "24 Bit", "32 Bit",
                                             "32 Bit Float", "64 Bit Float", "ALaw",   "uLaw"};
    return kWords[int(encoding)];
}

std::shared_ptr<LSoundSinkBase> OpenAiffSink(const std::string& path, AiffEncoding encoding,
                                             uint32_t rate, uint8_t channels, std::string* error) {
    auto sink = std::make_shared<AiffSink>(path, encoding, rate, channels);
    if (!sink->Open(error)) return nullptr;
    return sink;
}

}  // namespace vocarta
