#pragma once
// The thread a registrar keeps for its connection to the desktop: it waits on
// the connection's descriptor, handles what arrives, and runs the owner's
// requests one at a time, so that the connection is only ever used by it.
//
// Threading contract: Call() from the owner thread (or from the worker, where it
// runs the request at once); the virtual hooks run on the worker thread.

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "toolkit/lsignal_object.h"
#include "toolkit/lthread.h"

namespace vocarta {

class HotkeyWorker : public LThread {
  public:
    explicit HotkeyWorker(std::string name) : LThread(std::move(name)) {}

    // Runs `request` on the worker and waits for it, up to `timeoutMs`. False
    // when the worker is not running or did not get to it in time; the request
    // may then still run later, so it must own (copy) everything it touches
    // except the worker itself.
    bool Call(std::function<void()> request, int timeoutMs = 5000);

  protected:
    // The descriptor to wait on (-1: none) and the handling of what it brought.
    virtual int EventDescriptor() = 0;
    virtual void HandleEvents() = 0;
    // How long to wait at most before HandleEvents() runs anyway (-1: no limit).
    virtual int PollTimeoutMs() { return -1; }

  private:
    struct Request {
        std::function<void()> run;
        bool done = false;
    };

    void Run() override;
    void RunRequests();

    std::mutex mutex_;
    std::condition_variable done_;
    std::deque<std::shared_ptr<Request>> requests_;  // guarded by mutex_
    bool stopped_ = false;                           // guarded by mutex_
    LSignalObject wake_;
};

}  // namespace vocarta
