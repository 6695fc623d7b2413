#include "audio/playback/pulse/pulse_playback_output.h"

#include <algorithm>
#include <vector>

#include "audio/capture/device_list.h"
#include "toolkit/log.h"

namespace vocarta {

namespace {

constexpr uint32_t kTargetLatencyMs = 100;

bool StreamSettled(pa_stream* stream) {
    pa_stream_state_t state = pa_stream_get_state(stream);
    return state == PA_STREAM_READY || !PA_STREAM_IS_GOOD(state);
}

pa_channel_map ChannelMapFor(uint8_t channels) {
    pa_channel_map map;
    // Mono, stereo and the usual surround layouts get their names; anything else
    // plays as numbered auxiliary channels.
    if (!pa_channel_map_init_auto(&map, channels, PA_CHANNEL_MAP_DEFAULT))
        pa_channel_map_init_extend(&map, channels, PA_CHANNEL_MAP_AUX);
    return map;
}

pa_proplist* StreamProperties(const LPlaybackRequest& request) {
    pa_proplist* props = pa_proplist_new();
    pa_proplist_sets(props, PA_PROP_MEDIA_ROLE,
                     request.role == LPlaybackRole::Event ? "event" : "music");
    pa_proplist_sets(props, PA_PROP_MEDIA_NAME,
                     request.mediaName.empty() ? "Playback" : request.mediaName.c_str());
    return props;
}

}  // namespace

bool LSoundPlayerLLPulse::Open(const LPlaybackRequest& request, LCARingBuffer& ring,
                               std::string* error) {
    Close();
    *error = CheckPlaybackFormat(request);
    if (!error->empty()) return false;
    ended_.Reset();
    failed_.store(false);
    {
        LAutoLock lock(errorLock_);
        error_.clear();
    }
    ring_ = &ring;
    rate_ = request.sampleRate;
    frameBytes_ = sizeof(float) * request.channels;
    endMarked_ = drainIssued_ = closing_ = ready_ = false;
    lastPlayed_ = 0;
    connection_ = std::make_unique<LPulseConnection>();
    std::string why;
    if (!connection_->Connect(why)) {
        // A server that takes the connection but never answers leaves no error code.
        if (why.empty() || why == pa_strerror(PA_OK))
            *error = "The sound server did not answer within " +
                     std::to_string(kPulseTimeoutMs / 1000) + " seconds.";
        else
            *error = "Cannot connect to the sound server (" + why + ").";
        LogError("LSoundPlayerLLPulse::Open pa_context_connect FAILED: %s", error->c_str());
        connection_.reset();
        return false;
    }
    if (!ConnectStream(request, error)) {
        Close();
        return false;
    }
    return true;
}

std::string LSoundPlayerLLPulse::ChooseDevice(const std::string& wanted) {
    if (wanted.empty()) return {};
    // The stable name is what is stored; a display name ("[USB 0] Headset") is
    // understood too, as for the input device.
    std::vector<LRawDevice> raw;
    std::string error;
    if (connection_->ListDevices(LDeviceDirection::Output, raw, error)) {
        for (const LDeviceEntry& entry : NameDevices(raw))
            if (entry.raw.name == wanted || entry.displayName == wanted) return entry.raw.name;
    }
    LogEvent("Playback device \"%s\" is not present; playing on the default device",
             wanted.c_str());
    return {};
}

bool LSoundPlayerLLPulse::ConnectStream(const LPlaybackRequest& request, std::string* error) {
    deviceName_ = ChooseDevice(request.device);
    LPulseLock lock(connection_->Loop());
    pa_sample_spec sampleSpec{PA_SAMPLE_FLOAT32NE, request.sampleRate, request.channels};
    pa_channel_map map = ChannelMapFor(request.channels);
    pa_proplist* props = StreamProperties(request);
    stream_ =
        pa_stream_new_with_proplist(connection_->Context(), "Playback", &sampleSpec, &map, props);
    pa_proplist_free(props);
    if (!stream_) {
        *error = "Cannot create a playback stream: " + connection_->ErrorText();
        return false;
    }
    pa_stream_set_state_callback(stream_, &LSoundPlayerLLPulse::OnStreamState, this);
    pa_stream_set_write_callback(stream_, &LSoundPlayerLLPulse::OnWrite, this);

    pa_buffer_attr attr;
    attr.maxlength = uint32_t(-1);
    attr.tlength = uint32_t(pa_usec_to_bytes(kTargetLatencyMs * PA_USEC_PER_MSEC, &sampleSpec));
    attr.prebuf = uint32_t(-1);
    attr.minreq = uint32_t(-1);
    attr.fragsize = uint32_t(-1);
    auto flags = pa_stream_flags_t(PA_STREAM_INTERPOLATE_TIMING | PA_STREAM_AUTO_TIMING_UPDATE |
                                   PA_STREAM_ADJUST_LATENCY);
    // A device the user chose is kept: when it goes away playback ends with an
    // error rather than moving to, say, the loudspeakers.
    if (!deviceName_.empty()) flags = pa_stream_flags_t(flags | PA_STREAM_DONT_MOVE);
    const char* device = deviceName_.empty() ? nullptr : deviceName_.c_str();
    if (pa_stream_connect_playback(stream_, device, &attr, flags, nullptr, nullptr) < 0) {
        *error = "Cannot start playback: " + connection_->ErrorText();
        return false;
    }
    bool settled = connection_->WaitUntil([this] { return StreamSettled(stream_); });
    if (pa_stream_get_state(stream_) == PA_STREAM_READY) {
        ready_ = true;
        return true;
    }
    if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(connection_->Context())))
        *error = "The connection to the sound server was lost (" + connection_->ErrorText() + ").";
    else if (settled)
        *error = "Cannot start playback: " + connection_->ErrorText();
    else
        *error = "The sound server did not answer within " +
                 std::to_string(kPulseTimeoutMs / 1000) + " seconds.";
    return false;
}

void LSoundPlayerLLPulse::Fill(size_t bytes) {
    if (!stream_ || !ring_ || closing_) return;
    while (bytes >= frameBytes_) {
        const uint64_t available = ring_->FilledFrames();
        if (available == 0) break;
        void* data = nullptr;
        size_t size = bytes;
        if (pa_stream_begin_write(stream_, &data, &size) < 0 || !data) break;
        uint64_t frames = std::min<uint64_t>({size / frameBytes_, bytes / frameBytes_, available});
        frames = ring_->Read(static_cast<float*>(data), frames);
        if (frames == 0) {
            pa_stream_cancel_write(stream_);
            break;
        }
        pa_stream_write(stream_, data, size_t(frames) * frameBytes_, nullptr, 0, PA_SEEK_RELATIVE);
        bytes -= size_t(frames) * frameBytes_;
    }
    if (endMarked_ && !drainIssued_ && ring_->FilledFrames() == 0) IssueDrain();
}

void LSoundPlayerLLPulse::IssueDrain() {
    drainIssued_ = true;
    // A sound shorter than the prebuffer would otherwise never start.
    if (pa_operation* op = pa_stream_trigger(stream_, nullptr, nullptr)) pa_operation_unref(op);
    pa_operation* op = pa_stream_drain(stream_, &LSoundPlayerLLPulse::OnDrained, this);
    if (op)
        pa_operation_unref(op);
    else
        Fail("Playback failed: " + connection_->ErrorText());
}

void LSoundPlayerLLPulse::OnWrite(pa_stream*, size_t bytes, void* self) {
    static_cast<LSoundPlayerLLPulse*>(self)->Fill(bytes);
}

void LSoundPlayerLLPulse::OnDrained(pa_stream*, int success, void* arg) {
    auto* self = static_cast<LSoundPlayerLLPulse*>(arg);
    if (self->closing_) return;
    if (success)
        self->ended_.Set();
    else
        self->Fail("Playback failed: " + self->connection_->ErrorText());
}

void LSoundPlayerLLPulse::OnStreamState(pa_stream* stream, void* arg) {
    auto* self = static_cast<LSoundPlayerLLPulse*>(arg);
    self->connection_->Signal();
    pa_stream_state_t state = pa_stream_get_state(stream);
    if (PA_STREAM_IS_GOOD(state) || self->closing_ || state == PA_STREAM_UNCONNECTED) return;
    // Only a stream that was playing reports here; a failed start is Open's error.
    if (!self->ready_) return;
    pa_context* context = self->connection_->Context();
    const int error = pa_context_errno(context);
    if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(context)))
        self->Fail(std::string("The connection to the sound server was lost: ") +
                   pa_strerror(error));
    else if (error == PA_ERR_KILLED || error == PA_ERR_NOENTITY || state == PA_STREAM_TERMINATED)
        self->Fail(self->deviceName_.empty()
                       ? std::string("The playback device is no longer available.")
                       : "The playback device \"" + self->deviceName_ +
                             "\" is no longer available.");
    else
        self->Fail(std::string("Playback failed: ") + pa_strerror(error));
}

void LSoundPlayerLLPulse::Fail(const std::string& text) {
    {
        LAutoLock lock(errorLock_);
        if (!error_.empty()) return;
        error_ = text;
    }
    LogError("LSoundPlayerLLPulse::Play stream FAILED: %s", text.c_str());
    failed_.store(true, std::memory_order_release);
    ended_.Set();
}

void LSoundPlayerLLPulse::FillWritable() {
    if (!stream_ || pa_stream_get_state(stream_) != PA_STREAM_READY) return;
    // The server asks for data only once per request: what it asked for while
    // the ring was dry is still owed, and is written here.
    size_t writable = pa_stream_writable_size(stream_);
    Fill(writable == size_t(-1) ? 0 : writable);
}

void LSoundPlayerLLPulse::Kick() {
    if (!connection_) return;
    LPulseLock lock(connection_->Loop());
    FillWritable();
}

void LSoundPlayerLLPulse::MarkEndOfData() {
    if (!connection_) return;
    LPulseLock lock(connection_->Loop());
    endMarked_ = true;
    FillWritable();
}

bool LSoundPlayerLLPulse::SetPaused(bool paused) {
    if (!connection_) return false;
    LPulseLock lock(connection_->Loop());
    if (!stream_ || pa_stream_get_state(stream_) != PA_STREAM_READY) return false;
    bool done = Await(pa_stream_cork(stream_, paused ? 1 : 0, nullptr, nullptr));
    // Fresh timing now, so the position does not creep on from an old estimate.
    Await(pa_stream_update_timing_info(stream_, nullptr, nullptr));
    return done;
}

uint64_t LSoundPlayerLLPulse::PlayedFrames() {
    if (!connection_) return lastPlayed_;
    LPulseLock lock(connection_->Loop());
    const pa_timing_info* timing = stream_ ? pa_stream_get_timing_info(stream_) : nullptr;
    if (!timing) return lastPlayed_;
    // Heard = what the device has read from the stream less what it still holds.
    // Only a stream that is really playing moves on between two timing updates:
    // one that waits for its first data, or is paused, stays where it is.
    const int64_t frameBytes = int64_t(frameBytes_);
    int64_t heard =
        timing->read_index / frameBytes - int64_t(timing->sink_usec * rate_ / PA_USEC_PER_SEC);
    if (timing->playing && !pa_stream_is_corked(stream_))
        heard += int64_t(pa_timeval_age(&timing->timestamp) * rate_ / PA_USEC_PER_SEC);
    heard = std::min(heard, timing->write_index / frameBytes);
    // Never backwards within one playback, so the time shown never jumps back.
    if (heard > int64_t(lastPlayed_)) lastPlayed_ = uint64_t(heard);
    return lastPlayed_;
}

void LSoundPlayerLLPulse::Close() {
    if (!connection_) return;
    {
        LPulseLock lock(connection_->Loop());
        closing_ = true;
        if (stream_) {
            pa_stream_set_state_callback(stream_, nullptr, nullptr);
            pa_stream_set_write_callback(stream_, nullptr, nullptr);
            pa_stream_disconnect(stream_);
            pa_stream_unref(stream_);
            stream_ = nullptr;
        }
    }
    connection_.reset();  // stops the main loop: no callback runs after this
    ring_ = nullptr;
}

bool LSoundPlayerLLPulse::Await(pa_operation* op) {
    if (!op) return false;
    pa_operation_set_state_callback(
        op, [](pa_operation*, void* self) { static_cast<LPulseConnection*>(self)->Signal(); },
        connection_.get());
    return connection_->WaitOperation(op);
}

std::string LSoundPlayerLLPulse::ErrorText() const {
    LAutoLock lock(errorLock_);
    return error_;
}

}  // namespace vocarta
