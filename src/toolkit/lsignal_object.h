#pragma once
// An event made of the two descriptors of a pipe: Set() makes the read end
// readable, Reset() drains it. Being a descriptor, it can be waited for together
// with other descriptors in one poll (a thread's stop request, a socket).
//
// Manual reset: once set it stays set until Reset(). Set and Reset take no lock,
// so the capture callback may signal without blocking on the worker.

#include <atomic>

namespace vocarta {

class LSignalObject {
  public:
    LSignalObject();
    ~LSignalObject();
    LSignalObject(const LSignalObject&) = delete;
    LSignalObject& operator=(const LSignalObject&) = delete;

    bool IsValid() const { return readFd_ >= 0; }
    void Set();
    void Reset();
    bool IsSet() const { return set_.load(std::memory_order_acquire); }

    // Waits until set or until `timeoutMs` has passed (-1: forever).
    // True when the signal is set.
    bool Wait(int timeoutMs) const;

    // Waits for the first of two signals. Returns 0 when `*this` is set, 1 when
    // `other` is set (checked first when both are), -1 on time-out.
    int WaitEither(const LSignalObject& other, int timeoutMs) const;

    // Read end, for poll() alongside other descriptors.
    int Descriptor() const { return readFd_; }

  private:
    int readFd_ = -1;
    int writeFd_ = -1;
    std::atomic<bool> set_{false};
};

}  // namespace vocarta
