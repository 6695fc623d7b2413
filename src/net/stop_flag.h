#pragma once
// How a blocking network call learns that its owner wants it to stop: the owner
// thread's stop signal, an atomic flag or a question. A call that waits tests it
// at least every 200 ms; a signal's descriptor is also polled beside the socket,
// so a stop request through a signal wakes the wait at once.
//
//   SecureSocket socket(StopFlag::FromSignal(thread.StopSignal()));
//
// Threading: any thread may set what the flag looks at; the socket's owner thread
// asks. The signal, flag or whatever the function reads must outlive every call
// made with it.

#include <atomic>
#include <functional>

namespace vocarta {

class LSignalObject;
class LError;

class StopFlag {
  public:
    StopFlag() = default;  // never asks to stop
    static StopFlag FromSignal(const LSignalObject& signal);
    static StopFlag FromFlag(const std::atomic<bool>& flag);
    static StopFlag FromFunction(std::function<bool()> ask);

    bool Requested() const;
    // A descriptor that turns readable on a stop request, or -1.
    int Descriptor() const;

  private:
    const LSignalObject* signal_ = nullptr;
    const std::atomic<bool>* flag_ = nullptr;
    std::function<bool()> ask_;
};

// The error every network call returns when it ended on a stop request.
LError StoppedError();

}  // namespace vocarta
