#include "audio/capture/simulated/simulated_capture.h"

#include <algorithm>
#include <chrono>
#include <cstring>

#include "audio/capture/device_choice.h"
#include "audio/capture/device_list.h"
#include "audio/capture/sound_recorder.h"

namespace vocarta {

// The device's callback thread in the Clocked and Free modes.
class LSimulatedCapture::CallbackThread : public LThread {
  public:
    explicit CallbackThread(LSimulatedCapture& owner)
        : LThread("LSimulatedCapture"), owner_(owner) {}
    ~CallbackThread() override { LThread::Stop(); }

  protected:
    void Run() override {
        using Clock = std::chrono::steady_clock;
        const bool clocked = owner_.config_.mode == LSimulationMode::Clocked;
        const auto period =
            std::chrono::microseconds(uint64_t(owner_.chunkFrames_) * 1000000 / owner_.rate_);
        auto due = Clock::now();
        while (!StopRequested()) {
            if (clocked) {
                due += period;
                auto wait =
                    std::chrono::duration_cast<std::chrono::milliseconds>(due - Clock::now());
                if (wait.count() > 0 && StopSignal().Wait(int(wait.count()))) break;
            } else if (!owner_.ring_.WaitForRoom(owner_.chunkFrames_, StopSignal(), -1)) {
                break;  // as fast as the worker takes the sound, and no faster
            }
            if (!owner_.Deliver(owner_.chunkFrames_)) break;
        }
    }

  private:
    LSimulatedCapture& owner_;
};

LSimulatedCapture::LSimulatedCapture() = default;

LSimulatedCapture::~LSimulatedCapture() {
    Close();
}

void LSimulatedCapture::Configure(LSimulationConfig config) {
    config_ = std::move(config);
}

uint32_t LSimulatedCapture::NearestDeviceRate(uint32_t rate) const {
    return NearestSampleRate(config_.offeredRates, rate);
}

bool LSimulatedCapture::Open(const LSoundRecordDevice& device, LSoundSinkBase& sink) {
    Close();
    auto list =
        LSoundDeviceList::Query(LDeviceDirection::Input, *CreateSimulatedDeviceEnumerator());
    if (device.index < 0 || device.index >= list.Count()) {
        SetLastError(kCaptureNoDevice, "device " + std::to_string(device.index));
        return false;
    }
    const LDeviceEntry& entry = list.Entry(device.index);
    int deviceChannels = int(list.Channels(device.index).size());
    deviceName_ = entry.raw.name;
    deviceChannel_ = device.channel < deviceChannels ? device.channel : -1;
    if (!ChooseFormat(sink, config_.offeredRates)) return false;
    duplicateLeft_ = channels_ >= 2 && (deviceChannel_ >= 0 || deviceChannels == 1);
    if (!AllocateRing(config_.minFrames, config_.maxFrames)) return false;
    chunkFrames_ = config_.chunkFrames ? config_.chunkFrames : std::max<uint32_t>(1, rate_ / 100);
    chunk_.reset(new int32_t[size_t(chunkFrames_) * channels_]);
    if (config_.generator) config_.generator->Prepare(chunkFrames_);
    delivered_ = 0;
    lost_ = false;
    startedSignal_.Reset();
    opened_ = true;
    return true;
}

bool LSimulatedCapture::Start() {
    if (!opened_) return false;
    running_ = true;
    if (config_.mode != LSimulationMode::Manual) {
        thread_ = std::make_unique<CallbackThread>(*this);
        if (!thread_->Start()) {
            running_ = false;
            SetLastError(kCaptureOpenFailed, "no callback thread");
            return false;
        }
    }
    startedSignal_.Set();
    return true;
}

bool LSimulatedCapture::Deliver(uint64_t frames) {
    if (!running_ || lost_) return false;
    if (config_.loseDeviceAfterFrames >= 0) {
        uint64_t left =
            uint64_t(config_.loseDeviceAfterFrames) -
            std::min<uint64_t>(delivered_.load(), uint64_t(config_.loseDeviceAfterFrames));
        if (left == 0) {
            LoseDevice();
            return false;
        }
        frames = std::min(frames, left);
    }
    uint64_t made =
        config_.generator ? config_.generator->Generate(chunk_.get(), frames, channels_, rate_) : 0;
    std::memset(chunk_.get() + made * channels_, 0, size_t(frames - made) * channels_ * 4);
    ring_.Append(chunk_.get(), frames);  // a full ring drops, as a device's would
    ring_.Publish();
    delivered_ += frames;
    return true;
}

void LSimulatedCapture::LoseDevice() {
    lost_ = true;
    SetLastError(kCaptureDeviceLost, "simulated device removed");
    ring_.CommitPartial();
    ring_.MarkFailed();
}

bool LSimulatedCapture::Pump(uint64_t frames, bool waitForRoom) {
    if (config_.mode != LSimulationMode::Manual) return false;
    static const LSignalObject never;
    while (frames > 0) {
        uint64_t step = std::min<uint64_t>(frames, chunkFrames_);
        LAutoLock hold(pumpLock_);
        if (!running_ || lost_) return false;
        if (waitForRoom && !ring_.WaitForRoom(step, never, kPumpRoomWaitMs)) return false;
        if (!Deliver(step)) return false;
        frames -= step;
    }
    LAutoLock hold(pumpLock_);
    if (running_ && !lost_) ring_.Flush();
    return true;
}

void LSimulatedCapture::StopDelivering() {
    running_ = false;
    if (thread_) thread_->Stop();
    thread_.reset();
}

void LSimulatedCapture::Stop() {
    StopDelivering();
    LAutoLock hold(pumpLock_);
    if (!lost_) ring_.CommitPartial();
}

void LSimulatedCapture::Close() {
    StopDelivering();
    LAutoLock hold(pumpLock_);
    if (!lost_) ring_.CommitPartial();
    FreeRing();
    chunk_.reset();
    opened_ = false;
}

}  // namespace vocarta
