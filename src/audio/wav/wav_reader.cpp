#include "audio/wav/wav_reader.h"

#include <gsm.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "audio/wav/format_tags.h"
#include "audio/wav/g711.h"
#include "audio/wav/sample_convert.h"
#include "audio/wav/wav_layout.h"
#include "audio/wav/wav_parse.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

using wav::WavCoding;

// Bytes read from the file at a time; with the GSM block buffer this is all the
// memory a source holds, however long the file.
constexpr uint64_t kReadBufferBytes = 64 * 1024;

std::string ChannelWords(unsigned channels) {
    if (channels == 1) return "Mono";
    if (channels == 2) return "Stereo";
    return StringPrintf("%u Channels", channels);
}

std::string Describe(const wav::WavFileInfo& info) {
    std::string text = WaveFormatTagName(info.fileTag);
    if (info.bitsPerSample != 0) text += StringPrintf(", %u bit", unsigned(info.bitsPerSample));
    text += StringPrintf(", %u Hz, ", unsigned(info.sampleRate));
    return text + ChannelWords(info.channels);
}

void DecodeSamples(WavCoding coding, const uint8_t* in, uint64_t count, float* out) {
    switch (coding) {
        case WavCoding::PcmUnsigned8:
            for (uint64_t i = 0; i < count; ++i) out[i] = wav::U8ToFloat(in[i]);
            break;
        case WavCoding::PcmSigned16:
            for (uint64_t i = 0; i < count; ++i)
                out[i] = wav::S16ToFloat(int16_t(wav::GetLe16(in + 2 * i)));
            break;
        case WavCoding::PcmSigned24:
            for (uint64_t i = 0; i < count; ++i) {
                const uint8_t* p = in + 3 * i;
                uint32_t v = uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16);
                out[i] = wav::S32ToFloat(int32_t(v << 8));
            }
            break;
        case WavCoding::PcmSigned32:
            for (uint64_t i = 0; i < count; ++i)
                out[i] = wav::S32ToFloat(int32_t(wav::GetLe32(in + 4 * i)));
            break;
        case WavCoding::Float32:
            for (uint64_t i = 0; i < count; ++i) {
                uint32_t bits = wav::GetLe32(in + 4 * i);
                std::memcpy(&out[i], &bits, 4);
            }
            break;
        case WavCoding::Float64:
            for (uint64_t i = 0; i < count; ++i) {
                uint64_t bits = uint64_t(wav::GetLe32(in + 8 * i)) |
                                (uint64_t(wav::GetLe32(in + 8 * i + 4)) << 32);
                double d;
                std::memcpy(&d, &bits, 8);
                out[i] = float(d);
            }
            break;
        case WavCoding::ALaw:
            for (uint64_t i = 0; i < count; ++i) out[i] = wav::S16ToFloat(wav::ALawToLinear(in[i]));
            break;
        case WavCoding::MuLaw:
            for (uint64_t i = 0; i < count; ++i)
                out[i] = wav::S16ToFloat(wav::MuLawToLinear(in[i]));
            break;
        case WavCoding::Gsm610:
            break;  // block-wise, see WavSource::ReadGsm
    }
}

class WavSource final : public LSoundSourceBase {
  public:
    ~WavSource() override {
        if (gsm_ != nullptr) gsm_destroy(gsm_);
    }

    bool Open(const std::string& path, std::string& error);
    bool OtherEncoding() const { return info_.otherEncoding; }
    int64_t Read(float* samples, uint64_t frames) override;
    bool Seek(uint64_t frame) override;

  private:
    bool ReadData(uint64_t offset, uint8_t* out, uint64_t size);
    int64_t ReadFrames(float* samples, uint64_t frames);
    int64_t ReadGsm(float* samples, uint64_t frames);
    bool DecodeGsmBlock(uint64_t block);
    bool DecodeOneGsmBlock(uint64_t block);
    bool ResetGsm();

    LFile file_;
    wav::WavFileInfo info_;
    uint64_t position_ = 0;  // next frame Read returns
    std::vector<uint8_t> buffer_;
    gsm gsm_ = nullptr;
    int16_t gsmSamples_[wav::kGsmSamplesPerBlock] = {};
    uint64_t gsmBlock_ = UINT64_MAX;  // block decoded into gsmSamples_
};

bool WavSource::Open(const std::string& path, std::string& error) {
    if (!file_.Open(path, LFile::Mode::Read)) {
        error = "Cannot open " + path + ": " + std::strerror(errno);
        return false;
    }
    std::string why;
    if (!wav::ParseWavFile(file_, info_, why)) {
        error = "Cannot read " + path + ": " + why;
        return false;
    }
    sampleRate_ = info_.sampleRate;
    channels_ = uint8_t(info_.channels);
    totalFrames_ = info_.dataBytes / info_.unitBytes * info_.unitFrames;
    description_ = Describe(info_);
    if (info_.coding == WavCoding::Gsm610) {
        if (!ResetGsm()) {
            error = "Cannot read " + path + ": the GSM 6.10 decoder could not be created";
            return false;
        }
        buffer_.resize(wav::kGsmBlockBytes);
    } else {
        buffer_.resize(std::max<uint64_t>(kReadBufferBytes / info_.unitBytes, 1) * info_.unitBytes);
    }
    return true;
}

bool WavSource::ResetGsm() {
    if (gsm_ != nullptr) gsm_destroy(gsm_);
    gsm_ = gsm_create();
    if (gsm_ == nullptr) return false;
    int on = 1;
    gsm_option(gsm_, GSM_OPT_WAV49, &on);
    gsmBlock_ = UINT64_MAX;
    return true;
}

// Reads `size` data bytes from logical offset `offset`, across chunk boundaries.
bool WavSource::ReadData(uint64_t offset, uint8_t* out, uint64_t size) {
    for (const auto& seg : info_.segments) {
        if (size == 0) break;
        if (offset >= seg.size) {
            offset -= seg.size;
            continue;
        }
        uint64_t n = std::min(size, seg.size - offset);
        if (file_.ReadAt(int64_t(seg.fileOffset + offset), out, int64_t(n)) != int64_t(n)) {
            lastError_ = "The file ended before its audio data did";
            return false;
        }
        out += n;
        size -= n;
        offset = 0;
    }
    return size == 0;
}

int64_t WavSource::Read(float* samples, uint64_t frames) {
    if (position_ >= totalFrames_ || frames == 0) return 0;
    frames = std::min(frames, totalFrames_ - position_);
    return info_.coding == WavCoding::Gsm610 ? ReadGsm(samples, frames)
                                             : ReadFrames(samples, frames);
}

int64_t WavSource::ReadFrames(float* samples, uint64_t frames) {
    const uint64_t frameBytes = info_.unitBytes;
    const uint64_t perRead = buffer_.size() / frameBytes;
    uint64_t done = 0;
    while (done < frames) {
        uint64_t n = std::min(perRead, frames - done);
        if (!ReadData((position_ + done) * frameBytes, buffer_.data(), n * frameBytes))
            return done > 0 ? int64_t(done) : -1;
        // PCM in a wider container is left-justified, so the container's scale holds.
        DecodeSamples(info_.coding, buffer_.data(), n * info_.channels,
                      samples + done * info_.channels);
        done += n;
    }
    position_ += done;
    return int64_t(done);
}

bool WavSource::DecodeGsmBlock(uint64_t block) {
    // The decoder carries its state from block to block, and a decoder started
    // anywhere but at the first block may never sound the same again (a steady
    // tone stays wrong). So a jump decodes every block before the target: forward
    // from where the decoder is, or from the start after a jump back.
    uint64_t next = gsmBlock_ == UINT64_MAX ? 0 : gsmBlock_ + 1;
    if (block < next) {
        if (!ResetGsm()) return false;
        next = 0;
    }
    for (; next <= block; ++next)
        if (!DecodeOneGsmBlock(next)) return false;
    return true;
}

bool WavSource::DecodeOneGsmBlock(uint64_t block) {
    if (!ReadData(block * wav::kGsmBlockBytes, buffer_.data(), wav::kGsmBlockBytes)) return false;
    // WAV49: the two halves of a block are read from byte 0 and byte 33.
    if (gsm_decode(gsm_, buffer_.data(), gsmSamples_) != 0 ||
        gsm_decode(gsm_, buffer_.data() + 33, gsmSamples_ + wav::kGsmSamplesPerBlock / 2) != 0) {
        lastError_ = "A GSM 6.10 block is damaged";
        return false;
    }
    gsmBlock_ = block;
    return true;
}

int64_t WavSource::ReadGsm(float* samples, uint64_t frames) {
    uint64_t done = 0;
    while (done < frames) {
        uint64_t frame = position_ + done;
        uint64_t block = frame / wav::kGsmSamplesPerBlock;
        if (block != gsmBlock_ && !DecodeGsmBlock(block)) return done > 0 ? int64_t(done) : -1;
        uint64_t first = frame % wav::kGsmSamplesPerBlock;
        uint64_t n = std::min<uint64_t>(frames - done, wav::kGsmSamplesPerBlock - first);
        for (uint64_t i = 0; i < n; ++i)
            samples[done + i] = wav::S16ToFloat(gsmSamples_[first + i]);
        done += n;
    }
    position_ += done;
    return int64_t(done);
}

bool WavSource::Seek(uint64_t frame) {
    if (frame > totalFrames_) return false;
    position_ = frame;
    return true;
}

}  // namespace

std::shared_ptr<LSoundSourceBase> OpenWavSource(const std::string& path, std::string* error,
                                                bool* otherEncoding) {
    auto source = std::make_shared<WavSource>();
    std::string why;
    if (!source->Open(path, why)) {
        if (error) *error = why;
        if (otherEncoding) *otherEncoding = source->OtherEncoding();
        return nullptr;
    }
    return source;
}

}  // namespace vocarta
