#pragma once
// A plain mutex with the toolkit's Lock/UnLock names, and its RAII guard.
// Use LAutoLock; call Lock/UnLock directly only where a scope cannot express it.

#include <mutex>

namespace vocarta {

class LLockObject {
  public:
    void Lock() { mutex_.lock(); }
    void UnLock() { mutex_.unlock(); }
    bool TryLock() { return mutex_.try_lock(); }
    // For std::lock_guard / std::unique_lock.
    void lock() { Lock(); }
    void unlock() { UnLock(); }

  private:
    std::mutex mutex_;
};

class LAutoLock {
  public:
    explicit LAutoLock(LLockObject& lock) : lock_(lock) { lock_.Lock(); }
    ~LAutoLock() { lock_.UnLock(); }
    LAutoLock(const LAutoLock&) = delete;
    LAutoLock& operator=(const LAutoLock&) = delete;

  private:
    LLockObject& lock_;
};

}  // namespace vocarta
