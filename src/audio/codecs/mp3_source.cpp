// MPEG audio decoding through libmpg123, as float frames.

#include <mpg123.h>

#include <cerrno>
#include <cstring>
#include <mutex>

#include "audio/codecs/decoders.h"
#include "toolkit/lfile.h"
#include "toolkit/log.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

constexpr int kTagProbeBytes = 256;

// True when the first MPEG frame (after an ID3v2 tag) carries a Xing/Info tag.
// LAME writes that frame empty first and fills it in only when the file is
// finished, so a file left by a crash has none and must be scanned for its length.
bool HasInfoTag(LFile& file) {
    unsigned char id3[10];
    int64_t start = 0;
    if (file.ReadAt(0, id3, 10) == 10 && std::memcmp(id3, "ID3", 3) == 0)
        start = 10 + ((int64_t(id3[6] & 0x7F) << 21) | (int64_t(id3[7] & 0x7F) << 14) |
                      (int64_t(id3[8] & 0x7F) << 7) | int64_t(id3[9] & 0x7F));
    unsigned char head[kTagProbeBytes];
    int64_t got = file.ReadAt(start, head, kTagProbeBytes);
    if (got < 4 || head[0] != 0xFF || (head[1] & 0xE0) != 0xE0) return false;
    for (int64_t i = 4; i + 4 <= got; ++i)
        if (std::memcmp(head + i, "Xing", 4) == 0 || std::memcmp(head + i, "Info", 4) == 0)
            return true;
    return false;
}

class Mp3Source final : public LSoundSourceBase {
  public:
    ~Mp3Source() override {
        if (handle_) mpg123_delete(handle_);
    }

    bool Open(const std::string& path, std::string* error);
    int64_t Read(float* samples, uint64_t frames) override;
    bool Seek(uint64_t frame) override;
    // The bit rate in kbps when the first audio frame says constant bit rate, else 0.
    int ConstantBitRate();

  private:
    bool Fail(const std::string& text, std::string* error);
    bool AcceptFloatOutput();
    void DescribeStream();

    LFile file_;
    mpg123_handle* handle_ = nullptr;  // owned
    std::string path_;
};

bool Mp3Source::Fail(const std::string& text, std::string* error) {
    if (error) *error = text;
    lastError_ = text;
    return false;
}

// Only 32-bit float, at every rate the decoder knows, mono or stereo.
bool Mp3Source::AcceptFloatOutput() {
    if (mpg123_format_none(handle_) != MPG123_OK) return false;
    const long* rates = nullptr;
    size_t count = 0;
    mpg123_rates(&rates, &count);
    for (size_t i = 0; i < count; ++i)
        if (mpg123_format(handle_, rates[i], MPG123_MONO | MPG123_STEREO, MPG123_ENC_FLOAT_32) !=
            MPG123_OK)
            return false;
    return true;
}

void Mp3Source::DescribeStream() {
    mpg123_frameinfo2 info{};
    if (mpg123_info2(handle_, &info) != MPG123_OK) {
        description_ = StringPrintf("MPEG audio, %u Hz, %s", unsigned(sampleRate_),
                                    ChannelCountWord(channels_).c_str());
        return;
    }
    const char* version = info.version == MPG123_1_0   ? "MPEG"
                          : info.version == MPG123_2_0 ? "MPEG-2"
                                                       : "MPEG-2.5";
    const char* mode = info.mode == MPG123_M_JOINT  ? "Joint Stereo"
                       : info.mode == MPG123_M_DUAL ? "Dual Channel"
                       : info.mode == MPG123_M_MONO ? "Mono"
                                                    : "Stereo";
    std::string rate = info.vbr == MPG123_CBR   ? StringPrintf("%d kbps", info.bitrate)
                       : info.vbr == MPG123_ABR ? StringPrintf("ABR %d kbps", info.abr_rate)
                                                : std::string("VBR");
    description_ = StringPrintf("%s Layer %d, %s, %ld Hz, %s", version, info.layer, rate.c_str(),
                                info.rate, mode);
}

bool Mp3Source::Open(const std::string& path, std::string* error) {
    static std::once_flag initOnce;
    std::call_once(initOnce, [] { mpg123_init(); });
    path_ = path;
    if (!file_.Open(path, LFile::Mode::Read))
        return Fail(StringPrintf("Cannot open %s: %s", path.c_str(), strerror(errno)), error);
    int err = MPG123_OK;
    handle_ = mpg123_new(nullptr, &err);
    if (!handle_) return Fail("The MP3 decoder could not be started.", error);
    mpg123_param(handle_, MPG123_ADD_FLAGS, MPG123_QUIET | MPG123_GAPLESS, 0.0);
    if (!AcceptFloatOutput() || mpg123_open_fd(handle_, file_.Descriptor()) != MPG123_OK)
        return Fail(StringPrintf("Cannot decode %s: %s", path.c_str(), mpg123_strerror(handle_)),
                    error);
    long rate = 0;
    int channels = 0, encoding = 0;
    if (mpg123_getformat(handle_, &rate, &channels, &encoding) != MPG123_OK || rate <= 0 ||
        channels < 1)
        return Fail(StringPrintf("%s is not an MPEG audio file (%s)", path.c_str(),
                                 mpg123_strerror(handle_)),
                    error);
    // A tag that gives the length is trusted; otherwise the frames are counted.
    if (!HasInfoTag(file_) && mpg123_scan(handle_) != MPG123_OK)
        return Fail(StringPrintf("Cannot read %s: %s", path.c_str(), mpg123_strerror(handle_)),
                    error);
    off_t length = mpg123_length(handle_);
    sampleRate_ = uint32_t(rate);
    channels_ = uint8_t(channels);
    totalFrames_ = length > 0 ? uint64_t(length) : 0;
    DescribeStream();
    return true;
}

int64_t Mp3Source::Read(float* samples, uint64_t frames) {
    const size_t frameBytes = sizeof(float) * channels_;
    size_t done = 0;
    int result = MPG123_NEW_FORMAT;
    // A format notice carries no samples; a stream must keep the format it began with.
    while (result == MPG123_NEW_FORMAT && done == 0) {
        result = mpg123_read(handle_, reinterpret_cast<unsigned char*>(samples),
                             size_t(frames) * frameBytes, &done);
        if (result != MPG123_NEW_FORMAT) break;
        long rate = 0;
        int channels = 0, encoding = 0;
        mpg123_getformat(handle_, &rate, &channels, &encoding);
        if (uint32_t(rate) != sampleRate_ || channels != channels_) {
            lastError_ = StringPrintf("%s changes its format mid-stream", path_.c_str());
            return -1;
        }
    }
    if (result != MPG123_OK && result != MPG123_DONE && result != MPG123_NEW_FORMAT) {
        lastError_ =
            StringPrintf("Decoding %s failed: %s", path_.c_str(), mpg123_strerror(handle_));
        return -1;
    }
    return int64_t(done / frameBytes);
}

int Mp3Source::ConstantBitRate() {
    mpg123_frameinfo2 info{};
    if (mpg123_info2(handle_, &info) != MPG123_OK || info.vbr != MPG123_CBR) return 0;
    return info.bitrate;
}

bool Mp3Source::Seek(uint64_t frame) {
    if (mpg123_seek(handle_, off_t(frame), SEEK_SET) >= 0) return true;
    lastError_ = StringPrintf("Seeking in %s failed: %s", path_.c_str(), mpg123_strerror(handle_));
    return false;
}

}  // namespace

int Mp3ConstantBitRateOf(const std::string& path) {
    Mp3Source source;
    if (!source.Open(path, nullptr)) return 0;
    return source.ConstantBitRate();
}

std::shared_ptr<LSoundSourceBase> OpenMp3Source(const std::string& path, std::string* error) {
    auto source = std::make_shared<Mp3Source>();
    if (!source->Open(path, error)) return nullptr;
    return source;
}

}  // namespace vocarta
