#include "audio/wav/wav_sink_base.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "toolkit/log.h"

namespace vocarta::wav {

WavSinkBase::WavSinkBase(std::string path, uint32_t sampleRate, uint8_t channels)
    : LSoundSinkBase(std::move(path), sampleRate, channels) {}

WavSinkBase::~WavSinkBase() = default;

bool WavSinkBase::Open() {
    if (BytesPerFrame() > 0) scratch_.assign(kScratchFrames * BytesPerFrame(), 0);
    if (!file_.Open(path_, LFile::Mode::CreateTruncate, 0666)) {
        SetError("Cannot create " + path_ + ": " + std::strerror(errno));
        return false;
    }
    if (!WriteHeader(true) || !file_.Seek(HeaderSize())) {
        // A file without its header is of no use to anyone.
        file_.Close();
        unlink(path_.c_str());
        closed_ = true;
        return false;
    }
    return true;
}

void WavSinkBase::ReportWriteFailure(const char* operation, int error) {
    std::string reason = error != 0 ? std::strerror(error) : "the file took fewer bytes";
    LogError("WavSink::%s: %s: %s", operation, path_.c_str(), reason.c_str());
    SetError("Cannot write to " + path_ + ": " + reason);
}

bool WavSinkBase::WriteHeader(bool provisional) {
    uint32_t dataSize;
    uint32_t riffSize;
    uint64_t headerExtra = HeaderSize() - kChunkHeaderSize;
    if (provisional) {
        dataSize = ProvisionalDataSize();
        riffSize = Saturate32(dataSize + headerExtra);
    } else {
        dataSize = uint32_t(std::min(dataBytes_, kFirstChunkCapacity));
        // Beyond the first chunk the true size does not fit: saturate, never wrap.
        riffSize =
            dataBytes_ > kFirstChunkCapacity ? kMaxSize32 : Saturate32(dataSize + headerExtra);
    }
    std::vector<uint8_t> header = BuildHeader(dataSize, riffSize);
    errno = 0;
    if (file_.WriteAt(0, header.data(), int64_t(header.size())) != int64_t(header.size())) {
        ReportWriteFailure("WriteHeader", errno);
        return false;
    }
    return true;
}

bool WavSinkBase::AppendData(const uint8_t* bytes, uint64_t count) {
    while (count > 0) {
        if (IsChunkStart(dataBytes_)) {
            // A further chunk; its size stays 0 until Close, like the first
            // chunk's provisional size.
            uint8_t chunk[kChunkHeaderSize];
            PutTag(chunk, "data");
            PutLe32(chunk + 4, 0);
            errno = 0;
            if (file_.Write(chunk, sizeof chunk) != int64_t(sizeof chunk)) {
                ReportWriteFailure("Write", errno);
                return false;
            }
        }
        uint64_t n = std::min(count, ChunkRoom(dataBytes_));
        if (bytes != nullptr) {
            errno = 0;
            int64_t written = file_.Write(bytes, int64_t(n));
            if (written != int64_t(n)) {
                int error = errno;
                if (written > 0) dataBytes_ += uint64_t(written);
                ReportWriteFailure("Write", error);
                return false;
            }
            bytes += n;
        } else if (!file_.Seek(file_.Tell() + int64_t(n))) {
            ReportWriteFailure("Write", errno);
            return false;
        }
        dataBytes_ += n;
        count -= n;
    }
    return true;
}

int64_t WavSinkBase::Write(const float* samples, uint64_t frames) {
    if (closed_) {
        SetError("Cannot write to " + path_ + ": the file is closed");
        return -1;
    }
    const uint32_t frameBytes = BytesPerFrame();
    uint64_t done = 0;
    while (done < frames) {
        uint64_t n = std::min(kScratchFrames, frames - done);
        uint64_t bytes = Encode(samples + done * channels_, n, scratch_.data());
        if (!AppendData(scratch_.data(), bytes)) {
            // Keep the whole frames that reached the file; drop a torn one.
            framesWritten_ = dataBytes_ / frameBytes;
            CutDataTo(framesWritten_ * frameBytes);
            return -1;
        }
        done += n;
        framesWritten_ += n;
    }
    return int64_t(frames);
}

int64_t WavSinkBase::SkipSilentFramesSparse(uint64_t frames) {
    if (closed_ || BytesPerFrame() == 0) return -1;
    if (!AppendData(nullptr, frames * BytesPerFrame())) return -1;
    framesWritten_ += frames;
    // The hole must still be part of the file when nothing is written after it.
    if (!file_.Truncate(file_.Tell())) return -1;
    return int64_t(frames);
}

bool WavSinkBase::CutDataTo(uint64_t bytes) {
    int64_t end = int64_t(DataFileOffset(HeaderSize(), bytes));
    dataBytes_ = bytes;
    return file_.Truncate(end) && file_.Seek(end);
}

bool WavSinkBase::TruncateToFrame(uint64_t frame) {
    if (closed_ || frame > framesWritten_ || BytesPerFrame() == 0) return false;
    framesWritten_ = frame;
    return CutDataTo(frame * BytesPerFrame());
}

bool WavSinkBase::SetFormat(uint32_t sampleRate, uint8_t channels) {
    if (closed_ || framesWritten_ != 0 || dataBytes_ != 0 || sampleRate == 0 || channels == 0)
        return false;
    uint8_t oldChannels = channels_;
    sampleRate_ = sampleRate;
    channels_ = channels;
    if (channels != oldChannels) FormatChanged();
    return WriteHeader(true);
}

bool WavSinkBase::RewriteChunkHeaders() {
    uint64_t start = kFirstChunkCapacity;
    for (uint64_t k = 1; start < dataBytes_; ++k, start += kNextChunkCapacity) {
        uint8_t chunk[kChunkHeaderSize];
        PutTag(chunk, "data");
        PutLe32(chunk + 4, uint32_t(std::min(kNextChunkCapacity, dataBytes_ - start)));
        int64_t at = int64_t(HeaderSize() + start + kChunkHeaderSize * (k - 1));
        errno = 0;
        if (file_.WriteAt(at, chunk, sizeof chunk) != int64_t(sizeof chunk)) {
            ReportWriteFailure("Close", errno);
            return false;
        }
    }
    return true;
}

bool WavSinkBase::Close() {
    if (closed_) return closeResult_;
    closed_ = true;
    bool ok = FinishData();
    ok = WriteHeader(false) && ok;
    ok = RewriteChunkHeaders() && ok;
    if (dataBytes_ % 2 != 0) {
        const uint8_t pad = 0;
        errno = 0;
        int64_t at = int64_t(DataFileOffset(HeaderSize(), dataBytes_));
        if (file_.WriteAt(at, &pad, 1) != 1) {
            ReportWriteFailure("Close", errno);
            ok = false;
        }
    }
    file_.Close();
    closeResult_ = ok;
    return ok;
}

void WavSinkBase::Abort() {
    closed_ = true;
    closeResult_ = false;
    file_.Close();
}

}  // namespace vocarta::wav
