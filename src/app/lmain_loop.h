#pragma once
// The main thread's event loop as the session controller sees it: numbered
// timers and calls posted from other threads. The windowed and the headless
// program run it over Qt's event loop (QtMainLoop); tests use a fake that fires
// timers and posted calls when told to.

#include <functional>

namespace vocarta {

class LMainLoop {
  public:
    using TimerHandler = std::function<void(int id)>;

    virtual ~LMainLoop() = default;

    // Main thread. The handler receives every timer's id when it fires.
    virtual void SetTimerHandler(TimerHandler handler) = 0;
    // Main thread. A timer fires every `periodMs` until killed; starting an id
    // that is already running re-arms it with the new period.
    virtual void StartTimer(int id, int periodMs) = 0;
    // Main thread. Killing a timer that does not run does nothing.
    virtual void KillTimer(int id) = 0;
    virtual bool IsTimerRunning(int id) const = 0;
    // Main thread. The timer handler also receives `id` each time `fd` becomes
    // readable, until unwatched, so that another thread's signal wakes the loop
    // without a timer ticking in between. The handler must drain `fd`, or `id`
    // comes again at once. Watching an id again replaces its descriptor.
    virtual void WatchReadable(int id, int fd) = 0;
    // Main thread; may be called from the handler of the same id.
    virtual void UnwatchReadable(int id) = 0;
    // Any thread. `call` runs later on the main thread, in posting order.
    virtual void Post(std::function<void()> call) = 0;
    // Main thread. Leaves the loop once the current event has been handled.
    virtual void Quit(int status) = 0;
};

}  // namespace vocarta
