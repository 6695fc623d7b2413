#include "audio/codecs/flac_sink.h"

#include <FLAC/stream_encoder.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <vector>

#include "toolkit/lfile.h"
#include "toolkit/log.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

constexpr uint32_t kChunkFrames = 4096;  // frames converted per encoder call
constexpr uint32_t kMaxRate = 655350;    // the largest rate a FLAC subset stream carries
constexpr uint8_t kMaxChannels = 8;

class FlacSink final : public LSoundSinkBase {
  public:
    FlacSink(std::string path, const FlacSettings& settings, uint32_t rate, uint8_t channels)
        : LSoundSinkBase(std::move(path), rate, channels),
          bits_(FlacBitDepthFor(settings.bitDepth)),
          level_(std::clamp(settings.compression, 0, 8)) {}
    ~FlacSink() override { Close(); }

    bool Open(std::string* error);
    int64_t Write(const float* samples, uint64_t frames) override;
    bool SetFormat(uint32_t sampleRate, uint8_t channels) override;
    bool Close() override;
    void Abort() override;

  private:
    bool StartEncoder(std::string* error);
    void DeleteEncoder();
    void SealAfterWriteFailure();
    bool Encode(const float* samples, uint32_t frames);

    static FLAC__StreamEncoderWriteStatus OnWrite(const FLAC__StreamEncoder*,
                                                  const FLAC__byte buffer[], size_t bytes,
                                                  uint32_t samples, uint32_t frame, void* self);
    static FLAC__StreamEncoderSeekStatus OnSeek(const FLAC__StreamEncoder*, FLAC__uint64 offset,
                                                void* self);
    static FLAC__StreamEncoderTellStatus OnTell(const FLAC__StreamEncoder*, FLAC__uint64* offset,
                                                void* self);

    const int bits_;
    const int level_;
    FLAC__StreamEncoder* encoder_ = nullptr;  // owned
    LFile file_;
    std::vector<FLAC__int32> scratch_;  // kChunkFrames × channels, sized once per format
    std::string writeError_;            // set by OnWrite, reported by Write/Close
    // End of the last block that reached the file whole, and the samples up to it:
    // after a short write the file is cut back there, so it stays a valid stream.
    int64_t goodEnd_ = 0;
    uint64_t goodSamples_ = 0;
    bool closed_ = false;
    bool aborted_ = false;
};

FLAC__StreamEncoderWriteStatus FlacSink::OnWrite(const FLAC__StreamEncoder*,
                                                 const FLAC__byte buffer[], size_t bytes,
                                                 uint32_t samples, uint32_t, void* self) {
    auto* sink = static_cast<FlacSink*>(self);
    if (sink->aborted_) return FLAC__STREAM_ENCODER_WRITE_STATUS_FATAL_ERROR;
    int64_t written = sink->file_.Write(buffer, int64_t(bytes));
    if (written == int64_t(bytes)) {
        sink->goodSamples_ += samples;
        sink->goodEnd_ = std::max(sink->goodEnd_, sink->file_.Tell());
        return FLAC__STREAM_ENCODER_WRITE_STATUS_OK;
    }
    sink->writeError_ = StringPrintf("Writing %s failed: %s", sink->path_.c_str(),
                                     written < 0 ? strerror(errno) : "disk full");
    return FLAC__STREAM_ENCODER_WRITE_STATUS_FATAL_ERROR;
}

FLAC__StreamEncoderSeekStatus FlacSink::OnSeek(const FLAC__StreamEncoder*, FLAC__uint64 offset,
                                               void* self) {
    auto* sink = static_cast<FlacSink*>(self);
    if (sink->aborted_) return FLAC__STREAM_ENCODER_SEEK_STATUS_ERROR;
    return sink->file_.Seek(int64_t(offset)) ? FLAC__STREAM_ENCODER_SEEK_STATUS_OK
                                             : FLAC__STREAM_ENCODER_SEEK_STATUS_ERROR;
}

FLAC__StreamEncoderTellStatus FlacSink::OnTell(const FLAC__StreamEncoder*, FLAC__uint64* offset,
                                               void* self) {
    int64_t at = static_cast<FlacSink*>(self)->file_.Tell();
    if (at < 0) return FLAC__STREAM_ENCODER_TELL_STATUS_ERROR;
    *offset = FLAC__uint64(at);
    return FLAC__STREAM_ENCODER_TELL_STATUS_OK;
}

bool FlacSink::StartEncoder(std::string* error) {
    encoder_ = FLAC__stream_encoder_new();
    if (!encoder_) {
        if (error) *error = "The FLAC encoder could not be created.";
        return false;
    }
    FLAC__stream_encoder_set_channels(encoder_, channels_);
    FLAC__stream_encoder_set_bits_per_sample(encoder_, uint32_t(bits_));
    FLAC__stream_encoder_set_sample_rate(encoder_, sampleRate_);
    FLAC__stream_encoder_set_compression_level(encoder_, uint32_t(level_));
    FLAC__StreamEncoderInitStatus status =
        FLAC__stream_encoder_init_stream(encoder_, OnWrite, OnSeek, OnTell, nullptr, this);
    if (status != FLAC__STREAM_ENCODER_INIT_STATUS_OK) {
        if (error)
            *error = !writeError_.empty()
                         ? writeError_
                         : StringPrintf("The FLAC encoder refused %u Hz, %u channels, %d bits: %s",
                                        unsigned(sampleRate_), unsigned(channels_), bits_,
                                        FLAC__StreamEncoderInitStatusString[status]);
        DeleteEncoder();
        return false;
    }
    scratch_.assign(size_t(kChunkFrames) * channels_, 0);
    return true;
}

void FlacSink::DeleteEncoder() {
    if (encoder_) FLAC__stream_encoder_delete(encoder_);
    encoder_ = nullptr;
}

bool FlacSink::Open(std::string* error) {
    if (channels_ < 1 || channels_ > kMaxChannels || sampleRate_ < 1 || sampleRate_ > kMaxRate) {
        if (error)
            *error = StringPrintf("FLAC cannot hold %u Hz with %u channels.", unsigned(sampleRate_),
                                  unsigned(channels_));
        return false;
    }
    if (!file_.Open(path_, LFile::Mode::CreateTruncate)) {
        if (error) *error = StringPrintf("Cannot create %s: %s", path_.c_str(), strerror(errno));
        return false;
    }
    if (StartEncoder(error)) return true;
    file_.Close();
    unlink(path_.c_str());
    return false;
}

bool FlacSink::SetFormat(uint32_t sampleRate, uint8_t channels) {
    if (framesWritten_ != 0 || closed_ || channels < 1 || channels > kMaxChannels ||
        sampleRate < 1 || sampleRate > kMaxRate)
        return false;
    if (sampleRate == sampleRate_ && channels == channels_) return true;
    // Nothing was encoded yet: start the stream again with the new header.
    aborted_ = true;
    DeleteEncoder();
    aborted_ = false;
    if (!file_.Truncate(0) || !file_.Seek(0)) {
        SetError(StringPrintf("Cannot rewrite %s", path_.c_str()));
        return false;
    }
    sampleRate_ = sampleRate;
    channels_ = channels;
    std::string why;
    if (StartEncoder(&why)) return true;
    SetError(why);
    return false;
}

bool FlacSink::Encode(const float* samples, uint32_t frames) {
    const float scale = float((1 << (bits_ - 1)) - 1);
    const size_t count = size_t(frames) * channels_;
    FLAC__int32* out = scratch_.data();
    for (size_t i = 0; i < count; ++i) {
        float v = std::clamp(samples[i] * scale, -scale, scale);
        out[i] = FLAC__int32(std::lrint(v));
    }
    return FLAC__stream_encoder_process_interleaved(encoder_, out, frames);
}

int64_t FlacSink::Write(const float* samples, uint64_t frames) {
    if (closed_ || !encoder_ || Failed()) {
        if (!Failed()) SetError("The FLAC file is already closed.");
        return -1;
    }
    uint64_t done = 0;
    while (done < frames) {
        uint32_t n = uint32_t(std::min<uint64_t>(frames - done, kChunkFrames));
        if (!Encode(samples + done * channels_, n)) {
            FLAC__StreamEncoderState state = FLAC__stream_encoder_get_state(encoder_);
            SetError(!writeError_.empty() ? writeError_
                                          : StringPrintf("The FLAC encoder failed: %s",
                                                         FLAC__StreamEncoderStateString[state]));
            return -1;
        }
        done += n;
        framesWritten_ += n;
    }
    return int64_t(frames);
}

bool FlacSink::Close() {
    if (closed_) return !Failed();
    closed_ = true;
    bool ok = encoder_ && !Failed() && FLAC__stream_encoder_finish(encoder_);
    if (!ok && !Failed())
        SetError(!writeError_.empty() ? writeError_ : "Finishing the FLAC file failed.");
    if (!writeError_.empty()) {
        aborted_ = true;  // the encoder's own finish in delete must not write again
        SealAfterWriteFailure();
    }
    DeleteEncoder();
    file_.Close();
    return ok;
}

// A full disk stops the encoder in the middle of a block. Cut the torn block off
// and put the true sample count into STREAMINFO (rewriting bytes already on disk
// needs no new room), so the recording up to there is a valid FLAC file.
void FlacSink::SealAfterWriteFailure() {
    constexpr int64_t kTotalSamplesAt = 18;  // "fLaC", block header, 10 bytes of STREAMINFO
    constexpr int64_t kStreamInfoEnd = 42;
    if (goodEnd_ < kStreamInfoEnd || !file_.Truncate(goodEnd_)) return;
    uint8_t field[8];
    if (file_.ReadAt(kTotalSamplesAt, field, 8) != 8) return;
    uint64_t word = 0;
    for (uint8_t b : field) word = word << 8 | b;
    const uint64_t mask = (uint64_t(1) << 36) - 1;  // the low 36 bits hold the total
    word = (word & ~mask) | (goodSamples_ & mask);
    for (int i = 7; i >= 0; --i, word >>= 8) field[i] = uint8_t(word);
    if (file_.WriteAt(kTotalSamplesAt, field, 8) == 8) file_.Sync();
}

void FlacSink::Abort() {
    if (closed_) return;
    closed_ = true;
    aborted_ = true;  // the encoder's own finish in delete must not touch the file
    DeleteEncoder();
    file_.Close();
}

}  // namespace

int FlacBitDepthFor(int stored) {
    if (stored <= 8) return 8;
    if (stored <= 16) return 16;
    return 24;
}

std::shared_ptr<LSoundSinkBase> OpenFlacSink(const std::string& path, const FlacSettings& settings,
                                             uint32_t rate, uint8_t channels, std::string* error) {
    auto sink = std::make_shared<FlacSink>(path, settings, rate, channels);
    if (!sink->Open(error)) return nullptr;
    return sink;
}

}  // namespace vocarta
