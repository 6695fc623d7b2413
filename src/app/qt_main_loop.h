#pragma once
// LMainLoop over the Qt event loop of the running QCoreApplication (or
// QApplication): QTimer per timer id, queued calls for Post. Also turns SIGINT,
// SIGTERM and SIGHUP into a call on the main thread.
//
// Threading contract: constructed, used and destroyed on the thread that runs
// the Qt event loop, except Post, which any thread may call.

#include <map>
#include <memory>

#include "app/lmain_loop.h"

class QObject;
class QTimer;
class QSocketNotifier;

namespace vocarta {

class QtMainLoop final : public LMainLoop {
  public:
    // A QCoreApplication (or QApplication) must exist.
    QtMainLoop();
    ~QtMainLoop() override;

    void SetTimerHandler(TimerHandler handler) override;
    void StartTimer(int id, int periodMs) override;
    void KillTimer(int id) override;
    bool IsTimerRunning(int id) const override;
    void WatchReadable(int id, int fd) override;
    void UnwatchReadable(int id) override;
    void Post(std::function<void()> call) override;
    void Quit(int status) override;

    // Runs the loop until Quit; returns the status given to Quit.
    int Exec();

    // `onSignal` runs on the main thread with the signal number when SIGINT,
    // SIGTERM or SIGHUP (the terminal closed) arrives. False (logged) when the signal pipe cannot
    // be made.
    bool WatchTerminationSignals(std::function<void(int signal)> onSignal);

  private:
    std::unique_ptr<QObject> context_;         // owner of the timers; target of posted calls
    std::map<int, QTimer*> timers_;            // owned by context_
    std::map<int, QSocketNotifier*> watches_;  // owned by context_
    TimerHandler handler_;
    std::function<void(int)> onSignal_;
    std::unique_ptr<QSocketNotifier> signalNotifier_;
};

}  // namespace vocarta
