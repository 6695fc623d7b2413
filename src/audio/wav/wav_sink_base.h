#pragma once
// The part every WAV sink shares: the file, the header written at once with
// provisional sizes and again on closing with the true ones, the data chunks
// beyond 4 GB, the pad byte, and cutting back to a frame.
//
// Threading: one thread at a time (see LSoundSinkBase).

#include <cstdint>
#include <string>
#include <vector>

#include "audio/sound_sink.h"
#include "audio/wav/wav_layout.h"
#include "toolkit/lfile.h"

namespace vocarta::wav {

// Frames one Write converts at a time; the scratch buffer holds this many, so
// memory stays the same however long the recording runs.
inline constexpr uint64_t kScratchFrames = 8192;

// Each concrete sink's destructor calls Close, so that a sink dropped without
// Close still leaves a finished file (the base cannot: its header builder is gone
// by then).
class WavSinkBase : public LSoundSinkBase {
  public:
    ~WavSinkBase() override;

    int64_t Write(const float* samples, uint64_t frames) override;
    bool TruncateToFrame(uint64_t frame) override;
    // Before the first frame: takes the new rate and channel count and rewrites
    // the header at once.
    bool SetFormat(uint32_t sampleRate, uint8_t channels) override;
    bool Close() override;
    void Abort() override;

    uint64_t DataBytes() const { return dataBytes_; }

    // Creates the file and writes the header; false with LastError set and no
    // file left behind.
    bool Open();

    // Test hook: appends `frames` frames of silence without writing them, leaving
    // a hole in the file (which reads as zero bytes). Only for encodings whose
    // silence is all zero bytes (16/24/32-bit PCM, float); lets a test build a file
    // beyond 4 GB on a small disk through the same chunk logic as Write.
    int64_t SkipSilentFramesSparse(uint64_t frames);

  protected:
    WavSinkBase(std::string path, uint32_t sampleRate, uint8_t channels);

    // The header for `dataSize` in the first chunk's size field (the provisional
    // value while recording). `riffSize` is already saturated.
    virtual std::vector<uint8_t> BuildHeader(uint32_t dataSize, uint32_t riffSize) const = 0;
    virtual uint32_t HeaderSize() const = 0;
    virtual uint32_t ProvisionalDataSize() const { return kProvisionalDataSize; }
    // Bytes per frame in the file (0 for block codecs, which override Write).
    virtual uint32_t BytesPerFrame() const = 0;
    // Converts up to kScratchFrames frames into `out`; returns the bytes produced.
    virtual uint64_t Encode(const float* samples, uint64_t frames, uint8_t* out) = 0;
    // Called by SetFormat after the channel count changed (to resize buffers).
    virtual void FormatChanged() {}
    // Flushes what a block codec still holds; called first by Close.
    virtual bool FinishData() { return true; }

    // Appends encoded bytes through the chunk rule; a null `bytes` leaves a hole.
    // False on a short write (LastError set, dataBytes_ counts what reached the file).
    bool AppendData(const uint8_t* bytes, uint64_t count);
    // Cuts the data back to `bytes` bytes (file length included).
    bool CutDataTo(uint64_t bytes);
    bool WriteHeader(bool provisional);
    void ReportWriteFailure(const char* operation, int error);

    LFile file_;
    std::vector<uint8_t> scratch_;
    uint64_t dataBytes_ = 0;
    bool closed_ = false;

  private:
    bool RewriteChunkHeaders();
    bool closeResult_ = true;
};

}  // namespace vocarta::wav
