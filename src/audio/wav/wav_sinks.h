#pragma once
// The concrete WAV sinks. OpenWavSink (wav_sink.h) chooses among them; tests
// reach them here to drive the sparse-file hook.

#include <memory>

#include "audio/wav/wav_sink_base.h"

struct gsm_state;

namespace vocarta::wav {

// Integer PCM of 1, 2, 3 or 4 bytes per sample, or 32- or 64-bit IEEE float
// (tag 3), behind the 46-byte header. The float file uses the same layout with
// tag 3. (64-bit float is written only to give such a recording back in its own
// encoding, e.g. after a trim.)
class WavPcmSink final : public WavSinkBase {
  public:
    enum class Width { U8, S16, S24, S32, Float32, Float64 };
    WavPcmSink(std::string path, uint32_t sampleRate, uint8_t channels, Width width);
    ~WavPcmSink() override;

  protected:
    std::vector<uint8_t> BuildHeader(uint32_t dataSize, uint32_t riffSize) const override;
    uint32_t HeaderSize() const override { return 46; }
    uint32_t BytesPerFrame() const override { return bytesPerSample_ * channels_; }
    uint64_t Encode(const float* samples, uint64_t frames, uint8_t* out) override;
    void FormatChanged() override;

  private:
    Width width_;
    uint32_t bytesPerSample_;
};

// G.711 A-law (tag 6) or µ-law (tag 7): one byte per sample behind the 58-byte
// header with its "fact" chunk.
class WavG711Sink final : public WavSinkBase {
  public:
    WavG711Sink(std::string path, uint32_t sampleRate, uint8_t channels, bool muLaw);
    ~WavG711Sink() override;

  protected:
    std::vector<uint8_t> BuildHeader(uint32_t dataSize, uint32_t riffSize) const override;
    uint32_t HeaderSize() const override { return 58; }
    uint32_t BytesPerFrame() const override { return channels_; }
    uint64_t Encode(const float* samples, uint64_t frames, uint8_t* out) override;
    void FormatChanged() override;

  private:
    bool muLaw_;
};

// GSM 6.10 through libgsm in its WAV49 mode: blocks of 65 bytes holding 320
// samples, behind the 48-byte header. GSM 6.10 codes one channel, so frames of
// several channels are mixed down to one and the header says mono. A last
// partial block is filled with silence on closing, and cutting back works in
// whole blocks.
class WavGsmSink final : public WavSinkBase {
  public:
    WavGsmSink(std::string path, uint32_t sampleRate, uint8_t channels);
    ~WavGsmSink() override;

    int64_t Write(const float* samples, uint64_t frames) override;
    // Cuts back to the block that holds `frame`'s start: frames written becomes
    // a whole number of blocks at or below `frame`.
    bool TruncateToFrame(uint64_t frame) override;
    bool Valid() const { return gsm_ != nullptr; }

  protected:
    std::vector<uint8_t> BuildHeader(uint32_t dataSize, uint32_t riffSize) const override;
    uint32_t HeaderSize() const override { return 48; }
    uint32_t ProvisionalDataSize() const override { return kProvisionalGsmDataSize; }
    uint32_t BytesPerFrame() const override { return 0; }
    uint64_t Encode(const float*, uint64_t, uint8_t*) override { return 0; }
    bool FinishData() override;

  private:
    bool EncodeBlock();

    gsm_state* gsm_ = nullptr;
    short pending_[kGsmSamplesPerBlock] = {};
    uint32_t pendingCount_ = 0;
    uint8_t block_[kGsmBlockBytes] = {};
};

}  // namespace vocarta::wav
