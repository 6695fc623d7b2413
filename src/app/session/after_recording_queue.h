#pragma once
// The after-recording queue: a finished recording that is kept is handed here
// and goes through an ordered list of steps on a background thread
// ("LAfterRecordingQueue"), so the window never waits for them. Steps: silence
// trimming (when ("Recorder", "Autotrim") is on), then handing the file to the
// send queue (DefaultAfterRecordingSteps with the running copy's send thread).
//
// At the end of the program the queue is given a short grace to finish what it
// holds; then the running step is asked to stop (a trim stops at its next
// progress check and leaves the recording as it was) and the files still
// waiting are logged and left as they are. A step must therefore leave its file
// intact whenever it is stopped or killed. A step marked runsWhenStopping (a
// quick one that only takes note, like queueing for sending) still runs for
// every file, stopped or dropped, so no finished recording misses it.
//
// Threading contract: Add, Shutdown, WaitIdle and the destructor are called on
// the owner's thread (the main thread); steps run on the queue's thread; the
// status callback is called on the queue's thread and must only hand the text
// on (post it to the main loop).

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "toolkit/llock_object.h"
#include "toolkit/lsignal_object.h"
#include "toolkit/lthread.h"

namespace vocarta {

class TransmitThread;

// What a step may use while it runs.
struct AfterRecordingContext {
    // Shows `text` as the window's status; "" gives the status back.
    std::function<void(const std::string& text)> setStatus;
    // True once the program is ending: stop at the next safe point.
    std::function<bool()> stopRequested;
};

struct AfterRecordingStep {
    const char* name;
    std::function<void(const std::string& path, const AfterRecordingContext& context)> run;
    // Runs at the end of the program too (on the owner's thread for a file that
    // was still waiting); it must be quick and must not wait for anything.
    bool runsWhenStopping = false;
};

// The steps every kept recording goes through, in order: trimming, then, with
// a send thread, SendOnStep.
std::vector<AfterRecordingStep> DefaultAfterRecordingSteps(TransmitThread* sender = nullptr);
// Silence trimming of the finished file, when ("Recorder", "Autotrim") is on.
AfterRecordingStep TrimSilenceStep();
// Hands the finished (and trimmed) file to the send queue. Enqueue only
// appends a record and wakes the send thread; copying, uploading and mailing
// happen there. A file under 1024 bytes is not queued. `sender` must outlive
// the queue that runs the step.
AfterRecordingStep SendOnStep(TransmitThread& sender);

class LAfterRecordingQueue final : private LThread {
  public:
    using StatusCallback = std::function<void(const std::string& text)>;

    LAfterRecordingQueue(std::vector<AfterRecordingStep> steps, StatusCallback onStatus);
    ~LAfterRecordingQueue() override;

    // Queues a finished recording; starts the thread on first use. False (logged)
    // when there is no thread to run the steps.
    bool Add(const std::string& path);
    // Waits up to `graceMs` for the queue to empty, then stops the running step
    // and drops what is still waiting (logged). Add does nothing afterwards.
    void Shutdown(int graceMs);
    // Waits up to `timeoutMs` (-1: forever) until nothing is queued or running.
    bool WaitIdle(int timeoutMs);
    // Files queued and not yet finished (the running one included).
    size_t Pending() const;

  private:
    void Run() override;
    bool TakeNext(std::string& path);
    void RunSteps(const std::string& path);
    // The runsWhenStopping steps for a file dropped at the end (owner's thread).
    void RunStoppingSteps(const std::string& path);

    const std::vector<AfterRecordingStep> steps_;
    const StatusCallback onStatus_;
    mutable LLockObject lock_;
    std::deque<std::string> waiting_;  // guarded by lock_
    bool running_ = false;             // a file is in the steps; guarded by lock_
    bool shutDown_ = false;            // guarded by lock_
    LSignalObject work_;               // set when waiting_ gains a file
    LSignalObject idle_;               // set while nothing is queued or running
};

}  // namespace vocarta
