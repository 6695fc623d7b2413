#include "audio/codecs/sndfile_sink.h"

#include <sndfile.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "toolkit/lfile.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

// Says why a sink cannot be opened.
bool Refuse(std::string* error, const std::string& text) {
    if (error) *error = text;
    return false;
}

class SndfileSink final : public LSoundSinkBase {
  public:
    SndfileSink(std::string path, int format, std::string name, uint32_t rate, uint8_t channels,
                uint8_t maxChannels, std::vector<int> channelMap)
        : LSoundSinkBase(std::move(path), rate, channels),
          format_(format),
          maxChannels_(maxChannels),
          name_(std::move(name)),
          channelMap_(std::move(channelMap)) {}
    ~SndfileSink() override { Close(); }

    bool Open(std::string* error);
    int64_t Write(const float* samples, uint64_t frames) override;
    bool TruncateToFrame(uint64_t frame) override;
    bool SetFormat(uint32_t sampleRate, uint8_t channels) override;
    bool Close() override;

  private:
    bool StartWriter(std::string* error);

    const int format_;
    const uint8_t maxChannels_;
    const std::string name_;
    const std::vector<int> channelMap_;  // empty, or one position per channel
    LFile file_;
    SNDFILE* sndfile_ = nullptr;  // owned; writes through file_'s descriptor
    bool closed_ = false;
};

bool SndfileSink::StartWriter(std::string* error) {
    SF_INFO info{};
    info.samplerate = int(sampleRate_);
    info.channels = channels_;
    info.format = format_;
    if (!sf_format_check(&info))
        return Refuse(error,
                      StringPrintf("%s cannot hold %u Hz with %u channels in this "
                                   "encoding.",
                                   name_.c_str(), unsigned(sampleRate_), unsigned(channels_)));
    sndfile_ = sf_open_fd(file_.Descriptor(), SFM_WRITE, &info, SF_FALSE);
    if (!sndfile_)
        return Refuse(error,
                      StringPrintf("Cannot write %s: %s", path_.c_str(), sf_strerror(nullptr)));
    sf_command(sndfile_, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    // Sizes on disk follow every write, so a crash leaves a complete file.
    sf_command(sndfile_, SFC_SET_UPDATE_HEADER_AUTO, nullptr, SF_TRUE);
    if (channelMap_.size() == channels_) {
        std::vector<int> map = channelMap_;
        sf_command(sndfile_, SFC_SET_CHANNEL_MAP_INFO, map.data(), int(map.size() * sizeof(int)));
    }
    return true;
}

bool SndfileSink::Open(std::string* error) {
    if (channels_ < 1 || channels_ > maxChannels_ || sampleRate_ < 1)
        return Refuse(error, StringPrintf("%s cannot hold %u Hz with %u channels.", name_.c_str(),
                                          unsigned(sampleRate_), unsigned(channels_)));
    if (!file_.Open(path_, LFile::Mode::CreateTruncate))
        return Refuse(error, StringPrintf("Cannot create %s: %s", path_.c_str(), strerror(errno)));
    if (StartWriter(error)) return true;
    file_.Close();
    unlink(path_.c_str());
    closed_ = true;
    return false;
}

bool SndfileSink::SetFormat(uint32_t sampleRate, uint8_t channels) {
    if (framesWritten_ != 0 || closed_ || channels < 1 || channels > maxChannels_ || sampleRate < 1)
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

int64_t SndfileSink::Write(const float* samples, uint64_t frames) {
    if (closed_ || !sndfile_) {
        SetError(StringPrintf("The %s file is already closed.", name_.c_str()));
        return -1;
    }
    sf_count_t written = sf_writef_float(sndfile_, samples, sf_count_t(frames));
    if (written > 0) framesWritten_ += uint64_t(written);
    if (written == sf_count_t(frames)) return int64_t(frames);
    SetError(StringPrintf("Writing %s failed: %s", path_.c_str(), sf_strerror(sndfile_)));
    return -1;
}

bool SndfileSink::TruncateToFrame(uint64_t frame) {
    if (closed_ || !sndfile_ || frame > framesWritten_) return false;
    sf_count_t at = sf_count_t(frame);
    if (sf_command(sndfile_, SFC_FILE_TRUNCATE, &at, sizeof at) != 0) {
        LogError("SndfileSink::TruncateToFrame SFC_FILE_TRUNCATE FAILED: %s",
                 sf_strerror(sndfile_));
        return false;
    }
    framesWritten_ = frame;
    sf_command(sndfile_, SFC_UPDATE_HEADER_NOW, nullptr, 0);
    return true;
}

bool SndfileSink::Close() {
    if (closed_) return !Failed();
    closed_ = true;
    bool ok = sndfile_ && sf_close(sndfile_) == 0;
    sndfile_ = nullptr;
    file_.Close();
    return ok && !Failed();
}

// "IMA ADPCM", "64 bit float": libsndfile's own name of an encoding.
std::string EncodingName(int format) {
    SF_FORMAT_INFO info{};
    info.format = format & SF_FORMAT_SUBMASK;
    if (sf_command(nullptr, SFC_GET_FORMAT_INFO, &info, sizeof info) == 0 && info.name)
        return info.name;
    return StringPrintf("encoding 0x%04X", unsigned(format & SF_FORMAT_SUBMASK));
}

// "WAV", "AIFF": the first word of libsndfile's name of a container.
std::string ContainerName(int format) {
    SF_FORMAT_INFO info{};
    info.format = format & SF_FORMAT_TYPEMASK;
    if (sf_command(nullptr, SFC_GET_FORMAT_INFO, &info, sizeof info) == 0 && info.name) {
        const std::string name = info.name;
        return name.substr(0, name.find(' '));
    }
    return "The file's format";
}

}  // namespace

std::shared_ptr<LSoundSinkBase> OpenSndfileSink(const std::string& path, int sndfileFormat,
                                                const std::string& formatName, uint32_t rate,
                                                uint8_t channels, uint8_t maxChannels,
                                                std::string* error,
                                                const std::vector<int>& channelMap) {
    auto sink = std::make_shared<SndfileSink>(path, sndfileFormat, formatName, rate, channels,
                                              maxChannels, channelMap);
    if (!sink->Open(error)) return nullptr;
    return sink;
}

std::shared_ptr<LSoundSinkBase> OpenSndfileSinkLike(const std::string& likePath,
                                                    const LSoundSourceBase& like,
                                                    const std::string& newPath,
                                                    std::string* error) {
    LFile file;
    SF_INFO info{};
    SNDFILE* probe = file.Open(likePath, LFile::Mode::Read)
                         ? sf_open_fd(file.Descriptor(), SFM_READ, &info, SF_FALSE)
                         : nullptr;
    if (!probe) {
        Refuse(error, StringPrintf("Cannot write %s back in its own format: its encoding is "
                                   "not known here (%s).",
                                   BaseName(likePath).c_str(), sf_strerror(nullptr)));
        return nullptr;
    }
    std::vector<int> map(size_t(info.channels));
    if (map.empty() || sf_command(probe, SFC_GET_CHANNEL_MAP_INFO, map.data(),
                                  int(map.size() * sizeof(int))) != SF_TRUE)
        map.clear();
    sf_close(probe);
    const int format = info.format & (SF_FORMAT_TYPEMASK | SF_FORMAT_SUBMASK | SF_FORMAT_ENDMASK);
    const std::string container = ContainerName(format);
    std::string why;
    auto sink = OpenSndfileSink(newPath, format, container, like.SampleRate(), like.Channels(), 255,
                                &why, like.Channels() == info.channels ? map : std::vector<int>{});
    if (!sink)
        Refuse(error,
               StringPrintf("Cannot write %s back in its own encoding (%s): %s",
                            BaseName(likePath).c_str(), EncodingName(format).c_str(), why.c_str()));
    return sink;
}

}  // namespace vocarta
