#include "audio/codecs/mp3_sink.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "audio/codecs/lame_library.h"
#include "toolkit/lfile.h"
#include "toolkit/log.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

// Frames handed to LAME per call, and LAME's worst case output for them
// (1.25 × samples + 7200 bytes), so the buffers never grow.
constexpr int kChunkFrames = 4096;
constexpr int kOutBytes = kChunkFrames * 5 / 4 + 7200;
constexpr int kLowpassMaxKHz = 50;

int Clamp(int value, int low, int high) {
    return std::min(std::max(value, low), high);
}

class Mp3Sink final : public LSoundSinkBase {
  public:
    Mp3Sink(std::string path, const LameFunctions& lame, const Mp3Settings& settings, uint32_t rate,
            uint8_t channels)
        : LSoundSinkBase(std::move(path), rate, channels),
          lame_(lame),
          settings_(settings),
          out_(kOutBytes),
          stereo_(size_t(kChunkFrames) * 2) {}
    ~Mp3Sink() override { Close(); }

    // Sets up LAME for the current rate and channels (again after SetFormat).
    bool Configure(std::string* error);
    bool CreateFile(std::string* error);

    int64_t Write(const float* samples, uint64_t frames) override;
    bool SetFormat(uint32_t sampleRate, uint8_t channels) override;
    bool Close() override;
    void Abort() override;

  private:
    void ApplySettings();
    bool WriteOut(const unsigned char* bytes, int count);
    void ReleaseEncoder();

    const LameFunctions& lame_;
    const Mp3Settings settings_;
    LameHandle handle_ = nullptr;  // owned; released by Close/Abort
    LFile file_;
    std::vector<unsigned char> out_;  // kOutBytes, allocated once
    std::vector<float> stereo_;       // a chunk of mono input doubled, allocated once
    bool closed_ = false;
};

void Mp3Sink::ApplySettings() {
    const Mp3Settings& s = settings_;
    lame_.lame_set_in_samplerate(handle_, int(sampleRate_));
    // LAME's interleaved float input is always two channels; mono input is doubled.
    lame_.lame_set_num_channels(handle_, 2);
    if (s.channelMode == kMp3Mono || channels_ == 1) {
        lame_.lame_set_mode(handle_, kLameMono);
    } else if (s.channelMode == kMp3Joint || s.channelMode == kMp3Force) {
        lame_.lame_set_mode(handle_, kLameJointStereo);
        lame_.lame_set_force_ms(handle_, s.channelMode == kMp3Force ? 1 : 0);
    } else {
        lame_.lame_set_mode(handle_, kLameStereo);
    }
    lame_.lame_set_quality(handle_, s.highQuality ? 2 : Clamp(s.quality, 0, 9));
    lame_.lame_set_error_protection(handle_, s.errorProtection ? 1 : 0);
    if (s.lowpass > 0)
        lame_.lame_set_lowpassfreq(handle_, Clamp(s.lowpass, 1, kLowpassMaxKHz) * 1000);

    if (s.constantBitRate) {
        lame_.lame_set_VBR(handle_, kLameVbrOff);
        lame_.lame_set_brate(handle_, s.cbrBitRate);
        return;
    }
    int low = std::min(s.vbrMinBitRate, s.vbrMaxBitRate);
    int high = std::max(s.vbrMinBitRate, s.vbrMaxBitRate);
    if (s.bitRateControlMethod == 2 && s.abrBitRate > 0) {
        lame_.lame_set_VBR(handle_, kLameVbrAbr);
        lame_.lame_set_VBR_mean_bitrate_kbps(handle_, s.abrBitRate);
    } else {
        lame_.lame_set_VBR(handle_, kLameVbrMtrh);
        lame_.lame_set_VBR_q(handle_, Clamp(s.vbrQuality, 0, 9));
    }
    lame_.lame_set_VBR_min_bitrate_kbps(handle_, low);
    lame_.lame_set_VBR_max_bitrate_kbps(handle_, high);
}

bool Mp3Sink::Configure(std::string* error) {
    ReleaseEncoder();
    handle_ = lame_.lame_init();
    if (!handle_) {
        if (error) *error = "The MP3 encoder could not be started (lame_init failed).";
        return false;
    }
    ApplySettings();
    int result = lame_.lame_init_params(handle_);
    if (result < 0) {
        if (error)
            *error = StringPrintf(
                "The MP3 encoder refused the settings (%u Hz, %u channels, "
                "error %d).",
                unsigned(sampleRate_), unsigned(channels_), result);
        ReleaseEncoder();
        return false;
    }
    return true;
}

bool Mp3Sink::CreateFile(std::string* error) {
    if (file_.Open(path_, LFile::Mode::CreateTruncate)) return true;
    if (error) *error = StringPrintf("Cannot create %s: %s", path_.c_str(), strerror(errno));
    return false;
}

void Mp3Sink::ReleaseEncoder() {
    if (handle_) lame_.lame_close(handle_);
    handle_ = nullptr;
}

bool Mp3Sink::SetFormat(uint32_t sampleRate, uint8_t channels) {
    if (framesWritten_ != 0 || closed_ || channels < 1 || channels > 2 || sampleRate == 0)
        return false;
    if (sampleRate == sampleRate_ && channels == channels_) return true;
    uint32_t oldRate = sampleRate_;
    uint8_t oldChannels = channels_;
    sampleRate_ = sampleRate;
    channels_ = channels;
    std::string why;
    if (Configure(&why)) return true;
    LogError("Mp3Sink::SetFormat %u Hz %u channels: %s", unsigned(sampleRate), unsigned(channels),
             why.c_str());
    sampleRate_ = oldRate;
    channels_ = oldChannels;
    if (!Configure(&why)) SetError(why);  // the old format worked before; keep the sink usable
    return false;
}

bool Mp3Sink::WriteOut(const unsigned char* bytes, int count) {
    if (count <= 0) return true;
    int64_t written = file_.Write(bytes, count);
    if (written == count) return true;
    SetError(StringPrintf("Writing %s failed: %s", path_.c_str(),
                          written < 0 ? strerror(errno) : "disk full"));
    return false;
}

int64_t Mp3Sink::Write(const float* samples, uint64_t frames) {
    if (closed_ || !handle_) {
        SetError("The MP3 file is already closed.");
        return -1;
    }
    uint64_t done = 0;
    while (done < frames) {
        int n = int(std::min<uint64_t>(frames - done, kChunkFrames));
        const float* input = samples + done * channels_;
        if (channels_ == 1) {
            for (int i = 0; i < n; ++i) stereo_[2 * i] = stereo_[2 * i + 1] = input[i];
            input = stereo_.data();
        }
        int bytes = lame_.lame_encode_buffer_interleaved_ieee_float(handle_, input, n, out_.data(),
                                                                    kOutBytes);
        if (bytes < 0) {
            SetError(StringPrintf("The MP3 encoder failed (error %d).", bytes));
            return -1;
        }
        if (!WriteOut(out_.data(), bytes)) return -1;
        done += uint64_t(n);
        framesWritten_ += uint64_t(n);
    }
    return int64_t(frames);
}

bool Mp3Sink::Close() {
    if (closed_) return !Failed();
    closed_ = true;
    bool ok = !Failed() && handle_;
    if (ok) {
        int bytes = lame_.lame_encode_flush(handle_, out_.data(), kOutBytes);
        ok = bytes >= 0 && WriteOut(out_.data(), bytes);
        // The tag frame has the size of the placeholder LAME wrote first.
        size_t tag = lame_.lame_get_lametag_frame(handle_, out_.data(), out_.size());
        if (ok && tag > 0 && tag <= out_.size() &&
            file_.WriteAt(0, out_.data(), int64_t(tag)) != int64_t(tag)) {
            SetError(StringPrintf("Writing the MP3 tag of %s failed", path_.c_str()));
            ok = false;
        }
    }
    ReleaseEncoder();
    file_.Close();
    return ok;
}

void Mp3Sink::Abort() {
    closed_ = true;
    ReleaseEncoder();
    file_.Close();
}

}  // namespace

std::shared_ptr<LSoundSinkBase> OpenMp3Sink(const std::string& path, const Mp3Settings& settings,
                                            uint32_t rate, uint8_t channels, std::string* error) {
    const LameFunctions* lame = Mp3Functions(error);
    if (!lame) return nullptr;
    if (channels < 1 || channels > 2) {
        if (error)
            *error = StringPrintf("MP3 takes one or two channels, not %u.", unsigned(channels));
        return nullptr;
    }
    auto sink = std::make_shared<Mp3Sink>(path, *lame, settings, rate, channels);
    if (!sink->Configure(error) || !sink->CreateFile(error)) {
        sink->Abort();
        return nullptr;
    }
    return sink;
}

}  // namespace vocarta
