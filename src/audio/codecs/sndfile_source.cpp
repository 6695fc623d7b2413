// AIFF/AIFC, FLAC and the other formats libsndfile reads, as float frames.

#include <sndfile.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "audio/codecs/decoders.h"
#include "toolkit/lfile.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

constexpr sf_count_t kCountChunkFrames = 8192;

const char* SubtypeWords(int subtype) {
    switch (subtype) {
        case SF_FORMAT_PCM_S8:
        case SF_FORMAT_PCM_U8:
            return "8 bit";
        case SF_FORMAT_PCM_16:
            return "16 bit";
        case SF_FORMAT_PCM_24:
            return "24 bit";
        case SF_FORMAT_PCM_32:
            return "32 bit";
        case SF_FORMAT_FLOAT:
            return "32-bit floating point";
        case SF_FORMAT_DOUBLE:
            return "64-bit floating point";
        case SF_FORMAT_ALAW:
            return "ALaw 2:1";
        case SF_FORMAT_ULAW:
            return "uLaw 2:1";
        case SF_FORMAT_IMA_ADPCM:
            return "IMA ADPCM";
        case SF_FORMAT_MS_ADPCM:
            return "MS ADPCM";
        case SF_FORMAT_GSM610:
            return "GSM 6.10";
        case SF_FORMAT_VORBIS:
            return "Vorbis";
        case SF_FORMAT_OPUS:
            return "Opus";
        default:
            return nullptr;
    }
}

class SndfileSource final : public LSoundSourceBase {
  public:
    ~SndfileSource() override {
        if (sndfile_) sf_close(sndfile_);
    }

    bool Open(const std::string& path, std::string* error);
    int64_t Read(float* samples, uint64_t frames) override;
    bool Seek(uint64_t frame) override;

  private:
    bool Fail(const std::string& text, std::string* error);
    std::string ContainerWord(int major);
    bool CountFrames(std::string* error);

    LFile file_;
    SNDFILE* sndfile_ = nullptr;  // owned; reads through file_'s descriptor
    std::string path_;
};

bool SndfileSource::Fail(const std::string& text, std::string* error) {
    if (error) *error = text;
    lastError_ = text;
    return false;
}

std::string SndfileSource::ContainerWord(int major) {
    if (major == SF_FORMAT_AIFF) {
        char form[12] = {};
        if (file_.ReadAt(0, form, sizeof form) == int64_t(sizeof form) &&
            std::memcmp(form + 8, "AIFC", 4) == 0)
            return "AIFC";
        return "AIFF";
    }
    SF_FORMAT_INFO info{};
    info.format = major;
    if (sf_command(nullptr, SFC_GET_FORMAT_INFO, &info, sizeof info) == 0 && info.name) {
        std::string name = info.name;
        return name.substr(0, name.find(' '));
    }
    return "Audio";
}

// A stream that does not state its length (a FLAC file left by a crash) is
// decoded once to count its frames, then rewound.
bool SndfileSource::CountFrames(std::string* error) {
    std::vector<float> chunk(size_t(kCountChunkFrames) * channels_);
    uint64_t total = 0;
    for (;;) {
        sf_count_t got = sf_readf_float(sndfile_, chunk.data(), kCountChunkFrames);
        if (got <= 0) break;
        total += uint64_t(got);
    }
    if (sf_seek(sndfile_, 0, SEEK_SET) != 0)
        return Fail(StringPrintf("Cannot read %s: %s", path_.c_str(), sf_strerror(sndfile_)),
                    error);
    totalFrames_ = total;
    return true;
}

bool SndfileSource::Open(const std::string& path, std::string* error) {
    path_ = path;
    if (!file_.Open(path, LFile::Mode::Read))
        return Fail(StringPrintf("Cannot open %s: %s", path.c_str(), strerror(errno)), error);
    SF_INFO info{};
    sndfile_ = sf_open_fd(file_.Descriptor(), SFM_READ, &info, SF_FALSE);
    if (!sndfile_)
        return Fail(StringPrintf("Cannot read %s: %s", path.c_str(), sf_strerror(nullptr)), error);
    if (info.samplerate <= 0 || info.channels < 1 || info.channels > 255)
        return Fail(StringPrintf("%s has an unusable format (%d Hz, %d channels)", path.c_str(),
                                 info.samplerate, info.channels),
                    error);
    sampleRate_ = uint32_t(info.samplerate);
    channels_ = uint8_t(info.channels);
    const int major = info.format & SF_FORMAT_TYPEMASK;
    const int subtype = info.format & SF_FORMAT_SUBMASK;
    const char* words = SubtypeWords(subtype);
    description_ =
        StringPrintf("%s, %s%s%u Hz, %s", ContainerWord(major).c_str(), words ? words : "",
                     words ? ", " : "", unsigned(sampleRate_), ChannelCountWord(channels_).c_str());
    if (info.frames > 0 && info.frames != SF_COUNT_MAX) {
        totalFrames_ = uint64_t(info.frames);
        return true;
    }
    return CountFrames(error);
}

int64_t SndfileSource::Read(float* samples, uint64_t frames) {
    sf_count_t got = sf_readf_float(sndfile_, samples, sf_count_t(frames));
    if (got < 0 || (got == 0 && sf_error(sndfile_) != SF_ERR_NO_ERROR)) {
        lastError_ = StringPrintf("Decoding %s failed: %s", path_.c_str(), sf_strerror(sndfile_));
        return -1;
    }
    return int64_t(got);
}

bool SndfileSource::Seek(uint64_t frame) {
    if (sf_seek(sndfile_, sf_count_t(frame), SEEK_SET) >= 0) return true;
    lastError_ = StringPrintf("Seeking in %s failed: %s", path_.c_str(), sf_strerror(sndfile_));
    return false;
}

}  // namespace

std::string ChannelCountWord(unsigned channels) {
    if (channels == 1) return "Mono";
    if (channels == 2) return "Stereo";
    return StringPrintf("%u Channels", channels);
}

std::shared_ptr<LSoundSourceBase> OpenSndfileSource(const std::string& path, std::string* error) {
    auto source = std::make_shared<SndfileSource>();
    if (!source->Open(path, error)) return nullptr;
    return source;
}

}  // namespace vocarta
