#pragma once
// The running copy's sending of finished recordings: the send thread with its
// queue file, talking to the session's view on the main thread.
//
//   RecordingSender sender(view, loop);   // before the session, which enqueues
//   sender.Resume();                      // once, at start-up
//   ... the after-recording step calls sender.Thread().Enqueue(path) ...
//   sender.Shutdown();                    // once the main loop has ended
//
// The send thread's questions and messages are posted to the main loop and
// answered by the view (ViewTransmitUi): a window asks; the headless view
// prints them and takes "Yes". Ending the program asks nothing: the record
// being sent stays queued for the next start.
//
// Threading contract: constructed, Resume, Shutdown and destroyed on the main
// thread; Thread().Enqueue from any thread (the after-recording queue's). The
// view and the loop must outlive this object.

#include <string>

#include "app/session/view_transmit_ui.h"
#include "transmit/send_queue_file.h"
#include "transmit/transmit_thread.h"
#include "transmit/transmit_ui.h"

namespace vocarta {

class LMainLoop;

class RecordingSender {
  public:
    // How long Shutdown waits for a method to notice the stop request.
    static constexpr int kStopWaitMs = 5000;

    RecordingSender(MainDialogView& view, LMainLoop& loop, std::string queuePath = SendQueuePath());
    // Shutdown(), if not done.
    ~RecordingSender();

    TransmitThread& Thread() { return thread_; }

    // Takes up the queue an earlier run left (or deletes it by its resume count).
    void Resume();
    // Stops the send thread: a pending question is dropped, the record being
    // sent stays in the queue. Waits at most kStopWaitMs before going on (the
    // destructor then waits for the thread without limit).
    void Shutdown();

  private:
    ViewTransmitUi viewUi_;
    PostedTransmitUi postedUi_;
    TransmitThread thread_;
    bool shutDown_ = false;
};

}  // namespace vocarta
