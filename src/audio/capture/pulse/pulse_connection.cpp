#include "audio/capture/pulse/pulse_connection.h"

#include "toolkit/log.h"

namespace vocarta {

LPulseConnection::~LPulseConnection() {
    if (loop_ && started_) pa_threaded_mainloop_stop(loop_);
    if (context_) {
        pa_context_disconnect(context_);
        pa_context_unref(context_);
    }
    if (loop_) pa_threaded_mainloop_free(loop_);
}

void LPulseConnection::ContextStateCallback(pa_context* context, void* self) {
    static_cast<LPulseConnection*>(self)->Signal();
}

bool LPulseConnection::IsReady() const {
    return context_ && pa_context_get_state(context_) == PA_CONTEXT_READY;
}

std::string LPulseConnection::ErrorText() const {
    return context_ ? pa_strerror(pa_context_errno(context_)) : "no connection";
}

bool LPulseConnection::Connect(std::string& error) {
    loop_ = pa_threaded_mainloop_new();
    if (!loop_) {
        error = "pa_threaded_mainloop_new failed";
        return false;
    }
    context_ = pa_context_new(pa_threaded_mainloop_get_api(loop_), "Vocarta Sound Recorder");
    if (!context_) {
        error = "pa_context_new failed";
        return false;
    }
    pa_context_set_state_callback(context_, &ContextStateCallback, this);
    if (pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
        error = ErrorText();
        return false;
    }
    if (pa_threaded_mainloop_start(loop_) < 0) {
        error = "pa_threaded_mainloop_start failed";
        return false;
    }
    started_ = true;
    LPulseLock hold(loop_);
    if (!WaitUntil([this] { return IsReady(); })) {
        error = ErrorText();
        return false;
    }
    return true;
}

bool LPulseConnection::WaitUntil(const std::function<bool()>& done, int timeoutMs) {
    struct Timer {
        bool expired = false;
        LPulseConnection* self;
    } timer{false, this};
    pa_time_event* event = pa_context_rttime_new(
        context_, pa_rtclock_now() + pa_usec_t(timeoutMs) * 1000,
        [](pa_mainloop_api*, pa_time_event*, const struct timeval*, void* data) {
            auto* t = static_cast<Timer*>(data);
            t->expired = true;
            t->self->Signal();
        },
        &timer);
    bool ok = false;
    while (true) {
        if (done()) {
            ok = true;
            break;
        }
        pa_context_state_t state = pa_context_get_state(context_);
        if (!PA_CONTEXT_IS_GOOD(state) || timer.expired) break;
        pa_threaded_mainloop_wait(loop_);
    }
    if (event) pa_threaded_mainloop_get_api(loop_)->time_free(event);
    return ok;
}

void LPulseConnection::SignalOnSuccess(pa_stream*, int, void* connection) {
    static_cast<LPulseConnection*>(connection)->Signal();
}

bool LPulseConnection::WaitOperation(pa_operation* operation) {
    if (!operation) return false;
    bool ok = WaitUntil(
        [operation] { return pa_operation_get_state(operation) != PA_OPERATION_RUNNING; });
    if (!ok) pa_operation_cancel(operation);
    pa_operation_unref(operation);
    return ok;
}

std::vector<std::string> ChannelNamesOf(const pa_channel_map& map) {
    std::vector<std::string> names;
    for (unsigned c = 0; c < map.channels; ++c) {
        pa_channel_position_t p = map.map[c];
        bool unnamed = p == PA_CHANNEL_POSITION_MONO ||
                       (p >= PA_CHANNEL_POSITION_AUX0 && p <= PA_CHANNEL_POSITION_AUX31);
        const char* pretty = unnamed ? nullptr : pa_channel_position_to_pretty_string(p);
        names.push_back(pretty ? pretty : "");
    }
    return names;
}

namespace {
struct ListState {
    LPulseConnection* connection;
    std::vector<LRawDevice>* out;
    bool done = false;
    bool failed = false;
};

template <typename Info>
void AddDevice(ListState& state, const Info* info, bool isMonitor) {
    LRawDevice device;
    device.id = info->index;
    device.name = info->name ? info->name : "";
    device.description = info->description ? info->description : "";
    const char* bus = pa_proplist_gets(info->proplist, PA_PROP_DEVICE_BUS);
    device.bus = bus ? bus : "";
    device.sampleRate = info->sample_spec.rate;
    device.isMonitor = isMonitor;
    device.buffers.push_back(ChannelNamesOf(info->channel_map));
    state.out->push_back(std::move(device));
}

void SourceCallback(pa_context*, const pa_source_info* info, int eol, void* data) {
    auto& state = *static_cast<ListState*>(data);
    if (eol < 0) state.failed = true;
    if (eol != 0) {
        state.done = true;
        state.connection->Signal();
        return;
    }
    AddDevice(state, info, info->monitor_of_sink != PA_INVALID_INDEX);
}

void SinkCallback(pa_context*, const pa_sink_info* info, int eol, void* data) {
    auto& state = *static_cast<ListState*>(data);
    if (eol < 0) state.failed = true;
    if (eol != 0) {
        state.done = true;
        state.connection->Signal();
        return;
    }
    AddDevice(state, info, false);
}
}  // namespace

bool LPulseConnection::ListDevices(LDeviceDirection direction, std::vector<LRawDevice>& out,
                                   std::string& error) {
    if (!IsReady()) {
        error = "not connected";
        return false;
    }
    LPulseLock hold(loop_);
    ListState state{this, &out};
    pa_operation* op = direction == LDeviceDirection::Input
                           ? pa_context_get_source_info_list(context_, &SourceCallback, &state)
                           : pa_context_get_sink_info_list(context_, &SinkCallback, &state);
    if (!op) {
        error = ErrorText();
        return false;
    }
    bool ok = WaitUntil([&state] { return state.done; });
    if (!ok) pa_operation_cancel(op);
    pa_operation_unref(op);
    if (!ok || state.failed) {
        error = ok ? ErrorText() : "the sound server did not answer in time";
        return false;
    }
    return true;
}

}  // namespace vocarta
