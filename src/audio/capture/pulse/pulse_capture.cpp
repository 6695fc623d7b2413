#include "audio/capture/pulse/pulse_capture.h"

#include <algorithm>

#include "audio/capture/device_choice.h"
#include "audio/capture/sound_recorder.h"
#include "toolkit/log.h"

namespace vocarta {

LPulseCapture::~LPulseCapture() {
    Close();
}

uint32_t LPulseCapture::NearestDeviceRate(uint32_t rate) const {
    // The server converts to any rate it supports.
    return std::clamp<uint32_t>(rate, 1, PA_RATE_MAX);
}

bool LPulseCapture::FindDevice(const LSoundRecordDevice& device, LRawDevice& found,
                               pa_channel_map& map) {
    std::vector<LRawDevice> raw;
    std::string error;
    if (!connection_->ListDevices(LDeviceDirection::Input, raw, error)) {
        SetLastError(kCaptureOpenFailed, error);
        return false;
    }
    if (device.index < 0 || size_t(device.index) >= raw.size()) {
        SetLastError(kCaptureNoDevice, "device " + std::to_string(device.index));
        return false;
    }
    found = raw[size_t(device.index)];
    // The channel map again, as positions, for choosing one channel.
    LPulseLock hold(connection_->Loop());
    struct Query {
        LPulseConnection* connection;
        pa_channel_map* map;
        bool done = false;
    } query{connection_.get(), &map};
    pa_operation* op = pa_context_get_source_info_by_index(
        connection_->Context(), found.id,
        [](pa_context*, const pa_source_info* info, int eol, void* data) {
            auto* q = static_cast<Query*>(data);
            if (eol == 0 && info) *q->map = info->channel_map;
            if (eol != 0) q->done = true;
            q->connection->Signal();
        },
        &query);
    pa_channel_map_init(&map);
    bool ok = op && connection_->WaitUntil([&query] { return query.done; });
    if (op && !ok) pa_operation_cancel(op);
    if (op) pa_operation_unref(op);
    if (!ok || map.channels == 0) {
        SetLastError(kCaptureNoDevice, found.name + " went away");
        return false;
    }
    return true;
}

bool LPulseCapture::Open(const LSoundRecordDevice& device, LSoundSinkBase& sink) {
    Close();
    {
        LAutoLock hold(streamLock_);
        connection_ = std::make_unique<LPulseConnection>();
    }
    std::string error;
    if (!connection_->Connect(error)) {
        SetLastError(kCaptureNoServer, error);
        return false;
    }
    LRawDevice source;
    pa_channel_map sourceMap;
    if (!FindDevice(device, source, sourceMap)) return false;
    deviceName_ = source.name;
    deviceChannel_ = device.channel < int(sourceMap.channels) ? device.channel : -1;
    std::vector<uint32_t> offered;
    if (sink.SampleRate() > PA_RATE_MAX) offered.push_back(PA_RATE_MAX);
    if (!ChooseFormat(sink, offered)) return false;
    if (channels_ > PA_CHANNELS_MAX) {
        SetLastError(kCaptureOpenFailed, "too many channels");
        return false;
    }
    duplicateLeft_ = deviceChannel_ >= 0 && channels_ >= 2;
    if (!AllocateRing(1, 1u << 20)) return false;
    return CreateStream(source, sourceMap);
}

pa_channel_map LPulseCapture::StreamChannelMap(const pa_channel_map& sourceMap) const {
    pa_channel_map map;
    if (deviceChannel_ < 0) {
        pa_channel_map_init_auto(&map, channels_, PA_CHANNEL_MAP_DEFAULT);
        return map;
    }
    // The chosen channel's position first; the other stream channels get
    // positions the source does not have, so that they stay silent.
    pa_channel_map_init(&map);
    map.channels = channels_;
    map.map[0] = sourceMap.map[deviceChannel_];
    int next = PA_CHANNEL_POSITION_AUX31;
    for (unsigned c = 1; c < channels_; ++c) {
        while (next >= PA_CHANNEL_POSITION_AUX0 &&
               pa_channel_map_has_position(&sourceMap, pa_channel_position_t(next)))
            --next;
        map.map[c] = pa_channel_position_t(next--);
    }
    return map;
}

pa_buffer_attr LPulseCapture::BufferAttributes() const {
    pa_buffer_attr attr;
    attr.maxlength = uint32_t(-1);
    attr.fragsize = HandOverFrames() * uint32_t(channels_) * uint32_t(sizeof(int32_t));
    attr.tlength = attr.prebuf = attr.minreq = uint32_t(-1);
    return attr;
}

void LPulseCapture::SetHandOverMs(uint32_t ms) {
    LCaptureBase::SetHandOverMs(ms);
    LAutoLock hold(streamLock_);
    if (!stream_) return;
    LPulseLock loop(connection_->Loop());
    if (pa_stream_get_state(stream_) != PA_STREAM_READY) return;
    // The server takes the new size from its next fragment on; nobody waits
    // for the answer.
    pa_buffer_attr attr = BufferAttributes();
    if (pa_operation* op = pa_stream_set_buffer_attr(stream_, &attr, nullptr, nullptr))
        pa_operation_unref(op);
}

bool LPulseCapture::CreateStream(const LRawDevice& source, const pa_channel_map& sourceMap) {
    LAutoLock guard(streamLock_);
    LPulseLock hold(connection_->Loop());
    pa_sample_spec spec{PA_SAMPLE_S32NE, rate_, channels_};
    pa_channel_map map = StreamChannelMap(sourceMap);
    stream_ = pa_stream_new(connection_->Context(), "Vocarta recording", &spec, &map);
    if (!stream_) {
        SetLastError(kCaptureOpenFailed, connection_->ErrorText());
        return false;
    }
    pa_stream_set_state_callback(stream_, &StreamStateCallback, this);
    pa_stream_set_read_callback(stream_, &ReadCallback, this);
    pa_context_set_state_callback(connection_->Context(), &ContextStateCallback, this);
    pa_buffer_attr attr = BufferAttributes();
    int flags = PA_STREAM_START_CORKED | PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE;
    if (deviceChannel_ >= 0) flags |= PA_STREAM_NO_REMIX_CHANNELS;
    if (pa_stream_connect_record(stream_, source.name.c_str(), &attr, pa_stream_flags_t(flags)) <
            0 ||
        !connection_->WaitUntil(
            [this] { return pa_stream_get_state(stream_) != PA_STREAM_CREATING; }) ||
        pa_stream_get_state(stream_) != PA_STREAM_READY) {
        int error = pa_context_errno(connection_->Context());
        SetLastError(error == PA_ERR_NOTSUPPORTED || error == PA_ERR_INVALID
                         ? kCaptureRateUnavailable
                         : kCaptureOpenFailed,
                     connection_->ErrorText());
        return false;
    }
    return true;
}

bool LPulseCapture::Start() {
    if (!stream_) return false;
    LPulseLock hold(connection_->Loop());
    stopping_ = false;
    if (!connection_->WaitOperation(
            pa_stream_cork(stream_, 0, &LPulseConnection::SignalOnSuccess, connection_.get()))) {
        SetLastError(kCaptureOpenFailed, connection_->ErrorText());
        return false;
    }
    return true;
}

void LPulseCapture::TakeReadable() {
    // Peek answers 0 bytes once the stream is empty, so no separate size query:
    // every call into the library costs a fork check (a system call). The buffers
    // filled are handed over at the end, and only once a hand-over's worth is
    // there: a source that delivers every 10 ms wakes this thread 100 times a
    // second, but not the worker.
    const size_t frameBytes = size_t(channels_) * sizeof(int32_t);
    while (true) {
        const void* data = nullptr;
        size_t bytes = 0;
        if (pa_stream_peek(stream_, &data, &bytes) < 0 || bytes == 0) break;
        // A hole (data == nullptr) is taken as silence.
        ring_.Append(static_cast<const int32_t*>(data), bytes / frameBytes);
        pa_stream_drop(stream_);
    }
    ring_.Publish();
}

void LPulseCapture::ReadCallback(pa_stream* stream, size_t bytes, void* self) {
    auto* capture = static_cast<LPulseCapture*>(self);
    if (capture->stopping_ || capture->lost_) return;
    capture->TakeReadable();
}

void LPulseCapture::Lose(const char* why) {
    if (stopping_ || lost_) return;
    lost_ = true;
    SetLastError(kCaptureDeviceLost, why);
    ring_.CommitPartial();
    ring_.MarkFailed();
}

void LPulseCapture::StreamStateCallback(pa_stream* stream, void* self) {
    auto* capture = static_cast<LPulseCapture*>(self);
    pa_stream_state_t state = pa_stream_get_state(stream);
    if (state == PA_STREAM_FAILED || state == PA_STREAM_TERMINATED)
        capture->Lose(pa_strerror(pa_context_errno(pa_stream_get_context(stream))));
    capture->connection_->Signal();
}

void LPulseCapture::ContextStateCallback(pa_context* context, void* self) {
    auto* capture = static_cast<LPulseCapture*>(self);
    if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(context)))
        capture->Lose("the sound server went away");
    capture->connection_->Signal();
}

void LPulseCapture::Stop() {
    LAutoLock guard(streamLock_);
    if (!stream_) return;
    LPulseLock hold(connection_->Loop());
    if (!lost_ && pa_stream_get_state(stream_) == PA_STREAM_READY) {
        connection_->WaitOperation(
            pa_stream_cork(stream_, 1, &LPulseConnection::SignalOnSuccess, connection_.get()));
        TakeReadable();
        ring_.CommitPartial();
    }
    stopping_ = true;
    pa_stream_set_read_callback(stream_, nullptr, nullptr);
    pa_stream_set_state_callback(stream_, nullptr, nullptr);
    pa_context_set_state_callback(connection_->Context(), nullptr, nullptr);
    pa_stream_disconnect(stream_);
    pa_stream_unref(stream_);
    stream_ = nullptr;
}

void LPulseCapture::Close() {
    Stop();
    {
        LAutoLock hold(streamLock_);
        connection_.reset();
    }
    FreeRing();
    lost_ = stopping_ = false;
}

}  // namespace vocarta
