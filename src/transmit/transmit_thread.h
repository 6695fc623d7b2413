#pragma once
// The send thread of the main window ("TransmitThread"): drains the send queue
// file, one record at a time, through the dispatcher. What it has not finished
// stays in the file and is taken up again at the next start (ResumeQueue).
//
// Lifecycle, as the session uses it:
//   TransmitThread sender(ui);            // main thread, with the window
//   sender.ResumeQueue();                 // main thread, once at start-up
//   sender.Enqueue(path);                 // after-recording thread, per kept file
//   sender.Shutdown(timeoutMs);           // main thread, when the program ends
//
// Modes: 0 from construction, 2 after ResumeQueue for the rest of the run. A
// method's Cancelled ends the thread and leaves the queue as it is in mode 0,
// and deletes the queue in mode 2; a Cancelled that comes from Shutdown's stop
// request always leaves the record in the queue for the next start.
//
// Progress: a method's fraction f is shown as (done + f) / queued while more
// than one record was queued in this run, else as f; both counts go back to 0
// when the queue is empty.
//
// Threading contract: Enqueue from any thread (it only appends and starts the
// thread; no copy or network work runs on the caller's thread); ResumeQueue,
// Shutdown and the destructor from the owner's thread (the main thread); the
// counts and mode from any thread. The UI is called on the send thread only, so
// the window's implementation must post to its main loop (PostedTransmitUi) -
// never answer a question by waiting for the send thread.

#include <cstdint>
#include <string>

#include "toolkit/llock_object.h"
#include "toolkit/lsignal_object.h"
#include "toolkit/lthread.h"
#include "toolkit/result.h"
#include "transmit/send_queue_file.h"
#include "transmit/transmit_dispatcher.h"

namespace vocarta {

class TransmitThread final : private LThread, private TransmitContext {
  public:
    static constexpr int kNormalMode = 0;
    static constexpr int kResumedMode = 2;
    // A recording smaller than this is never queued.
    static constexpr int64_t kMinimumRecordingBytes = 1024;

    // `ui` must outlive the thread.
    explicit TransmitThread(TransmitUi& ui,
                            TransmitDispatcher dispatcher = TransmitDispatcher::Default(),
                            std::string queuePath = SendQueuePath());
    // Shutdown(-1).
    ~TransmitThread() override;

    // Appends the finished recording at `recordingPath` to the queue and starts
    // the thread. kInvalid for a file under 1024 bytes or a path over 259 bytes,
    // kNotFound for a missing file, the queue's error when it cannot be written;
    // each logged. After Shutdown the record is still appended (for the next
    // start) but the thread is not started.
    LStatus Enqueue(const std::string& recordingPath);

    // Start-up: mode 2, then the queue left by an earlier run is resumed (thread
    // started) or deleted, by its resume count and "FailCount".
    void ResumeQueue();

    // Asks the thread to stop, releases a question or message it waits for
    // (TransmitUi::StopWaiting), and waits up to `timeoutMs` (-1: no limit) for
    // it to end; the record being sent stays in the queue. True when it ended.
    // Nothing starts the thread again afterwards.
    bool Shutdown(int timeoutMs);

    // Waits until the thread has nothing left to do (tests, tools).
    bool WaitIdle(int timeoutMs);
    bool IsSending() const;

    int Mode() const;
    double QueuedCount() const;
    double DoneCount() const;
    const std::string& QueuePath() const { return queue_.Path(); }
    // The owner reference this window writes into its records: random per
    // window and run, so a record left by another run never matches it.
    uint64_t OwnerReference() const { return owner_; }

  private:
    void Run() override;
    // Requires lock_.
    void StartLocked();
    // The end of a Run; Requires lock_.
    void EndLocked();
    void ShowProgress(double fraction);

    // TransmitContext, on the send thread.
    bool ShouldStop() const override { return StopRequested(); }
    const LSignalObject* StopSignal() const override { return &LThread::StopSignal(); }
    void SetProgress(double fraction) override;
    void SetStatus(const std::string& text) override;
    void LogError(const std::string& text) override;

    TransmitUi& ui_;
    const TransmitDispatcher dispatcher_;
    SendQueueFile queue_;
    const uint64_t owner_;

    mutable LLockObject lock_;
    int mode_ = kNormalMode;       // guarded by lock_
    double queued_ = 0.0;          // guarded by lock_
    double done_ = 0.0;            // guarded by lock_
    bool active_ = false;          // a Run is going or about to; guarded by lock_
    bool wake_ = false;            // appended since Run last looked; guarded by lock_
    bool shutDown_ = false;        // guarded by lock_
    LSignalObject idle_;           // set while no Run is going
    double shownProgress_ = -1.0;  // send thread only
};

}  // namespace vocarta
