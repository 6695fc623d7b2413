#include "net/stop_flag.h"

#include "toolkit/lsignal_object.h"
#include "toolkit/result.h"

namespace vocarta {

StopFlag StopFlag::FromSignal(const LSignalObject& signal) {
    StopFlag stop;
    stop.signal_ = &signal;
    return stop;
}

StopFlag StopFlag::FromFlag(const std::atomic<bool>& flag) {
    StopFlag stop;
    stop.flag_ = &flag;
    return stop;
}

StopFlag StopFlag::FromFunction(std::function<bool()> ask) {
    StopFlag stop;
    stop.ask_ = std::move(ask);
    return stop;
}

bool StopFlag::Requested() const {
    if (signal_ && signal_->IsSet()) return true;
    if (flag_ && flag_->load(std::memory_order_acquire)) return true;
    return ask_ && ask_();
}

int StopFlag::Descriptor() const {
    return signal_ && signal_->IsValid() ? signal_->Descriptor() : -1;
}

LError StoppedError() {
    return LError(LErrorCode::kCancelled, "stopped on request");
}

}  // namespace vocarta
