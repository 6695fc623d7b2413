#pragma once
// A named thread object. Derived classes implement Run(); callers Start() it,
// ask it to stop with RequestStop() and collect it with Wait()/Stop().
//
// Threading contract: Start, RequestStop, Wait and Stop are called by the owner's
// thread; Run() runs on the new thread and checks StopRequested() (or waits on
// StopSignal()) to end early. The destructor of a derived class must Stop() the
// thread before its own members go away.

#include <pthread.h>

#include <atomic>
#include <string>

#include "toolkit/lsignal_object.h"

namespace vocarta {

class LThread {
  public:
    enum class Priority { Low, Normal, High, TimeCritical };

    explicit LThread(std::string name);
    virtual ~LThread();
    LThread(const LThread&) = delete;
    LThread& operator=(const LThread&) = delete;

    // False (logged as "LThread::Start: pthread_create failed") when the thread
    // could not be created, or when it is already running.
    bool Start();
    void RequestStop();
    bool StopRequested() const { return stopRequest_.IsSet(); }
    const LSignalObject& StopSignal() const { return stopRequest_; }

    // Waits for Run() to return, up to `timeoutMs` (-1: forever). True when the
    // thread has ended and been joined (or never started).
    bool Wait(int timeoutMs = -1);
    // RequestStop() then Wait().
    bool Stop(int timeoutMs = -1);
    bool IsRunning() const { return running_.load(); }

    // Applies to the running thread; TimeCritical asks for real-time scheduling and
    // falls back to the highest normal priority when the system refuses it.
    bool SetPriority(Priority priority);

    const std::string& Name() const { return name_; }

  protected:
    virtual void Run() = 0;

  private:
    static void* ThreadMain(void* self);

    std::string name_;
    pthread_t handle_{};
    bool started_ = false;
    std::atomic<bool> running_{false};
    std::atomic<int> tid_{0};  // kernel thread id, for its nice value
    LSignalObject stopRequest_;
    LSignalObject finished_;
};

}  // namespace vocarta
